#include "tests/support/bloom_stage.h"

#include <algorithm>
#include <cstring>

#include "tests/oracle/bit_vectors.h"
#include "tests/oracle/native_numbers.h"
#include "tests/support/call_records.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {}  // namespace

std::string describe(const BloomBatch& batch) {
  return std::to_string(batch.values.size()) + " rows from " + std::to_string(batch.start) +
         ", hash mask " + std::to_string(batch.hash_mask) +
         (batch.partitioned ? ", partitions by a shift of " + std::to_string(batch.part_shift) +
                                  ", bit mask " + std::to_string(batch.bit_mask)
                            : ", flat");
}

void choose_filter(BloomBatch& batch, std::span<const uint32_t> hash_masks,
                   std::span<const unsigned> shares, Random& random) {
  batch.hash_mask = random.pick(hash_masks);
  batch.partitioned = random.one_in(2);
  batch.part_shift = static_cast<uint32_t>(random.below(batch.partitioned ? 16 : 64));
  batch.bit_mask = static_cast<uint32_t>(random.bits(12)) >> (batch.part_shift < 6 ? 8 : 0);
  batch.one_bit_in = random.pick(shares);
  batch.edge = random.one_in(2) ? Edge::begin : Edge::end;
}

BloomStage& bloom_stage() {
  static BloomStage stage;
  return stage;
}

// Partitions lie side by side in reverse order, so that none may be reached from its neighbour's
// address.
void BloomStage::place_filter(Random& random) {
  const uint32_t last_bit =
      batch_.partitioned ? batch_.bit_mask & batch_.hash_mask : batch_.hash_mask;
  const size_t part_bytes = last_bit / 8 + 1;
  const size_t parts = batch_.partitioned ? (batch_.hash_mask >> batch_.part_shift) + 1 : 1;
  filter_bytes_ = random.bytes(part_bytes * parts);
  for (uint8_t& byte : filter_bytes_) {
    if (batch_.one_bit_in == 1) byte = 0xFF;
    for (unsigned n = 2; n < batch_.one_bit_in; n *= 2) byte &= static_cast<uint8_t>(random.next());
    if (batch_.one_bit_in == no_bits) byte = 0;
  }
  uint8_t* const at = filter_pages_.place(filter_bytes_, batch_.slack_bytes, batch_.edge);
  filter_at_ = at;
  filter.colx_cv_bits = reinterpret_cast<uint64_t*>(at);
  if (!batch_.partitioned) return;
  Bytes pointers(8 * parts);
  for (size_t p = 0; p < parts; ++p) {
    oracle::put_native(pointers.data() + 8 * p,
                       reinterpret_cast<uintptr_t>(at + (parts - 1 - p) * part_bytes), 8);
  }
  filter.colx_cv_bits =
      reinterpret_cast<uint64_t*>(pointer_pages_.place(pointers, batch_.slack_bytes, batch_.edge));
}

void BloomStage::set(const BloomBatch& batch, Random& random) {
  batch_ = batch;
  auto* const nowhere = nowhere_.unreadable();
  auto* const no_words = reinterpret_cast<uint64_t*>(nowhere);
  for (colx_cv* cv : {&res, &src, &filter}) {
    std::memset(cv, 0, sizeof *cv);
    cv->colx_cv_data = cv->colx_cv_aux = nowhere;
    cv->colx_cv_nulls = cv->colx_cv_bits = no_words;
    cv->colx_cv_num_of_rows = 0x7EADBEEF;
    cv->colx_cv_encoding_context = reinterpret_cast<colx_enc_ctx*>(nowhere);
  }
  std::memset(&encoding, 0, sizeof encoding);
  encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
  encoding.colx_enc_ctx_width = batch.width_bits;
  std::memset(&filter_encoding, 0, sizeof filter_encoding);
  filter_encoding.colx_enc_ctx_bloom_partitioned =
      batch.partitioned ? static_cast<uint8_t>(1 + random.below(255)) : 0;
  filter_encoding.colx_enc_ctx_bloom_hash_mask = batch.hash_mask;
  filter_encoding.colx_enc_ctx_bloom_part_shift = batch.part_shift;
  filter_encoding.colx_enc_ctx_bloom_bit_mask = batch.bit_mask;

  const auto rows = static_cast<uint32_t>(batch.values.size());
  column_.clear();
  for (const uint64_t value : batch.values) {
    for (unsigned bits = batch.width_bits; bits > 0; bits -= 8) {
      column_.push_back(static_cast<uint8_t>(value >> (bits - 8)));
    }
  }
  src.colx_cv_data = column_pages_.place(column_, batch.slack_bytes, batch.edge);
  src.colx_cv_num_of_rows = rows;
  src.colx_cv_encoding_context = &encoding;
  filter.colx_cv_encoding_context = &filter_encoding;
  place_filter(random);

  std::memset(&kctx, 0x3C, sizeof kctx);
  kctx.colx_kctx_env = reinterpret_cast<colx_env*>(nowhere);
  kctx.colx_kctx_start_row = batch.start;
  kctx.colx_kctx_selection = nullptr;
  if (batch.selection.has_value()) {
    const auto* const words = reinterpret_cast<const uint8_t*>(batch.selection->data());
    kctx.colx_kctx_selection = reinterpret_cast<uint64_t*>(
        selection_pages_.place({words, 8 * batch.selection->size()}, 0, batch.edge));
  }
  res.colx_cv_bits = bits_.words(words_of(rows), batch.place);
  if (!batch.stale_result && rows != 0) std::memset(res.colx_cv_bits, 0, 8 * words_of(rows));
  res.colx_cv_data = ends_.bytes(8, Place::end);
  res.colx_cv_num_set = 0xDEADBEEF;
}

