// Any columns and any rooms: group keys are what their codes say, chunk by chunk.
//
//   input: form, 1 byte | columns, 1 byte | rows, 1 byte | room, scratch and first row, 1 byte each
//   |
//          a byte for each column: code bits, and whether it is run-length coded | codes, runs
//
// Streams, run lengths, keys and scratch are heap blocks of exactly the granted size. The columns
// have codes of up to 8 bits: other widths differ in how codes are unpacked, which is not what is
// looked for here.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "kernels/frame/kernels.h"

namespace {

constexpr size_t head_bytes = 6;
constexpr size_t readable_behind = 16;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "group_key_fuzz: %s\n", what);
  std::abort();
}

constexpr colx_decode_fn unpackers[] = {colx_decode_unpack_dict_1bit, colx_decode_unpack_dict_2bit,
                                        colx_decode_unpack_dict_3bit, colx_decode_unpack_dict_4bit,
                                        colx_decode_unpack_dict_5bit, colx_decode_unpack_dict_6bit,
                                        colx_decode_unpack_dict_7bit, colx_decode_unpack_dict_8bit};

void* allocate(void*, uint64_t bytes, const char*, uint32_t, uint32_t, uint64_t* cookie) {
  *cookie = bytes;
  return std::malloc(bytes);
}
void release(void*, void* block, uint64_t) {
  std::free(block);
}

struct Column {
  unsigned code_bits = 1;
  std::vector<uint8_t> codes;  // one a row
  std::unique_ptr<uint8_t[]> stream, lengths;
  colx_enc_ctx encoding = {};

  void store(const std::vector<uint8_t>& stored) {
    const size_t bytes = (stored.size() * code_bits + 7) / 8;
    stream = std::make_unique<uint8_t[]>(bytes + readable_behind);
    for (size_t i = 0; i < stored.size(); ++i)
      for (unsigned k = 0; k < code_bits; ++k) {
        const size_t bit = i * code_bits + k;
        if (stored[i] >> (code_bits - 1 - k) & 1)
          stream[bit / 8] = static_cast<uint8_t>(stream[bit / 8] | 0x80 >> bit % 8);
      }
    encoding.colx_enc_ctx_flags |= COLX_DICT;
    encoding.colx_enc_ctx_key = static_cast<uint8_t>(code_bits - 1);
    encoding.colx_enc_ctx_width = code_bits;
    encoding.colx_enc_ctx_num_symbols = 1u << code_bits;
  }
};

// Codes of whole bytes of input: one a row, or a code and a length a run.
void set_column(Column& column, uint8_t shape, uint32_t rows, const uint8_t*& at,
                const uint8_t* end) {
  const auto next = [&]() -> uint8_t { return at < end ? *at++ : 0; };
  column.code_bits = 1 + shape % 8;
  const auto mask = static_cast<uint8_t>((1u << column.code_bits) - 1);
  std::vector<uint8_t> stored, lengths;
  while (column.codes.size() < rows) {
    stored.push_back(next() & mask);
    const size_t left = rows - column.codes.size();
    const size_t length = shape & 0x80 ? std::min<size_t>(left, 1 + next() % 40) : 1;
    lengths.push_back(static_cast<uint8_t>(length));
    column.codes.insert(column.codes.end(), length, stored.back());
  }
  column.store(stored);
  if (!(shape & 0x80)) return;
  column.lengths = std::make_unique<uint8_t[]>(lengths.size());
  std::copy(lengths.begin(), lengths.end(), column.lengths.get());
  column.encoding.colx_enc_ctx_flags |= COLX_RLE;
  column.encoding.colx_enc_ctx_rle_runs = column.lengths.get();
  column.encoding.colx_enc_ctx_rle_width = 8;
  column.encoding.colx_enc_ctx_rle_rows = static_cast<uint32_t>(lengths.size());
}

}  // namespace

extern "C" void host_raise_internal(void*, void*, const char* text, uint64_t) {
  require(false, text);
}

// In place of the library's: a column's key says how many bits its codes have.
extern "C" uint32_t colx_dispatch_decode_unpack(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  return unpackers[src->colx_cv_encoding_context->colx_enc_ctx_key](res, src, kctx);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < head_bytes) return 0;
  const bool multiplied = data[0] & 1;
  const size_t count = 1 + data[1] % 6;
  const uint32_t rows = data[2] * 2u;
  const uint32_t room = data[3] * 2u, scratch_rows = 1 + data[4];
  const uint32_t first = std::min<uint32_t>(data[5], rows);
  const uint8_t* at = data + head_bytes;
  const uint8_t* const end = data + size;
  std::vector<Column> columns(count);
  std::vector<colx_cv> vectors(count);
  uint64_t key_space = 1;
  bool too_big = false;
  for (size_t c = 0; c < count; ++c) {
    const uint8_t shape = at < end ? *at++ : 0;
    set_column(columns[c], shape, rows, at, end);
    vectors[c].colx_cv_data = columns[c].stream.get();
    vectors[c].colx_cv_num_of_rows = rows;
    vectors[c].colx_cv_encoding_context = &columns[c].encoding;
    key_space <<= columns[c].code_bits;
    too_big = too_big || key_space > 0xFFFFFFFF;
  }

  const auto keys = std::make_unique<uint32_t[]>(room);
  const auto codes = std::make_unique<uint32_t[]>(scratch_rows);
  colx_cv res = {}, scratch = {};
  res.colx_cv_data = keys.get();
  res.colx_cv_num_of_rows = room;
  scratch.colx_cv_data = codes.get();
  scratch.colx_cv_num_of_rows = scratch_rows;
  colx_env env = {};
  env.colx_env_alloc = allocate;
  env.colx_env_free = release;
  colx_kctx kctx = {};
  kctx.colx_kctx_env = &env;
  kctx.colx_kctx_flags = multiplied ? COLX_KCTX_MULTIPLY_KEYS : 0;
  kctx.colx_kctx_position = first;
  uint32_t told_space = 0;
  const uint32_t status = colx_groupkey_dydi(&res, &told_space, vectors.data(),
                                             static_cast<uint32_t>(count), &scratch, &kctx);
  if (too_big) {
    require(status == COLX_KEY_SPACE_TOO_BIG, "a key space above 32 bits is served");
    return 0;
  }
  require(told_space == key_space, "the key space is another");
  const uint32_t written = std::min(room, rows - first);
  require(status == (first + written < rows ? COLX_OUT_OF_ROOM : COLX_DONE), "another status");
  require(res.colx_cv_num_set == written, "another number of keys");
  for (uint32_t i = 0; i < written; ++i) {
    uint32_t key = 0;
    for (const Column& column : columns) key = (key << column.code_bits) + column.codes[first + i];
    require(keys[i] == key, "a key is not what its codes say");
  }
  return 0;
}
