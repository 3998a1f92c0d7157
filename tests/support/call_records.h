// Records and numbers of a call, compared with what they should be.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace colx::test {

// What records hold that a call is to leave alone or to write; as a pointer it is no address.
inline constexpr uint8_t record_dirt = 0xA5;

// Whether no byte of a record has changed.
template <class Record>
bool same_bytes(const Record& a, const Record& b) {
  return std::memcmp(&a, &b, sizeof(Record)) == 0;
}

template <class Record>
void make_dirty(Record& record) {
  std::memset(static_cast<void*>(&record), record_dirt, sizeof record);
}

// Says what a number is and should be; nothing where that is the same.
inline std::string unlike(const char* what, uint64_t is, uint64_t expected) {
  if (is == expected) return {};
  return std::string(what) + " is " + std::to_string(is) + ", expected " + std::to_string(expected);
}

}  // namespace colx::test
