// Group sums and conversion of every row form against row-by-row loops; converting also against a
// loop that copies 16 bytes at a time, and in cost against memcpy.

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/random_stream.h"
#include "bench/support/scalar_numbers.h"
#include "bench/support/stream_limit.h"
#include "bench/support/unpack_limit.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

#define GROUPED(forms) "colx_gby_sum_dydi (" forms "), 1000 groups"
constexpr Target targets[] = {
    {"native rows in 1000 groups, times a plain loop", GROUPED("float|double"), &in_l2,
     Figure::times_scalar, 1},
    {"canonical rows in 1000 groups, times a plain loop",
     GROUPED("canonical float|canonical double"), &in_l2, Figure::times_scalar, 1.5},
    {"conversion out of cache, of a copy by 16 bytes", "colx_convert_dydi canonical \\w+",
     &in_memory, Figure::of_limit, 0.8},
    {"conversion out of cache, cost of memcpy", "colx_convert_dydi canonical \\w+", &in_memory,
     Figure::of_peer, 1.25},
};
#undef GROUPED

constexpr uint32_t group_count = 1000;

constexpr RowForm row_forms[] = {RowForm::float_native,  RowForm::float_canonical,
                                 RowForm::double_native, RowForm::double_canonical,
                                 RowForm::dsb_8,         RowForm::dsb_16,
                                 RowForm::dsb_32,        RowForm::dsb_64};

struct FormFacts {
  const char* name;
  uint32_t type;
  uint32_t flags;
  uint32_t width_bits;
};

constexpr FormFacts facts_of_form[] = {{"float", COLX_TYPE_FLOAT, COLX_NATIVE, 32},
                                       {"canonical float", COLX_TYPE_FLOAT, 0, 32},
                                       {"double", COLX_TYPE_DOUBLE, COLX_NATIVE, 64},
                                       {"canonical double", COLX_TYPE_DOUBLE, 0, 64},
                                       {"dsb 8", COLX_TYPE_DSB, 0, 8},
                                       {"dsb 16", COLX_TYPE_DSB, 0, 16},
                                       {"dsb 32", COLX_TYPE_DSB, 0, 32},
                                       {"dsb 64", COLX_TYPE_DSB, 0, 64}};

const FormFacts& facts_of(RowForm form) {
  return facts_of_form[static_cast<size_t>(form)];
}

// A column of numbers with its records, a slice of them for each window.
struct NumberCall {
  SizeClass size;
  uint64_t row_bytes;
  uint64_t rows;
  colx_enc_ctx encoding = {};
  colx_cv column = {};
  colx_cv result = {};

  NumberCall(RowForm form, const SizeClass& size_class, uint64_t other_bytes_a_row)
      : size(size_class),
        row_bytes(facts_of(form).width_bits / 8),
        rows(size.bytes / (row_bytes + other_bytes_a_row) / 512 * 512) {
    encoding.colx_enc_ctx_type = facts_of(form).type;
    encoding.colx_enc_ctx_flags = facts_of(form).flags;
    encoding.colx_enc_ctx_width = facts_of(form).width_bits;
    column.colx_cv_encoding_context = &encoding;
    column.colx_cv_num_of_rows = static_cast<uint32_t>(rows);
  }

  const uint8_t* data(unsigned window) const { return number_bytes(size) + window * size.bytes; }
};

// Keys below the number of groups, an array for each window, and the accumulators.
struct GroupCall : NumberCall {
  std::vector<uint32_t> keys;
  std::vector<uint64_t> accumulators;
  colx_cv groups = {};

  GroupCall(RowForm form, const SizeClass& size_class)
      : NumberCall(form, size_class, sizeof(uint32_t)), keys(rows * size.windows) {
    RandomNumbers random(1);
    for (uint32_t& key : keys) key = static_cast<uint32_t>(random.below(group_count));
    accumulators.resize(group_count);
    result.colx_cv_data = accumulators.data();
  }

  const uint32_t* keys_of(unsigned window) const { return keys.data() + window * rows; }
  uint8_t* sums() { return reinterpret_cast<uint8_t*>(accumulators.data()); }

  void run(unsigned window) {
    column.colx_cv_data = const_cast<uint8_t*>(data(window));
    groups.colx_cv_data = const_cast<uint32_t*>(keys_of(window));
    colx_gby_sum_dydi(&result, &column, &groups, nullptr);
  }
};

Case grouped_case(RowForm form, const SizeClass& size) {
  const auto prepare = [=] {
    const auto call = std::make_shared<GroupCall>(form, size);
    Contest contest;
    contest.kernel = [=](unsigned window) { call->run(window); };
    contest.scalar = [=, line = scalar_group_sum(form)](unsigned window) {
      line(call->data(window), call->keys_of(window), call->rows, call->sums());
    };
    // Both add in row order, so they agree to the last bit.
    contest.kernel(0);
    const std::vector<uint64_t> sums = call->accumulators;
    call->accumulators.assign(group_count, 0);
    contest.scalar(0);
    if (sums != call->accumulators) contest.fault = "the kernel differs from the plain loop";
    return contest;
  };
  const NumberCall call(form, size, sizeof(uint32_t));
  return {"colx_gby_sum_dydi " + std::string(facts_of(form).name) + ", 1000 groups",
          "",
          size,
          call.rows,
          call.rows * (call.row_bytes + 4),
          prepare};
}

