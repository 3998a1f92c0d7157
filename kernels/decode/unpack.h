// Unpacking: packed codes to an array of unsigned integers in the machine's byte order.
//
// A pattern over the width of a code, 1 to 20, 24 or 32 bits, and the bytes of an output element,
// 4 or as many as the width needs. Rows are chosen in four ways: a range, a selection block by
// block, a selection bit by bit, a list. Columns of runs are unpacked in unpack_runs.h.
//
// Reads up to 16 bytes past the last code, which the owner of a stream provides, and whole words
// of a selection. Writes nothing behind the room of the output; within it, blocks of a selection
// may leave anything behind the elements that are counted.
//
// A call stops where the rows or the room end and leaves the last row that it looked at in
// colx_kctx_position, so a host goes on by adding 1 to it.
#pragma once

#include <algorithm>

#include "kernels/decode/packed_code.h"
#include "kernels/decode/unpack_close.h"
#include "kernels/decode/unpack_lanes.h"
#include "kernels/decode/unpack_masks.h"
#include "kernels/decode/unpack_runs.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/decompression.h"
#include "kernels/frame/word_bits.h"

namespace colx {

constexpr unsigned natural_bytes(unsigned width) {
  return width <= 8 ? 1 : width <= 16 ? 2 : 4;
}

template <unsigned width, unsigned element_bytes>
struct Unpacking {
  using Element = Unsigned<element_bytes>;
  using Lanes = CodeLanes<width>;
  static constexpr unsigned lane = Lanes::lane;
  // Of ranges: what is made wider, and takes two shuffles a lane of two bytes, is wide at once.
  static constexpr bool wide_at_once = element_bytes == 4 && Lanes::three_bytes;
  using RangeLanes = CodeLanes<width, wide_at_once ? 4 : lane>;
  static constexpr uint32_t group_rows = RangeLanes::group_rows;
  static constexpr bool plain_bytes = width == 8 && element_bytes == 1;

  COLX_INLINE static void put(uint8_t* to, const uint8_t* stream, uint32_t row) {
    store_as(to, static_cast<Element>(code_at<width>(stream, row)));
  }

  // The rows of a group, two vectors of lanes, at the width of an element.
  COLX_INLINE static void put_group(uint8_t* to, const uint8_t* group) {
    if constexpr (element_bytes == 1 && CodePairs<width>::fit)
      return store(to, CodePairs<width>::at(group));
    constexpr unsigned lane = RangeLanes::lane;
    const Vec first = RangeLanes::template at<0>(group);
    const Vec second = RangeLanes::template at<1>(group);
    if constexpr (element_bytes == lane) {
      store(to, first);
      store(to + 16, second);
    } else if constexpr (element_bytes < lane) {
      store(to, narrowed<lane>(first, second));
    } else {
      store(to, widened_low<lane>(first));
      store(to + 16, widened_high<lane>(first));
      store(to + 32, widened_low<lane>(second));
      store(to + 48, widened_high<lane>(second));
    }
  }

  // Codes of 1, 2 and 4 bits to bytes: fields of a byte are halved, and the halves put next to each
  // other, until a code is left. Stores 16 bytes for each `field_bits / width`-th of the vector.
  template <unsigned field_bits>
  COLX_INLINE static uint8_t* put_halved(uint8_t* to, Vec fields) {
    constexpr unsigned half = field_bits / 2;
    Vec high = shifted_right<2, half>(fields);  // what lies above a half is cut off at the end
    Vec low = fields;
    if constexpr (half == width) {
      high = both(high, splat<1>((1 << width) - 1));
      low = both(low, splat<1>((1 << width) - 1));
    }
    const Vec first = alternated_low<1>(high, low);
    const Vec second = alternated_high<1>(high, low);
    if constexpr (half == width) {
      store(to, first);
      store(to + 16, second);
      return to + 32;
    } else {
      return put_halved<half>(put_halved<half>(to, first), second);
    }
  }

  // A block fills two cache lines of output with elements of the natural size.
  static constexpr uint32_t block_rows = 128 / natural_bytes(width);
  static constexpr uint32_t block_bytes = block_rows * width / 8;
  static constexpr bool halves = element_bytes == 1 && (width == 1 || width == 2 || width == 4);

  template <unsigned groups>
  COLX_INLINE static void put_groups(uint8_t* to, const uint8_t* from) {
    if constexpr (groups != 0) {
      put_group(to, from);
      put_groups<groups - 1>(to + group_rows * element_bytes, from + RangeLanes::group_bytes);
    }
  }

  COLX_INLINE static void put_block(uint8_t* to, const uint8_t* block) {
    for (const size_t distance : {0x280, 0x2C0}) {
      prefetch(block + distance);
      // Codes made wider than they need are bound by their stores alone, and slower for this.
      if constexpr (element_bytes == natural_bytes(width)) prefetch(to + distance);
    }
    if constexpr (halves) {
      for (unsigned at = 0; at < block_bytes; at += 16) to = put_halved<8>(to, load(block + at));
    } else {
      put_groups<block_rows / group_rows>(to, block);
    }
  }

