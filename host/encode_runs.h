// encode_runs.h: run-length form of a code column: one code a run, and the runs' lengths beside it.
//
//   codes 7 7 7 7 2 2 9     codes   7 2 9        packed as encode_codes.h has it
//                           lengths 4 2 1        1 byte each, or 2 bytes big-endian
//                           first rows 0 4 6 7   optional, 4 bytes big-endian, one more than runs
//
// A run longer than its length field can say is split into several of the same code.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/result.h"
#include "host/stream_buffer.h"

namespace colx::host {

// How the lengths of runs are stored.
struct RunLengthOptions {
  uint32_t length_bits = 0;  // 8 or 16; 0: what takes fewer bytes for the column
  // Write the first rows as well: 4 bytes a run more, and expansion needs no sums of lengths.
  bool positions = false;
};

// Rows that follow each other with the same code.
struct CodeRun {
  uint64_t code;  // what each of them has
  uint32_t rows;  // how many they are, 1 or more
};

// Runs as a chunk holds them.
struct Runs {
  uint32_t count = 0;        // runs
  uint32_t length_bits = 8;  // 8 or 16
  StreamBuffer lengths;      // a length a run, bytes or 2 bytes big-endian
  StreamBuffer positions;    // empty, or count + 1 first rows, 4 bytes big-endian
};

// Longest run that a length field of 8 or 16 bits can say: 255 or 65535 rows.
constexpr uint32_t max_run_rows(uint32_t length_bits) {
  return (1u << length_bits) - 1;
}

// Neighbouring equal codes as one run, in order; runs above `max_rows` (at least 1) are split.
std::vector<CodeRun> find_runs(std::span<const uint64_t> codes, uint32_t max_rows);

// Errors: length_bits is neither 8 nor 16, a run has no rows or more than its field can say, there
// are 2^32 rows or more.
Result<Runs> write_runs(std::span<const CodeRun> runs, uint32_t length_bits, bool positions);

// 8 or 16: the length field that stores `codes`, cut into chunks of `chunk_rows` (at least 1), in
// fewer bytes at `width_bits` a code; 8 if both take the same.
uint32_t choose_length_bits(std::span<const uint64_t> codes, uint32_t chunk_rows,
                            uint32_t width_bits, bool positions);

}  // namespace colx::host
