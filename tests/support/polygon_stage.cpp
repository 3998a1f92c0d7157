#include "tests/support/polygon_stage.h"

#include <cstring>

#include "tests/support/crash_note.h"
#include "tests/support/staged_numbers.h"

namespace colx::test {
namespace {

Bytes bytes_of(std::span<const double> numbers) {
  const auto* const first = reinterpret_cast<const uint8_t*>(numbers.data());
  return {first, first + 8 * numbers.size()};
}

}  // namespace

PolygonRun run_polygon(const PolygonBatch& batch, colx_spatial_pip_call* pip) {
  static GuardedPages nowhere;
  static StagedNumbers stages[4];
  static GuardedOutput output;
  const char* const names[] = {"x", "y", "the point's x", "the point's y"};
  std::vector<double> x, y;
  for (const oracle::Point& vertex : batch.polygon) {
    x.push_back(vertex.x);
    y.push_back(vertex.y);
  }
  const Bytes inputs[] = {bytes_of(x), bytes_of(y), bytes_of({&batch.query.x, 1}),
                          bytes_of({&batch.query.y, 1})};
  colx_cv* vectors[4];
  for (size_t i = 0; i < 4; ++i) {
    // Only the count of x says how many vertices there are.
    const uint32_t rows = i == 0 ? static_cast<uint32_t>(x.size()) : 0xFFFFFFFF;
    vectors[i] = stages[i].place(
        {.stored = inputs[i], .rows = rows, .edge = batch.edge, .slack_bytes = batch.slack_bytes});
  }
  void* const untouchable = nowhere.unreadable();
  uint8_t* const out = output.bytes(4, Place::middle, batch.shift);
  colx_cv res = noisy_vector(out, untouchable);
  const colx_cv res_before = res;

  set_crash_note("crossing count of %zu vertices", batch.polygon.size());
  PolygonRun run = {};
  run.status = pip(&res, vectors[0], vectors[1], vectors[2], vectors[3],
                   static_cast<colx_kctx*>(untouchable));
  std::memcpy(&run.count, out, sizeof run.count);
  run.damage = output.damage();
  for (size_t i = 0; i < 4; ++i) {
    if (run.damage.empty()) run.damage = stages[i].damage(names[i]);
  }
  if (std::memcmp(&res, &res_before, sizeof res) != 0) run.damage = "changed: the result's record";
  return run;
}

std::string polygon_difference(const PolygonBatch& batch, colx_spatial_pip_call* pip) {
  const PolygonRun run = run_polygon(batch, pip);
  const uint32_t due = oracle::crossing_count(batch.polygon, batch.query);
  const std::string head = std::to_string(batch.polygon.size()) + " vertices: ";
  if (run.status != COLX_DONE) return head + "status is " + std::to_string(run.status);
  if (run.count != due) {
    return head + "count is " + std::to_string(run.count) + ", not " + std::to_string(due);
  }
  return run.damage.empty() ? "" : head + run.damage;
}

}  // namespace colx::test
