// The burst kernels: two widths of run lengths, each with counted and with listed runs. The shares
// of hit runs choose the form; every form gives the same rows wherever runs cover the result.
#include "kernels/decode/burst.h"

#include "kernels/decode/inner_forms.h"
#include "kernels/frame/assertion.h"
#include "kernels/frame/kernels.h"

namespace colx {
namespace {

// The preconditions of a kernel, checked in this order and reported at consecutive lines.
void check_burst(const colx_cv* res, const colx_cv* src, const colx_kctx* run_hits,
                 const char* function, unsigned line) {
  if (!(src->colx_cv_encoding_context->colx_enc_ctx_flags & COLX_RLE))
    __assert_fail("(((((src)->colx_cv_encoding_context))->colx_enc_ctx_flags) & (COLX_RLE))",
                  "colxc_x86", line, function);
  if (res->colx_cv_bits == run_hits->colx_kctx_selection)
    __assert_fail("colx_bv_res != colx_bv_aux", "colxc_x86", line + 1, function);
}

// The forms of a kernel. With listed runs a form needs no sums, and few and many are one.
struct BurstForms {
  colx_decode_fn few;
  colx_decode_fn few_missing;
  colx_decode_fn many;
  colx_decode_fn many_missing;
};

// A share of the runs, truncated from a product in double precision.
uint64_t share_of(uint32_t runs, double share) {
  return static_cast<uint64_t>(runs * share);
}

colx_decode_fn form_of(const colx_cv* src, const colx_kctx* run_hits, const BurstForms& forms) {
  const uint32_t runs = src->colx_cv_encoding_context->colx_enc_ctx_rle_rows;
  const uint64_t set = run_hits->colx_kctx_aux_set;
  if (set < share_of(runs, 0.02)) return forms.few;
  if (set > share_of(runs, 0.98)) return forms.few_missing;
  return set > runs >> 1 ? forms.many_missing : forms.many;
}

}  // namespace

extern "C" {

#define COLX_DEFINE_FORM(name, begin, ...)                     \
  uint32_t name(COLX_PARAMS_decode) {                          \
    return burst<__VA_ARGS__, Begin::begin>(COLX_ARGS_decode); \
  }
#define COLX_DEFINE_ENTRY(name, line, ...)                                \
  uint32_t name(COLX_PARAMS_decode) {                                     \
    check_burst(res, src, kctx, #name, line);                             \
    return form_of(src, kctx, BurstForms{__VA_ARGS__})(COLX_ARGS_decode); \
  }

#define COLX_DEFINE_COUNTED(kernel, length_bytes, line)                                           \
  COLX_DEFINE_FORM(kernel##_selective, clear, CountedRuns<length_bytes, true>)                    \
  COLX_DEFINE_FORM(kernel##_inv_selective, set, CountedRuns<length_bytes, true>)                  \
  COLX_DEFINE_FORM(kernel##_local_cla, clear, CountedRuns<length_bytes, false>)                   \
  COLX_DEFINE_FORM(kernel##_inv_local_cla, set, CountedRuns<length_bytes, false>)                 \
  COLX_DEFINE_ENTRY(kernel, line, kernel##_selective, kernel##_inv_selective, kernel##_local_cla, \
                    kernel##_inv_local_cla)
#define COLX_DEFINE_LISTED(kernel, line)                                                          \
  COLX_DEFINE_FORM(kernel##_selective, clear, ListedRuns)                                         \
  COLX_DEFINE_FORM(kernel##_inv_selective, set, ListedRuns)                                       \
  COLX_DEFINE_ENTRY(kernel, line, kernel##_selective, kernel##_inv_selective, kernel##_selective, \
                    kernel##_inv_selective)

COLX_DEFINE_COUNTED(colx_burst_rle_8bit, 1, 345724)
COLX_DEFINE_LISTED(colx_burst_rle_8bit_cla, 345953)
COLX_DEFINE_COUNTED(colx_burst_rle_16bit, 2, 346475)
COLX_DEFINE_LISTED(colx_burst_rle_16bit_cla, 346704)

}  // extern "C"
}  // namespace colx
