// translation.h: translation of a key column through a table, and group keys made of the codes.
#pragma once

#include <cstdint>
#include <span>

#include "host/column.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/row_bits.h"
#include "host/translation_table.h"

namespace colx::host {

// A column of 32-bit keys and the range that they lie in, which is what makes looking them up in a
// table safe: the kernels do not check. The column must outlive it. Threads may share it.
class KeyColumn {
 public:
  // Reads all keys once. Errors: the column is not of fixed rows of 32 bits (store_fixed_numbers()
  // with 4 bytes), or a chunk is compressed.
  static Result<KeyColumn> of(const StoredColumn& column);

  // The column that was read.
  const StoredColumn& column() const { return *column_; }
  uint32_t first() const { return first_; }  // of a column without rows: 0
  // The largest key; of a column without rows 0.
  uint32_t last() const { return last_; }

 private:
  KeyColumn() = default;
  const StoredColumn* column_ = nullptr;
  uint32_t first_ = 0;
  uint32_t last_ = 0;
};

// What a translation found: rows of the chunk, counted from 0.
struct TranslatedRows {
  uint32_t hits = 0;            // rows with a code
  uint32_t first = UINT32_MAX;  // first and last row with a code; UINT32_MAX if there is none
  uint32_t last = UINT32_MAX;   // likewise
};

// A key column bound to a table and its kernel. Library, column and table must outlive it; threads
// may share it.
class Translation {
 public:
  // Whether codes are wanted beside the rows that have one.
  enum class Output { rows, rows_and_codes };

  // Errors: keys outside the table, codes from a table of single bits, a kernel that is missing.
  static Result<Translation> bind(const Library& library, const KeyColumn& keys,
                                  const TranslationTable& table, Output output);

  // Looks up the keys of a chunk, all or the selected ones. `hits`, a bit a row of the chunk,
  // receives the rows that have a code. `codes`, if codes are wanted, receives each row's element
  // in the table's format at the row's index, no_code() for a row without code; rows that are not
  // selected keep what is there. Errors leave both unchanged: no such chunk, another number of
  // rows, too little room for the codes.
  Result<TranslatedRows> run(size_t chunk, RowBits& hits, std::span<uint8_t> codes = {},
                             const RowBits* selection = nullptr) const;

  // Room for the codes of `rows` rows in bytes.
  size_t code_bytes(uint32_t rows) const {
    return (size_t{rows} * element_bits(table_->element()) + 7) / 8;
  }
  // As the library's table spells it.
  const char* kernel_name() const { return kernel_name_; }

 private:
  Translation() = default;
  const StoredColumn* column_ = nullptr;
  const TranslationTable* table_ = nullptr;
  colx_binary_fn kernel_ = nullptr;
  const char* kernel_name_ = nullptr;
  bool with_codes_ = false;
};

// Adds a column's share to the group keys: keys[r] += table[codes[r]] * multiplier, modulo 2^32.
// `table` is flat and of 4 bits or more; its element of no code is a number like any other. Errors
// leave the keys unchanged: another form of table, another number of codes than keys, a code that
// the table does not have (with its row).
Result<void> add_group_share(const Library& library, const TranslationTable& table,
                             std::span<const uint32_t> codes, uint32_t multiplier,
                             std::span<uint32_t> keys);

}  // namespace colx::host
