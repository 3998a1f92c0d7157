#include "tests/support/number_sum_stage.h"

#include <cstring>

#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

std::string describe(const NumberColumn& column) {
  return "type " + std::to_string(column.type) + ", flags " + std::to_string(column.flags) +
         ", width " + std::to_string(column.width_bits) + ", rows " + std::to_string(column.rows);
}

std::string first_difference(const std::string& head, const NumberRun& run, uint32_t status,
                             const std::vector<oracle::ComputedBits>& due, unsigned bytes) {
  if (run.status != status) return head + "status is " + std::to_string(run.status);
  for (size_t i = 0; i < due.size(); ++i) {
    if (due[i].allows(run.elements[i], bytes)) continue;
    return head + "element " + std::to_string(i) + " is " +
           not_the_word(run.elements[i], due[i].bits);
  }
  return run.damage.empty() ? "" : head + run.damage;
}

}  // namespace

NumberRun run_group_sum(const GroupSumBatch& batch, colx_gby_sum_call* sum,
                        oracle::GroupSumOutcome* due) {
  static GuardedPages nowhere, group_pages;
  static StagedNumbers stage;
  static GuardedOutput output;
  void* const untouchable = nowhere.unreadable();
  colx_cv* const src = stage.place(batch.column);
  std::vector<uint32_t> listed = batch.groups.value_or(std::vector<uint32_t>());
  listed.push_back(0);  // so that an empty list has an address
  const uint32_t* const keys = batch.groups ? listed.data() : nullptr;
  const oracle::GroupSumOutcome expected = oracle::group_sum_outcome(*src, keys, batch.elements);
  const unsigned bytes = expected.element_bytes;

  uint8_t* const out = output.bytes(batch.elements.size() * bytes, batch.place, batch.shift);
  store_words(out, batch.elements, bytes);
  colx_cv res = noisy_vector(expected.touches ? out : untouchable, untouchable);
  colx_cv groups = noisy_vector(untouchable, untouchable);
  if (batch.groups && !batch.groups->empty() && expected.touches) {
    const std::span<const uint8_t> stored(reinterpret_cast<const uint8_t*>(keys),
                                          4 * batch.groups->size());
    groups.colx_cv_data = group_pages.place(stored, batch.group_slack, batch.column.edge);
  }
  const colx_cv res_before = res, groups_before = groups;

  set_crash_note("group sums, %s", describe(batch.column).c_str());
  NumberRun run = {};
  run.status = sum(&res, src, batch.groups ? &groups : nullptr, untouchable);
  run.elements = words_at(out, batch.elements.size(), bytes);
  run.damage = output.damage();
  if (run.damage.empty()) run.damage = stage.damage("the column");
  if (std::memcmp(&res, &res_before, sizeof res) != 0) run.damage = "changed: the result's record";
  if (std::memcmp(&groups, &groups_before, sizeof groups) != 0) {
    run.damage = "changed: the record of the groups";
  }
  if (groups.colx_cv_data != untouchable &&
      std::memcmp(groups.colx_cv_data, keys, 4 * batch.groups->size()) != 0) {
    run.damage = "changed: the groups";
  }
  if (due != nullptr) *due = expected;
  return run;
}

std::string group_sum_difference(const GroupSumBatch& batch, colx_gby_sum_call* sum) {
  oracle::GroupSumOutcome due;
  const NumberRun run = run_group_sum(batch, sum, &due);
  const std::string head = "group sums, " + describe(batch.column) +
                           (batch.groups ? ", with groups: " : ", without groups: ");
  return first_difference(head, run, due.status, due.elements, due.element_bytes);
}

NumberRun run_convert(const NumberBatch& batch, colx_three_call* convert,
                      oracle::ConversionOutcome* due) {
  static GuardedPages nowhere;
  static StagedNumbers stage;
  static GuardedOutput output;
  void* const untouchable = nowhere.unreadable();
  colx_cv* const src = stage.place(batch.column);
  colx_kctx kctx;
  std::memset(&kctx, 0x5A, sizeof kctx);
  kctx.colx_kctx_env = static_cast<colx_env*>(untouchable);
  kctx.colx_kctx_selection = static_cast<uint64_t*>(untouchable);
  kctx.colx_kctx_flags = batch.kctx_flags;
  colx_kctx* const given = batch.with_kctx ? &kctx : nullptr;

  const oracle::ConvertPlan plan = oracle::convert_plan(*src, given);
  std::vector<uint64_t> before;
  if (plan.action == oracle::ConvertAction::sums) before = {batch.element};
  const oracle::ConversionOutcome expected = oracle::convert_outcome(*src, given, before);
  const unsigned bytes = expected.element_bytes;
  const size_t count = expected.elements.size();
  uint8_t* const out = output.bytes(count * bytes, batch.place, batch.shift);
  store_words(out, before, bytes);
  colx_cv res = noisy_vector(count == 0 ? untouchable : out, untouchable);
  const colx_cv res_before = res;
  const colx_kctx kctx_before = kctx;

  set_crash_note("conversion, %s", describe(batch.column).c_str());
  NumberRun run = {};
  run.status = convert(&res, src, given);
  run.elements = words_at(out, count, bytes);
  run.damage = output.damage();
  if (run.damage.empty()) run.damage = stage.damage("the column");
  if (std::memcmp(&res, &res_before, sizeof res) != 0) run.damage = "changed: the result's record";
  if (std::memcmp(&kctx, &kctx_before, sizeof kctx) != 0) run.damage = "changed: the kctx";
  if (due != nullptr) *due = expected;
  return run;
}

std::string convert_difference(const NumberBatch& batch, colx_three_call* convert) {
  oracle::ConversionOutcome due;
  const NumberRun run = run_convert(batch, convert, &due);
  const std::string head = "conversion, " + describe(batch.column) +
                           (batch.with_kctx ? ", kctx flags " + std::to_string(batch.kctx_flags)
                                            : std::string(", no kctx")) +
                           ": ";
  return first_difference(head, run, due.status, due.elements, due.element_bytes);
}

}  // namespace colx::test
