// What a gather leaves behind: each row's index leads to a value of a row store, which goes into
// the result in the result's layout, until the room is used up.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/patches.h"

namespace colx::oracle {

// Where values come from: a row store's pages, or the source vector itself.
enum class GatherStore { lp, dlp, cla, none };

enum class GatherResult { fixed, lv_sep, lv, lp_sep, lp, dlp };

// How a row of the source leads to its value: by an index into the store, or (the last three, which
// go without a store) by pointer or place.
enum class GatherIndex {
  fixed_8,
  fixed_4,
  fixed_2,
  fixed_1,
  fixed,
  ridvalue,
  ridvalue_rid,
  lp_sep,
  lp,
  dlp
};

struct GatherForm {
  GatherStore store;
  GatherResult result;
  GatherIndex index;

  bool operator==(const GatherForm&) const = default;
};

const char* name_of(GatherStore store);
const char* name_of(GatherResult result);
const char* name_of(GatherIndex index);
uint32_t flag_of(GatherResult result);

// The kernel's name.
std::string gather_name(const GatherForm& form);

// The kernel that serves these records; none: status 2. `kctx` may be null.
std::optional<GatherForm> gather_form(const colx_cv& res, const colx_cv& src,
                                      const colx_row_store& store, const colx_kctx* kctx);

// Bytes of an index of a fixed source.
unsigned index_bytes(GatherIndex index, const colx_cv& src);

// Index of row `row`.
uint64_t gather_index(GatherIndex index, const colx_cv& src, uint64_t row);

struct PageEntry {
  uint64_t page;
  uint64_t entry;
};
PageEntry split_index(const colx_row_store& store, uint64_t index);

struct GatherOutcome {
  uint32_t status;
  uint32_t position;
  Patches data;  // of colx_cv_data of the result
  Patches aux;   // of colx_cv_aux
};

GatherOutcome gather_outcome(const GatherForm& form, const colx_cv& res, const colx_cv& src,
                             const colx_row_store& store, const colx_kctx& kctx);

}  // namespace colx::oracle
