// Arrays of the Arrow C data interface, laid out here byte by byte, that count their releases.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/arrow_abi.h"
#include "host/arrow_import.h"

namespace colx::host {

// A buffer of exactly the bytes that it holds, so that a memory checker sees any read beyond.
using Bytes = std::vector<uint8_t>;

template <class T>
Bytes bytes_of(const std::vector<T>& values) {
  Bytes bytes(values.size() * sizeof(T));
  if (!bytes.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

// A bit a character, '1' for set; row 0 is the least significant bit.
inline Bytes bitmap(const std::string& rows) {
  Bytes bytes((rows.size() + 7) / 8);
  for (size_t row = 0; row < rows.size(); ++row)
    if (rows[row] == '1') bytes[row / 8] |= static_cast<uint8_t>(1 << row % 8);
  return bytes;
}

// A schema and an array with their buffers. Copies nothing after it was made; stays in place.
struct MadeArrow {
  std::string format, name;
  std::vector<std::unique_ptr<Bytes>> buffers;
  std::vector<const void*> addresses;
  std::vector<ArrowArray*> child_arrays;
  std::vector<ArrowSchema*> child_schemas;
  int array_releases = 0;
  int schema_releases = 0;
  ArrowArray array{};
  ArrowSchema schema{};

  MadeArrow(std::string type, int64_t rows, std::string column = "made")
      : format(std::move(type)), name(std::move(column)) {
    schema.format = format.c_str();
    schema.name = name.c_str();
    schema.flags = ARROW_FLAG_NULLABLE;
    schema.private_data = &schema_releases;
    schema.release = [](ArrowSchema* record) {
      ++*static_cast<int*>(record->private_data);
      record->release = nullptr;
    };
    array.length = rows;
    array.private_data = &array_releases;
    array.release = [](ArrowArray* record) {
      ++*static_cast<int*>(record->private_data);
      record->release = nullptr;
    };
  }
  MadeArrow(const MadeArrow&) = delete;
  MadeArrow& operator=(const MadeArrow&) = delete;

  // The next buffer.
  MadeArrow& with(Bytes bytes) {
    buffers.push_back(std::make_unique<Bytes>(std::move(bytes)));
    addresses.push_back(buffers.back()->data());
    return describe();
  }
  MadeArrow& without_buffer() {
    addresses.push_back(nullptr);
    return describe();
  }
  template <class T>
  MadeArrow& with_values(const std::vector<T>& values) {
    return with(bytes_of(values));
  }
  // A validity bitmap that says of itself how many rows it leaves out.
  MadeArrow& with_validity(const std::string& rows) {
    array.null_count = std::count(rows.begin(), rows.end(), '0');
    return with(bitmap(rows));
  }
  MadeArrow& with_child(MadeArrow& child) {
    child_arrays.push_back(&child.array);
    child_schemas.push_back(&child.schema);
    array.n_children = schema.n_children = static_cast<int64_t>(child_arrays.size());
    array.children = child_arrays.data();
    schema.children = child_schemas.data();
    return *this;
  }
  MadeArrow& with_dictionary(MadeArrow& dictionary) {
    array.dictionary = &dictionary.array;
    schema.dictionary = &dictionary.schema;
    return *this;
  }

  Result<TypedColumn> import(const TypedColumnOptions& options = {}) const {
    const ArrowArray* batch[] = {&array};
    return import_arrow_column(schema, batch, options);
  }
  std::string refusal(const TypedColumnOptions& options = {}) const {
    const auto column = import(options);
    return column ? "imported" : column.message();
  }

 private:
  MadeArrow& describe() {
    array.n_buffers = static_cast<int64_t>(addresses.size());
    array.buffers = addresses.data();
    return *this;
  }
};

// Offsets and bytes of texts, as the two buffers of utf8.
template <class Offset>
std::pair<Bytes, Bytes> text_buffers(const std::vector<std::string>& texts) {
  std::vector<Offset> offsets{0};
  Bytes bytes;
  for (const std::string& text : texts) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    offsets.push_back(static_cast<Offset>(bytes.size()));
  }
  return {bytes_of(offsets), bytes};
}

}  // namespace colx::host
