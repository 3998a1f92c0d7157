// stream_decoders.h: wpak streams and prefix groups expanded by the library, each proven sound
// before. What a host calls for streams that kernels do not expand themselves at first touch.
#pragma once

#include <cstdint>
#include <span>

#include "host/prefix_writer.h"
#include "host/result.h"
#include "host/stream_buffer.h"
#include "kernels/frame/colx_x86.h"

namespace colx::host {

// The bytes that `stream` expands to, by the decompression service of `env` (HostServices::env()).
// `most_bytes` is what the caller is ready to hold: a stream may claim 4 GB. Errors: those of
// wpak_validate, more bytes than that, a service that refuses the stream.
Result<StreamBuffer> expand_wpak(std::span<const uint8_t> stream, colx_env* env,
                                 uint32_t most_bytes = UINT32_MAX);

// The values of `groups`, one behind the other, by the library's entry colx_sctx_prefix_decode.
// Errors: those of prefix_validate, a library without the entry.
Result<StreamBuffer> expand_prefix_groups(const PrefixGroups& groups, colx_three_call* decode);

}  // namespace colx::host
