// First touch of a compressed column: the one lasting effect that a kernel has on a column.
#pragma once

#include "kernels/frame/colx_x86.h"
#include "kernels/frame/platform.h"

namespace colx {

// What the host is told: the label of the allocation and the text of a failure, both with the
// name of the kernel that was entered.
struct DecompressionTexts {
  const char* label;
  const char* failure;
};

#define COLX_DECOMPRESSION_TEXTS(name)                     \
  colx::DecompressionTexts {                               \
    name ": vec1_decomp", name ": colx_wpak_decode failed" \
  }

// The decompressed copy of `src`: what its slot holds, else a fresh buffer that is stored in the
// slot before the decoder runs. A decoder's failure is reported to the host; if the report
// returns, the buffer is used as it is. `kctx` must not be null.
COLX_COLD const uint8_t* decompressed_rows(const colx_cv* src, const colx_kctx* kctx,
                                           const DecompressionTexts& texts);

// The rows of `src`, decompressed on demand.
COLX_INLINE const uint8_t* stored_rows(const colx_cv* src, const colx_kctx* kctx,
                                       const DecompressionTexts& texts) {
  if (src->colx_cv_encoding_context->colx_enc_ctx_flags & COLX_COMPRESSED)
    return decompressed_rows(src, kctx, texts);
  return static_cast<const uint8_t*>(src->colx_cv_data);
}

}  // namespace colx
