// The scalar lines of gather: a row at a time, its index split into page and entry, the value found
// and copied, the room tested before.
//
// Form of the store, width of index and value are known to the loop; a value of 4 or 8 bytes is one
// load and one store. Built with -O3 -fno-tree-vectorize. Ratios are comparable over versions
// because these loops do not change: improve kernels, not them.
#pragma once

#include <cstdint>

namespace colx::bench {

enum class LoopStore { lp, cla, dlp };
enum class LoopIndex { fixed_4, fixed_8, ridvalue };
enum class LoopResult { fixed_4, fixed_8, lv_sep, lv, lp_sep, dlp };

// A row store as the loops see it: pages of lp records, offsets or dlp words.
struct LoopPages {
  uint64_t page_mask;
  unsigned page_shift;
  const void* const* pages;
  const uint8_t* const* bases;  // cla
  const uint8_t* data_page;     // dlp
  unsigned place_bits;          // dlp stores and dlp results
};

struct LoopOutput {
  uint8_t* data;
  uint16_t* lengths;
  uint64_t room;
};

// Returns the rows that found room.
using GatherLoop = uint64_t (*)(const void* indices, uint64_t rows, const LoopPages& store,
                                const LoopOutput& out);

// Results other than values of 4 and 8 bytes: from an lp store alone.
GatherLoop gather_loop(LoopStore store, LoopResult result, LoopIndex index);

}  // namespace colx::bench
