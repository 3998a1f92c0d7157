#include "host/row_reader.h"

namespace colx::host {

RowReader::RowReader(const StoredColumn& column, size_t chunk)
    : chunk_(column.chunks[chunk]), format_(column.format) {}

std::string_view RowReader::next() {
  if (chunk_.second.size()) {
    const uint32_t bits = format_.length_code_bits();
    const uint64_t bit = uint64_t{row_} * bits;
    code_ = chunk_.second.data()[bit / 8] >> (8 - bits - bit % 8) & ((1u << bits) - 1);
  }
  const size_t length = format_.encoding == Encoding::dynp ? code_ + 1 : format_.width_bits / 8;
  const auto* bytes = reinterpret_cast<const char*>(chunk_.data.data()) + offset_;
  offset_ += length;
  ++row_;
  return {bytes, length};
}

}  // namespace colx::host
