#include "host/row_store.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace colx::host {
namespace {

// An lp record, of which kernels write the length and the pointer.
struct Record {
  uint16_t length;
  uint8_t unused[6];
  const void* value;
};
static_assert(sizeof(Record) == 16);

constexpr uint64_t most_page_bytes = UINT32_MAX;

Result<void> check_options(const RowStoreOptions& options, std::span<const KeyRows> columns) {
  if (options.page_bits < 1 || options.page_bits > 24)
    return make_error("pages of 2^%u entries: use 2^1 to 2^24", options.page_bits);
  if (columns.empty()) return make_error("a store of no columns: give one or more");
  if (columns.size() > 65535) return make_error("%zu columns: use up to 65535", columns.size());
  if (columns.size() > 1 && options.form == StoreForm::dlp)
    return make_error("rows of %zu columns go into stores of the lp and cla forms", columns.size());
  for (size_t index = 0; index < columns.size(); ++index) {
    const uint32_t layout = columns[index].layout();
    if (layout != COLX_FIXED && layout != COLX_LP_SEP)
      return make_error("column %zu holds no values; use KeyRows::fixed() or pointers()", index);
    if (columns[index].size() != columns[0].size())
      return make_error("column %zu has %u rows, column 0 has %u", index, columns[index].size(),
                        columns[0].size());
  }
  return {};
}

}  // namespace

std::string_view row_value(const char* row, uint32_t column) {
  for (;;) {
    uint16_t length;
    std::memcpy(&length, row, sizeof length);
    row += sizeof length;
    if (column-- == 0) return {row, length};
    row += length;
  }
}

Result<RowStore> RowStore::build(const Library& library, std::span<const KeyRows> columns,
                                 const RowStoreOptions& options) {
  if (auto sound = check_options(options, columns); !sound) return sound.error();
  RowStore store;
  store.options_ = options;
  store.holds_rows_ = columns.size() > 1;
  store.entries_ = columns[0].size();
  if (auto sound = store.measure(columns); !sound) return sound.error();
  const uint64_t pages =
      (uint64_t{store.entries_} + (uint64_t{1} << options.page_bits) - 1) >> options.page_bits;
  store.pages_.resize(std::max<uint64_t>(pages, 1));
  if (options.form == StoreForm::dlp) {
    store.write_places(columns[0]);
  } else {
    const colx_specialized_ctx& record = library.record();
    if (!record.colx_sctx_transpose_reference || !record.colx_sctx_transpose_convert)
      return make_error("%s: has no colx_transpose_reference_dydi or colx_transpose_convert_dydi",
                        library.file().c_str());
    for (uint32_t page = 0; page < pages; ++page)
      if (auto done = store.convert_page(library, columns, page); !done) return done.error();
  }
  store.take_pages();
  return store;
}

// A row's length is kept in 16 bits, its prefixes counted in one form and not in the other.
Result<void> RowStore::measure(std::span<const KeyRows> columns) {
  shortest_ = entries_ ? UINT32_MAX : 0;
  uint64_t page_bytes = 0;
  for (uint32_t entry = 0; entry < entries_; ++entry) {
    uint64_t bytes = 0;
    for (const KeyRows& column : columns)
      bytes += column.key(entry).size() + (holds_rows_ ? sizeof(uint16_t) : 0);
    if (bytes > 65535)
      return make_error("row %u takes %llu bytes; a row may take 65535", entry,
                        static_cast<unsigned long long>(bytes));
    if (entry % (uint32_t{1} << options_.page_bits) == 0) page_bytes = 0;
    page_bytes += bytes;
    if (form() == StoreForm::cla && page_bytes > most_page_bytes)
      return make_error("page %u has more than 2^32 - 1 bytes; use fewer page bits",
                        entry >> options_.page_bits);
    shortest_ = std::min(shortest_, static_cast<uint32_t>(bytes));
    longest_ = std::max(longest_, static_cast<uint32_t>(bytes));
  }
  return {};
}

