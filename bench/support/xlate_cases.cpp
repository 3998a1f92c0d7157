#include "bench/support/xlate_cases.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "bench/support/random_stream.h"
#include "bench/support/scalar_xlate.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr uint32_t page_elements = 256;
constexpr uint32_t base_key = 1'000'000'007;
constexpr uint64_t rows_checked = 5000;

uint32_t width_code(unsigned element_bits) {
  return element_bits == 1    ? COLX_WIDTH_BIT
         : element_bits == 4  ? COLX_WIDTH_NIB
         : element_bits == 8  ? COLX_WIDTH_UB1
         : element_bits == 16 ? COLX_WIDTH_UB2
                              : COLX_WIDTH_UB4;
}

uint32_t marker_of(unsigned element_bits) {
  return 0xFFFFFFFF >> (32 - element_bits);
}

uint32_t element_at(const uint8_t* elements, unsigned bits, uint64_t i) {
  if (bits < 8) return elements[i * bits / 8] >> i * bits % 8 & marker_of(bits);
  uint32_t element = 0;
  std::memcpy(&element, elements + i * bits / 8, bits / 8);
  return element;
}

std::vector<uint8_t> random_elements(uint64_t bytes, unsigned bits, unsigned hit_percent) {
  RandomNumbers random(bytes + bits);
  std::vector<uint8_t> elements(bytes);
  for (uint64_t i = 0; i < bytes * 8 / bits; ++i) {
    const bool hit = random.below(100) < hit_percent;
    const auto element =
        static_cast<uint32_t>(hit ? random.below(marker_of(bits)) : marker_of(bits));
    if (bits < 8)
      elements[i * bits / 8] |= static_cast<uint8_t>(element << i * bits % 8);
    else
      std::memcpy(&elements[i * bits / 8], &element, bits / 8);
  }
  return elements;
}

// Keys, bits and codes of a window lie in the working set one behind the other.
struct XlateCall {
  XlateForm form;
  SizeClass size;
  uint64_t rows;
  uint64_t elements;
  std::vector<uint8_t> table;
  std::vector<const uint8_t*> pages;
  std::vector<uint64_t> selection;
  uint32_t hit_rows[2];
  colx_binary_fn kernel;
  colx_cv res = {}, src = {}, other = {};
  colx_enc_ctx keys_ctx = {}, table_ctx = {}, base_ctx = {};
  colx_kctx kctx = {};

  uint8_t* keys(unsigned window) const { return output_bytes(size) + window * size.bytes; }
  uint64_t* bits(unsigned window) const {
    return reinterpret_cast<uint64_t*>(keys(window) + 4 * rows);
  }
  uint8_t* codes(unsigned window) const { return keys(window) + 4 * rows + rows / 8; }
  uint64_t code_bytes() const { return form.writes_codes ? rows * form.element_bits / 8 : 0; }

  void fill_keys() const {
    RandomNumbers random(elements);
    const uint32_t base = form.form == COLX_XLATE_OFF ? base_key : 0;
    for (uint64_t row = 0; row < rows; ++row) {
      const auto index = static_cast<uint32_t>((random.next() >> 32) * elements >> 32);
      const uint32_t key = __builtin_bswap32(base + index);
      std::memcpy(keys(0) + 4 * row, &key, sizeof key);
    }
    std::memset(bits(0), 0, rows / 8);
    // Too many for any branch predictor, so windows may have the same ones.
    for (unsigned window = 1; window < size.windows; ++window)
      std::memcpy(keys(window), keys(0), 4 * rows + rows / 8);
  }

  void run(unsigned window) {
    src.colx_cv_data = keys(window);
    res.colx_cv_bits = bits(window);
    kctx.colx_kctx_xlate_out = codes(window);
    kernel(&res, &src, &other, &kctx);
  }

  XlateRows scalar_rows(unsigned window) const {
    XlateRows x = {};
    x.keys = keys(window);
    x.rows = rows;
    x.selection = selection.data();
    x.table = other.colx_cv_bits;
    x.base = base_key;
    x.shift = table_ctx.colx_enc_ctx_xlate_shift;
    x.mask = table_ctx.colx_enc_ctx_xlate_mask;
    x.bits = bits(window);
    x.codes = codes(window);
    return x;
  }

  uint32_t found(uint64_t row) const {
    uint32_t key;
    std::memcpy(&key, keys(0) + 4 * row, sizeof key);
    key = __builtin_bswap32(key) - (form.form == COLX_XLATE_OFF ? base_key : 0);
    if (form.form == COLX_XLATE_IND && pages[key / page_elements] == nullptr)
      return marker_of(form.element_bits);
    return element_at(table.data(), form.element_bits, key);
  }
  bool chosen(uint64_t row) const {
    return selection.empty() || (selection[row / 64] >> row % 64 & 1) != 0;
  }
};