  // The rows from `row` up to, not including, `end`.
  COLX_INLINE static void put_range(uint8_t* to, const uint8_t* stream, uint32_t row,
                                    uint32_t end) {
    if (row >= end) return;
    if constexpr (plain_bytes) {
      std::memcpy(to, stream + row, end - row);
      return;
    }
    for (; row != end && row % 8 != 0; ++row, to += element_bytes) put(to, stream, row);
    const uint8_t* from = stream + uint64_t{row} * width / 8;
    for (; end - row >= block_rows; row += block_rows) {
      put_block(to, from);
      to += block_rows * element_bytes;
      from += block_bytes;
    }
    for (; end - row >= group_rows; row += group_rows) {
      put_group(to, from);
      to += group_rows * element_bytes;
      from += RangeLanes::group_bytes;
    }
    for (; row != end; ++row, to += element_bytes) put(to, stream, row);
  }

  // Elements of 4 bytes for four rows, those whose bit of `selected` is set; it has them as bits 4
  // to 7, so that it counts table entries in bytes. A whole vector is stored behind the `count`
  // elements of `out`. Returns the new count: stores find their place from it without waiting for a
  // pointer.
  template <unsigned vector>
  COLX_INLINE static size_t put_selected_4(uint8_t* out, size_t count, const uint8_t* group,
                                           size_t selected) {
    constexpr const WideSelection& selection = wide_selection<width, vector>;
    Vec codes = shuffle(load(group + Lanes::load_at(vector)), selection.shuffle_at(selected));
    if constexpr (!Lanes::whole_bytes)
      codes = Lanes::moved_down(product<4>(codes, selection.factors_at(selected)));
    store(out + count * 4, codes);
    return count + population(selected);
  }

  // The same of eight rows, elements of any size; stores eight elements.
  COLX_INLINE static size_t put_selected_8(uint8_t* out, size_t count, const uint8_t* rows,
                                           size_t selected) {
    const Vec codes = Lanes::template at<0>(rows);
    uint8_t* const to = out + count * element_bytes;
    if constexpr (element_bytes == 1) {
      const Vec mask = load_low_half(&colx_unpack_sel8x16_low_masks.masks[selected]);
      store_low_half(to, shuffle(codes, mask));
    } else {
      const Vec front = shuffle(codes, load_aligned(&colx_unpack_sel8x16_masks.masks[selected]));
      if constexpr (element_bytes == 2) store(to, front);
      if constexpr (element_bytes == 4) {
        store(to, widened_low<2>(front));
        store(to + 16, widened_high<2>(front));
      }
    }
    return count + population(selected);
  }