void BloomStage::let_pass(uint32_t row) {
  const uint32_t masked =
      oracle::bloom_hash(src.colx_cv_data, batch_.width_bits, row) & batch_.hash_mask;
  uint8_t* bits = reinterpret_cast<uint8_t*>(filter.colx_cv_bits);
  uint32_t bit = masked;
  if (batch_.partitioned) {
    bits = oracle::address_at(filter.colx_cv_bits + (masked >> batch_.part_shift));
    bit = masked & batch_.bit_mask;
  }
  oracle::put_bit(bits, bit, true);
  oracle::put_bit(filter_bytes_.data(), static_cast<uint64_t>(bits - filter_at_) * 8 + bit, true);
}

std::string BloomStage::damage() {
  colx_cv res_now = res;
  res_now.colx_cv_num_set = res_before_.colx_cv_num_set;
  colx_kctx kctx_now = kctx;
  kctx_now.colx_kctx_flags_out = kctx_before_.colx_kctx_flags_out;
  if (!same_bytes(res_now, res_before_)) return "changed: a field of res";
  if (!same_bytes(src, src_before_)) return "changed: a field of src";
  if (!same_bytes(filter, filter_before_)) return "changed: a field of the filter";
  if (!same_bytes(kctx_now, kctx_before_)) return "changed: a field of kctx";
  if (!same_bytes(encoding, encoding_before_) ||
      !same_bytes(filter_encoding, filter_encoding_before_)) {
    return "changed: an encoding context";
  }
  if (std::memcmp(filter_at_, filter_bytes_.data(), filter_bytes_.size()) != 0) {
    return "changed: the filter";
  }
  if (std::string text = bits_.damage(); !text.empty()) return text;
  return ends_.damage();
}

std::string BloomStage::difference(const BloomKernel& kernel) {
  res_before_ = res;
  src_before_ = src;
  filter_before_ = filter;
  encoding_before_ = encoding;
  filter_encoding_before_ = filter_encoding;
  kctx_before_ = kctx;
  expected = oracle::bloom(kernel.form, res, src, filter, kctx);
  const bool refused = expected.status == COLX_NOT_SERVED;
  const size_t bytes = 8 * size_t{words_of(batch_.values.size())};
  const auto* const bits = reinterpret_cast<const uint8_t*>(res.colx_cv_bits);
  if (refused) expected.bits.assign(bits, bits + bytes);
  set_crash_note("%s, %s", kernel.name, describe(batch_).c_str());
  const uint32_t status = kernel.call(&res, &src, &filter, &kctx);

  const auto* const ends = static_cast<const uint8_t*>(res.colx_cv_data);
  const uint64_t dirty = GuardedOutput::dirty_word(0);
  std::string text = unlike("status", status, expected.status);
  if (text.empty()) {
    text = unlike("count", res.colx_cv_num_set, refused ? 0xDEADBEEF : expected.count);
  }
  if (text.empty()) {
    text = unlike("first row", oracle::native_at(ends, 4),
                  refused ? dirty & 0xFFFFFFFF : expected.first);
  }
  if (text.empty()) {
    text =
        unlike("last row", oracle::native_at(ends + 4, 4), refused ? dirty >> 32 : expected.last);
  }
  if (text.empty()) text = unlike("flags_out", kctx.colx_kctx_flags_out, expected.flags_out);
  for (size_t i = 0; text.empty() && i < bytes; ++i) {
    if (bits[i] != expected.bits[i]) {
      text =
          unlike(("rows from " + std::to_string(8 * i) + ":").c_str(), bits[i], expected.bits[i]);
    }
  }
  if (text.empty()) text = damage();
  return text.empty() ? text
                      : std::string(kernel.name) + ": " + text + " [" + describe(batch_) + "]";
}

std::string BloomStage::entry_difference() {
  return difference({"colx_bloom_dydi", colx_bloom_dydi, oracle::bloom_kernel(src, kctx)});
}

std::string bloom_difference(const BloomKernel& kernel, const BloomBatch& batch, uint64_t seed) {
  Random random(seed);
  bloom_stage().set(batch, random);
  const std::string text = bloom_stage().difference(kernel);
  return text.empty() ? text : text + ", seed " + std::to_string(seed);
}

}  // namespace colx::test
