// What composing group keys must give: chunks of codes, unpacked by the decoder's own rules, folded
// column by column into one 32-bit key a row.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

struct GroupKeyOutcome {
  bool refused;  // status 2 or 3: nothing was written, nothing allocated
  uint32_t status;
  uint32_t key_space;
  std::vector<uint32_t> keys;
};

// `streams` holds the packed codes of each column, decompressed; their widths are those of the
// columns' keys. The other arguments are the kernel's.
GroupKeyOutcome group_key_outcome(const colx_cv& res, std::span<const colx_cv> columns,
                                  std::span<const std::vector<uint8_t>> streams,
                                  const colx_cv& scratch, const colx_kctx& kctx);

// The size of the key space, or the status that says why there is none.
struct KeySpace {
  uint32_t status;
  uint32_t size;
};
KeySpace key_space_of(std::span<const colx_cv> columns, bool multiplied);

}  // namespace colx::oracle
