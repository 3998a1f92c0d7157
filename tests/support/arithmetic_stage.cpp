#include "tests/support/arithmetic_stage.h"

#include <cstring>
#include <utility>

#include "tests/support/crash_note.h"
#include "tests/support/staged_numbers.h"

namespace colx::test {
namespace {

NumberColumn column_of(const Operand& operand, oracle::NumberForm form,
                       const ArithmeticBatch& batch) {
  return {.stored = oracle::stored_rows(operand.numbers, batch.kind.bytes(), form),
          .rows = operand.rows,
          .flags = operand.more_flags | (operand.constant ? COLX_CONST : 0),
          .edge = batch.edge,
          .slack_bytes = batch.slack_bytes};
}

std::string describe(const ArithmeticBatch& batch) {
  const auto side = [](const Operand& operand) {
    return std::to_string(operand.rows) + (operand.constant ? " constant" : "");
  };
  return "rows " + side(batch.left) + " and " + side(batch.right);
}

}  // namespace

ArithmeticKernel arithmetic_kernel(const oracle::ArithmeticKind& kind) {
  const ScanKernel slot = kernel_at(kind.slot());
  return {slot.name, reinterpret_cast<colx_binary_fn>(slot.kernel)};
}

std::vector<oracle::ArithmeticKind> arithmetic_kinds(bool sums) {
  using oracle::NumberForm;
  std::vector<oracle::ArithmeticKind> kinds;
  for (const uint32_t opc : {COLX_OPC_ADD, COLX_OPC_SUB, COLX_OPC_MUL}) {
    for (const bool doubles : {false, true}) {
      for (const NumberForm left : {NumberForm::native, NumberForm::canonical}) {
        for (const NumberForm right : {NumberForm::native, NumberForm::canonical}) {
          kinds.push_back({opc, doubles, left, right, sums});
        }
      }
    }
  }
  return kinds;
}

void ArithmeticBatch::set_rows(std::vector<uint64_t> left_numbers,
                               std::vector<uint64_t> right_numbers) {
  left.rows = static_cast<uint32_t>(left_numbers.size());
  right.rows = static_cast<uint32_t>(right_numbers.size());
  left.numbers = std::move(left_numbers);
  right.numbers = std::move(right_numbers);
}

ArithmeticRun run_arithmetic(const ArithmeticKernel& kernel, const ArithmeticBatch& batch,
                             std::vector<oracle::ComputedBits>* due) {
  static GuardedPages nowhere;
  static StagedNumbers left_stage, right_stage;
  static GuardedOutput output;
  void* const untouchable = nowhere.unreadable();
  const unsigned bytes = batch.kind.bytes();
  colx_cv* const left = left_stage.place(column_of(batch.left, batch.kind.left, batch));
  colx_cv* const right = right_stage.place(column_of(batch.right, batch.kind.right, batch));
  const size_t count = batch.kind.sums ? 1 : oracle::arithmetic_rows(*left, *right);
  uint8_t* const out = output.bytes(count * bytes, batch.place, batch.shift);
  if (batch.kind.sums) store_words(out, {batch.element}, bytes);
  colx_cv res = noisy_vector(count == 0 ? untouchable : out, untouchable);
  const colx_cv res_before = res;
  if (due != nullptr) {
    *due = oracle::arithmetic_outcome(batch.kind, *left, *right, batch.element);
  }

  set_crash_note("%s, %s", kernel.name, describe(batch).c_str());
  ArithmeticRun run = {};
  run.status = kernel.kernel(&res, left, right, static_cast<colx_kctx*>(untouchable));
  run.elements = words_at(out, count, bytes);
  run.damage = output.damage();
  if (run.damage.empty()) run.damage = left_stage.damage("the left operand");
  if (run.damage.empty()) run.damage = right_stage.damage("the right operand");
  if (std::memcmp(&res, &res_before, sizeof res) != 0) run.damage = "changed: the result's record";
  return run;
}

std::string arithmetic_difference(const ArithmeticKernel& kernel, const ArithmeticBatch& batch) {
  std::vector<oracle::ComputedBits> due;
  const ArithmeticRun run = run_arithmetic(kernel, batch, &due);
  const std::string head = std::string(kernel.name) + ", " + describe(batch) + ": ";
  if (run.status != COLX_DONE) return head + "status is " + std::to_string(run.status);
  for (size_t i = 0; i < due.size(); ++i) {
    if (due[i].allows(run.elements[i], batch.kind.bytes())) continue;
    return head + (batch.kind.sums ? "the sum" : "row " + std::to_string(i)) + " is " +
           not_the_word(run.elements[i], due[i].bits);
  }
  return run.damage.empty() ? "" : head + run.damage;
}

}  // namespace colx::test
