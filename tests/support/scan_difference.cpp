#include <string>

#include "tests/support/crash_note.h"
#include "tests/support/scan_stage.h"
#include "tests/support/stored_rows.h"

namespace colx::test {
namespace {

std::string number(const char* what, uint64_t is, uint64_t expected) {
  return std::string(what) + " is " + std::to_string(is) + ", expected " + std::to_string(expected);
}

// The first bit that is not as expected; words behind the expected ones must still be dirty.
std::string words_difference(const char* what, const Words& words, const Words& expected,
                             uint32_t rows) {
  for (size_t i = 0; i < words.size(); ++i) {
    const uint64_t should = i < expected.size() ? expected[i] : GuardedOutput::dirty_word(i);
    if (words[i] == should) continue;
    if (i >= expected.size()) {
      return std::string(what) + ": word " + std::to_string(i) + " was written";
    }
    const uint64_t row = 64 * i + static_cast<unsigned>(__builtin_ctzll(words[i] ^ should));
    return std::string(row < rows ? "row " : "above the rows: bit ") + std::to_string(row) +
           (oracle::bit_at(words.data(), row) ? " is set" : " is clear") + " in " + what;
  }
  return {};
}

std::string expansion_difference(const oracle::ScanOutcome& expected, ScanStage& stage) {
  if (stage.host.expansions.size() != 1) return "one expansion is due";
  const Expansion& e = stage.host.expansions[0];
  if (e.env != &stage.host.env || e.res != &stage.res || e.src != &stage.src) {
    return "arguments of the expansion";
  }
  if (e.run_hits.colx_kctx_selection != stage.encoding.colx_enc_ctx_rle_bits) {
    return "colx_kctx_selection of the expansion's record";
  }
  if (e.run_hits.colx_kctx_aux_set != expected.num_set) {
    return number("colx_kctx_aux_set", e.run_hits.colx_kctx_aux_set, expected.num_set);
  }
  if (std::string field = not_fresh(e.run_hits); !field.empty()) {
    return "the expansion's record is not zero: " + field;
  }
  return e.num_set_on_entry == expected.num_set ? "" : "the count is stored after the expansion";
}

std::string host_difference(const ScanKernel& kernel, const ScanBatch& batch,
                            const oracle::ScanOutcome& expected, ScanStage& stage) {
  std::vector<std::string> order;
  const bool decompresses = batch.store == Store::compressed && !expected.refused;
  if (batch.store == Store::compressed && expected.refused && stage.decomp_slot != nullptr) {
    return "the slot was filled";
  }
  if (decompresses) {
    order = {"alloc_cached", "decode"};
    if (batch.decode_status != 0) order.push_back("raise");
  }
  if (expected.expands) order.push_back("expand");
  if (stage.host.order != order) {
    std::string text = "host calls:";
    for (const std::string& call : stage.host.order) text += " " + call;
    return text;
  }
  if (decompresses) {
    std::string text = first_touch_difference(stage.host, kernel.name, stage.src,
                                              batch.stream.size(), batch.decode_status);
    if (!text.empty()) return text;
  }
  return expected.expands ? expansion_difference(expected, stage) : "";
}

std::string difference(const ScanKernel& kernel, const ScanBatch& batch,
                       const oracle::ScanOutcome& expected, const ScanRun& run, ScanStage& stage) {
  const Words none;
  std::string text = words_difference("colx_cv_bits", run.bits,
                                      expected.per_run ? none : expected.words, expected.rows);
  if (!text.empty()) return text;
  text = words_difference("colx_enc_ctx_rle_bits", run.run_bits,
                          expected.per_run ? expected.words : none, expected.rows);
  if (!text.empty()) return text;
  if (!run.damage.empty()) return run.damage;
  if (run.num_set != expected.num_set) {
    return number("colx_cv_num_set", run.num_set, expected.num_set);
  }
  const uint32_t status = expected.expands ? batch.expand_status : expected.status;
  if (run.status != status) return number("status", run.status, status);
  const uint32_t flags_out = batch.with_kctx ? expected.flags_out : batch.flags_out;
  if (run.flags_out != flags_out) return number("colx_kctx_flags_out", run.flags_out, flags_out);
  return host_difference(kernel, batch, expected, stage);
}

}  // namespace

std::string scan_difference(const ScanKernel& kernel, const ScanBatch& batch,
                            const ScanOracle& oracle) {
  ScanStage& stage = scan_stage();
  stage.set(batch);
  const oracle::ScanOutcome expected = oracle(stage.res, stage.src, stage.kctx_or_null());
  set_crash_note("%s, %s", kernel.name, describe(batch).c_str());
  const ScanRun run = stage.call(kernel);
  const std::string text = difference(kernel, batch, expected, run, stage);
  return text.empty() ? text
                      : std::string(kernel.name) + ": " + text + " [" + describe(batch) + "]";
}

}  // namespace colx::test
