// Texts that stream compressors are measured on: a column's values one behind the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace colx::bench {

struct SampleText {
  const char* name;
  std::vector<uint8_t> bytes;
};

// Always the same texts, each of `bytes` bytes:
//   names      "Customer#000000001" and so on, as star schema tables have them
//   addresses  10 to 25 letters, digits, commas and blanks without any order
//   phones     "25-989-741-2988"
//   comments   some words of order notes, 10 to 60 letters
//   prose      English sentences of common words, about as frequent as in print
std::vector<SampleText> sample_texts(size_t bytes);

}  // namespace colx::bench
