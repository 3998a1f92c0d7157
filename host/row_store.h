// row_store.h: values by entry number, in pages that gather reads.
//
//   lp    a 16-byte record an entry: length, pointer; the bytes stand anywhere
//   cla   an offset an entry and one behind the last, 32 bits; the bytes of a page back to back
//   dlp   a word an entry: place and length; the bytes of the whole store back to back
//
// A store of one column has a value an entry. A store of rows has a row an entry, the row's values
// one after the other, each behind its length of 16 bits. The length of such an entry counts these
// prefixes in a cla store and leaves them out in an lp store, so take rows of an lp store by their
// pointers and read them by row_value().
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "host/key_rows.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/stream_buffer.h"

namespace colx::host {

// How an entry leads to its bytes, by the list above.
enum class StoreForm : uint32_t { lp = COLX_STORE_LP, dlp = COLX_STORE_DLP, cla = COLX_STORE_CLA };

// The value of a column in a row of a store of rows; the row must have that column.
std::string_view row_value(const char* row, uint32_t column);

// What a store looks like.
struct RowStoreOptions {
  // dlp takes a single column.
  StoreForm form = StoreForm::cla;
  uint32_t page_bits = 16;  // 2^bits entries of a page, 1 to 24
  uint32_t page_bytes = 0;  // first room of a page's bytes; 0: 16 bytes an entry
};

// Read-only after it was built; share it among threads. Owns copies of all bytes.
class RowStore {
 public:
  // A store of one column, or of rows of several. Columns are KeyRows::fixed() or pointers(), all
  // of the same number of rows. Errors: none given, another layout, columns of different lengths;
  // rows of several columns as dlp, which the library does not write; a row of more than 65535
  // bytes; a page of 4 GiB or more as cla.
  static Result<RowStore> build(const Library& library, std::span<const KeyRows> columns,
                                const RowStoreOptions& options = {});

  // Values of a store of one column, rows of a store of rows.
  uint32_t entries() const { return entries_; }
  // As build() was told.
  StoreForm form() const { return options_.form; }
  // Whether an entry is a row of several columns.
  bool holds_rows() const { return holds_rows_; }
  // Bytes of the shortest entry; if the longest has as many, they are the width of fixed results.
  uint32_t shortest() const { return shortest_; }
  // Bytes of the longest entry.
  uint32_t longest() const { return longest_; }
  // Memory of all pages.
  uint64_t bytes() const;

  // As gather takes it; `value_bits` is the width of results of fixed layout.
  colx_row_store describe(uint32_t value_bits = 0) const;
  // What a dlp store needs on the encoding context of the result of a gather.
  void describe_places(colx_enc_ctx& result) const;

 private:
  struct Page {
    std::vector<StreamBuffer> data;  // lp: regions; cla: one; dlp: of page 0 that of the store
    StreamBuffer index;              // records, offsets or words
  };
  RowStore() = default;
  Result<void> measure(std::span<const KeyRows> columns);
  Result<void> convert_page(const Library& library, std::span<const KeyRows> columns,
                            uint32_t page);
  void write_places(const KeyRows& column);
  void take_pages();

  RowStoreOptions options_;
  bool holds_rows_ = false;
  uint32_t entries_ = 0;
  uint32_t shortest_ = 0;
  uint32_t longest_ = 0;
  uint8_t place_bits_ = 0;  // dlp
  std::vector<Page> pages_;
  std::vector<void*> index_pages_;
  std::vector<void*> data_bases_;
};

}  // namespace colx::host
