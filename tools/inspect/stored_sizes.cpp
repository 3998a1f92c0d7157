#include "tools/inspect/stored_sizes.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string_view>

#include "host/big_endian.h"
#include "host/compressed_column.h"
#include "host/encode_codes.h"
#include "host/encode_numbers.h"
#include "host/encode_rows.h"
#include "host/prefix_writer.h"
#include "host/value_dictionary.h"
#include "host/value_forms.h"

namespace colx::inspect {
namespace {

using namespace colx::host;

// The form that it stores may be told more closely by the result: "fixed" and "16 bits".
struct Form {
  std::string name;
  std::string ending;
  std::function<Result<StoredSize>()> store;
};
using Forms = std::vector<Form>;

enum class Packing { plain, wpak };

StoredSize size_of(StoredColumn& column, Packing packing, uint64_t null_bytes) {
  if (packing == Packing::wpak) compress_column(column);
  StoredSize size;
  size.data_bytes = column.stream_bytes() + null_bytes;
  return size;
}

// The codes of a column and what its dictionary takes.
struct Coded {
  std::vector<uint64_t> codes;
  uint32_t narrowest_bits = 0;
  uint64_t dictionary_bytes = 0;
  uint64_t resting_bytes = 0;  // of the dictionary as a wpak stream
  bool nullable = false;
};

Result<uint64_t> resting_bytes(const DictionaryImage& image) {
  std::vector<std::string_view> symbols(image.num_symbols());
  for (uint32_t code = 0; code < image.num_symbols(); ++code) symbols[code] = image.symbol(code);
  const auto resting = CompressedDictionary::write(symbols);
  if (!resting) return resting.error();
  return resting->stored_bytes();
}

template <class T>
Result<Coded> encode_by_dictionary(std::span<const typename Dictionary<T>::Key> values,
                                   const RowBits& present, bool nullable) {
  std::vector<typename Dictionary<T>::Key> distinct;
  for (size_t row = 0; row < values.size(); ++row)
    if (present.test(row)) distinct.push_back(values[row]);
  const auto dictionary = Dictionary<T>::build(distinct, nullable);
  if (!dictionary) return dictionary.error();
  auto codes = dictionary->encode(values, nullable ? &present : nullptr);
  if (!codes) return codes.error();
  const auto image = dictionary->image();
  if (!image) return image.error();
  const auto resting = resting_bytes(*image);
  if (!resting) return resting.error();
  return Coded{std::move(*codes), dictionary->narrowest_width_bits(), image->bytes(), *resting,
               nullable};
}

Result<Coded> encode_values(const ColumnValues& values) {
  const bool nullable = values.nulls != 0;
  if (values.kind == ValueKind::doubles)
    return encode_by_dictionary<double>(values.doubles, values.present, nullable);
  if (values.kind == ValueKind::texts)
    return encode_by_dictionary<std::string>(values.texts, values.present, nullable);
  return encode_by_dictionary<int64_t>(values.integers, values.present, nullable);
}

Form code_form(const Coded& coded, uint32_t bits, const std::string& extra,
               std::optional<RunLengthOptions> runs, Packing packing) {
  return {fmt::format("dict, {} bit{}{}", bits, bits == 1 ? "" : "s", extra), "",
          [&coded, bits, runs, packing] {
            auto column = store_codes(
                coded.codes, {.width_bits = bits, .zero_is_null = coded.nullable, .runs = runs});
            if (!column) return Result<StoredSize>(column.error());
            StoredSize size = size_of(*column, packing, 0);
            size.dictionary_bytes =
                packing == Packing::wpak ? coded.resting_bytes : coded.dictionary_bytes;
            return Result<StoredSize>(std::move(size));
          }};
}

void add_code_forms(const Coded& coded, Forms& forms) {
  const uint32_t narrowest = coded.narrowest_bits;
  forms.push_back(code_form(coded, narrowest, "", {}, Packing::plain));
  for (const uint32_t bits : {8u, 16u, 32u})
    if (bits > narrowest) {
      forms.push_back(code_form(coded, bits, "", {}, Packing::plain));
      break;
    }
  forms.push_back(code_form(coded, narrowest, ", run-length", RunLengthOptions{}, Packing::plain));
  forms.push_back(code_form(coded, narrowest, ", run-length with positions",
                            RunLengthOptions{.positions = true}, Packing::plain));
  forms.push_back(code_form(coded, narrowest, ", wpak", {}, Packing::wpak));
  forms.push_back(
      code_form(coded, narrowest, ", run-length, wpak", RunLengthOptions{}, Packing::wpak));
}

// A form of stored rows, plain and as wpak streams. `store` is called once for each.
template <class Store>
void add_row_forms(const std::string& name, uint64_t null_bytes, Forms& forms, const Store& store) {
  for (const Packing packing : {Packing::plain, Packing::wpak})
    forms.push_back({name, packing == Packing::wpak ? ", wpak" : "",
                     [store, packing, null_bytes]() -> Result<StoredSize> {
                       auto column = store();
                       if (!column) return column.error();
                       StoredSize size = size_of(*column, packing, null_bytes);
                       const ColumnFormat& format = column->format;
                       size.form = format.encoding == Encoding::fixed
                                       ? fmt::format("{} bits", format.width_bits)
                                       : fmt::format("up to {} bits", format.width_bits);
                       return size;
                     }});
}

// Values of one length in prefix groups.
Result<StoredSize> prefix_size(const std::vector<uint8_t>& bytes, uint32_t value_bytes,
                               uint64_t null_bytes) {
  const auto groups = write_prefix_groups(bytes, value_bytes);
  if (!groups) return groups.error();
  StoredSize size;
  size.form = fmt::format("{} bytes a value", value_bytes);
  size.data_bytes = groups->stream.size() + null_bytes;
  return size;
}

void add_integer_forms(const ColumnValues& values, uint64_t null_bytes, Forms& forms) {
  add_row_forms("fixed", null_bytes, forms, [&values]() -> Result<StoredColumn> {
    for (size_t row = 0; row < values.rows(); ++row)
      if (values.integers[row] < 0)
        return make_error("row %zu is negative; fixed rows are unsigned", row);
    return store_fixed_numbers(
        {reinterpret_cast<const uint64_t*>(values.integers.data()), values.integers.size()});
  });
  add_row_forms("dynp", null_bytes, forms,
                [&values] { return store_dynp_numbers(values.integers); });
  add_row_forms("dsb", null_bytes, forms, [&values] { return store_dsb(values.integers); });
  forms.push_back({"prefix groups", "", [&values, null_bytes]() -> Result<StoredSize> {
                     const auto [low, high] = std::ranges::minmax(values.integers);
                     const auto bytes = static_cast<uint32_t>(integer_bytes(low, high));
                     std::vector<uint8_t> rows(values.rows() * bytes);
                     for (size_t row = 0; row < values.rows(); ++row)
                       store_integer(&rows[row * bytes], values.integers[row], bytes);
                     return prefix_size(rows, bytes, null_bytes);
                   }});
}

void add_double_forms(const ColumnValues& values, uint64_t null_bytes, Forms& forms) {
  add_row_forms("canonical doubles", null_bytes, forms,
                [&values] { return store_doubles(values.doubles); });
  add_row_forms("canonical floats", null_bytes, forms, [&values]() -> Result<StoredColumn> {
    std::vector<float> floats(values.rows());
    for (size_t row = 0; row < floats.size(); ++row) {
      floats[row] = static_cast<float>(values.doubles[row]);
      if (static_cast<double>(floats[row]) != values.doubles[row])
        return make_error("row %zu needs more digits than a float has", row);
    }
    return store_floats(floats);
  });
}

// Rows of values have no empty text: a NULL stands there as one zero byte, and the vector of NULLs
// keeps it out of every answer.
std::vector<std::string_view> texts_to_store(const ColumnValues& values) {
  static constexpr std::string_view zero_byte{"\0", 1};
  std::vector<std::string_view> texts(values.texts.begin(), values.texts.end());
  for (std::string_view& text : texts)
    if (text.empty()) text = zero_byte;
  return texts;
}

void add_text_forms(const ColumnValues& values, std::span<const std::string_view> texts,
                    uint64_t null_bytes, Forms& forms) {
  add_row_forms("fixed", null_bytes, forms, [texts] { return store_fixed(texts); });
  add_row_forms("fixed with tie codes", null_bytes, forms,
                [texts] { return store_fixed(texts, {.lengths = ValueLengths::kept}); });
  add_row_forms("dynp", null_bytes, forms,
                [texts] { return store_dynp(texts, {.lengths = ValueLengths::kept}); });
  forms.push_back({"prefix groups", "", [&values, null_bytes]() -> Result<StoredSize> {
                     std::vector<uint8_t> rows;
                     size_t length = 0;
                     for (const std::string_view text : values.texts) {
                       if (!length) length = text.size();
                       if (text.size() != length || text.empty())
                         return make_error("the values differ in length");
                       rows.insert(rows.end(), text.begin(), text.end());
                     }
                     return prefix_size(rows, static_cast<uint32_t>(length), null_bytes);
                   }});
}

}  // namespace

std::vector<StoredSize> stored_sizes(const ColumnValues& values,
                                     const std::function<void(size_t, size_t)>& step) {
  Forms forms;
  const auto coded = encode_values(values);
  if (coded)
    add_code_forms(*coded, forms);
  else
    forms.push_back({"dict", "", [&coded] { return Result<StoredSize>(coded.error()); }});

  const uint64_t null_bytes = values.nulls ? (values.rows() + 63) / 64 * 8 : 0;
  std::vector<std::string_view> texts;
  if (values.kind == ValueKind::doubles) {
    add_double_forms(values, null_bytes, forms);
  } else if (values.kind == ValueKind::texts) {
    texts = texts_to_store(values);
    add_text_forms(values, texts, null_bytes, forms);
  } else {
    add_integer_forms(values, null_bytes, forms);
  }

  std::vector<StoredSize> sizes;
  for (const Form& form : forms) {
    step(sizes.size(), forms.size());
    auto size = form.store();
    StoredSize& stored = sizes.emplace_back();
    if (size)
      stored = std::move(*size);
    else
      stored.misfit = size.message();
    stored.form = form.name + (stored.form.empty() ? "" : ", " + stored.form) + form.ending;
  }
  return sizes;
}

}  // namespace colx::inspect
