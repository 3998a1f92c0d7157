// prefix_writer.h: writes values of one length in groups that store their shared prefix once.
//
// Sixteen neighbouring values of k bytes, p of them shared; the last group has what remains:
//
//   p | prefix, p bytes | suffix of value 0, k - p bytes | suffix of value 1 | ...
//
// Numbers that rise slowly gain most: their decimal digits, or big-endian keys.
#pragma once

#include <cstdint>
#include <span>

#include "host/result.h"
#include "host/stream_buffer.h"
#include "kernels/frame/colx_x86.h"

namespace colx::host {

// Values of a group.
inline constexpr uint32_t prefix_group_values = 16;
// Bytes of a value at most.
inline constexpr uint32_t max_prefix_value_bytes = 8;

// Groups as they are written; it owns them.
struct PrefixGroups {
  StreamBuffer stream;       // with the readable slack that the decoder needs
  uint32_t values = 0;       // of all groups
  uint32_t groups = 0;       // the last may have fewer values
  uint32_t value_bytes = 0;  // 1 to 8

  // Room that colx_cv_data of the result needs: steps overwrite up to 15 bytes behind a group.
  size_t output_bytes() const { return size_t{values} * value_bytes + 15; }
  // Room that the optional colx_kctx_prefix_ptrs need, a colx_prefix_ptr a value.
  size_t descriptor_bytes() const { return size_t{values} * sizeof(colx_prefix_ptr); }
  // Sets what colx_prefix_decode_dydi reads of its source; both must not outlive the groups.
  void describe(colx_cv& source, colx_enc_ctx& encoding) const;
};

// The groups of `values`, one value behind the other, each with the longest prefix that its values
// share. Errors: a length other than 1 to 8; no value, which the form cannot say; bytes left over;
// more than 2^32 - 1 values.
Result<PrefixGroups> write_prefix_groups(std::span<const uint8_t> values, uint32_t value_bytes);

}  // namespace colx::host
