#include "tests/support/key_share.h"

#include <cstring>

#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

struct Pages {
  GuardedPages codes, table, nowhere;
  GuardedOutput keys;
};

Pages& pages() {
  static Pages all;
  return all;
}

std::vector<uint8_t> bytes_of(const Numbers& numbers) {
  std::vector<uint8_t> bytes(4 * numbers.size());
  if (!numbers.empty()) std::memcpy(bytes.data(), numbers.data(), bytes.size());
  return bytes;
}

// The table's bytes at a guard page, up to the largest element that a code points at.
std::vector<uint8_t> used_table(unsigned element_bits, const KeyShareBatch& batch) {
  size_t used = 0;
  for (const uint32_t code : batch.codes) used = std::max(used, size_t{code} + 1);
  return oracle::stored_elements({batch.elements.data(), used}, element_bits, 0xA5);
}

std::string describe(const KeyShareBatch& batch) {
  return std::to_string(batch.keys.size()) + " rows, table of " +
         std::to_string(batch.elements.size()) + ", times " + std::to_string(batch.multiplier);
}

// The four records of a call, and how they were before.
struct Records {
  colx_cv res, src;
  colx_kctx kctx;

  bool operator==(const Records& other) const {
    return std::memcmp(&res, &other.res, sizeof res) == 0 &&
           std::memcmp(&src, &other.src, sizeof src) == 0 &&
           std::memcmp(&kctx, &other.kctx, sizeof kctx) == 0;
  }
};

}  // namespace

KeyShareKernel key_share_kernel(unsigned element_bits) {
  const ScanKernel slot = kernel_at(colx_slot_index(
      COLX_OPC_XLATE, COLX_XLATE_GROUPKEY, element_width_code(element_bits), COLX_FORM_VARIANT));
  return {slot.name, reinterpret_cast<colx_binary_fn>(slot.kernel), element_bits};
}

KeyShareBatch random_key_share(unsigned element_bits, uint32_t rows, Random& random) {
  constexpr uint32_t sizes[] = {1, 2, 3, 16, 17, 255, 1000};
  KeyShareBatch batch;
  const uint32_t size = random.pick(std::span<const uint32_t>(sizes));
  for (uint32_t i = 0; i < size; ++i) {
    const bool marker = random.one_in(4);
    batch.elements.push_back(marker ? oracle::no_mapping(element_bits)
                                    : static_cast<uint32_t>(random.bits(element_bits)));
  }
  for (uint32_t row = 0; row < rows; ++row) {
    batch.keys.push_back(static_cast<uint32_t>(random.next()));
    batch.codes.push_back(static_cast<uint32_t>(random.below(size)));
  }
  batch.multiplier = random.one_in(3) ? 1 : static_cast<uint32_t>(random.next());
  return batch;
}

KeyShareRun run_key_share(const KeyShareKernel& kernel, const KeyShareBatch& batch) {
  Records records;
  std::memset(static_cast<void*>(&records), 0xA5, sizeof records);
  const std::vector<uint8_t> keys = bytes_of(batch.keys);
  const std::vector<uint8_t> codes = bytes_of(batch.codes);
  const std::vector<uint8_t> table = used_table(kernel.element_bits, batch);

  uint8_t* const sums = pages().keys.bytes(keys.size(), batch.place, 4);
  if (!keys.empty()) std::memcpy(sums, keys.data(), keys.size());
  records.res.colx_cv_data = sums;
  records.src.colx_cv_data = pages().codes.place(codes, 0, batch.edge);
  records.src.colx_cv_num_of_rows = static_cast<uint32_t>(batch.codes.size());
  records.kctx.colx_kctx_xlate_out = pages().table.place(table, 0, batch.edge);
  records.kctx.colx_kctx_multiplier = batch.multiplier;
  auto* const third = reinterpret_cast<colx_cv*>(pages().nowhere.unreadable());

  const Records before = records;
  KeyShareRun run = {};
  run.status = kernel.kernel(&records.res, &records.src, batch.third_is_null ? nullptr : third,
                             &records.kctx);
  run.keys.resize(batch.keys.size());
  if (!keys.empty()) std::memcpy(run.keys.data(), sums, keys.size());
  run.damage = pages().keys.damage();
  if (!(records == before)) run.damage = "changed: a field of a record";
  if (!codes.empty() && std::memcmp(records.src.colx_cv_data, codes.data(), codes.size()) != 0) {
    run.damage = "changed: the codes";
  }
  if (!table.empty() &&
      std::memcmp(records.kctx.colx_kctx_xlate_out, table.data(), table.size()) != 0) {
    run.damage = "changed: the table";
  }
  return run;
}

std::string key_share_difference(const KeyShareKernel& kernel, const KeyShareBatch& batch) {
  const std::vector<uint8_t> table = used_table(kernel.element_bits, batch);
  const Numbers expected = oracle::keys_with_share(batch.keys, batch.codes, table.data(),
                                                   kernel.element_bits, batch.multiplier);
  set_crash_note("%s, %s", kernel.name, describe(batch).c_str());
  const KeyShareRun run = run_key_share(kernel, batch);
  const uint32_t status = batch.codes.empty() ? COLX_NOTHING_FOUND : COLX_DONE;
  std::string text = run.damage;
  if (run.status != status) text = "status is " + std::to_string(run.status);
  for (size_t row = expected.size(); row-- > 0;) {
    if (run.keys[row] == expected[row]) continue;
    text = "the key of row " + std::to_string(row) + " is " + std::to_string(run.keys[row]) +
           ", expected " + std::to_string(expected[row]);
  }
  return text.empty() ? text
                      : std::string(kernel.name) + ": " + text + " [" + describe(batch) + "]";
}

}  // namespace colx::test
