#include "tests/support/scan_stage.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/support/call_records.h"

namespace colx::test {
namespace {

constexpr uint64_t some_decomp_size = 0x0123456789ABCDEF;

std::span<const uint8_t> as_bytes(const Words& words) {
  return {reinterpret_cast<const uint8_t*>(words.data()), 8 * words.size()};
}

uint64_t* place_words(GuardedPages& pages, const std::optional<Words>& words, Edge edge) {
  if (!words) return nullptr;
  return reinterpret_cast<uint64_t*>(pages.place(as_bytes(*words), 0, edge));
}

bool holds(const void* at, std::span<const uint8_t> content) {
  return content.empty() || std::memcmp(at, content.data(), content.size()) == 0;
}

}  // namespace

ScanKernel kernel_at(uint32_t index) {
  const char* const name = colx_dispatch_func_names[index];
  if (colx_dispatch_table[index] == nullptr) {
    std::fprintf(stderr, "slot %u has no kernel\n", index);
    std::abort();
  }
  const uint32_t opc = index % 32;
  return {name, colx_dispatch_table[index], opc >= COLX_OPC_GT_LT && opc <= COLX_OPC_GE_LE};
}

ScanKernel kernel_named(const char* name) {
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) {
    if (std::strcmp(colx_dispatch_func_names[i], name) == 0) return kernel_at(i);
  }
  std::fprintf(stderr, "no slot is named %s\n", name);
  std::abort();
}

Bytes native_bytes(uint64_t value, unsigned bytes) {
  Bytes all(sizeof value);
  std::memcpy(all.data(), &value, sizeof value);
  all.resize(bytes);
  return all;
}

std::string describe(const ScanBatch& batch) {
  std::string text = "rows " + std::to_string(batch.res_rows);
  if (batch.src_rows != batch.res_rows) text += " (src " + std::to_string(batch.src_rows) + ")";
  if (batch.run_length) text += ", runs " + std::to_string(batch.run_rows);
  if (!batch.with_kctx) text += ", no kctx";
  if (batch.nulls) text += ", nulls";
  if (batch.selection) text += batch.wants_twin() ? ", selective" : ", selection";
  if (batch.store == Store::compressed) text += ", compressed";
  if (batch.store == Store::decompressed) text += ", decompressed";
  return text;
}

ScanStage& scan_stage() {
  static ScanStage stage;
  return stage;
}

const void* const* ScanStage::place_args(ArgPages& pages, const std::vector<Bytes>& objects,
                                         Edge edge) {
  if (objects.empty()) return reinterpret_cast<const void* const*>(nowhere_.unreadable());
  const void* pointers[max_args];
  for (size_t i = 0; i < objects.size(); ++i) {
    pointers[i] =
        objects[i].empty() ? nowhere_.unreadable() : pages.objects.at(i).place(objects[i], 0, edge);
  }
  const auto* const first = reinterpret_cast<const uint8_t*>(pointers);
  const uint8_t* const array = pages.array.place({first, objects.size() * sizeof(void*)}, 0, edge);
  return reinterpret_cast<const void* const*>(array);
}

// A compressed image is never looked at by a kernel, nor is the slot of a column that has none.
void ScanStage::place_rows(const ScanBatch& batch) {
  decomp_slot = nullptr;
  src.colx_cv_data = nowhere_.unreadable();
  src.colx_cv_decomp_slot = reinterpret_cast<void**>(nowhere_.unreadable());
  if (batch.store == Store::compressed) {
    host.expands_to(batch.stream, batch.slack_bytes);
    host.decode_status = batch.decode_status;
  } else if (batch.stream_readable) {
    void* const rows =
        rows_pages_.place(batch.stream, batch.slack_bytes, batch.edge) - batch.skipped_bytes;
    (batch.store == Store::plain ? src.colx_cv_data : decomp_slot) = rows;
  } else if (batch.store == Store::decompressed) {
    decomp_slot = nowhere_.unreadable();
  }
  if (batch.store == Store::plain) return;
  src.colx_cv_decomp_slot = &decomp_slot;
  src.colx_cv_image_len = static_cast<uint32_t>(batch.stream.size());
  src.colx_cv_decomp_size = some_decomp_size;
}