double number_in(const uint64_t& element, RowForm form) {
  if (facts_of(form).type == COLX_TYPE_DSB)
    return static_cast<double>(static_cast<int64_t>(element));
  double number;
  float narrow;
  std::memcpy(&number, &element, sizeof number);
  std::memcpy(&narrow, &element, sizeof narrow);
  return facts_of(form).type == COLX_TYPE_FLOAT ? narrow : number;
}

// One element for all rows: group sums without keys, or conversion in its summing mode, whose lanes
// round in another order than the plain loop.
Case one_sum_case(RowForm form, bool by_conversion, const SizeClass& size) {
  const auto prepare = [=] {
    const auto call = std::make_shared<NumberCall>(form, size, 0);
    const auto sum = std::make_shared<uint64_t>(0);
    call->result.colx_cv_data = sum.get();
    Contest contest;
    contest.kernel = [=](unsigned window) {
      call->column.colx_cv_data = const_cast<uint8_t*>(call->data(window));
      colx_kctx kctx{};
      kctx.colx_kctx_flags = COLX_KCTX_SUM;
      if (by_conversion)
        colx_convert_dydi(&call->result, &call->column, &kctx);
      else
        colx_gby_sum_dydi(&call->result, &call->column, nullptr, nullptr);
    };
    contest.scalar = [=, line = scalar_sum(form)](unsigned window) {
      line(call->data(window), call->rows, reinterpret_cast<uint8_t*>(sum.get()));
    };
    contest.limit = [=](unsigned window) {
      read_limit(call->data(window), call->rows * call->row_bytes);
    };
    contest.kernel(0);
    const double kernel_sum = number_in(*sum, form);
    *sum = 0;
    contest.scalar(0);
    const double largest_sum = static_cast<double>(call->rows);
    const bool exact = !by_conversion || facts_of(form).type == COLX_TYPE_DSB;
    const double difference = std::abs(kernel_sum - number_in(*sum, form));
    if (difference > (exact ? 0 : 1e-4 * largest_sum))
      contest.fault = "the kernel differs from the plain loop";
    return contest;
  };
  const NumberCall call(form, size, 0);
  const std::string name = by_conversion ? "colx_convert_dydi " : "colx_gby_sum_dydi ";
  return {name + facts_of(form).name + (by_conversion ? ", summed" : ", no groups"),
          "",
          size,
          call.rows,
          call.rows * call.row_bytes,
          prepare};
}

Case convert_case(RowForm form, const SizeClass& size) {
  const auto prepare = [=] {
    const auto call = std::make_shared<NumberCall>(form, size, facts_of(form).width_bits / 8);
    const uint64_t bytes = call->rows * call->row_bytes;
    const auto out = [=](unsigned window) { return output_bytes(size) + window * size.bytes; };
    Contest contest;
    contest.kernel = [=](unsigned window) {
      call->column.colx_cv_data = const_cast<uint8_t*>(call->data(window));
      call->result.colx_cv_data = out(window);
      colx_convert_dydi(&call->result, &call->column, nullptr);
    };
    contest.scalar = [=, line = scalar_conversion(form == RowForm::double_canonical)](
                         unsigned window) { line(call->data(window), call->rows, out(window)); };
    contest.limit = [=, copy = unpack_limit(32, 4)](unsigned window) {
      copy(call->data(window), out(window), bytes / 4);
    };
    contest.peer = [=](unsigned window) {
      std::memcpy(out(window), call->data(window), bytes);
      asm volatile("" : : : "memory");
    };
    contest.scalar(0);
    const std::vector<uint8_t> expected(out(0), out(0) + bytes);
    std::memset(out(0), 0, bytes);
    contest.kernel(0);
    if (std::memcmp(out(0), expected.data(), bytes) != 0)
      contest.fault = "the kernel differs from the plain loop";
    return contest;
  };
  const NumberCall call(form, size, facts_of(form).width_bits / 8);
  return {"colx_convert_dydi " + std::string(facts_of(form).name),
          "memcpy",
          size,
          call.rows,
          2 * call.rows * call.row_bytes,
          prepare};
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (const SizeClass& size : {in_l2, in_memory}) {
    for (const RowForm form : row_forms) cases.push_back(grouped_case(form, size));
    for (const RowForm form : row_forms) cases.push_back(one_sum_case(form, false, size));
    for (const RowForm form : {RowForm::float_canonical, RowForm::double_canonical}) {
      cases.push_back(convert_case(form, size));
      cases.push_back(one_sum_case(form, true, size));
    }
    for (const RowForm form : {RowForm::dsb_8, RowForm::dsb_16, RowForm::dsb_32, RowForm::dsb_64})
      cases.push_back(one_sum_case(form, true, size));
  }
  return {cases, targets};
}

}  // namespace colx::bench
