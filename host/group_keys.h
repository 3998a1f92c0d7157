// group_keys.h: one 32-bit key a row from the dictionary codes of several columns.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/column.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/row_bits.h"
#include "host/services.h"

namespace colx::host {

// How codes become a key, the last column in its lowest part.
enum class KeyComposition {
  multiplied,  // key * symbols of the column + code: the smallest key space
  shifted      // (key << bits of the column's codes) + code
};

// Columns of dictionary codes bound together. Library, services and columns must outlive it;
// threads may share it.
class GroupKeys {
 public:
  // Errors name the column: none given, a null one, no codes or codes of 64 bits, no dictionary (it
  // tells how many codes there are), codes of a width that the library does not unpack, other rows
  // or chunks than column 0, a key space above 2^32 - 1.
  static Result<GroupKeys> bind(const Library& library, HostServices& services,
                                std::vector<const StoredColumn*> columns,
                                KeyComposition composition = KeyComposition::multiplied);

  // Every key is below it; sums by group have as many accumulators.
  uint32_t key_space() const { return key_space_; }
  // The factor of a column's code in a key of the multiplied form; `column` counts from 0.
  uint32_t place(size_t column) const;
  // How many codes a column has: code = key / place(column) % codes(column).
  uint32_t codes(size_t column) const;

  // Keys of the chunk's rows, all or the selected ones, in row order; returns how many. Errors
  // leave `keys` unchanged: no such chunk, a selection of another length, too little room. The
  // first touch of a compressed chunk is serialised here.
  Result<uint32_t> run(size_t chunk, std::span<uint32_t> keys,
                       const RowBits* selection = nullptr) const;

 private:
  GroupKeys() = default;
  Result<void> check(size_t chunk, size_t room, const RowBits* selection) const;

  colx_groupkey_call* groupkey_ = nullptr;
  HostServices* services_ = nullptr;
  std::vector<const StoredColumn*> columns_;
  KeyComposition composition_ = KeyComposition::multiplied;
  uint32_t key_space_ = 0;
};

}  // namespace colx::host