  // The same of 32 rows, selected by the word at `bits`; stores up to 32 elements, none without a
  // bit.
  COLX_INLINE static size_t put_selected_32(uint8_t* out, size_t count, const uint8_t* rows,
                                            const uint8_t* bits) {
    const uint32_t word = load_as<uint32_t>(bits);
    if (word == 0) return count;
    prefetch(rows + 0x280);
    if constexpr (width > 16) prefetch(rows + 0x2C0);
    if constexpr (lane == 4) {
      const uint32_t low = word << 4 & 0xF0F0F0F0;  // of each eight rows the first four
      const uint32_t high = word & 0xF0F0F0F0;
#pragma GCC unroll 4
      for (unsigned k = 0; k < 4; ++k) {
        count = put_selected_4<0>(out, count, rows + k * width, low >> 8 * k & 0xFF);
        count = put_selected_4<1>(out, count, rows + k * width, high >> 8 * k & 0xFF);
      }
    } else {
      count = put_selected_8(out, count, rows, bits[0]);
      count = put_selected_8(out, count, rows + width, bits[1]);
      count = put_selected_8(out, count, rows + 2 * width, bits[2]);
      count = put_selected_8(out, count, rows + 3 * width, bits[3]);
    }
    return count;
  }
};

// All rows from the position on. Leaves colx_kctx_flags_out alone.
template <unsigned width, unsigned element_bytes>
COLX_INLINE uint32_t unpack_range(colx_cv* res, const colx_cv* src, colx_kctx* kctx,
                                  const uint8_t* stream) {
  const uint32_t start = kctx->colx_kctx_position;
  const uint64_t behind_room = uint64_t{start} + res->colx_cv_num_of_rows;
  const uint32_t rows = src->colx_cv_num_of_rows;
  const uint32_t end = behind_room < rows ? static_cast<uint32_t>(behind_room) : rows;
  Unpacking<width, element_bytes>::put_range(bytes_at(res->colx_cv_data, 0), stream, start, end);
  res->colx_cv_num_set = end - start;
  kctx->colx_kctx_position = end - 1;
  return start >= end ? COLX_NOTHING_FOUND : COLX_DONE;
}

// Rows of a dense selection: blocks while one has rows and room for all of them, 32 rows at a time;
// one row at a time before that and behind it, and of those nothing is stored that is not selected.
template <unsigned width, unsigned element_bytes>
COLX_INLINE uint32_t unpack_selected(colx_cv* res, const colx_cv* src, colx_kctx* kctx,
                                     const uint8_t* stream) {
  using Codes = Unpacking<width, element_bytes>;
  const uint8_t* const selection = bytes_at(kctx->colx_kctx_selection, 0);
  const uint32_t rows = src->colx_cv_num_of_rows;
  const uint32_t start = kctx->colx_kctx_position;
  uint8_t* const out = bytes_at(res->colx_cv_data, 0);
  const size_t room = res->colx_cv_num_of_rows;
  size_t count = 0;
  uint32_t row = start;
  const auto one_row = [&] {
    if (selection[row >> 3] >> (row & 7) & 1)
      Codes::put(out + count++ * element_bytes, stream, row);
    ++row;
  };

  while (row < rows && row % 8 != 0 && count < room) one_row();
  const uint8_t* from = stream + uint64_t{row} * width / 8;
  while (row < rows) {
    const size_t blocks = std::min<size_t>(rows - row, room - count) / Codes::block_rows;
    if (blocks == 0) break;
    size_t words = blocks * (Codes::block_rows / 32);
    for (; words != 0; --words, row += 32, from += 4 * width)
      count = Codes::put_selected_32(out, count, from, selection + (row >> 3));
  }
  while (row < rows && count < room) one_row();

  const uint32_t position = count != 0 || room != 0 ? row - 1 : start;
  return close_unpack(res, kctx, static_cast<uint32_t>(count), position);
}

// How far ahead of a row its code is fetched.
inline constexpr uint32_t unpack_rows_ahead = 10;

template <unsigned width, unsigned element_bytes>
COLX_INLINE void put_listed(uint8_t* to, const uint8_t* stream, const uint32_t* rows,
                            uint32_t count) {
  using Codes = Unpacking<width, element_bytes>;
  uint32_t i = 0;
  for (; count - i > unpack_rows_ahead; ++i, to += element_bytes) {
    prefetch(stream + uint64_t{rows[i + unpack_rows_ahead]} * width / 8);
    Codes::put(to, stream, rows[i]);
  }
  for (; i < count; ++i, to += element_bytes) Codes::put(to, stream, rows[i]);
}

// The rows of a list, in its order. The host has room for all of them, and a row at least: the
// position is that of entry count - 1 in 32 bits.
template <unsigned width, unsigned element_bytes>
COLX_INLINE uint32_t unpack_listed(colx_cv* res, colx_kctx* kctx, const uint8_t* stream) {
  const uint32_t* const rows = kctx->colx_kctx_rows;
  const uint32_t count = kctx->colx_kctx_num_rows;
  put_listed<width, element_bytes>(bytes_at(res->colx_cv_data, 0), stream, rows, count);
  return close_unpack(res, kctx, count, rows[count - 1]);
}

template <unsigned width, unsigned element_bytes>
COLX_INLINE uint32_t unpack_rows(colx_cv* res, const colx_cv* src, colx_kctx* kctx,
                                 const uint8_t* stream) {
  if (kctx->colx_kctx_selection) {
    if (kctx->colx_kctx_flags & COLX_KCTX_SELECTIVE)
      return unpack_drawn<element_bytes>(
          res, src, kctx, [stream](uint8_t* to, const uint32_t* rows, uint32_t count) {
            put_listed<width, element_bytes>(to, stream, rows, count);
          });
    return unpack_selected<width, element_bytes>(res, src, kctx, stream);
  }
  if (kctx->colx_kctx_rows) return unpack_listed<width, element_bytes>(res, kctx, stream);
  return unpack_range<width, element_bytes>(res, src, kctx, stream);
}

// A kernel, `self`, from its entry on.
template <unsigned width>
COLX_INLINE uint32_t unpack(colx_cv* res, colx_cv* src, colx_kctx* kctx, colx_decode_fn self,
                            const DecompressionTexts& texts, const char* empty_list_text) {
  constexpr unsigned natural = natural_bytes(width);
  const uint8_t* const stream = stored_rows(src, kctx, texts);
  const bool wide = kctx->colx_kctx_flags & COLX_KCTX_WIDE_CODES;
  if (src->colx_cv_encoding_context->colx_enc_ctx_flags & COLX_RLE)
    return unpack_runs(res, src, kctx, {stream, width, wide ? 4 : natural, self, empty_list_text});
  if (natural != 4 && wide) return unpack_rows<width, 4>(res, src, kctx, stream);
  return unpack_rows<width, natural>(res, src, kctx, stream);
}

// The kernels of a width: the names; the work is above.
#define COLX_DEFINE_UNPACK(form, name, op, enc, code, flag)                                  \
  uint32_t name(COLX_PARAMS_##form) {                                                        \
    return unpack<code_width(code)>(COLX_ARGS_##form, name, COLX_DECOMPRESSION_TEXTS(#name), \
                                    #name ": [rle] ones_vec size is zero");                  \
  }

}  // namespace colx
