// Random calls of both bit vector forms: combining, counting, ranges, iteration.
#include <algorithm>
#include <cstring>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/bit_vectors.h"
#include "tests/support/crash_note.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/seeded_random.h"
#include "tests/sweep/function_sweep.h"

namespace colx::test {
namespace {

using oracle::BitForm;
using oracle::BitOp;
using oracle::Seek;
using Bytes = std::vector<uint8_t>;

struct Combination {
  const char* name;
  BitForm form;
  BitOp op;
  // One of the three, by the number of inputs.
  colx_lbiv_unary_call* unary;
  colx_lbiv_binary_call* binary;
  colx_lbiv_ternary_call* ternary;
};

// Word vectors differ in the type of their pointers alone.
template <class Call, class Given>
Call* as_bytes(Given* given) {
  return reinterpret_cast<Call*>(reinterpret_cast<void (*)()>(given));
}

#define COLX_UNARY(form, prefix, op)                                                        \
  {                                                                                         \
#prefix #op, form, BitOp::op_##op, as_bytes < colx_lbiv_unary_call>(prefix##op##_dydi), \
        nullptr, nullptr                                                                    \
  }
#define COLX_BINARY(form, prefix, op)                                 \
  {                                                                   \
#prefix #op, form, BitOp::op_##op, nullptr,                       \
        as_bytes < colx_lbiv_binary_call>(prefix##op##_dydi), nullptr \
  }
#define COLX_TERNARY(form, prefix, op)                        \
  {                                                           \
#prefix #op, form, BitOp::op_##op, nullptr, nullptr,      \
        as_bytes < colx_lbiv_ternary_call>(prefix##op##_dydi) \
  }
#define COLX_COMBINATIONS(form, prefix)                                                          \
  COLX_UNARY(form, prefix, not ), COLX_BINARY(form, prefix, and), COLX_BINARY(form, prefix, or), \
      COLX_BINARY(form, prefix, xor), COLX_BINARY(form, prefix, andnot),                         \
      COLX_TERNARY(form, prefix, and3), COLX_TERNARY(form, prefix, or3),                         \
      COLX_TERNARY(form, prefix, xor3)

const Combination combinations[] = {COLX_COMBINATIONS(BitForm::words, colx_lbiwv),
                                    COLX_COMBINATIONS(BitForm::bytes, colx_lbiv)};

std::string of(const char* name, uint64_t nbits, const char* what) {
  return std::string(name) + " over " + std::to_string(nbits) + " bits: " + what;
}

std::string combination_difference(Random& random, uint64_t nbits) {
  static GuardedPages inputs[3];
  static GuardedOutput output;
  const Combination& c = combinations[random.below(std::size(combinations))];
  const size_t bytes = oracle::stored_bytes(c.form, nbits);
  const uint8_t* in[3];
  for (int i = 0; i < 3; ++i) {
    in[i] = inputs[i].place(random.bytes(bytes), 0, random.one_in(2) ? Edge::begin : Edge::end);
  }
  uint8_t* const dst = output.bytes(bytes, random.one_in(2) ? Place::end : Place::middle);
  const Bytes due = oracle::combined(c.form, c.op, in[0], in[1], in[2], nbits);
  uint32_t count = 0x12345678;
  uint32_t* const counted = random.one_in(2) ? &count : nullptr;
  set_crash_note("%s over %llu bits", c.name, static_cast<unsigned long long>(nbits));
  if (c.unary != nullptr) c.unary(dst, counted, in[0], nbits);
  if (c.binary != nullptr) c.binary(dst, counted, in[0], in[1], nbits);
  if (c.ternary != nullptr) c.ternary(dst, counted, in[0], in[1], in[2], nbits);
  if (Bytes(dst, dst + bytes) != due) return of(c.name, nbits, "another vector");
  if (counted != nullptr && count != oracle::count_bits(due.data(), nbits)) {
    return of(c.name, nbits, "another count");
  }
  const std::string damage = output.damage();
  return damage.empty() ? damage : of(c.name, nbits, damage.c_str());
}

std::string range_difference(Random& random, uint64_t nbits) {
  static GuardedOutput output;
  if (nbits == 0) return {};
  const uint64_t first = random.below(nbits), last = first + random.below(nbits - first);
  const size_t bytes = oracle::stored_bytes(BitForm::words, nbits);
  uint8_t* const bits = output.bytes(bytes, random.one_in(2) ? Place::end : Place::middle);
  const Bytes content = random.bytes(bytes);
  std::memcpy(bits, content.data(), bytes);
  Bytes due = content;
  const uint64_t which = random.below(4);
  oracle::fill_range(due.data(), first, last, which % 2 == 0);
  set_crash_note("range %llu to %llu", static_cast<unsigned long long>(first),
                 static_cast<unsigned long long>(last));
  if (which == 0) colx_lbivset_range_dydi(bits, first, last);
  if (which == 1) colx_lbivclr_range_dydi(bits, first, last);
  if (which == 2) colx_lbiwvset_range_dydi(reinterpret_cast<uint64_t*>(bits), first, last);
  if (which == 3) colx_lbiwvclr_range_dydi(reinterpret_cast<uint64_t*>(bits), first, last);
  if (Bytes(bits, bits + bytes) != due || !output.damage().empty()) {
    return of("a range", nbits, "another vector");
  }
  return {};
}

std::string count_difference(Random& random, uint64_t nbits) {
  static GuardedPages pages;
  const bool words = random.one_in(2);
  const BitForm form = words ? BitForm::words : BitForm::bytes;
  const uint8_t* const bits =
      pages.place(random.bytes(oracle::stored_bytes(form, nbits)), 0, Edge::end);
  uint32_t count = 0;
  set_crash_note("a population count over %llu bits", static_cast<unsigned long long>(nbits));
  if (words) {
    const auto returned =
        colx_lbiwvpopcnt_dydi(&count, reinterpret_cast<const uint64_t*>(bits), nbits);
    if (returned != count) return of("colx_lbiwvpopcnt", nbits, "another result");
  } else {
    colx_lbivpopcnt_dydi(&count, bits, nbits);
  }
  return count == oracle::count_bits(bits, nbits) ? "" : of("a popcnt", nbits, "another count");
}

std::string logic_difference(uint64_t seed) {
  Random random(seed);
  const uint64_t nbits = random.below(random.one_in(4) ? 20000 : 700);
  for (auto* difference : {combination_difference, range_difference, count_difference}) {
    const std::string text = difference(random, nbits);
    if (!text.empty()) return text;
  }
  return {};
}

bool same_place(const colx_lbiwv_ictx& a, const colx_lbiwv_ictx& b) {
  return a.colx_ictx_next == b.colx_ictx_next && a.colx_ictx_limit == b.colx_ictx_limit &&
         a.colx_ictx_base == b.colx_ictx_base && a.colx_ictx_offset == b.colx_ictx_offset &&
         a.colx_ictx_word == b.colx_ictx_word;
}

struct Iteration {
  BitForm form;
  colx_bit_iter_call* next_set;
  colx_bit_iter_call* next_clear;
  colx_bit_ones_call* ones;
};
const Iteration iterations[] = {
    {BitForm::words, colx_lbiwviter_dydi, colx_lbiwviter_clr_dydi, colx_lbiwvones_dydi},
    {BitForm::bytes, colx_lbiviter_dydi, colx_lbiviter_clr_dydi, colx_lbivones_dydi}};

// Calls of all three kinds on one context, as they come.
std::string iteration_difference(uint64_t seed) {
  static GuardedPages pages;
  Random random(seed);
  const Iteration& it = iterations[random.below(2)];
  const uint64_t nbits = random.below(900), start = random.below(nbits + 1);
  const uint64_t invert = random.below(3);
  const size_t bytes = std::max<uint64_t>(oracle::stored_bytes(it.form, nbits), start / 64 * 8 + 8);
  Bytes content = random.bytes(bytes);
  if (random.one_in(3)) {
    for (uint8_t& byte : content) byte = random.one_in(9) ? byte : 0;
  }
  const uint8_t* const bits = pages.place(content, 0, Edge::end);
  colx_lbiwv_ictx ctx, due;
  if (it.form == BitForm::words) {
    colx_lbiwv_ictx_ini2_dydi(&ctx, reinterpret_cast<const uint64_t*>(bits), nbits, invert, start);
  } else {
    colx_lbiv_ictx_ini2_dydi(&ctx, bits, nbits, invert, start);
  }
  oracle::begin_iteration(&due, bits, nbits, invert, start);
  set_crash_note("iteration from %llu over %llu bits", static_cast<unsigned long long>(start),
                 static_cast<unsigned long long>(nbits));
  for (int call = 0; call < 30 && same_place(ctx, due); ++call) {
    const uint64_t kind = random.below(3), most = random.below(120);
    std::vector<uint32_t> found(most), expected(most);
    const uint64_t given = kind == 0   ? it.next_set(&ctx)
                           : kind == 1 ? it.next_clear(&ctx)
                                       : it.ones(&ctx, found.data(), most);
    const uint64_t wanted =
        kind == 2 ? oracle::next_ones(it.form, &due, expected.data(), most)
                  : oracle::next_bit(it.form, kind == 0 ? Seek::set_bits : Seek::clear_bits, &due);
    if (given != wanted || found != expected) return of("an iteration", nbits, "another bit");
  }
  return same_place(ctx, due) ? "" : of("an iteration", nbits, "another place");
}

}  // namespace

extern const FunctionSweep bit_logic_sweep = {
    "bit_logic",
    "colx_lbivnot_dydi colx_lbivand_dydi colx_lbivor_dydi colx_lbivxor_dydi colx_lbivandnot_dydi "
    "colx_lbivand3_dydi colx_lbivor3_dydi colx_lbivxor3_dydi colx_lbivpopcnt_dydi "
    "colx_lbivset_range_dydi colx_lbivclr_range_dydi colx_lbiwvnot_dydi colx_lbiwvand_dydi "
    "colx_lbiwvor_dydi colx_lbiwvxor_dydi colx_lbiwvandnot_dydi colx_lbiwvand3_dydi "
    "colx_lbiwvor3_dydi colx_lbiwvxor3_dydi colx_lbiwvpopcnt_dydi colx_lbiwvset_range_dydi "
    "colx_lbiwvclr_range_dydi",
    logic_difference};
extern const FunctionSweep bit_iteration_sweep = {
    "bit_iteration",
    "colx_lbiv_ictx_ini2_dydi colx_lbiviter_dydi colx_lbiviter_clr_dydi colx_lbivones_dydi "
    "colx_lbiwv_ictx_ini2_dydi colx_lbiwviter_dydi colx_lbiwviter_clr_dydi colx_lbiwvones_dydi",
    iteration_difference};

}  // namespace colx::test
