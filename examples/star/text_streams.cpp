#include "examples/star/text_streams.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "examples/star/report.h"
#include "host/compressed_column.h"
#include "host/prefix_writer.h"
#include "host/stream_decoders.h"
#include "tools/console/figures.h"

namespace colx::star {
namespace {

constexpr uint32_t digits = 8;

struct DigitColumn {
  TableId table;
  size_t column;
};
constexpr DigitColumn digit_columns[] = {
    {TableId::customer, c_name}, {TableId::supplier, s_name}, {TableId::date, d_datekey}};

std::vector<std::string_view> distinct_texts(const Column& column) {
  std::vector<std::string_view> texts;
  for (uint32_t number = 0; number < column.texts.size(); ++number)
    texts.push_back(column.texts.at(number));
  std::sort(texts.begin(), texts.end());
  return texts;
}

host::Result<TextStream> store_dictionary(const Column& column, host::HostServices& services) {
  const auto texts = distinct_texts(column);
  const auto stored = host::CompressedDictionary::write(texts);
  if (!stored) return stored.error();
  const auto image = stored->expand(services.env());
  if (!image) return image.error();
  TextStream stream{std::string{column.schema.name},
                    stored->is_compressed() ? "wpak dictionary" : "plain dictionary",
                    stored->num_symbols(), stored->plain_bytes(), stored->stored_bytes()};
  if (image->num_symbols() != texts.size()) stream.wrong = "another number of texts";
  for (uint32_t code = 0; code < image->num_symbols() && !stream.wrong; ++code)
    if (image->symbol(code) != texts[code])
      stream.wrong =
          fmt::format("text {} is '{}', not '{}'", code, image->symbol(code), texts[code]);
  return stream;
}

bool ends_in_digits(const std::string& cell) {
  return cell.size() >= digits &&
         std::all_of(cell.end() - digits, cell.end(), [](char c) { return c >= '0' && c <= '9'; });
}

void print_stream(const TextStream& stream) {
  const double part = 100.0 * static_cast<double>(stream.stored_bytes) /
                      static_cast<double>(std::max<uint64_t>(stream.plain_bytes, 1));
  fmt::print("  {:<20} {:<20} {:>9} texts {:>11} of {:>11} bytes, {:>5.1f}%{}\n", stream.column,
             stream.form, console::grouped(stream.texts), console::grouped(stream.stored_bytes),
             console::grouped(stream.plain_bytes), part,
             stream.wrong ? "; WRONG: " + *stream.wrong : "");
}

}  // namespace

host::Result<std::vector<TextStream>> store_texts(const Table& table,
                                                  host::HostServices& services) {
  std::vector<TextStream> streams;
  for (const Column& column : table.columns()) {
    if (column.schema.kind != Kind::text) continue;
    auto stream = store_dictionary(column, services);
    if (!stream) return host::Error{fmt::format("{}: {}", column.schema.name, stream.message())};
    streams.push_back(std::move(*stream));
  }
  return streams;
}

host::Result<std::optional<TextStream>> store_digits(const Table& table, size_t column,
                                                     const host::Library& library) {
  const std::string name{table[column].schema.name};
  std::vector<uint8_t> values;
  for (uint32_t row = 0; row < table.rows(); ++row) {
    const std::string cell = table.cell(column, row);
    if (!ends_in_digits(cell)) return std::optional<TextStream>{};
    values.insert(values.end(), cell.end() - digits, cell.end());
  }
  if (values.empty()) return std::optional<TextStream>{};
  const auto groups = host::write_prefix_groups(values, digits);
  if (!groups) return host::Error{fmt::format("{}: {}", name, groups.message())};
  const auto expanded =
      host::expand_prefix_groups(*groups, library.record().colx_sctx_prefix_decode);
  if (!expanded) return host::Error{fmt::format("{}: {}", name, expanded.message())};
  TextStream stream{name, "digits in groups", groups->values, values.size(), groups->stream.size()};
  const auto [at, back] = std::ranges::mismatch(values, expanded->bytes());
  if (at != values.end() || back != expanded->bytes().end())
    stream.wrong = fmt::format("the digits of row {} differ", (at - values.begin()) / digits);
  return std::optional<TextStream>{std::move(stream)};
}

host::Result<bool> run_text_streams(const Tables& tables, const host::Library& library,
                                    host::HostServices& services) {
  fmt::print("\ntexts at rest, their lengths included, expanded by the library and compared\n");
  bool right = true;
  for (const TableId id : table_ids) {
    const auto streams = store_texts(tables[id], services);
    if (!streams) return streams.error();
    for (const TextStream& stream : *streams) {
      print_stream(stream);
      right = right && !stream.wrong;
    }
  }
  for (const auto& [id, column] : digit_columns) {
    const auto stream = store_digits(tables[id], column, library);
    if (!stream) return stream.error();
    if (!*stream) continue;
    print_stream(**stream);
    right = right && !(*stream)->wrong;
  }
  return right;
}

}  // namespace colx::star
