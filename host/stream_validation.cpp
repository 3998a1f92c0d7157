#include "host/stream_validation.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "host/big_endian.h"

namespace colx::host {
namespace {

constexpr size_t fixed_header_bytes = 18;
constexpr uint32_t most_symbols = 1024;
constexpr uint32_t longest_symbol_bytes = 8;
constexpr uint32_t stride = 16;
constexpr int32_t longest_value_bytes = 8;

struct Bytes {
  const uint8_t* at;
  size_t length;

  // That `count` bytes at `offset`, which is not behind the end, are there.
  bool hold(size_t offset, uint64_t count) const { return count <= length - offset; }
};

Error cut_off(const char* form, const char* what, size_t offset, uint64_t count, size_t length) {
  return make_error(
      "%s stream: ends at %zu, but %s of %llu bytes begins at offset %zu; the stream is cut off or "
      "damaged",
      form, length, what, static_cast<unsigned long long>(count), offset);
}

// The parts of a wpak stream, in their order. Each step reads what the steps before it have proven
// to be there.
class WpakCheck {
 public:
  explicit WpakCheck(Bytes bytes) : bytes_(bytes) {}

  Result<WpakStream> run() {
    using Step = Result<void> (WpakCheck::*)();
    for (const Step step :
         {&WpakCheck::check_header, &WpakCheck::check_lengths, &WpakCheck::check_symbols,
          &WpakCheck::check_code_area, &WpakCheck::check_expansion})
      if (const auto checked = (this->*step)(); !checked) return checked.error();
    return found_;
  }

 private:
  Result<void> check_header() {
    if (bytes_.length < fixed_header_bytes)
      return cut_off("wpak", "a header", 0, fixed_header_bytes, bytes_.length);
    if (std::memcmp(bytes_.at, "WPAK", 4) != 0)
      return make_error("wpak stream: no \"WPAK\" at offset 0; this is no wpak stream");
    if (bytes_.at[4] != 0)
      return make_error("wpak stream: version %u at offset 4; only version 0 can be decoded",
                        bytes_.at[4]);
    const unsigned flags = bytes_.at[5];
    if ((flags & 0x02) == 0 || (flags & 0x09) != 0)
      return make_error(
          "wpak stream: flags 0x%02X at offset 5; 0x02 must be set, 0x01 and 0x08 "
          "clear",
          flags);
    has_sections_ = static_cast<int16_t>(load_big_endian(bytes_.at + 10, 2)) > 0;
    found_.decoded_bytes = static_cast<uint32_t>(load_big_endian(bytes_.at + 12, 4));
    found_.symbols = static_cast<uint32_t>(load_big_endian(bytes_.at + 16, 2));
    if (found_.symbols < 1 || found_.symbols > most_symbols)
      return make_error("wpak stream: %u symbols at offset 16; there must be 1 to %u",
                        found_.symbols, most_symbols);
    found_.code_bits = static_cast<uint32_t>(std::bit_width(found_.symbols - 1));
    return {};
  }

  // A store of 8 bytes expands a code: longer symbols would come out cut, and a length of 0 would
  // leave too little output behind a store.
  Result<void> check_lengths() {
    at_ = fixed_header_bytes;
    if (const size_t bytes = (found_.symbols + 1) / 2; !bytes_.hold(at_, bytes))
      return cut_off("wpak", "a table of symbol lengths", at_, bytes, bytes_.length);
    for (uint32_t i = 0; i < found_.symbols; ++i) {
      const uint8_t pair = bytes_.at[at_ + i / 2];
      lengths_.push_back(i % 2 == 0 ? pair >> 4 : pair & 15);
      if (lengths_[i] < 1 || lengths_[i] > longest_symbol_bytes)
        return make_error("wpak stream: symbol %u has length %u at offset %zu; lengths are 1 to %u",
                          i, lengths_[i], at_ + i / 2, longest_symbol_bytes);
    }
    at_ += (found_.symbols + 1) / 2;
    return {};
  }

  // The decoder takes 8 bytes from each symbol's start, so up to 7 behind the last symbol: there at
  // least in the readable bytes behind the stream.
  Result<void> check_symbols() {
    if (has_sections_) {
      const size_t bytes = size_t{2} * found_.symbols;
      if (!bytes_.hold(at_, bytes))
        return cut_off("wpak", "a skipped section", at_, bytes, bytes_.length);
      at_ += bytes;
    }
    for (uint32_t i = 0; i < found_.symbols; ++i) {
      if (!bytes_.hold(at_, lengths_[i]))
        return cut_off("wpak", ("symbol " + std::to_string(i)).c_str(), at_, lengths_[i],
                       bytes_.length);
      at_ += lengths_[i];
    }
    return {};
  }

  // Single codes are taken from two bytes, the last one from one byte behind the codes at most; a
  // block's last load begins 5 code widths before what the next 32 codes take, and ends before 16
  // bytes behind the codes.
  Result<void> check_code_area() {
    if (!bytes_.hold(at_, 4)) return cut_off("wpak", "a code count", at_, 4, bytes_.length);
    found_.codes = static_cast<uint32_t>(load_big_endian(bytes_.at + at_, 4));
    at_ += 4;
    if (has_sections_) {
      if (!bytes_.hold(at_, 4)) return cut_off("wpak", "a skipped section", at_, 4, bytes_.length);
      const uint64_t section = load_big_endian(bytes_.at + at_, 4) >> 7;
      if (section < 4)
        return make_error(
            "wpak stream: the section at offset %zu claims %llu bytes, but its own "
            "length takes 4",
            at_, static_cast<unsigned long long>(section));
      if (!bytes_.hold(at_, section))
        return cut_off("wpak", "a skipped section", at_, section, bytes_.length);
      at_ += section;
    }
    found_.codes_at = at_;
    const uint64_t bytes = (uint64_t{found_.codes} * found_.code_bits + 7) / 8;
    if (!bytes_.hold(at_, bytes))
      return cut_off("wpak", "an area of codes", at_, bytes, bytes_.length);
    found_.stream_bytes = at_ + bytes;
    return {};
  }

