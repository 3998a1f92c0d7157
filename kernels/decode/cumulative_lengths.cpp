// Cumulative arrays from lengths: what dictionaries and run-length columns are found by.
#include "kernels/decode/run_lengths.h"
#include "kernels/frame/assertion.h"
#include "kernels/frame/colx_x86.h"

namespace colx {
namespace {

// A big-endian entry before each length and one behind the last.
template <unsigned length_bytes>
COLX_INLINE uint32_t accumulate(void* res, const void* src, uint32_t src_len) {
  const RunLengths<length_bytes> lengths{bytes_at(src, 0)};
  uint32_t total = 0;
  for (uint32_t i = 0; i < src_len; ++i) {
    store_big_endian(bytes_at(res, size_t{i} * 4), total);
    total += lengths[i];
  }
  store_big_endian(bytes_at(res, size_t{src_len} * 4), total);
  return src_len + 1;
}

}  // namespace
}  // namespace colx

// Outside of the namespace: a definition inside would not be the header's exported function.
extern "C" {

#define COLX_DEFINE(name, length_bytes, line)                                     \
  uint32_t name(void* res, uint32_t res_len, const void* src, uint32_t src_len) { \
    if (!(res_len >= src_len + 1))                                                \
      __assert_fail("res_len >= (src_len + 1)", "colxc_x86", line, #name);        \
    return colx::accumulate<length_bytes>(res, src, src_len);                     \
  }
COLX_DEFINE(colx_build_cla_1_ub1, 1, 1558)
COLX_DEFINE(colx_build_cla_1_ub2, 2, 1580)

}  // extern "C"
