#include "host/compressed_column.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "host/stream_decoders.h"
#include "host/wpak_writer.h"

namespace colx::host {
namespace {

// The image of `plain` if it is smaller; the length of an image is 32 bits.
std::optional<StreamBuffer> smaller_image(std::span<const uint8_t> plain) {
  if (plain.size() > UINT32_MAX) return {};
  auto image = write_wpak(plain);
  if (!image || image->size() >= plain.size()) return {};
  return std::move(*image);
}

}  // namespace

Result<bool> compress_chunk(Chunk& chunk) {
  if (chunk.image_bytes != 0)
    return make_error("the chunk of %u rows is compressed already, from %u bytes", chunk.rows,
                      chunk.image_bytes);
  auto image = smaller_image(chunk.data.bytes());
  if (!image) return false;
  chunk.image_bytes = static_cast<uint32_t>(chunk.data.size());
  chunk.data = std::move(*image);
  return true;
}

uint64_t compress_column(StoredColumn& column) {
  const uint64_t before = column.stream_bytes();
  for (Chunk& chunk : column.chunks)
    if (chunk.image_bytes == 0) compress_chunk(chunk).value();
  return before - column.stream_bytes();
}

Result<CompressedDictionary> CompressedDictionary::write(
    std::span<const std::string_view> symbols) {
  if (symbols.size() > UINT32_MAX)
    return make_error("%zu symbols are too many for one dictionary", symbols.size());
  CompressedDictionary written;
  written.num_symbols_ = static_cast<uint32_t>(symbols.size());
  for (size_t code = 0; code < symbols.size(); ++code) {
    if (symbols[code].size() > max_symbol_bytes)
      return make_error("the value of code %zu has %zu bytes; the longest has %zu", code,
                        symbols[code].size(), max_symbol_bytes);
    written.lengths_.push_back(static_cast<uint16_t>(symbols[code].size()));
    written.plain_bytes_ += symbols[code].size();
  }
  if (written.plain_bytes_ > UINT32_MAX)
    return make_error("a dictionary of %llu bytes; offsets reach 2^32 - 1",
                      static_cast<unsigned long long>(written.plain_bytes_));
  StreamBuffer plain(written.plain_bytes_);
  uint8_t* at = plain.data();
  for (const std::string_view symbol : symbols) at = std::copy(symbol.begin(), symbol.end(), at);
  const auto& lengths = written.lengths_;
  if (std::all_of(lengths.begin(), lengths.end(),
                  [&](uint16_t length) { return length == lengths.front(); }))
    written.lengths_.resize(std::min<size_t>(1, lengths.size()));
  auto image = smaller_image(plain.bytes());
  written.is_compressed_ = image.has_value();
  written.symbols_ = image ? std::move(*image) : std::move(plain);
  return written;
}

Result<DictionaryImage> CompressedDictionary::expand(colx_env* env) const {
  StreamBuffer expanded;
  if (is_compressed_) {
    auto result = expand_wpak(symbols_.bytes(), env, static_cast<uint32_t>(plain_bytes_));
    if (!result) return result.error();
    expanded = std::move(*result);
  }
  const StreamBuffer& plain = is_compressed_ ? expanded : symbols_;
  std::vector<std::string_view> symbols;
  const char* at = reinterpret_cast<const char*>(plain.data());
  for (uint32_t code = 0; code < num_symbols_; ++code) {
    symbols.emplace_back(at, length_of(code));
    at += length_of(code);
  }
  return DictionaryImage::write(symbols);
}

uint64_t CompressedDictionary::stored_bytes() const {
  return symbols_.size() + lengths_.size() * sizeof(uint16_t);
}

}  // namespace colx::host
