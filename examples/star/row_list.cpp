#include "examples/star/row_list.h"

#include <array>

namespace colx::star {

void append_rows(const host::Library& library, const host::RowBits& bits, uint32_t first_row,
                 std::vector<uint32_t>& rows) {
  const colx_specialized_ctx& record = library.record();
  colx_lbiwv_ictx walk;
  record.colx_sctx_lbiwv_ictx_ini2(&walk, bits.data(), bits.size(), 0, 0);
  std::array<uint32_t, 256> batch;
  uint64_t found = 0;
  do {
    found = record.colx_sctx_lbiwvones(&walk, batch.data(), batch.size());
    for (uint64_t i = 0; i < found; ++i) rows.push_back(first_row + batch[i]);
  } while (found == batch.size());
}

}  // namespace colx::star
