// The wpak stream: a table of up to 1024 strings of 1 to 8 bytes, then a code of fixed width for
// each occurrence of one. Numbers are big-endian.
//
//   0  "WPAK"   4 version, 0   5 flags   6 four bytes, never read   10 aux   12 decoded length
//   16 symbol count S          18 symbol lengths, 4 bits each, even symbols in the high nibbles
//   then [2 * S bytes, if aux > 0]  the symbols' bytes  code count C
//        [X, if aux > 0: codes begin X >> 7 bytes behind C]  C codes of w bits
//
// w is what S - 1 needs. Beyond its header the stream is trusted. Reads: up to 16 bytes behind the
// codes. Writes: whole words while 32 codes or more are still to come, then exactly each symbol, so
// nothing behind the output. A symbol of length 0 does not occur.
#include "kernels/decode/wpak_decode.h"

#include "kernels/decode/packed_masks.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/vectors.h"

namespace colx {
namespace {

constexpr uint32_t widest_code = 10;
constexpr uint32_t narrowest_block_code = 3;  // fewer bits are rare and go one by one
constexpr uint32_t block_codes = 32;
constexpr size_t prefetch_bytes = 0x200;

// Eight successive codes in lanes of 16 bits, by the width of a code. The row of 8 bits stays
// unused.
struct WpakMasks {
  Mask rows[8];
  constexpr const Mask& operator[](unsigned width) const {
    return rows[width - narrowest_block_code];
  }
};

// lane_of(width, place) gives a code's lane, the low byte first.
template <class LaneRule>
constexpr WpakMasks wpak_masks(LaneRule lane_of) {
  WpakMasks masks{};
  for (unsigned width = narrowest_block_code; width <= widest_code; ++width)
    for (unsigned k = 0; k < 16; ++k)
      masks.rows[width - narrowest_block_code].bytes[k] =
          static_cast<uint8_t>(lane_of(width, code_place(width, k / 2)) >> 8 * (k % 2));
  return masks;
}

// The code's stream bytes, the earlier one high.
constexpr WpakMasks colx_wpak_decode_shuffle_masks =
    wpak_masks([](unsigned, CodePlace place) -> unsigned {
      return place.last | (place.first < place.last ? place.first : 0x80) << 8;
    });

// How far the code then stands above the lane's lowest bit.
constexpr WpakMasks colx_wpak_decode_shift_masks =
    wpak_masks([](unsigned, CodePlace place) -> unsigned { return place.spare; });

// Lanes have no shift counts of their own. This product moves each code to its lane's top and what
// stands above it out of the lane; one shift then brings all codes down.
constexpr WpakMasks wpak_factors = [] {
  WpakMasks masks{};
  for (unsigned width = narrowest_block_code; width <= widest_code; ++width)
    for (unsigned k = 0; k < 16; ++k) {
      const unsigned shift = colx_wpak_decode_shift_masks[width].bytes[k & ~1u];
      masks.rows[width - narrowest_block_code].bytes[k] =
          static_cast<uint8_t>(1u << (16 - width - shift) >> 8 * (k % 2));
    }
  return masks;
}();

constexpr bool shifts(unsigned width, const std::array<uint8_t, 8>& expected) {
  for (unsigned k = 0; k < 16; ++k)
    if (colx_wpak_decode_shift_masks[width].bytes[k] != (k % 2 == 0 ? expected[k / 2] : 0))
      return false;
  return true;
}
static_assert(begins(colx_wpak_decode_shuffle_masks[3], {0, 0x80, 0, 0x80, 1, 0, 1, 0x80,  //
                                                         1, 0x80, 2, 1, 2, 0x80, 2, 0x80}));
static_assert(begins(colx_wpak_decode_shuffle_masks[10], {1, 0, 2, 1, 3, 2, 4, 3,  //
                                                          6, 5, 7, 6, 8, 7, 9, 8}));
static_assert(shifts(3, {5, 2, 7, 4, 1, 6, 3, 0}) && shifts(4, {4, 0, 4, 0, 4, 0, 4, 0}));
static_assert(shifts(5, {3, 6, 1, 4, 7, 2, 5, 0}) && shifts(6, {2, 4, 6, 0, 2, 4, 6, 0}));
static_assert(shifts(7, {1, 2, 3, 4, 5, 6, 7, 0}) && shifts(9, {7, 6, 5, 4, 3, 2, 1, 0}));
static_assert(shifts(10, {6, 4, 2, 0, 6, 4, 2, 0}));
static_assert(begins(wpak_factors[10], {1, 0, 4, 0, 16, 0, 64, 0,  //
                                        1, 0, 4, 0, 16, 0, 64, 0}));

template <unsigned width>
COLX_INLINE Vec eight_codes(const uint8_t* codes) {
  const Vec lanes = shuffle(load(codes), load(colx_wpak_decode_shuffle_masks[width]));
  return shifted_right<2, 16 - width>(product<2>(lanes, load(wpak_factors[width])));
}

// Passed by value: as far as a compiler can tell, the bytes stored might change a table in memory.
struct SymbolTable {
  const uint8_t* symbols;
  const uint8_t* lengths;
};

// The whole word goes out; what follows overwrites the bytes behind the symbol.
COLX_INLINE uint8_t* put_symbol(uint8_t* out, uint32_t code, SymbolTable table) {
  store_as(out, load_as<uint64_t>(table.symbols + size_t{code} * 8));
  return out + table.lengths[code];
}

template <unsigned width>
COLX_INLINE uint8_t* expand_block(const uint8_t* codes, SymbolTable table, uint8_t* out) {
  if constexpr (width == 8) {
#pragma GCC unroll 4
    for (uint32_t eight = 0; eight < block_codes / 8; ++eight) {
      uint64_t numbers = load_as<uint64_t>(codes + 8 * eight);
#pragma GCC unroll 8
      for (uint32_t i = 0; i < 8; ++i, numbers >>= 8)
        out = put_symbol(out, static_cast<uint8_t>(numbers), table);
    }
    return out;
  }
  alignas(16) uint16_t numbers[block_codes];
  for (unsigned eight = 0; eight < block_codes / 8; ++eight)
    store_aligned(numbers + 8 * eight, eight_codes<width>(codes + eight * width));
#pragma GCC unroll 32
  for (uint32_t i = 0; i < block_codes; ++i) out = put_symbol(out, numbers[i], table);
  return out;
}

// The codes of whole blocks, all but the last 32 to 63.
constexpr uint32_t codes_in_blocks(uint32_t count) {
  return count <= block_codes ? 0 : (count / block_codes - 1) * block_codes;
}
static_assert(codes_in_blocks(32) == 0 && codes_in_blocks(33) == 0 && codes_in_blocks(63) == 0);
static_assert(codes_in_blocks(64) == 32);

template <unsigned width>
COLX_INLINE uint64_t expand(const uint8_t* codes, uint32_t count, SymbolTable table, uint8_t* out) {
  uint8_t* const start = out;
  uint32_t left = count;
  if constexpr (width >= narrowest_block_code) {
    for (uint32_t blocks = codes_in_blocks(count) / block_codes; blocks != 0; --blocks) {
      prefetch(codes + prefetch_bytes);
      prefetch(out + prefetch_bytes);
      out = expand_block<width>(codes, table, out);
      codes += block_codes * width / 8;
    }
    left -= codes_in_blocks(count);
  }
  return wpak_decode_dict_remain(codes, 0, left, table.symbols, table.lengths, out, start, width);
}

uint32_t bits_needed(uint32_t number) {
  uint32_t bits = 0;
  for (; number != 0; number >>= 1) ++bits;
  return bits;
}

struct Header {
  const uint8_t* lengths;  // of the symbols, as nibbles
  uint32_t decoded_bytes;
  uint32_t symbols;
  uint32_t width;
  bool has_sections;
};

// False for a stream that is refused.
bool read_header(const uint8_t* stream, uint32_t capacity, Header& header) {
  constexpr uint8_t magic[4] = {'W', 'P', 'A', 'K'};
  if (std::memcmp(stream, magic, sizeof magic) != 0 || stream[4] != 0) return false;
  const uint8_t flags = stream[5];
  if ((flags & 0x02) == 0 || (flags & 0x08) != 0 || (flags & 0x01) != 0) return false;
  header.decoded_bytes = load_big_endian<uint32_t>(stream + 12);
  if (header.decoded_bytes > capacity) return false;
  header.symbols = load_big_endian<uint16_t>(stream + 16);
  header.width = bits_needed(header.symbols - 1);  // of 0 symbols: 32 bits
  if (header.width > widest_code) return false;
  header.has_sections = static_cast<int16_t>(load_big_endian<uint16_t>(stream + 10)) > 0;
  header.lengths = stream + 18;
  return true;
}

// Fills both arrays; returns the address behind the symbols' bytes. A word takes the 8 bytes from
// its symbol's start, whatever follows the symbol in the stream included.
const uint8_t* read_symbols(const Header& header, uint8_t* symbols, uint8_t* lengths) {
  const uint8_t* at = header.lengths + (header.symbols + 1) / 2;
  if (header.has_sections) at += size_t{2} * header.symbols;
  for (uint32_t i = 0; i < header.symbols; ++i) {
    const uint8_t pair = header.lengths[i / 2];
    lengths[i] = i % 2 == 0 ? pair >> 4 : pair & 15;
    store_as(symbols + size_t{i} * 8, load_as<uint64_t>(at));
    at += lengths[i];
  }
  return at;
}

uint64_t expand_codes(const uint8_t* codes, uint32_t count, SymbolTable table, uint8_t* out,
                      uint32_t width) {
  switch (width) {
    case 8:
      return wpak_decode_dict_8_bit(codes, count, table.symbols, table.lengths, out);
    case 9:
      return wpak_decode_dict_9_bit(codes, count, table.symbols, table.lengths, out);
    case 10:
      return wpak_decode_dict_10_bit(codes, count, table.symbols, table.lengths, out);
    default:
      return wpak_decode_dict_less8_bit(codes, count, table.symbols, table.lengths, out, width);
  }
}

}  // namespace
}  // namespace colx