  // Whole words of 8 bytes are stored only while 32 codes or more are still to come. Each of them
  // expands to a byte at least, so such a word ends before the output does if the whole has exactly
  // the length that the header says.
  Result<void> check_expansion() {
    if (found_.code_bits == 0) return check_length(uint64_t{found_.codes} * lengths_[0]);
    uint64_t expanded = 0;
    uint64_t bit = uint64_t{found_.codes_at} * 8;
    for (uint32_t i = 0; i < found_.codes; ++i, bit += found_.code_bits) {
      const uint32_t code = code_at(bit);
      if (code >= found_.symbols)
        return make_error("wpak stream: code %u at offset %llu, bit %llu, is symbol %u of %u", i,
                          static_cast<unsigned long long>(bit / 8),
                          static_cast<unsigned long long>(bit % 8), code, found_.symbols);
      expanded += lengths_[code];
    }
    return check_length(expanded);
  }

  Result<void> check_length(uint64_t expanded) const {
    if (expanded == found_.decoded_bytes) return {};
    return make_error(
        "wpak stream: decoded length %u at offset 12, but the %u codes at offset %zu "
        "expand to %llu bytes",
        found_.decoded_bytes, found_.codes, found_.codes_at,
        static_cast<unsigned long long>(expanded));
  }

  uint32_t code_at(uint64_t bit) const {
    const size_t first = bit / 8;
    const uint32_t second = first + 1 < bytes_.length ? bytes_.at[first + 1] : 0;
    const uint32_t both = uint32_t{bytes_.at[first]} << 8 | second;
    return both >> (16 - bit % 8 - found_.code_bits) & ((1u << found_.code_bits) - 1);
  }

  const Bytes bytes_;
  WpakStream found_;
  bool has_sections_ = false;
  std::vector<uint8_t> lengths_;
  size_t at_ = 0;  // offset behind what is proven, at most the stream's length
};

Result<void> check_shape(const PrefixShape& shape) {
  if (shape.group_values != stride)
    return make_error("prefix groups: %u values a group; there must be %u", shape.group_values,
                      stride);
  if (shape.value_bytes < 1 || shape.value_bytes > longest_value_bytes)
    return make_error("prefix groups: values of %d bytes; there must be 1 to %d", shape.value_bytes,
                      longest_value_bytes);
  const uint64_t groups = (uint64_t{shape.values} + stride - 1) / stride;
  if (shape.values == 0 || shape.groups != groups)
    return make_error("prefix groups: %u values in %u groups; %s", shape.values, shape.groups,
                      shape.values == 0
                          ? "there must be one at least"
                          : "every group but the last must have 16, the last 1 to 16");
  return {};
}

}  // namespace

Result<WpakStream> wpak_validate(const void* stream, size_t length) {
  return WpakCheck({static_cast<const uint8_t*>(stream), length}).run();
}

// Vector loads begin in a group that another one follows, at the latest at that one's first byte:
// 16 bytes from there are in the stream or in the readable bytes behind it. A vector's store
// begins at values of its own group and passes that group's end by 15 bytes at most; the last group
// is copied exactly.
Result<PrefixStream> prefix_validate(const void* stream, size_t length, const PrefixShape& shape) {
  if (const auto checked = check_shape(shape); !checked) return checked.error();
  const Bytes bytes = {static_cast<const uint8_t*>(stream), length};
  const auto value_bytes = static_cast<uint32_t>(shape.value_bytes);
  size_t at = 0;
  uint32_t values_left = shape.values;
  for (uint32_t group = 0; group < shape.groups; ++group) {
    const auto group_cut_off = [&](size_t needed) {
      return cut_off("prefix", ("group " + std::to_string(group)).c_str(), at, needed, length);
    };
    if (!bytes.hold(at, 1)) return group_cut_off(1);
    const uint32_t prefix = bytes.at[at];
    if (prefix > value_bytes)
      return make_error(
          "prefix stream: group %u at offset %zu has a prefix of %u bytes, but values "
          "have %u",
          group, at, prefix, value_bytes);
    const uint32_t values = std::min(values_left, stride);
    const size_t group_bytes = 1 + prefix + size_t{values} * (value_bytes - prefix);
    if (!bytes.hold(at, group_bytes)) return group_cut_off(group_bytes);
    at += group_bytes;
    values_left -= values;
  }
  return PrefixStream{uint64_t{shape.values} * value_bytes, at};
}

Result<PrefixStream> prefix_validate(const colx_cv& source, size_t length) {
  const colx_enc_ctx& encoding = *source.colx_cv_encoding_context;
  return prefix_validate(source.colx_cv_data, length,
                         {.groups = source.colx_cv_num_of_rows,
                          .values = encoding.colx_enc_ctx_prefix_values,
                          .value_bytes = encoding.colx_enc_ctx_prefix_value_len,
                          .group_values = encoding.colx_enc_ctx_prefix_stride});
}

}  // namespace colx::host