void set_table(XlateCall& call, const XlateTable& table) {
  const unsigned element_bits = call.form.element_bits;
  call.table = random_elements(table.bytes, element_bits, table.hit_percent);
  call.other.colx_cv_bits = reinterpret_cast<uint64_t*>(call.table.data());
  if (call.form.form != COLX_XLATE_IND) return;
  RandomNumbers random(table.bytes);
  for (uint64_t element = 0; element < call.elements; element += page_elements) {
    const bool missing = table.null_pages != 0 && random.below(table.null_pages) == 0;
    call.pages.push_back(missing ? nullptr : &call.table[element * element_bits / 8]);
  }
  call.other.colx_cv_bits = reinterpret_cast<uint64_t*>(call.pages.data());
  call.table_ctx.colx_enc_ctx_xlate_shift = 8;
  call.table_ctx.colx_enc_ctx_xlate_mask = page_elements - 1;
}

uint32_t slot_of(const XlateForm& form) {
  return colx_slot_index(COLX_OPC_XLATE, form.form, width_code(form.element_bits),
                         form.writes_codes ? COLX_FORM_VARIANT : COLX_FORM_PLAIN);
}

uint64_t rows_of(const XlateForm& form, const SizeClass& size) {
  const unsigned row_bits = 32 + 1 + (form.writes_codes ? form.element_bits : 0);
  return size.bytes * 8 / row_bits / 512 * 512;
}

std::shared_ptr<XlateCall> xlate_call(const XlateForm& form, const XlateTable& table,
                                      const SizeClass& size) {
  auto call = std::make_shared<XlateCall>();
  call->form = form;
  call->size = size;
  call->rows = rows_of(form, size);
  call->elements = table.bytes * 8 / form.element_bits;
  set_table(*call, table);
  call->fill_keys();
  call->kernel = reinterpret_cast<colx_binary_fn>(colx_dispatch_table[slot_of(form)]);
  call->keys_ctx.colx_enc_ctx_flags = COLX_HASH_VALUES;
  call->keys_ctx.colx_enc_ctx_width = 32;
  call->base_ctx.colx_enc_ctx_key_base = base_key;
  call->src.colx_cv_encoding_context = &call->keys_ctx;
  call->src.colx_cv_num_of_rows = static_cast<uint32_t>(call->rows);
  call->other.colx_cv_encoding_context = &call->table_ctx;
  call->res.colx_cv_data = call->hit_rows;
  call->kctx.colx_kctx_off_ctx = &call->base_ctx;
  return call;
}

// The scalar loop against rows looked up one by one, then the kernel against the scalar loop.
std::string fault_of(XlateCall& call, ScalarXlate scalar) {
  const unsigned element_bits = call.form.element_bits;
  std::memset(call.codes(0), 0, call.code_bytes());
  XlateRows x = call.scalar_rows(0);
  scalar(x);
  for (uint64_t row = 0; row < std::min(call.rows, rows_checked); ++row) {
    const uint32_t element = call.found(row);
    const bool hit = call.chosen(row) && element != marker_of(element_bits);
    if ((x.bits[row / 64] >> row % 64 & 1) != hit)
      return "the scalar loop's bits differ from the reference";
    if (call.form.writes_codes && call.chosen(row) &&
        element_at(call.codes(0), element_bits, row) != element)
      return "the scalar loop's codes differ from the reference";
  }
  const uint64_t bytes = call.rows / 8 + call.code_bytes();
  const auto* const made = reinterpret_cast<const uint8_t*>(call.bits(0));
  const std::vector<uint8_t> expected(made, made + bytes);
  std::memset(call.bits(0), 0, bytes);
  call.run(0);
  const bool same = std::memcmp(made, expected.data(), bytes) == 0 &&
                    call.res.colx_cv_num_set == x.count && call.hit_rows[0] == x.first &&
                    call.hit_rows[1] == x.last;
  return same ? "" : "the kernel differs from the scalar loop";
}

Contest contest_of(const std::shared_ptr<XlateCall>& call, ScalarXlate scalar) {
  Contest contest;
  contest.fault = fault_of(*call, scalar);
  contest.kernel = [=](unsigned window) { call->run(window); };
  contest.scalar = [=](unsigned window) {
    XlateRows x = call->scalar_rows(window);
    scalar(x);
    asm volatile("" : : "r"(x.count), "r"(x.first), "r"(x.last));
  };
  return contest;
}

std::string case_name(const XlateForm& form, const XlateTable& table) {
  const std::string name = colx_dispatch_func_names[slot_of(form)];
  const std::string nulls =
      table.null_pages != 0 ? ", 1 page in " + std::to_string(table.null_pages) + " null" : "";
  return name + ", " + std::to_string(table.bytes >> 10) + "K table, " +
         std::to_string(table.hit_percent) + "%" + nulls;
}