using namespace colx;

extern "C" {

uint64_t wpak_decode_dict_8_bit(const uint8_t* codes, uint32_t count, const uint8_t* symbols,
                                const uint8_t* lengths, uint8_t* out) {
  return expand<8>(codes, count, {symbols, lengths}, out);
}

uint64_t wpak_decode_dict_9_bit(const uint8_t* codes, uint32_t count, const uint8_t* symbols,
                                const uint8_t* lengths, uint8_t* out) {
  return expand<9>(codes, count, {symbols, lengths}, out);
}

uint64_t wpak_decode_dict_10_bit(const uint8_t* codes, uint32_t count, const uint8_t* symbols,
                                 const uint8_t* lengths, uint8_t* out) {
  return expand<10>(codes, count, {symbols, lengths}, out);
}

uint64_t wpak_decode_dict_less8_bit(const uint8_t* codes, uint32_t count, const uint8_t* symbols,
                                    const uint8_t* lengths, uint8_t* out, uint32_t width) {
  const SymbolTable table = {symbols, lengths};
  switch (width) {
    case 3:
      return expand<3>(codes, count, table, out);
    case 4:
      return expand<4>(codes, count, table, out);
    case 5:
      return expand<5>(codes, count, table, out);
    case 6:
      return expand<6>(codes, count, table, out);
    case 7:
      return expand<7>(codes, count, table, out);
    default:  // 0 to 2
      return wpak_decode_dict_remain(codes, 0, count, symbols, lengths, out, out, width);
  }
}

// A code and the bits before it in its byte never exceed 16: at 10 bits the offset is even.
uint64_t wpak_decode_dict_remain(const uint8_t* codes, uint32_t start_bit, uint32_t count,
                                 const uint8_t* symbols, const uint8_t* lengths, uint8_t* out,
                                 const uint8_t* out_start, uint32_t width) {
  uint32_t bit = start_bit;
  const uint32_t code_mask = (1u << width) - 1;
  for (; count != 0; --count) {
    const uint32_t code = load_big_endian<uint16_t>(codes) >> (16 - width - bit) & code_mask;
    const uint8_t* symbol = symbols + size_t{code} * 8;
    for (uint32_t i = 0; i < lengths[code]; ++i) *out++ = symbol[i];
    bit += width;
    codes += bit >> 3;
    bit &= 7;
  }
  return static_cast<uint64_t>(out - out_start);
}

uint32_t colx_wpak_decode_dydi(colx_decode_env* env, const void* stream, void* out,
                               uint32_t* out_len, uint32_t capacity) {
  Header header;
  if (!read_header(bytes_at(stream, 0), capacity, header)) return COLX_BAD_INPUT;

  void* const host = env->colx_denv_host;
  uint64_t lengths_cookie;
  uint64_t symbols_cookie;
  auto* lengths = static_cast<uint8_t*>(env->colx_denv_alloc(
      host, header.symbols + 1, "wpak_decode_x86 length_array", 8, 0, &lengths_cookie));
  auto* symbols = static_cast<uint8_t*>(env->colx_denv_alloc(
      host, uint64_t{8} * header.symbols, "wpak_decode_x86: symbol_array", 8, 0, &symbols_cookie));

  const uint8_t* at = read_symbols(header, symbols, lengths);
  const uint32_t count = load_big_endian<uint32_t>(at);
  const uint8_t* codes = at + 4;
  if (header.has_sections) codes += load_big_endian<uint32_t>(codes) >> 7;
  *out_len = static_cast<uint32_t>(
      expand_codes(codes, count, {symbols, lengths}, bytes_at(out, 0), header.width));

  env->colx_denv_free(host, symbols, symbols_cookie);
  env->colx_denv_free(host, lengths, lengths_cookie);
  return *out_len == header.decoded_bytes ? COLX_DONE : COLX_BAD_INPUT;
}

}  // extern "C"
