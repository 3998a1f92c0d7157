#include "tests/oracle/gather_oracle.h"

#include "tests/oracle/hash_layout_oracle.h"
#include "tests/oracle/native_numbers.h"

namespace colx::oracle {
namespace {

constexpr const char* index_names[] = {"fixed_8",  "fixed_4",      "fixed_2", "fixed_1", "fixed",
                                       "ridvalue", "ridvalue_rid", "lp_sep",  "lp",      "dlp"};
constexpr const char* result_names[] = {"fixed", "lv_sep", "lv", "lp_sep", "lp", "dlp"};
constexpr uint32_t result_flags[] = {COLX_FIXED,  COLX_LV_SEP, COLX_LV,
                                     COLX_LP_SEP, COLX_LP,     COLX_DLP};

struct Found {
  const uint8_t* value;
  uint16_t length;
  uint64_t place;  // that a dlp result would store
};

uint64_t low_bits(unsigned bits) {
  return (uint64_t{1} << bits) - 1;
}

const uint8_t* bytes_at(const void* array, uint64_t byte) {
  return static_cast<const uint8_t*>(array) + byte;
}

// Bytes of a row of a fixed source: its width counts bits in 16 bits.
unsigned fixed_bytes(const colx_cv& src) {
  return (src.colx_cv_encoding_context->colx_enc_ctx_width & 0xFFFF) >> 3;
}

uint32_t flags_of(const colx_cv& vector) {
  return vector.colx_cv_encoding_context->colx_enc_ctx_flags;
}

std::optional<GatherIndex> direct_index(uint32_t src_flags) {
  if ((src_flags & COLX_LP_SEP) != 0) return GatherIndex::lp_sep;
  if ((src_flags & COLX_LP) != 0) return GatherIndex::lp;
  if ((src_flags & COLX_DLP) != 0) return GatherIndex::dlp;
  return std::nullopt;
}

std::optional<GatherStore> store_form(uint32_t store_type) {
  if ((store_type & COLX_STORE_LP) != 0) return GatherStore::lp;
  if ((store_type & COLX_STORE_DLP) != 0) return GatherStore::dlp;
  if ((store_type & COLX_STORE_CLA) != 0) return GatherStore::cla;
  return std::nullopt;
}

std::optional<GatherResult> result_layout(uint32_t res_flags) {
  for (size_t i = 0; i < 6; ++i) {
    if ((res_flags & result_flags[i]) != 0) return static_cast<GatherResult>(i);
  }
  return std::nullopt;
}

std::optional<GatherIndex> store_index(const colx_cv& src, const colx_kctx* kctx) {
  if ((flags_of(src) & COLX_FIXED) != 0) {
    switch (fixed_bytes(src)) {
      case 8:
        return GatherIndex::fixed_8;
      case 4:
        return GatherIndex::fixed_4;
      case 2:
        return GatherIndex::fixed_2;
      case 1:
        return GatherIndex::fixed_1;
      default:
        return GatherIndex::fixed;
    }
  }
  if ((flags_of(src) & COLX_RIDVALUE) == 0) return std::nullopt;
  const bool by_rid = kctx != nullptr && (kctx->colx_kctx_flags & COLX_KCTX_GATHER_RID) != 0;
  return by_rid ? GatherIndex::ridvalue_rid : GatherIndex::ridvalue;
}

Found found_directly(GatherIndex index, const colx_cv& src, uint64_t row) {
  if (index != GatherIndex::dlp) {
    const KeyLayout layout = index == GatherIndex::lp ? KeyLayout::lp : KeyLayout::lp_sep;
    const KeyBytes value = keys_of(layout, src, row, 0, 1).keys[0];
    return {value.at, value.length, 0};
  }
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  const uint64_t word = native_at(bytes_at(src.colx_cv_data, 8 * row), 8);
  const uint64_t place = word >> 16;
  const auto* const page = static_cast<const uint8_t*>(
      encoding.colx_enc_ctx_dlp_pages[place >> encoding.colx_enc_ctx_dlp_bits]);
  return {page + (place & low_bits(encoding.colx_enc_ctx_dlp_bits)), static_cast<uint16_t>(word),
          0};
}

Found found_in_store(const GatherForm& form, const colx_cv& res, const colx_row_store& store,
                     PageEntry at) {
  const colx_enc_ctx& encoding = *res.colx_cv_encoding_context;
  const unsigned bits = encoding.colx_enc_ctx_dlp_bits;
  const bool to_dlp = form.result == GatherResult::dlp;
  Found found = {};
  if (form.store == GatherStore::lp) {
    const void* const records = store.colx_store_lp_pages[at.page];
    found.value = address_at(bytes_at(records, 16 * at.entry + 8));
    found.length = static_cast<uint16_t>(native_at(bytes_at(records, 16 * at.entry), 2));
    const auto pointer = reinterpret_cast<uint64_t>(found.value);
    if (to_dlp) found.place = (at.page << bits) + (pointer & low_bits(bits));
  } else if (form.store == GatherStore::cla) {
    const void* const offsets = store.colx_store_cla_pages[at.page];
    const uint64_t begin = native_at(bytes_at(offsets, 4 * at.entry), 4);
    const uint64_t end = native_at(bytes_at(offsets, 4 * at.entry + 4), 4);
    const auto base = reinterpret_cast<uint64_t>(store.colx_store_data_bases[at.page]);
    found.value = reinterpret_cast<const uint8_t*>(base + begin);
    found.length = static_cast<uint16_t>(end - begin);
    if (to_dlp) found.place = (at.page << bits) + ((begin + base) & low_bits(bits));
  } else {
    const uint64_t word = native_at(bytes_at(store.colx_store_dlp_pages[at.page], 8 * at.entry), 8);
    found.length = static_cast<uint16_t>(word);
    found.place = (word >> 16) & low_bits(bits);
    // What is left has no page number in it: all values lie in the first data page.
    if (!to_dlp) {
      const auto base = reinterpret_cast<uint64_t>(encoding.colx_enc_ctx_dlp_pages[0]);
      found.value = reinterpret_cast<const uint8_t*>(base + found.place);
    }
  }
  return found;
}

// Writes one value. `data` and `aux` are the ends of what stands in the result so far.
struct ResultWriter {
  GatherResult layout;
  uint64_t value_bytes;
  uint64_t room;
  uint64_t data = 0;
  uint64_t aux = 0;

