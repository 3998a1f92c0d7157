// Any byte string that wpak_validate accepts is decoded within its buffers, to what its codes say.
//
// Every buffer is a heap block of exactly the granted size, so that the address sanitizer sees the
// first byte beyond. The input is decoded twice, with different bytes behind the stream: they may
// be read, but must not show.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "host/big_endian.h"
#include "host/stream_validation.h"
#include "kernels/frame/colx_x86.h"

namespace {

using colx::host::load_big_endian;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t largest_output = 1 << 16;
constexpr size_t readable_behind = 16;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "wpak_fuzz: %s\n", what);
  std::abort();
}

void* allocate(void*, uint64_t bytes, const char*, uint32_t, uint32_t, uint64_t* cookie) {
  *cookie = bytes;
  return std::malloc(bytes);
}
void release(void*, void* block, uint64_t) {
  std::free(block);
}

// The expansion of a stream up to `largest_output` bytes, read with every step checked and nothing
// known of the decoder; nothing if a part is missing. What the header says of its length is not
// looked at.
bool expand(const Bytes& stream, Bytes& out) {
  const auto holds = [&](size_t at, size_t bytes) { return at + bytes <= stream.size(); };
  if (!holds(0, 18)) return false;
  const bool has_sections = static_cast<int16_t>(load_big_endian(&stream[10], 2)) > 0;
  const size_t symbols = load_big_endian(&stream[16], 2);
  size_t at = 18 + (symbols + 1) / 2 + (has_sections ? 2 * symbols : 0);
  if (symbols == 0 || symbols > 1024 || !holds(at, 0)) return false;
  std::vector<Bytes> table;
  for (size_t i = 0; i < symbols; ++i) {
    const size_t length = i % 2 == 0 ? stream[18 + i / 2] >> 4 : stream[18 + i / 2] & 15;
    if (!holds(at, length)) return false;
    table.emplace_back(stream.begin() + static_cast<ptrdiff_t>(at),
                       stream.begin() + static_cast<ptrdiff_t>(at + length));
    at += length;
  }
  if (!holds(at, 8)) return false;
  const uint64_t codes = load_big_endian(&stream[at], 4);
  at += 4;
  if (has_sections) at += load_big_endian(&stream[at], 4) >> 7;
  size_t width = 0;
  while (symbols > size_t{1} << width) ++width;
  for (uint64_t bit = at * 8; bit < at * 8 + codes * width || width == 0; bit += width) {
    size_t code = 0;
    for (uint64_t k = bit; k < bit + width; ++k) {
      if (!holds(k / 8, 1)) return false;
      code = code << 1 | (stream[k / 8] >> (7 - k % 8) & 1);
    }
    if (code >= symbols || out.size() > largest_output) return false;
    if (width == 0 && out.size() >= codes * table[0].size()) break;
    out.insert(out.end(), table[code].begin(), table[code].end());
  }
  return true;
}

// The output, decoded with `behind` in the bytes behind the stream.
Bytes decode(const uint8_t* data, size_t size, uint32_t decoded_bytes, uint8_t behind) {
  const auto stream = std::make_unique<uint8_t[]>(size + readable_behind);
  std::memcpy(stream.get(), data, size);
  std::memset(stream.get() + size, behind, readable_behind);
  const auto out = std::make_unique<uint8_t[]>(decoded_bytes);
  colx_decode_env env = {nullptr, nullptr, allocate, release};
  uint32_t length = 0;
  const uint32_t status =
      colx_wpak_decode_dydi(&env, stream.get(), out.get(), &length, decoded_bytes);
  require(status == COLX_DONE, "a valid stream is not decoded");
  require(length == decoded_bytes, "the decoder wrote another length than the validator said");
  return {out.get(), out.get() + decoded_bytes};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto valid = colx::host::wpak_validate(data, size);
  if (!valid) {
    require(!valid.message().empty(), "refused without a reason");
    return 0;
  }
  require(valid->stream_bytes <= size, "a valid stream ends behind its end");
  if (valid->decoded_bytes > largest_output) return 0;
  const Bytes decoded = decode(data, size, valid->decoded_bytes, 0x00);
  require(decoded == decode(data, size, valid->decoded_bytes, 0xFF),
          "the output depends on what lies behind the stream");
  Bytes expected;
  Bytes padded(data, data + size);
  padded.resize(size + 4);  // expand() looks for X without asking whether there is one
  require(expand(padded, expected) && expected == decoded, "the output is not what the codes say");
  return 0;
}

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

// Nearly all mutations would end at the header's length: three out of four get the one that they
// expand to.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned seed) {
  size = LLVMFuzzerMutate(data, size, max_size);
  if (seed % 4 == 0 || size < 18) return size;
  std::memcpy(data, "WPAK", 4);
  data[4] = 0;
  data[5] = static_cast<uint8_t>((data[5] | 0x02) & ~0x09);
  Bytes expansion;
  if (expand({data, data + size}, expansion))
    colx::host::store_big_endian(data + 12, expansion.size(), 4);
  return size;
}
