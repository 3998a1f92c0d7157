#include "host/dictionary_image.h"

#include <algorithm>
#include <cstring>

#include "host/big_endian.h"

namespace colx::host {
namespace {

Result<size_t> total_bytes(std::span<const std::string_view> symbols) {
  if (symbols.size() >= UINT32_MAX)
    return make_error("a dictionary of %zu values: at most 2^32 - 2 fit", symbols.size());
  size_t total = 0;
  for (size_t code = 0; code < symbols.size(); ++code) {
    if (symbols[code].size() > max_symbol_bytes)
      return make_error("dictionary value %zu has %zu bytes; at most %zu fit", code,
                        symbols[code].size(), max_symbol_bytes);
    total += symbols[code].size();
  }
  if (total > UINT32_MAX)
    return make_error("the dictionary's values take %zu bytes; at most 2^32 - 1 fit", total);
  return total;
}

StreamBuffer concatenate(std::span<const std::string_view> symbols, size_t total) {
  StreamBuffer bytes(total);
  uint8_t* at = bytes.data();
  for (const std::string_view symbol : symbols) {
    if (!symbol.empty()) std::memcpy(at, symbol.data(), symbol.size());
    at += symbol.size();
  }
  return bytes;
}

}  // namespace

Result<DictionaryImage> DictionaryImage::write(std::span<const std::string_view> symbols) {
  const bool one_length =
      !symbols.empty() && std::ranges::all_of(symbols, [&](std::string_view symbol) {
        return symbol.size() == symbols.front().size();
      });
  if (!one_length) return write_cumulative(symbols);
  auto total = total_bytes(symbols);
  if (!total) return total.error();
  DictionaryImage image;
  image.num_symbols_ = static_cast<uint32_t>(symbols.size());
  image.layout_ = COLX_DICT_ONE_LENGTH;
  image.one_length_ = static_cast<uint32_t>(symbols.front().size());
  image.one_length_bytes_ = StreamBuffer(2);
  store_big_endian(image.one_length_bytes_.data(), image.one_length_, 2);
  image.symbols_ = concatenate(symbols, *total);
  return image;
}

Result<DictionaryImage> DictionaryImage::write_cumulative(
    std::span<const std::string_view> symbols) {
  auto total = total_bytes(symbols);
  if (!total) return total.error();
  DictionaryImage image;
  image.num_symbols_ = static_cast<uint32_t>(symbols.size());
  image.offsets_ = StreamBuffer((symbols.size() + 1) * 4);
  size_t end = 0;
  for (size_t code = 0; code < symbols.size(); ++code) {
    end += symbols[code].size();
    store_big_endian(image.offsets_.data() + 4 * (code + 1), end, 4);
  }
  image.symbols_ = concatenate(symbols, *total);
  return image;
}

void DictionaryImage::describe(colx_enc_ctx& encoding) const {
  encoding.colx_enc_ctx_symbols = symbols_.data();
  encoding.colx_enc_ctx_one_len = one_length_bytes_.data();
  encoding.colx_enc_ctx_cla = offsets_.data();
  encoding.colx_enc_ctx_num_symbols = num_symbols_;
  encoding.colx_enc_ctx_layout = layout_;
}

std::string_view DictionaryImage::symbol(uint32_t code) const {
  const auto* bytes = reinterpret_cast<const char*>(symbols_.data());
  if (layout_ == COLX_DICT_ONE_LENGTH) return {bytes + size_t{code} * one_length_, one_length_};
  const uint64_t start = load_big_endian(offsets_.data() + 4 * size_t{code}, 4);
  const uint64_t end = load_big_endian(offsets_.data() + 4 * (size_t{code} + 1), 4);
  return {bytes + start, end - start};
}

}  // namespace colx::host
