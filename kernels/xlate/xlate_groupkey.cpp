// Group-key translation: each row's code, translated through a table, times the column's multiplier
// is added to the row's key. A composite key of several columns is built up so, in 32 bits that
// wrap.
//
// Codes and keys are native numbers of 4 bytes, one per row. All rows of the source are processed:
// no selection, no start row; the marker of a table is a number like others.
#include "kernels/frame/kernels.h"
#include "kernels/xlate/translation.h"

namespace colx {
namespace {

template <unsigned four, unsigned bits>
COLX_INLINE void add_share(uint8_t* keys, const Elements<bits>& elements, Vec multiplier) {
  uint8_t* const to = keys + 16 * four;
  store(to, sum<4>(load(to), product<4>(wide_elements<four>(elements), multiplier)));
}

template <unsigned bits>
COLX_INLINE uint32_t add_shares(colx_cv* res, const colx_cv* src, const colx_kctx* kctx) {
  const FlatTable<bits, false> table = {bytes_at(kctx->colx_kctx_xlate_out, 0), 0};
  const uint32_t multiplier = kctx->colx_kctx_multiplier;
  const Vec multipliers = splat<4>(multiplier);
  const uint32_t rows = src->colx_cv_num_of_rows;
  const uint8_t* codes = bytes_at(src->colx_cv_data, 0);
  uint8_t* keys = bytes_at(res->colx_cv_data, 0);
  for (uint32_t blocks = rows / 16; blocks != 0; --blocks, codes += 64, keys += 64) {
    prefetch_once(codes + 640);
    prefetch_once(keys + 704);
    const Elements<bits> elements = table.template elements<ByteOrder::native>(codes);
    add_share<0>(keys, elements, multipliers);
    add_share<1>(keys, elements, multipliers);
    add_share<2>(keys, elements, multipliers);
    add_share<3>(keys, elements, multipliers);
  }
  for (uint32_t rest = rows % 16; rest != 0; --rest, codes += 4, keys += 4) {
    const uint32_t element = table.element(load_as<uint32_t>(codes));
    store_as(keys, load_as<uint32_t>(keys) + element * multiplier);
  }
  return rows == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
}

}  // namespace

extern "C" {

#define COLX_DEFINE(form, name, op, enc, code, flag)                     \
  uint32_t name(colx_cv* res, colx_cv* src, colx_cv*, colx_kctx* kctx) { \
    return add_shares<element_bits(code)>(res, src, kctx);               \
  }
COLX_GROUPKEY(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