// References to the values of a page's rows, and from them the page. When its room is used up, the
// bytes of the lp form go on in another region, which its pointers allow; the offsets of the cla
// form want one region, so that one is moved into a larger one.
Result<void> RowStore::convert_page(const Library& library, std::span<const KeyRows> columns,
                                    uint32_t page) {
  const uint32_t first = page << options_.page_bits;
  const uint32_t rows = std::min(uint32_t{1} << options_.page_bits, entries_ - first);
  std::vector<Record> matrix(size_t{rows} * columns.size());
  void* matrix_page = matrix.data();
  colx_row_store references{};
  references.colx_store_type = COLX_STORE_LP | (holds_rows_ ? 0 : COLX_STORE_ROW_FORM);
  references.colx_store_ncols = static_cast<uint16_t>(columns.size());
  references.colx_store_lp_pages = references.colx_store_lp_write = &matrix_page;
  for (uint32_t column = 0; column < columns.size(); ++column) {
    colx_cv source;
    colx_enc_ctx encoding;
    columns[column].rows(first, rows).describe(source, encoding);
    const uint32_t status =
        library.record().colx_sctx_transpose_reference(&references, &source, column, 0, nullptr);
    if (status != COLX_DONE)
      return make_error("colx_transpose_reference_dydi returned status %u", status);
  }

  Page& to = pages_[page];
  const bool offsets = form() == StoreForm::cla;
  to.index = StreamBuffer(offsets ? (size_t{rows} + 1) * sizeof(uint32_t) : rows * sizeof(Record));
  uint64_t room = options_.page_bytes ? options_.page_bytes : uint64_t{16} * rows;
  to.data.emplace_back(room);
  void* index = to.index.data();
  void* cursor = to.data.back().data();
  void* end = to.data.back().data() + room;
  colx_row_store target{};
  target.colx_store_type = static_cast<uint32_t>(form()) | COLX_STORE_ROW_FORM;
  (offsets ? target.colx_store_cla_write : target.colx_store_lp_write) = &index;
  target.colx_store_data_cursors = &cursor;
  target.colx_store_data_ends = &end;
  colx_kctx kctx{};
  for (uint32_t from = 0;; from = kctx.colx_kctx_position) {
    const uint32_t status = library.record().colx_sctx_transpose_convert(&target, &references, 0, 0,
                                                                         from, rows - 1, &kctx);
    if (status == COLX_DONE) return {};
    if (status != COLX_DATA_ROOM_FULL)
      return make_error("colx_transpose_convert_dydi returned status %u", status);
    // A call from row 0 writes the leading offset, so one that stopped there left the place moved.
    if (kctx.colx_kctx_position == 0) index = to.index.data();
    room = 2 * room + longest_;
    StreamBuffer larger(room);
    const size_t used =
        offsets ? static_cast<size_t>(static_cast<uint8_t*>(cursor) - to.data[0].data()) : 0;
    if (used != 0) std::memcpy(larger.data(), to.data[0].data(), used);
    cursor = larger.data() + used;
    end = larger.data() + room;
    if (offsets) to.data.clear();
    to.data.push_back(std::move(larger));
  }
}

void RowStore::write_places(const KeyRows& column) {
  uint64_t bytes = 0;
  for (uint32_t entry = 0; entry < entries_; ++entry) bytes += column.key(entry).size();
  place_bits_ = static_cast<uint8_t>(std::max<int>(std::bit_width(bytes), 1));
  pages_[0].data.emplace_back(bytes);
  uint64_t place = 0;
  for (uint32_t entry = 0; entry < entries_; ++entry) {
    Page& page = pages_[entry >> options_.page_bits];
    const uint32_t in_page = entry & ((uint32_t{1} << options_.page_bits) - 1);
    if (in_page == 0)
      page.index =
          StreamBuffer(std::min(uint64_t{1} << options_.page_bits, uint64_t{entries_} - entry) *
                       sizeof(uint64_t));
    const std::string_view value = column.key(entry);
    const uint64_t word = place << 16 | value.size();
    std::memcpy(page.index.data() + in_page * sizeof word, &word, sizeof word);
    if (!value.empty()) std::memcpy(pages_[0].data[0].data() + place, value.data(), value.size());
    place += value.size();
  }
}

void RowStore::take_pages() {
  for (Page& page : pages_) {
    index_pages_.push_back(page.index.data());
    data_bases_.push_back(page.data.empty() ? nullptr : page.data[0].data());
  }
}

uint64_t RowStore::bytes() const {
  uint64_t bytes = 0;
  for (const Page& page : pages_) {
    bytes += page.index.size();
    for (const StreamBuffer& region : page.data) bytes += region.size();
  }
  return bytes;
}

colx_row_store RowStore::describe(uint32_t value_bits) const {
  // Gather only reads a store; the record has no const members.
  void** const index = const_cast<void**>(index_pages_.data());
  colx_row_store store{};
  store.colx_store_type = static_cast<uint32_t>(form());
  store.colx_store_value_bits = static_cast<uint16_t>(value_bits);
  store.colx_store_page_hi = 63;
  store.colx_store_page_shift = static_cast<uint8_t>(options_.page_bits);
  if (form() == StoreForm::lp) store.colx_store_lp_pages = index;
  if (form() == StoreForm::dlp) store.colx_store_dlp_pages = index;
  if (form() == StoreForm::cla) store.colx_store_cla_pages = index;
  store.colx_store_data_bases = const_cast<void**>(data_bases_.data());
  return store;
}

void RowStore::describe_places(colx_enc_ctx& result) const {
  result.colx_enc_ctx_dlp_bits = place_bits_;
  result.colx_enc_ctx_dlp_pages = const_cast<void**>(data_bases_.data());
}

}  // namespace colx::host