  uint64_t needs(const Found& found) const {
    switch (layout) {
      case GatherResult::fixed:
        return value_bytes;
      case GatherResult::lv_sep:
        return found.length;
      case GatherResult::lv:
        return uint64_t{found.length} + 2;
      case GatherResult::lp_sep:
        return 8;
      case GatherResult::lp:
        return 16;
      case GatherResult::dlp:
        return 0;
    }
    return 0;
  }

  void length_to_aux(const Found& found, GatherOutcome& outcome) {
    outcome.aux.push_back(patch_of_number(aux, found.length, 2));
    aux += 2;
  }

  void write(const Found& found, uint64_t row, GatherOutcome& outcome) {
    Patches& out = outcome.data;
    const auto pointer = reinterpret_cast<uint64_t>(found.value);
    switch (layout) {
      case GatherResult::fixed:
        out.push_back(patch_of_bytes(data, found.value, value_bytes));
        break;
      case GatherResult::lv_sep:
        length_to_aux(found, outcome);
        out.push_back(patch_of_bytes(data, found.value, found.length));
        break;
      case GatherResult::lv:
        out.push_back(patch_of_number(data, found.length, 2));
        out.push_back(patch_of_bytes(data + 2, found.value, found.length));
        break;
      case GatherResult::lp_sep:
        length_to_aux(found, outcome);
        out.push_back(patch_of_number(data, pointer, 8));
        break;
      case GatherResult::lp:
        out.push_back(patch_of_number(data, found.length, 2));
        out.push_back(patch_of_number(data + 8, pointer, 8));
        break;
      case GatherResult::dlp:
        out.push_back(patch_of_number(8 * row, found.place << 16 | found.length, 8));
        break;
    }
    data += needs(found);
    room -= needs(found);
  }
};

}  // namespace

const char* name_of(GatherStore store) {
  constexpr const char* names[] = {"lp", "dlp", "cla", ""};
  return names[static_cast<size_t>(store)];
}
const char* name_of(GatherResult result) {
  return result_names[static_cast<size_t>(result)];
}
const char* name_of(GatherIndex index) {
  return index_names[static_cast<size_t>(index)];
}
uint32_t flag_of(GatherResult result) {
  return result_flags[static_cast<size_t>(result)];
}

std::string gather_name(const GatherForm& form) {
  std::string name = "colx_gather_";
  if (form.store != GatherStore::none) name += std::string(name_of(form.store)) + "_";
  return name + name_of(form.result) + "_" + name_of(form.index);
}

std::optional<GatherForm> gather_form(const colx_cv& res, const colx_cv& src,
                                      const colx_row_store& store, const colx_kctx* kctx) {
  const uint32_t res_flags = flags_of(res);
  const std::optional<GatherIndex> direct = direct_index(flags_of(src));
  if ((res_flags & COLX_LV_SEP) != 0) {
    if (direct) return GatherForm{GatherStore::none, GatherResult::lv_sep, *direct};
  } else if ((res_flags & COLX_LV) != 0) {
    if (direct) return GatherForm{GatherStore::none, GatherResult::lv, *direct};
  }
  const auto from = store_form(store.colx_store_type);
  const auto to = result_layout(res_flags);
  const auto by = store_index(src, kctx);
  if (!from || !to || !by) return std::nullopt;
  return GatherForm{*from, *to, *by};
}

unsigned index_bytes(GatherIndex index, const colx_cv& src) {
  switch (index) {
    case GatherIndex::fixed_8:
      return 8;
    case GatherIndex::fixed_4:
      return 4;
    case GatherIndex::fixed_2:
      return 2;
    case GatherIndex::fixed_1:
      return 1;
    default:
      return fixed_bytes(src);
  }
}

uint64_t gather_index(GatherIndex index, const colx_cv& src, uint64_t row) {
  const auto* const data = static_cast<const uint8_t*>(src.colx_cv_data);
  if (index == GatherIndex::ridvalue) return native_at(data + 16 * row + 8, 8);
  if (index == GatherIndex::ridvalue_rid) return native_at(data + 16 * row, 8);
  const unsigned bytes = index_bytes(index, src);
  return native_at(data + row * bytes, bytes);
}

PageEntry split_index(const colx_row_store& store, uint64_t index) {
  const unsigned shift = store.colx_store_page_shift;
  if (shift == 64) return {0, index};
  const unsigned hi = store.colx_store_page_hi;
  const uint64_t mask = hi == 63 ? ~uint64_t{0} : low_bits(hi + 1);
  return {(index & mask) >> shift, index & low_bits(shift)};
}

GatherOutcome gather_outcome(const GatherForm& form, const colx_cv& res, const colx_cv& src,
                             const colx_row_store& store, const colx_kctx& kctx) {
  GatherOutcome outcome = {};
  ResultWriter writer = {.layout = form.result,
                         .value_bytes = uint64_t{store.colx_store_value_bits} >> 3,
                         .room = res.colx_cv_capacity};
  const uint32_t rows = src.colx_cv_num_of_rows;
  for (uint64_t row = kctx.colx_kctx_position; row < rows; ++row) {
    const Found found =
        form.store == GatherStore::none
            ? found_directly(form.index, src, row)
            : found_in_store(form, res, store,
                             split_index(store, gather_index(form.index, src, row)));
    if (writer.room < writer.needs(found)) {
      outcome.status = COLX_OUT_OF_ROOM;
      outcome.position = static_cast<uint32_t>(row);
      return outcome;
    }
    writer.write(found, row, outcome);
  }
  outcome.status = COLX_DONE;
  outcome.position = rows;
  return outcome;
}

}  // namespace colx::oracle