struct ShareCall {
  SizeClass size;
  uint64_t rows;
  std::vector<uint8_t> table;
  colx_binary_fn kernel;
  colx_cv res = {}, src = {};
  colx_kctx kctx = {};

  uint32_t* codes(unsigned window) const {
    return reinterpret_cast<uint32_t*>(output_bytes(size) + window * size.bytes);
  }
  uint32_t* keys(unsigned window) const { return codes(window) + rows; }

  void run(unsigned window) {
    src.colx_cv_data = codes(window);
    res.colx_cv_data = keys(window);
    kernel(&res, &src, nullptr, &kctx);
  }
};

std::string fault_of(ShareCall& call, ScalarKeyShare scalar, unsigned element_bits) {
  const uint32_t multiplier = call.kctx.colx_kctx_multiplier;
  std::vector<uint32_t> by_scalar(call.rows, 7), by_kernel(call.rows);
  scalar(call.codes(0), call.table.data(), multiplier, by_scalar.data(), call.rows);
  for (uint64_t row = 0; row < std::min(call.rows, rows_checked); ++row)
    if (by_scalar[row] !=
        7 + element_at(call.table.data(), element_bits, call.codes(0)[row]) * multiplier)
      return "the scalar loop differs from the reference";
  std::fill(call.keys(0), call.keys(0) + call.rows, 7);
  call.run(0);
  const bool same = std::equal(by_scalar.begin(), by_scalar.end(), call.keys(0));
  return same ? "" : "the kernel differs from the scalar loop";
}

}  // namespace

Case xlate_case(const XlateForm& form, const XlateTable& table, const SizeClass& size) {
  const auto prepare = [=] {
    return contest_of(xlate_call(form, table, size),
                      scalar_xlate(form.form, form.element_bits, form.writes_codes));
  };
  const uint64_t rows = rows_of(form, size);
  const uint64_t bytes =
      4 * rows + rows / 8 + (form.writes_codes ? rows * form.element_bits / 8 : 0);
  return {case_name(form, table), "", size, rows, bytes, prepare};
}

Case xlate_selected_case(const XlateForm& form, const XlateTable& table, unsigned one_in,
                         const SizeClass& size) {
  const uint64_t rows = rows_of(form, size);
  const auto prepare = [=] {
    const auto call = xlate_call(form, table, size);
    RandomNumbers random(one_in);
    call->selection.resize(rows / 64);
    for (uint64_t row = 0; row < rows; ++row)
      call->selection[row / 64] |= uint64_t{random.below(one_in) == 0} << row % 64;
    call->kctx.colx_kctx_selection = call->selection.data();
    return contest_of(call, scalar_xlate_selected(form.form, form.element_bits, form.writes_codes));
  };
  const std::string name = case_name(form, table) + ", 1 in " + std::to_string(one_in);
  return {name, "", size, rows, rows / 4 + 4 * rows / one_in, prepare};
}

Case key_share_case(unsigned element_bits, uint64_t table_bytes, const SizeClass& size) {
  const uint64_t rows = size.bytes / 8 / 64 * 64;
  const XlateForm form = {COLX_XLATE_GROUPKEY, element_bits, true};
  const auto prepare = [=] {
    const auto call = std::make_shared<ShareCall>();
    call->size = size;
    call->rows = rows;
    call->table = random_elements(table_bytes, element_bits, 100);
    RandomNumbers random(element_bits);
    for (unsigned window = 0; window < size.windows; ++window)
      for (uint64_t row = 0; row < rows; ++row)
        call->codes(window)[row] =
            static_cast<uint32_t>(random.below(table_bytes * 8 / element_bits));
    call->kernel = reinterpret_cast<colx_binary_fn>(colx_dispatch_table[slot_of(form)]);
    call->src.colx_cv_num_of_rows = static_cast<uint32_t>(rows);
    call->kctx.colx_kctx_xlate_out = call->table.data();
    call->kctx.colx_kctx_multiplier = 175;
    const ScalarKeyShare scalar = scalar_key_share(element_bits);
    Contest contest;
    contest.fault = fault_of(*call, scalar, element_bits);
    contest.kernel = [=](unsigned window) { call->run(window); };
    contest.scalar = [=](unsigned window) {
      scalar(call->codes(window), call->table.data(), call->kctx.colx_kctx_multiplier,
             call->keys(window), rows);
    };
    return contest;
  };
  const std::string name = std::string(colx_dispatch_func_names[slot_of(form)]) + ", " +
                           std::to_string(table_bytes >> 10) + "K table";
  return {name, "", size, rows, 12 * rows, prepare};
}

}  // namespace colx::bench
