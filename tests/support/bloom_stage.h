// Calls of the Bloom kernels at guard pages: the column ends with its last value, the filter with
// the last byte that a hash can lead to, the selection with its last word.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/bloom_oracle.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

struct BloomKernel {
  const char* name;
  colx_bloom_call* call;
  oracle::BloomKernel form;
};
inline constexpr BloomKernel bloom_kernels[] = {
    {"colx_bloom_hash32", colx_bloom_hash32, {32, oracle::BloomForm::plain}},
    {"colx_bloom_hash64", colx_bloom_hash64, {64, oracle::BloomForm::plain}},
    {"colx_bloom_hash32_selective",
     colx_bloom_hash32_selective,
     {32, oracle::BloomForm::selective}},
    {"colx_bloom_hash64_selective",
     colx_bloom_hash64_selective,
     {64, oracle::BloomForm::selective}}};

inline constexpr unsigned no_bits = 0;

struct BloomBatch {
  unsigned width_bits = 32;      // 32 or 64, the bytes of a value
  std::vector<uint64_t> values;  // stored big-endian
  uint32_t start = 0;
  bool partitioned = false;
  uint32_t hash_mask = 0x3FF;
  uint32_t part_shift = 6;   // partitioned
  uint32_t bit_mask = 0x3F;  // partitioned
  unsigned one_bit_in = 2;   // the filter's bits that are set: a power of 2, or no_bits
  std::optional<Words> selection;
  bool stale_result = false;  // the result vector starts dirty instead of zero
  Edge edge = Edge::end;
  size_t slack_bytes = 0;  // readable behind column and filter, to try other alignments
  Place place = Place::middle;
};

std::string describe(const BloomBatch& batch);

// Chooses a filter at random: one of the hash masks, one of the shares of set bits (`one_bit_in`).
void choose_filter(BloomBatch& batch, std::span<const uint32_t> hash_masks,
                   std::span<const unsigned> shares, Random& random);

class BloomStage {
 public:
  void set(const BloomBatch& batch, Random& random);
  // Sets the filter's bit of that row's value, which then passes.
  void let_pass(uint32_t row);

  // Empty if the call leaves what the oracle says, and changes nothing else.
  std::string difference(const BloomKernel& kernel);
  // The same for colx_bloom_dydi, whose kernel the oracle picks.
  std::string entry_difference();

  colx_cv res, src, filter;
  colx_enc_ctx encoding, filter_encoding;
  colx_kctx kctx;
  oracle::BloomOutcome expected;  // of the last call

 private:
  void place_filter(Random& random);
  std::string damage();

  BloomBatch batch_;
  Bytes column_, filter_bytes_;
  const uint8_t* filter_at_ = nullptr;
  GuardedPages column_pages_, filter_pages_, pointer_pages_, selection_pages_, nowhere_;
  GuardedOutput bits_, ends_;
  colx_cv res_before_, src_before_, filter_before_;
  colx_enc_ctx encoding_before_, filter_encoding_before_;
  colx_kctx kctx_before_;
};

BloomStage& bloom_stage();

std::string bloom_difference(const BloomKernel& kernel, const BloomBatch& batch, uint64_t seed);

}  // namespace colx::test