void ScanStage::set(const ScanBatch& batch) {
  batch_ = batch;
  host.reset();
  void* const untouchable = nowhere_.unreadable();

  std::memset(&encoding, 0, sizeof encoding);
  encoding.colx_enc_ctx_flags = batch.layout_flags | (batch.run_length ? COLX_RLE : 0) |
                                (batch.store != Store::plain ? COLX_COMPRESSED : 0);
  encoding.colx_enc_ctx_width = batch.width_bits;
  encoding.colx_enc_ctx_rle_rows = batch.run_rows;
  encoding.colx_enc_ctx_rle_expand = batch.run_length ? RecordingHost::expand : nullptr;
  encoding.colx_enc_ctx_rle_bits = run_bits_.words(words_of(batch.run_rows), batch.place);

  std::memset(&src, 0, sizeof src);
  src.colx_cv_image_len = 0xABCDEF01;
  place_rows(batch);
  src.colx_cv_aux =
      batch.aux.empty() ? nullptr : aux_pages_.place(batch.aux, batch.aux_slack_bytes, batch.edge);
  src.colx_cv_encoding_context = &encoding;
  src.colx_cv_nulls = place_words(nulls_pages_, batch.nulls, batch.edge);
  src.colx_cv_bits = static_cast<uint64_t*>(untouchable);
  src.colx_cv_num_set = dirty_num_set;
  src.colx_cv_num_of_rows = batch.src_rows;

  std::memset(&res, 0, sizeof res);
  res.colx_cv_data = untouchable;
  res.colx_cv_aux = untouchable;
  res.colx_cv_encoding_context = static_cast<colx_enc_ctx*>(untouchable);
  res.colx_cv_nulls = static_cast<uint64_t*>(untouchable);
  res.colx_cv_bits = bits_.words(words_of(std::max(batch.res_rows, batch.src_rows)), batch.place);
  res.colx_cv_num_set = dirty_num_set;
  res.colx_cv_num_of_rows = batch.res_rows;

  std::memset(&kctx, 0, sizeof kctx);
  with_kctx_ = batch.with_kctx;
  kctx.colx_kctx_env = &host.env;
  kctx.colx_kctx_selection = place_words(selection_pages_, batch.selection, batch.edge);
  kctx.colx_kctx_flags = batch.kctx_flags;
  kctx.colx_kctx_flags_out = batch.flags_out;
  host.expand_status = batch.expand_status;

  args = place_args(args_pages_, batch.args, batch.edge);
  hi_args = place_args(hi_args_pages_, batch.hi_args, batch.edge);

  std::memset(&codes, 0, sizeof codes);
  codes.colx_cv_data = codes.colx_cv_aux = untouchable;
  codes.colx_cv_encoding_context = static_cast<colx_enc_ctx*>(untouchable);
  codes.colx_cv_bits = place_words(table_pages_, batch.code_table, batch.edge);
}

std::string ScanStage::damage(const colx_cv& res_before, const colx_kctx& kctx_before) const {
  colx_cv res_now = res;
  res_now.colx_cv_num_set = res_before.colx_cv_num_set;
  if (!same_bytes(res_now, res_before)) return "changed: a field of res";
  colx_kctx kctx_now = kctx;
  kctx_now.colx_kctx_flags_out = kctx_before.colx_kctx_flags_out;
  if (!same_bytes(kctx_now, kctx_before)) return "changed: a field of kctx";
  if (std::string text = bits_.damage(); !text.empty()) return text + " (colx_cv_bits)";
  if (std::string text = run_bits_.damage(); !text.empty()) return text + " (rle_bits)";
  if (batch_.nulls && !holds(src.colx_cv_nulls, as_bytes(*batch_.nulls))) return "changed: nulls";
  if (batch_.selection && !holds(kctx.colx_kctx_selection, as_bytes(*batch_.selection))) {
    return "changed: the selection";
  }
  if (batch_.code_table && !holds(codes.colx_cv_bits, as_bytes(*batch_.code_table))) {
    return "changed: the code table";
  }
  if (!batch_.aux.empty() && !holds(src.colx_cv_aux, batch_.aux)) return "changed: colx_cv_aux";
  const bool placed = batch_.store != Store::compressed && batch_.stream_readable;
  const void* const rows = batch_.store == Store::plain ? src.colx_cv_data : decomp_slot;
  const auto* const stream = static_cast<const uint8_t*>(rows) + batch_.skipped_bytes;
  if (placed && !holds(stream, batch_.stream)) return "changed: the rows";
  return {};
}

ScanRun ScanStage::call(const ScanKernel& kernel) {
  const colx_cv res_before = res;
  const colx_cv src_before = src;
  const colx_enc_ctx encoding_before = encoding;
  const colx_kctx kctx_before = kctx;
  const colx_cv codes_before = codes;
  const colx_env env_before = host.env;
  const void* const slot_before = decomp_slot;

  ScanRun run = {};
  if (batch_.code_table) {
    const auto scan = reinterpret_cast<colx_binary_fn>(kernel.kernel);
    run.status = scan(&res, &src, &codes, kctx_or_null());
  } else if (kernel.range) {
    const auto scan = reinterpret_cast<colx_range_scan_fn>(kernel.kernel);
    run.status = scan(&res, &src, args, hi_args, kctx_or_null());
  } else {
    const auto scan = reinterpret_cast<colx_scan_fn>(kernel.kernel);
    run.status = scan(&res, &src, args, kctx_or_null());
  }
  run.num_set = res.colx_cv_num_set;
  run.flags_out = kctx.colx_kctx_flags_out;
  const size_t result_words = words_of(std::max(batch_.res_rows, batch_.src_rows));
  run.bits.assign(res.colx_cv_bits, res.colx_cv_bits + result_words);
  run.run_bits.assign(encoding.colx_enc_ctx_rle_bits,
                      encoding.colx_enc_ctx_rle_bits + words_of(batch_.run_rows));

  if (!same_bytes(src, src_before)) {
    run.damage = "changed: a field of src";
  } else if (!same_bytes(encoding, encoding_before)) {
    run.damage = "changed: a field of the encoding context";
  } else if (!same_bytes(codes, codes_before)) {
    run.damage = "changed: a field of the third argument";
  } else if (!same_bytes(host.env, env_before)) {
    run.damage = "changed: a field of the environment";
  } else if (batch_.store != Store::compressed && decomp_slot != slot_before) {
    run.damage = "changed: the decompression slot";
  } else {
    run.damage = damage(res_before, kctx_before);
  }
  return run;
}

}  // namespace colx::test
