// A key column in blocks of 1024 rows and their hashes: the outer loop of build, probe and
// partition, with the place in the column that it starts from and saves.
#pragma once

#include <algorithm>

#include "kernels/join/hash_passes.h"
#include "kernels/join/key_layouts.h"

namespace colx {

// The blocks of a column of any layout but dict, which no join kernel takes. Streamed columns keep
// their place as a byte offset, from call to call too (colx_kctx_key_offset); the others leave that
// field alone.
template <Layout layout>
struct KeyBlocks {
  static constexpr bool streamed = layout == Layout::lv || layout == Layout::lv_sep;
  static constexpr bool with_hashes =
      layout == Layout::hash_values || layout == Layout::hashrid || layout == Layout::hashgdrid;

  const colx_cv* src;
  colx_hash_fn fn;
  uint64_t offset;  // of the block's first row
  uint64_t hashes[with_hashes ? 1 : block_rows];
  uint64_t offsets[streamed ? block_rows + 1 : 1];

  COLX_INLINE void begin(const colx_cv* keys, colx_hash_fn hash, const colx_kctx* kctx) {
    src = keys;
    fn = hash;
    if constexpr (streamed) offset = kctx->colx_kctx_key_offset;
  }

  // The hashes of `rows` rows from `row` on, or their records where those hold the hash. Of a
  // streamed column, `row` has to be the one that `offset` belongs to.
  COLX_INLINE auto open(uint64_t row, uint32_t rows) {
    const uint8_t* const data = bytes_at(src->colx_cv_data, 0);
    const uint8_t* const aux = bytes_at(src->colx_cv_aux, 0);
    if constexpr (layout == Layout::hash_values) {
      return reinterpret_cast<const uint64_t*>(data + row * 8);
    } else if constexpr (layout == Layout::hashrid) {
      return reinterpret_cast<const HashridRecord*>(data + row * sizeof(HashridRecord));
    } else if constexpr (layout == Layout::hashgdrid) {
      return reinterpret_cast<const HashgdridRecord*>(data + row * sizeof(HashgdridRecord));
    } else {
      if constexpr (layout == Layout::fixed) {
        const uint16_t length = fixed_length(src);
        colx_hashfn_array_fixed(hashes, data + row * length, length, rows, 0, fn);
      }
      if constexpr (layout == Layout::gd)
        colx_hashfn_array_fixed(hashes, data + row * 4, 4, rows, 0, fn);
      if constexpr (layout == Layout::lv)
        colx_hashfn_array_lv(hashes, offsets, data + offset, rows, 0, 0, fn);
      if constexpr (layout == Layout::lv_sep)
        colx_hashfn_array_lv_sep(hashes, offsets, data + offset, aux + row * 2, rows, 0, fn);
      if constexpr (layout == Layout::lp)
        colx_hashfn_array_lp(hashes, data + row * 16, rows, 0, fn);
      if constexpr (layout == Layout::lp_sep)
        colx_hashfn_array_lp_sep(hashes, data + row * 8, aux + row * 2, rows, 0, fn);
      return static_cast<const uint64_t*>(hashes);
    }
  }

  // Moves on by the first `done` rows of the open block.
  COLX_INLINE void pass(uint32_t done) {
    if constexpr (streamed) offset += offsets[done];
  }

  COLX_INLINE void save(colx_kctx* kctx) const {
    if constexpr (streamed) kctx->colx_kctx_key_offset = offset;
  }
};

// Runs work(block, row, rows) over the blocks from the saved place on, `block` being what
// KeyBlocks::open gives. It returns how many rows it did; fewer than all end the run with
// `stopped`, the place of the first row not done saved. A place past the last row is put back to
// it.
template <Layout layout, class Work>
COLX_INLINE uint32_t for_each_block(const colx_cv* src, colx_hash_fn fn, colx_kctx* kctx,
                                    uint32_t stopped, Work work) {
  const uint64_t rows = src->colx_cv_num_of_rows;
  KeyBlocks<layout> blocks;
  blocks.begin(src, fn, kctx);
  for (uint64_t row = kctx->colx_kctx_position; row < rows; row += block_rows) {
    const auto block_size = static_cast<uint32_t>(std::min<uint64_t>(block_rows, rows - row));
    const uint32_t done = work(blocks.open(row, block_size), row, block_size);
    blocks.pass(done);
    if (done < block_size) {
      kctx->colx_kctx_position = static_cast<uint32_t>(row + done);
      blocks.save(kctx);
      return stopped;
    }
  }
  kctx->colx_kctx_position = static_cast<uint32_t>(rows);
  blocks.save(kctx);
  return COLX_DONE;
}

}  // namespace colx
