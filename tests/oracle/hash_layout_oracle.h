// Key layouts of the join: which bytes of a row are its key, and which calls of the host's hash
// function `colx_hash_dydi` makes of a column.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

enum class KeyLayout { fixed, dict, lv_sep, lv, lp_sep, lp, hash_values, hashrid, gd, hashgdrid };

// Layouts whose rows lie in a byte stream one after the other, each found by those before it.
constexpr bool is_stream(KeyLayout layout) {
  return layout == KeyLayout::lv || layout == KeyLayout::lv_sep;
}

// Layouts whose hash comes out of the host's function.
constexpr bool is_hashed(KeyLayout layout) {
  return layout != KeyLayout::hash_values && layout != KeyLayout::hashrid &&
         layout != KeyLayout::hashgdrid;
}

// The flag that announces a layout.
uint32_t layout_flag(KeyLayout layout);

struct KeyBytes {
  const uint8_t* at;
  uint16_t length;
};

struct KeyRun {
  std::vector<KeyBytes> keys;
  // Streams only: where each row begins, in bytes from where row 0 of the run does; one entry more
  // than there are rows.
  std::vector<uint64_t> starts;
};

// The keys of `rows` rows of a hashed layout from row `first` on. In a stream that row begins at
// byte `stream_offset`; the other layouts find a row by its number.
KeyRun keys_of(KeyLayout layout, const colx_cv& src, uint64_t first, uint64_t stream_offset,
               uint64_t rows);

enum class SeedMode { one, per_row };

struct HashKernel {
  KeyLayout layout;
  SeedMode mode;
};

// The kernel that `colx_hash_dydi` picks, none if it refuses.
std::optional<HashKernel> hash_kernel(const colx_cv& src, const colx_cv& seeds);

struct HashCall {
  const void* key;
  uint64_t length;
  uint64_t seed;
  bool operator==(const HashCall&) const = default;
};

// The calls in their order; what they return goes to the result's slots in the same order.
std::vector<HashCall> hash_calls(HashKernel kernel, const colx_cv& src, const colx_cv& seeds);

}  // namespace colx::oracle
