// Fills and expansions under their names, by width of a length and bytes of an element.
#include "kernels/decode/run_expand.h"

#include <cstring>

#include "kernels/decode/inner_forms.h"

namespace colx {
extern "C" {

void colx_memset_ub1(void* dst, uint8_t value, uint64_t count) {
  std::memset(dst, value, count);
}

void colx_memset_ub2(void* dst, uint16_t value, uint64_t count) {
  fill(bytes_at(dst, 0), splat<2>(value), count * 2);
}

void colx_memset_ub4(void* dst, uint32_t value, uint64_t count) {
  fill(bytes_at(dst, 0), splat<4>(value), count * 4);
}

#define COLX_DEFINE(L, E)                                                                         \
  void colx_rle##L##_expand_ub##E(const colx_cv* res, const colx_cv* src, const void* lengths,    \
                                  uint32_t first_len, uint32_t last_cut) {                        \
    expand_runs<L / 8, E>({bytes_at(res->colx_cv_data, 0), bytes_at(src->colx_cv_data, 0),        \
                           src->colx_cv_num_of_rows, bytes_at(lengths, 0), first_len, last_cut}); \
  }
COLX_DEFINE(8, 1)
COLX_DEFINE(8, 2)
COLX_DEFINE(8, 4)
COLX_DEFINE(16, 1)
COLX_DEFINE(16, 2)
COLX_DEFINE(16, 4)

}  // extern "C"
}  // namespace colx
