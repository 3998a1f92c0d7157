#include "bench/support/working_set.h"

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace colx::bench {
namespace {

constexpr size_t readable_behind = 64;
constexpr size_t huge_page_bytes = 2 << 20;

// Lives as long as the program.
uint8_t* mapped(size_t bytes) {
  const size_t whole = (bytes + 2 * huge_page_bytes - 1) / huge_page_bytes * huge_page_bytes;
  void* const memory =
      mmap(nullptr, whole, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    std::fprintf(stderr, "benchmark: no memory for %zu bytes\n", whole);
    std::exit(1);
  }
  const auto address = reinterpret_cast<uintptr_t>(memory);
  const auto aligned = (address + huge_page_bytes - 1) / huge_page_bytes * huge_page_bytes;
  auto* const at = reinterpret_cast<uint8_t*>(aligned);
  madvise(at, bytes, MADV_HUGEPAGE);
  return at;
}

// splitmix64 (Steele, Lea, Flood: Fast Splittable Pseudorandom Number Generators, 2014).
void fill_randomly(uint8_t* to, size_t bytes) {
  uint64_t state = bytes;
  for (size_t i = 0; i + 8 <= bytes; i += 8) {
    uint64_t z = state += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    z ^= z >> 31;
    std::memcpy(to + i, &z, sizeof z);
  }
}

}  // namespace

uint8_t* lasting_bytes(size_t bytes) {
  return mapped(bytes);
}

const uint8_t* random_bytes(const SizeClass& size) {
  static std::map<std::string, uint8_t*> made;
  uint8_t*& at = made[size.name];
  if (at == nullptr) {
    const size_t bytes = size.windows * size.bytes + readable_behind;
    at = mapped(bytes);
    fill_randomly(at, bytes);
  }
  return at;
}

// Of each 4 bytes the last one is the top byte of a native number, the first one that of a
// canonical one. Their top seven bits below the sign are those of numbers from 2^-1 or 2^-16 on.
const uint8_t* number_bytes(const SizeClass& size) {
  static std::map<std::string, uint8_t*> made;
  uint8_t*& at = made[size.name];
  if (at == nullptr) {
    const size_t bytes = size.windows * size.bytes + readable_behind;
    at = mapped(bytes);
    fill_randomly(at, bytes);
    for (size_t i = 0; i + 4 <= bytes; i += 4) {
      at[i] = (at[i] & 0x80) != 0 ? 0xBF : 0x40;
      at[i + 3] = (at[i + 3] & 0x80) | 0x3F;
    }
  }
  return at;
}

uint8_t* output_bytes(const SizeClass& size) {
  static std::map<std::string, uint8_t*> made;
  uint8_t*& at = made[size.name];
  if (at == nullptr) {
    const size_t bytes = size.windows * size.bytes + readable_behind;
    at = mapped(bytes);
    std::memset(at, 0, bytes);
  }
  return at;
}

}  // namespace colx::bench
