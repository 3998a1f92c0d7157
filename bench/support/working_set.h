// Where a benchmark's data lie: in the first or second level cache, or well beyond the last.
#pragma once

#include <cstddef>
#include <cstdint>

namespace colx::bench {

// A pass reads and writes at most `bytes`. Passes go round `windows` working sets of that size, so
// that out of cache a window comes up again only after a gigabyte of others: also a last level
// cache of 260 MB that keeps part of a cyclic stream has lost it by then.
struct SizeClass {
  const char* name;
  uint64_t bytes;
  unsigned windows;
};

inline constexpr SizeClass in_l1{"L1", 32 << 10, 1};
inline constexpr SizeClass in_l2{"L2", 1 << 20, 1};
inline constexpr SizeClass in_memory{"memory", 128 << 20, 8};
inline constexpr SizeClass size_classes[] = {in_l1, in_l2, in_memory};

// Random bytes, size.windows times size.bytes and 64 more that may be read; the same for all cases
// of a size. Page-aligned, in huge pages where the system gives them.
const uint8_t* random_bytes(const SizeClass& size);

// The same with every 4 bytes a float and every 8 bytes a double of ordinary magnitude and random
// sign, in native and in canonical form alike: arithmetic meets no denormal, infinity or NaN.
const uint8_t* number_bytes(const SizeClass& size);

// Zeroed memory that lives as long as the program, likewise.
uint8_t* lasting_bytes(size_t bytes);

// As much room for output; what it holds is left from the case before.
uint8_t* output_bytes(const SizeClass& size);

}  // namespace colx::bench
