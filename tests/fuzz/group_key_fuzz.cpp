// Any columns and any rooms: group keys are what their codes say, chunk by chunk.
//
//   input: form, 1 byte | columns, 1 byte | rows, 1 byte | room, scratch and first row, 1 byte each
//   | 32 bits of selection, repeated | for each column: width of its codes, how it is stored,
//   number of symbols, 4 bytes | codes, runs
//
// Columns have codes of every width, a row or a run each, with run lengths of 8 or 16 bits, plain
// or compressed. Rows are all, the selected ones in blocks or one by one, or the listed ones.
// Streams, run lengths, keys, selection, list and scratch are heap blocks of exactly the granted
// size.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "kernels/frame/kernels.h"

namespace {

constexpr size_t head_bytes = 10;
constexpr size_t readable_behind = 16;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "group_key_fuzz: %s\n", what);
  std::abort();
}

struct Width {
  unsigned code_bits;
  colx_decode_fn unpack;
};
#define WIDTH(bits) \
  { bits, colx_decode_unpack_dict_##bits##bit }
constexpr Width widths[] = {WIDTH(1),  WIDTH(2),  WIDTH(3),  WIDTH(4),  WIDTH(5),  WIDTH(6),
                            WIDTH(7),  WIDTH(8),  WIDTH(9),  WIDTH(10), WIDTH(11), WIDTH(12),
                            WIDTH(13), WIDTH(14), WIDTH(15), WIDTH(16), WIDTH(17), WIDTH(18),
                            WIDTH(19), WIDTH(20), WIDTH(24), WIDTH(32)};
#undef WIDTH

void* allocate(void*, uint64_t bytes, const char*, uint32_t, uint32_t, uint64_t* cookie) {
  *cookie = bytes;
  return std::malloc(bytes);
}
void release(void*, void* block, uint64_t) {
  std::free(block);
}
void* allocate_cached(void*, void*, uint32_t bytes, const char*, uint32_t, uint32_t, uint64_t) {
  return std::malloc(bytes + readable_behind);
}
// The image of a stream is its bytes turned over.
uint32_t decode(colx_decode_env*, const void* image, void* out, uint32_t* out_len, uint32_t bytes) {
  for (uint32_t i = 0; i < bytes; ++i)
    static_cast<uint8_t*>(out)[i] = static_cast<uint8_t>(~static_cast<const uint8_t*>(image)[i]);
  *out_len = bytes;
  std::memset(static_cast<uint8_t*>(out) + bytes, 0, readable_behind);
  return 0;
}

struct Input {
  const uint8_t* at;
  const uint8_t* end;

  uint32_t next(unsigned bytes) {
    uint32_t number = 0;
    for (unsigned i = 0; i < bytes; ++i) number = number << 8 | (at < end ? *at++ : 0u);
    return number;
  }
};

struct Column {
  const Width* width = widths;
  std::vector<uint32_t> codes;  // one a row
  std::unique_ptr<uint8_t[]> stream, lengths;
  size_t stream_bytes = 0;
  void* copy = nullptr;
  colx_enc_ctx encoding = {};

  Column() = default;
  Column(const Column&) = delete;
  Column& operator=(const Column&) = delete;
  ~Column() { std::free(copy); }
};

void store_codes(Column& column, const std::vector<uint32_t>& stored) {
  const unsigned code_bits = column.width->code_bits;
  column.stream_bytes = (stored.size() * code_bits + 7) / 8;
  column.stream = std::make_unique<uint8_t[]>(column.stream_bytes + readable_behind);
  uint8_t* const stream = column.stream.get();
  for (size_t i = 0; i < stored.size(); ++i)
    for (unsigned k = 0; k < code_bits; ++k) {
      const size_t bit = i * code_bits + k;
      if (stored[i] >> (code_bits - 1 - k) & 1)
        stream[bit / 8] = static_cast<uint8_t>(stream[bit / 8] | 0x80 >> bit % 8);
    }
}

// Lengths of 1 byte, or of 2 bytes, big-endian.
void store_lengths(Column& column, const std::vector<uint32_t>& lengths, size_t length_bytes) {
  column.lengths = std::make_unique<uint8_t[]>(lengths.size() * length_bytes);
  for (size_t i = 0; i < lengths.size(); ++i)
    column.lengths[(i + 1) * length_bytes - 1] = static_cast<uint8_t>(lengths[i]);
  column.encoding.colx_enc_ctx_flags |= COLX_RLE;
  column.encoding.colx_enc_ctx_rle_runs = column.lengths.get();
  column.encoding.colx_enc_ctx_rle_width = static_cast<uint8_t>(length_bytes * 8);
  column.encoding.colx_enc_ctx_rle_rows = static_cast<uint32_t>(lengths.size());
}

// How a column is stored, by bits of its second byte.
constexpr uint32_t in_runs = 1, wide_lengths = 2, compressed = 4;

void set_column(Column& column, uint32_t rows, Input& input) {
  column.width = &widths[input.next(1) % std::size(widths)];
  const uint32_t stored_as = input.next(1);
  const uint32_t largest = ~uint32_t{0} >> (32 - column.width->code_bits);
  // As many as the width tells apart, but of 32 bits one less: their number has 32 bits, too.
  const uint32_t symbols = 1 + input.next(4) % std::min(largest, ~uint32_t{1});
  std::vector<uint32_t> stored, lengths;
  while (column.codes.size() < rows) {
    stored.push_back(input.next(symbols <= 0x100 ? 1 : 4) % symbols);
    const auto left = static_cast<uint32_t>(rows - column.codes.size());
    const uint32_t wanted = stored_as & in_runs ? 1 + input.next(1) % 80 : 1;
    lengths.push_back(std::min(left, wanted));
    column.codes.insert(column.codes.end(), lengths.back(), stored.back());
  }
  store_codes(column, stored);
  column.encoding.colx_enc_ctx_flags |= COLX_DICT | (stored_as & compressed ? COLX_COMPRESSED : 0);
  column.encoding.colx_enc_ctx_key = static_cast<uint8_t>(column.width - widths);
  column.encoding.colx_enc_ctx_width = column.width->code_bits;
  column.encoding.colx_enc_ctx_num_symbols = symbols;
  if (stored_as & in_runs) store_lengths(column, lengths, stored_as & wide_lengths ? 2 : 1);
}

void describe(Column& column, uint32_t rows, colx_cv& vector) {
  vector.colx_cv_data = column.stream.get();
  vector.colx_cv_num_of_rows = rows;
  vector.colx_cv_encoding_context = &column.encoding;
  if (!(column.encoding.colx_enc_ctx_flags & COLX_COMPRESSED)) return;
  for (size_t i = 0; i < column.stream_bytes; ++i)
    column.stream[i] = static_cast<uint8_t>(~column.stream[i]);
  vector.colx_cv_image_len = static_cast<uint32_t>(column.stream_bytes);
  vector.colx_cv_decomp_size = column.stream_bytes + readable_behind;
  vector.colx_cv_decomp_slot = &column.copy;
}

// The number of keys, 0 if it takes more than 32 bits.
uint32_t key_space_of(const std::vector<Column>& columns, bool as_product) {
  uint64_t space = 1;
  for (const Column& column : columns) {
    const uint64_t symbols = column.encoding.colx_enc_ctx_num_symbols;
    space = as_product ? space * symbols : ((space - 1) << column.width->code_bits) + symbols;
    if (space > UINT32_MAX) return 0;
  }
  return static_cast<uint32_t>(space);
}

uint32_t key_of(const std::vector<Column>& columns, bool as_product, uint32_t row) {
  uint32_t key = 0;
  for (const Column& column : columns) {
    key = as_product ? key * column.encoding.colx_enc_ctx_num_symbols
                     : key << column.width->code_bits % 32;
    key += column.codes[row];
  }
  return key;
}

// Bits of the form: how keys are composed, and which rows a call is for.
constexpr uint32_t multiplied = 1, selected = 2, walked = 4, listed = 8;

struct RowChoice {
  std::vector<uint32_t> rows;  // from the first one on
  std::unique_ptr<uint64_t[]> selection;
  std::unique_ptr<uint32_t[]> list;
};

// A list ends with the last row and begins anywhere: the call goes on from its last entry.
RowChoice choose_rows(uint32_t form, uint32_t pattern, uint32_t rows, uint32_t first) {
  RowChoice choice;
  const bool in_list = (form & (selected | listed)) == listed && first < rows;
  const auto is_chosen = [&](uint32_t row) {
    if (!(form & (selected | listed))) return true;
    return (pattern >> row % 32 & 1) != 0 || (in_list && row == rows - 1);
  };
  for (uint32_t row = in_list ? 0 : first; row < rows; ++row)
    if (is_chosen(row)) choice.rows.push_back(row);
  if (form & selected) {
    const size_t words = (size_t{rows} + 63) / 64;
    choice.selection = std::make_unique<uint64_t[]>(words);
    std::fill_n(choice.selection.get(), words, pattern * 0x100000001u);
  } else if (in_list) {
    choice.list = std::make_unique<uint32_t[]>(choice.rows.size());
    std::copy(choice.rows.begin(), choice.rows.end(), choice.list.get());
  }
  return choice;
}

colx_kctx call_of(const RowChoice& choice, uint32_t form, uint32_t first, colx_env& env) {
  colx_kctx kctx = {};
  kctx.colx_kctx_env = &env;
  kctx.colx_kctx_flags = form & multiplied ? COLX_KCTX_MULTIPLY_KEYS : 0;
  if (form & walked) kctx.colx_kctx_flags |= COLX_KCTX_SELECTIVE;
  kctx.colx_kctx_position = first;
  kctx.colx_kctx_selection = choice.selection.get();
  kctx.colx_kctx_rows = choice.list.get();
  kctx.colx_kctx_num_rows = choice.list ? static_cast<uint32_t>(choice.rows.size()) : 0;
  return kctx;
}

}  // namespace

