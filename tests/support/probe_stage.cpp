#include "tests/support/probe_stage.h"

#include <cstring>

#include "kernels/join/table_passes.h"
#include "tests/oracle/native_numbers.h"
#include "tests/support/call_records.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

using oracle::KeyLayout;
using oracle::RidValue;

constexpr uint32_t k2v8 = COLX_HT_K2V8, k2v4 = COLX_HT_K2V4, k4v8 = COLX_HT_K4V8,
                   k4v4 = COLX_HT_K4V4;

}  // namespace

#define COLX_PROBE_KERNEL(form, layout, value)    \
  {"colx_ht_probe_" #form "_" #layout "_" #value, \
   colx_ht_probe_##form##_##layout##_##value,     \
   {oracle::table_form(form), KeyLayout::layout, std::string(#value) == "autorid"}},

const std::vector<ProbeKernel>& probe_kernels() {
  static const std::vector<ProbeKernel> kernels = {COLX_HASHED_TABLE_KERNELS(COLX_PROBE_KERNEL)
                                                       COLX_CODE_TABLE_KERNELS(COLX_PROBE_KERNEL)};
  return kernels;
}

uint32_t table_type(const ProbeKernel& kernel) {
  return kernel.form.form.type | (kernel.form.layout == KeyLayout::gd ? uint32_t{COLX_HT_GD} : 0);
}

ProbeStage& probe_stage() {
  static ProbeStage stage;
  return stage;
}

void ProbeStage::set_rows(const JoinRows& rows, unsigned value_bytes) {
  set_columns(keys, payload, rows, value_bytes);
  start_at_row_0(kctx, nowhere_.unreadable());
}

void ProbeStage::set_room(uint32_t records, Place place) {
  auto* const nowhere = nowhere_.unreadable();
  room_ = records;
  std::memset(&res, 0, sizeof res);
  res.colx_cv_data = output_.bytes(16 * size_t{records}, place, 8);
  res.colx_cv_aux = nowhere;
  res.colx_cv_encoding_context = reinterpret_cast<colx_enc_ctx*>(nowhere);
  res.colx_cv_bits = reinterpret_cast<uint64_t*>(nowhere);
  res.colx_cv_num_set = 0xDEADBEEF;
  res.colx_cv_num_of_rows = records;
}

std::string ProbeStage::output_difference(const std::vector<RidValue>& written) const {
  const auto* const out = static_cast<const uint8_t*>(res.colx_cv_data);
  for (size_t i = 0; i < written.size(); ++i) {
    const std::string record = "record " + std::to_string(i);
    const uint64_t rid = oracle::native_at(out + 16 * i, 8);
    const uint64_t value = oracle::native_at(out + 16 * i + 8, 8);
    if (rid != written[i].rid) return unlike((record + " is of").c_str(), rid, written[i].rid);
    if (value != written[i].value) {
      return unlike((record + " has the value").c_str(), value, written[i].value);
    }
  }
  for (size_t byte = 16 * written.size(); byte < 16 * size_t{room_}; ++byte) {
    if (out[byte] != GuardedOutput::dirty_byte(byte)) {
      return "changed: byte " + std::to_string(byte) + ", behind the records";
    }
  }
  return output_.damage();
}

std::string ProbeStage::damage(const colx_cv& res_before, const Bytes& table_before) const {
  colx_cv res_now = res;
  res_now.colx_cv_num_of_rows = res_before.colx_cv_num_of_rows;
  if (!same_bytes(res_now, res_before)) return "changed: a field of res";
  if (std::string text = table.difference(table_before); !text.empty()) return text;
  if (std::string text = keys.damage(); !text.empty()) return text;
  return payload.damage();
}

std::string ProbeStage::difference(const ProbeKernel& kernel) {
  keys.remember();
  payload.remember();
  const Bytes table_before = table.bytes();
  const colx_cv res_before = res;
  const oracle::ProbeOutcome expected =
      oracle::probe(kernel.form, res, keys.cv, payload.cv, table.ht, fn, kctx);
  const std::string what = std::to_string(keys.cv.colx_cv_num_of_rows) + " rows from " +
                           std::to_string(kctx.colx_kctx_position) + ", room for " +
                           std::to_string(room_) + ", " + describe(table.shape());
  set_crash_note("%s, %s", kernel.name, what.c_str());
  status = kernel.call(&res, &keys.cv, &payload.cv, &table.ht, fn, &kctx);
  counted.assign(expected.written.begin(), expected.written.begin() + expected.counted);
  uncounted.assign(expected.written.begin() + expected.counted, expected.written.end());

  std::string text = unlike("status", status, expected.status);
  if (text.empty()) text = unlike("records", res.colx_cv_num_of_rows, expected.counted);
  if (text.empty()) text = kctx_difference(kctx, expected.kctx);
  if (text.empty()) text = output_difference(expected.written);
  if (text.empty()) text = damage(res_before, table_before);
  return text.empty() ? text : std::string(kernel.name) + ": " + text + " [" + what + "]";
}

std::string ProbeStage::refusal() {
  keys.remember();
  payload.remember();
  const Bytes table_before = table.bytes();
  const colx_cv res_before = res;
  const colx_kctx kctx_before = kctx;
  set_crash_note("colx_ht_probe_dydi, not served: %s", describe(table.shape()).c_str());
  status = colx_ht_probe_dydi(&res, &keys.cv, &payload.cv, &table.ht, fn, &kctx);
  std::string text = unlike("status", status, COLX_NOT_SERVED);
  if (text.empty()) text = unlike("records", res.colx_cv_num_of_rows, room_);
  if (text.empty()) text = kctx_difference(kctx, kctx_before);
  if (text.empty()) text = output_difference({});
  if (text.empty()) text = damage(res_before, table_before);
  return text.empty() ? text : "colx_ht_probe_dydi: " + text;
}

std::string ProbeStage::entry_difference() {
  const auto form = oracle::probe_kernel(table.ht.colx_ht_type, keys.encoding.colx_enc_ctx_flags,
                                         payload.encoding.colx_enc_ctx_flags);
  if (!form.has_value()) return refusal();
  return difference({"colx_ht_probe_dydi", colx_ht_probe_dydi, *form});
}

std::string probe_by_and_by(ProbeStage& stage, const ProbeKernel& kernel, uint32_t records,
                            std::vector<RidValue>& all) {
  uint32_t room = records;
  for (;;) {
    const uint32_t position = stage.kctx.colx_kctx_position;
    stage.set_room(room);
    const std::string text = stage.difference(kernel);
    all.insert(all.end(), stage.counted.begin(), stage.counted.end());
    if (!text.empty() || stage.status != COLX_PROBE_FULL) return text;
    room = stage.kctx.colx_kctx_position == position ? room + 1 : records;
  }
}

}  // namespace colx::test
