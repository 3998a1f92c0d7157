#include "tests/support/build_stage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "kernels/join/table_passes.h"
#include "tests/support/call_records.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

using oracle::KeyLayout;

constexpr uint32_t k2v8 = COLX_HT_K2V8, k2v4 = COLX_HT_K2V4, k4v8 = COLX_HT_K4V8,
                   k4v4 = COLX_HT_K4V4;

}  // namespace

#define COLX_BUILD_KERNEL(form, layout, value)                                      \
  {"colx_ht_build_" #form "_" #layout "_" #value,                                   \
   colx_ht_build_##form##_##layout##_##value,                                       \
   {oracle::table_form(form), KeyLayout::layout, std::string(#value) == "autorid"}, \
   KeyLayout::layout == KeyLayout::gd},
#define COLX_BUILD_HASHRID(form)                          \
  {"colx_ht_build_" #form "_hashrid",                     \
   colx_ht_build_##form##_hashrid,                        \
   {oracle::table_form(form), KeyLayout::hashrid, false}, \
   false},

const std::vector<BuildKernel>& build_kernels() {
  static const std::vector<BuildKernel> kernels = {
      COLX_HASHED_TABLE_KERNELS(COLX_BUILD_KERNEL) COLX_CODE_TABLE_KERNELS(COLX_BUILD_KERNEL)
          COLX_TABLE_FORMS(COLX_BUILD_HASHRID){
              "colx_ht_build_k4v8_hashgdrid",
              colx_ht_build_k4v8_hashgdrid,
              {oracle::table_form(k4v8), KeyLayout::hashgdrid, false},
              true}};
  return kernels;
}

const BuildKernel& build_kernel_named(const std::string& name) {
  for (const BuildKernel& kernel : build_kernels()) {
    if (name == kernel.name) return kernel;
  }
  std::fprintf(stderr, "no build kernel %s\n", name.c_str());
  std::abort();
}

BuildStage& build_stage() {
  static BuildStage stage;
  return stage;
}

void BuildStage::set_rows(const JoinRows& rows, unsigned value_bytes) {
  set_columns(keys, payload, rows, value_bytes);
  start_at_row_0(kctx, nowhere_.unreadable());
}

std::string BuildStage::damage() const {
  std::string text = keys.damage();
  return text.empty() ? payload.damage() : text;
}

std::string BuildStage::difference(const BuildKernel& kernel) {
  keys.remember();
  payload.remember();
  const Bytes before = table.bytes();
  const oracle::BuildOutcome expected =
      oracle::build(kernel.form, table.ht, keys.cv, payload.cv, part, fn, kctx);
  const Bytes table_expected = table.bytes();
  table.restore(before);
  const std::string what = std::to_string(keys.cv.colx_cv_num_of_rows) + " rows from " +
                           std::to_string(kctx.colx_kctx_position) + ", part " +
                           std::to_string(part) + ", " + describe(table.shape());
  set_crash_note("%s, %s", kernel.name, what.c_str());
  status = kernel.call(&table.ht, &keys.cv, &payload.cv, part, fn, &kctx);
  stopped_entry = expected.stopped_entry;

  std::string text;
  if (status != expected.status) {
    text = "status " + std::to_string(status) + ", not " + std::to_string(expected.status);
  }
  if (text.empty()) text = kctx_difference(kctx, expected.kctx);
  if (text.empty()) text = table.difference(table_expected);
  if (text.empty()) text = damage();
  return text.empty() ? text : std::string(kernel.name) + ": " + text + " [" + what + "]";
}

std::string BuildStage::refusal() {
  keys.remember();
  payload.remember();
  const Bytes before = table.bytes();
  const colx_kctx kctx_before = kctx;
  set_crash_note("colx_ht_build_dydi, not served: %s", describe(table.shape()).c_str());
  status = colx_ht_build_dydi(&table.ht, &keys.cv, &payload.cv, part, fn, &kctx);
  std::string text;
  if (status != COLX_NOT_SERVED) text = "status " + std::to_string(status) + ", not 2";
  if (text.empty()) text = kctx_difference(kctx, kctx_before);
  if (text.empty()) text = table.difference(before);
  if (text.empty()) text = damage();
  return text.empty() ? text : "colx_ht_build_dydi: " + text;
}

std::string BuildStage::entry_difference() {
  const auto form = oracle::build_kernel(table.ht.colx_ht_type, keys.encoding.colx_enc_ctx_flags,
                                         payload.encoding.colx_enc_ctx_flags);
  if (!form.has_value()) return refusal();
  return difference({"colx_ht_build_dydi", colx_ht_build_dydi, *form, false});
}

std::string build_bucket_by_bucket(BuildStage& stage, const BuildKernel& kernel, bool scattered,
                                   Random& random) {
  const TableShape& shape = stage.table.shape();
  std::vector<uint32_t> order(shape.over_buckets);
  for (uint32_t i = 0; i < order.size(); ++i) {
    order[i] = i;
    if (scattered) std::swap(order[i], order[random.below(i + 1)]);
  }
  std::vector<uint32_t> used(shape.partitions);
  for (uint32_t p = 0; p < shape.partitions; ++p) stage.table.grant(p, 0);
  for (;;) {
    std::string text = stage.difference(kernel);
    if (!text.empty() || stage.status != COLX_OVERFLOW_FULL) return text;
    uint32_t& taken = used[stage.stopped_entry];
    if (taken == order.size()) return "the test's overflow regions are too small";
    stage.table.grant_bucket(stage.stopped_entry, order[taken++]);
  }
}

}  // namespace colx::test