extern "C" void host_raise_internal(void*, void*, const char* text, uint64_t) {
  require(false, text);
}

// In place of the library's: a column's key says how many bits its codes have.
extern "C" uint32_t colx_dispatch_decode_unpack(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  return widths[src->colx_cv_encoding_context->colx_enc_ctx_key].unpack(res, src, kctx);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < head_bytes) return 0;
  Input input{data, data + size};
  const uint32_t form = input.next(1);
  const uint32_t count = 1 + input.next(1) % 6;
  const uint32_t rows = input.next(1) * 3;
  uint32_t room = input.next(1) * 3, scratch_rows = 1 + input.next(1);
  const uint32_t first = std::min(input.next(1), rows);
  const bool as_product = form & multiplied;
  RowChoice choice = choose_rows(form, input.next(4), rows, first);
  if (choice.list) room = scratch_rows = static_cast<uint32_t>(choice.rows.size());
  std::vector<Column> columns(count);
  std::vector<colx_cv> vectors(count);
  for (uint32_t c = 0; c < count; ++c) {
    set_column(columns[c], rows, input);
    describe(columns[c], rows, vectors[c]);
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
  env.colx_env_alloc_cached = allocate_cached;
  env.colx_env_decode = decode;
  colx_kctx kctx = call_of(choice, form, first, env);
  uint32_t told_space = 0;
  const uint32_t status =
      colx_groupkey_dydi(&res, &told_space, vectors.data(), count, &scratch, &kctx);

  const uint32_t key_space = key_space_of(columns, as_product);
  if (key_space == 0) {
    require(status == COLX_KEY_SPACE_TOO_BIG, "a key space above 32 bits is served");
    return 0;
  }
  require(told_space == key_space, "the key space is another");
  const size_t written = std::min<size_t>(room, choice.rows.size());
  require(res.colx_cv_num_set == written, "another number of keys");
  // With the room used up, rows may be left that are not chosen.
  const bool all = written == choice.rows.size();
  if (!all || (written == room && first < rows && !(form & (selected | listed))))
    require(status == (all ? COLX_DONE : COLX_OUT_OF_ROOM), "another status");
  else
    require(status == COLX_DONE || written == room, "out of room with room left");
  for (size_t i = 0; i < written; ++i)
    require(keys[i] == key_of(columns, as_product, choice.rows[i]),
            "a key is not what its codes say");
  return 0;
}
