// What memory allows: cache lines read at random places, one a row, none waiting for another.
#pragma once

#include <cstdint>
#include <vector>

namespace colx::bench {

// Where a row reads: a line of 64 bytes.
using LineNumbers = std::vector<uint32_t>;

// Reads a word of each of `count` lines of the area at `lines`; the sum of those words.
uint64_t read_lines(const uint8_t* lines, const uint32_t* numbers, uint64_t count);

}  // namespace colx::bench
