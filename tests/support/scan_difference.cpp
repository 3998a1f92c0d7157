#include <string>

#include "tests/support/crash_note.h"
#include "tests/support/scan_stage.h"

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

// What a column's first touch has to ask of the host, and nobody else.
std::string decompression_difference(const ScanKernel& kernel, const ScanBatch& batch,
                                     const ScanStage& stage) {
  const RecordingHost& host = stage.host;
  const std::string name = kernel.name;
  if (host.cached_allocations.size() != 1 || host.decodes.size() != 1) {
    return "host: one allocation and one decoding are due";
  }
  const CachedAllocation& a = host.cached_allocations[0];
  const Decode& d = host.decodes[0];
  if (a.label != name + ": vec1_decomp") return "allocation label is " + a.label;
  if (a.host != host.handle || a.heap != host.heap || a.bytes != batch.stream.size() ||
      a.unit != 8 || a.align != 16 || a.size != stage.src.colx_cv_decomp_size) {
    return "arguments of colx_env_alloc_cached";
  }
  if (stage.decomp_slot != a.buffer) return "the slot does not hold the buffer";
  if (d.env.colx_denv_host != host.handle || d.env.colx_denv_heap != host.heap ||
      d.env.colx_denv_alloc != host.env.colx_env_alloc ||
      d.env.colx_denv_free != host.env.colx_env_free) {
    return "fields of colx_decode_env";
  }
  if (d.image != stage.src.colx_cv_data || d.out != a.buffer || d.out_len_before != 0 ||
      d.capacity != batch.stream.size()) {
    return "arguments of colx_env_decode";
  }
  if (batch.decode_status == 0) return {};
  if (host.raised.size() != 1) return "a failed decoding is to be raised once";
  const Raised& raised = host.raised[0];
  if (raised.text != name + ": colx_wpak_decode failed") return "raised text is " + raised.text;
  if (raised.host != host.handle || raised.zero != 0) return "arguments of host_raise_internal";
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
  if (batch.store == Store::compressed) {
    order = {"alloc_cached", "decode"};
    if (batch.decode_status != 0) order.push_back("raise");
  }
  if (expected.expands) order.push_back("expand");
  if (stage.host.order != order) {
    std::string text = "host calls:";
    for (const std::string& call : stage.host.order) text += " " + call;
    return text;
  }
  if (batch.store == Store::compressed) {
    std::string text = decompression_difference(kernel, batch, stage);
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
