#include "tests/support/patched_output.h"

#include <cstring>
#include <vector>

namespace colx::test {

uint8_t* PatchedOutput::place(size_t bytes, Place place) {
  size_ = bytes;
  begin_ = output_.bytes(bytes, place, 1);
  return begin_;
}

std::string PatchedOutput::difference(const oracle::Patches& patches) const {
  if (oracle::end_of(patches) > size_) return "the oracle writes past the output";
  std::vector<uint8_t> expected(size_);
  for (size_t i = 0; i < size_; ++i) expected[i] = GuardedOutput::dirty_byte(i);
  for (const oracle::Patch& patch : patches) {
    if (patch.bytes.empty()) continue;
    std::memcpy(expected.data() + patch.at, patch.bytes.data(), patch.bytes.size());
  }
  for (size_t i = 0; i < size_; ++i) {
    if (begin_[i] != expected[i]) {
      return "byte " + std::to_string(i) + " is " + std::to_string(begin_[i]) + ", expected " +
             std::to_string(expected[i]);
    }
  }
  return output_.damage();
}

}  // namespace colx::test
