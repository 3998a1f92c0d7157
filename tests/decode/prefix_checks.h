// Calls of the prefix decoder with everything at the edge of an unreadable page: the stream ends
// with its last byte if it is one group and 16 readable bytes behind it otherwise; the output ends
// with the last value if it is one group and 15 bytes behind it otherwise; the descriptors end with
// the last one.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "tests/oracle/prefix_oracle.h"
#include "tests/support/crash_note.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

using Bytes = std::vector<uint8_t>;

struct PrefixCase {
  std::vector<oracle::PrefixGroup> groups;
  uint32_t values = 0;
  int16_t value_bytes = 0;
  uint16_t stride = 16;
};

// Groups of 16 values and a last one of `last`, all with that prefix length.
inline PrefixCase prefix_case(unsigned value_bytes, unsigned prefix_bytes, uint32_t groups,
                              uint32_t last, uint64_t seed) {
  Random random(seed);
  PrefixCase c = {{}, 16 * (groups - 1) + last, static_cast<int16_t>(value_bytes)};
  for (uint32_t g = 0; g < groups; ++g) {
    oracle::PrefixGroup group = {random.bytes(prefix_bytes), {}};
    for (uint32_t i = 0; i < (g + 1 == groups ? last : 16); ++i) {
      group.suffixes.push_back(random.bytes(value_bytes - prefix_bytes));
    }
    c.groups.push_back(group);
  }
  return c;
}

enum class Descriptors { none, no_kctx, filled };

struct PrefixRun {
  uint32_t status;
  Bytes out;          // all that lies before the unreadable page
  Bytes descriptors;  // as many as the call has room for
  uint8_t* out_start;
  std::string damage;  // the first thing that changed and should not have; empty if nothing did
};

inline PrefixRun run_prefix(const PrefixCase& c, Descriptors descriptors, Place place = Place::end,
                            colx_three_call* decode = colx_prefix_decode_dydi,
                            oracle::PrefixOutcome* due = nullptr) {
  static GuardedPages input;
  static GuardedOutput output, records;
  const bool one_group = c.groups.size() == 1;
  const Bytes stream = oracle::prefix_stream(c.groups);
  colx_enc_ctx encoding = {};
  encoding.colx_enc_ctx_prefix_stride = c.stride;
  encoding.colx_enc_ctx_prefix_value_len = c.value_bytes;
  encoding.colx_enc_ctx_prefix_values = c.values;
  colx_cv src = {}, res = {};
  src.colx_cv_data = input.place(stream, one_group ? 0 : 16, Edge::end);
  src.colx_cv_num_of_rows = static_cast<uint32_t>(c.groups.size());
  src.colx_cv_encoding_context = &encoding;
  const oracle::PrefixOutcome expected =
      oracle::prefix_outcome(src, descriptors == Descriptors::filled);
  const size_t room = expected.status != 0 ? 256 : expected.values.size() + (one_group ? 0 : 15);
  uint8_t* const out = output.bytes(room, place);
  res.colx_cv_data = out;
  colx_kctx kctx = {};
  const size_t record_bytes = descriptors == Descriptors::filled ? 16 * size_t{c.values} : 0;
  uint8_t* const filled = records.bytes(record_bytes, place, place == Place::middle ? 8 : 0);
  if (record_bytes > 0) kctx.colx_kctx_prefix_ptrs = filled;
  const colx_enc_ctx encoding_before = encoding;
  const colx_cv src_before = src, res_before = res;
  const colx_kctx kctx_before = kctx;

  set_crash_note("prefix stream: %zu groups, %u values of %d bytes, first prefix %d",
                 c.groups.size(), c.values, c.value_bytes, stream[0]);
  PrefixRun run = {0, {}, {}, out, {}};
  run.status = decode(&res, &src, descriptors == Descriptors::no_kctx ? nullptr : &kctx);
  run.out.assign(out, out + room);
  run.descriptors.assign(filled, filled + record_bytes);
  run.damage = output.damage();
  if (run.damage.empty()) run.damage = records.damage();
  if (std::memcmp(&encoding, &encoding_before, sizeof encoding) != 0 ||
      std::memcmp(&src, &src_before, sizeof src) != 0 ||
      std::memcmp(&res, &res_before, sizeof res) != 0 ||
      std::memcmp(&kctx, &kctx_before, sizeof kctx) != 0) {
    run.damage = "changed: a record";
  }
  if (std::memcmp(src.colx_cv_data, stream.data(), stream.size()) != 0) {
    run.damage = "changed: the stream";
  }
  if (due != nullptr) *due = expected;
  return run;
}

// The record of the value at that offset, as bytes.
inline Bytes descriptor_of(const uint8_t* out, size_t offset, int16_t value_bytes) {
  Bytes record(16, 0);
  const uint8_t* const value = out + offset;
  std::memcpy(record.data(), &value, 8);
  std::memcpy(record.data() + 8, &value_bytes, 2);
  return record;
}

// Empty if the decoder does what the oracle says and nothing else.
inline std::string prefix_difference(const PrefixCase& c, Descriptors descriptors,
                                     Place place = Place::end,
                                     colx_three_call* decode = colx_prefix_decode_dydi) {
  oracle::PrefixOutcome due;
  const PrefixRun run = run_prefix(c, descriptors, place, decode, &due);
  if (run.status != due.status) return "status " + std::to_string(run.status);
  for (size_t i = 0; i < run.out.size(); ++i) {
    const bool value = i < due.values.size();
    if (!value && i < due.touchable_bytes) continue;
    if (run.out[i] != (value ? due.values[i] : GuardedOutput::dirty_byte(i))) {
      return "byte " + std::to_string(i) + (value ? "" : " behind the values");
    }
  }
  for (size_t i = 0; i < run.descriptors.size(); ++i) {
    const bool filled = i / 16 < due.described.size();
    const uint8_t byte =
        filled ? descriptor_of(run.out_start, due.described[i / 16], c.value_bytes)[i % 16]
               : GuardedOutput::dirty_byte(i);
    if (run.descriptors[i] != byte) {
      return "descriptor " + std::to_string(i / 16) + ", byte " + std::to_string(i % 16);
    }
  }
  return run.damage;
}

}  // namespace colx::test
