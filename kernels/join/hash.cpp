// Hashing of keys by the host's function: of whole columns with seeds of the caller's, and of a
// block of rows with seed 0. The function is called row by row, in order.
#include "kernels/join/hash_passes.h"
#include "kernels/join/key_layouts.h"

namespace colx {
namespace {

// One seed for all rows; it is read even if there are none.
struct ConstSeed {
  uint64_t seed;
  COLX_INLINE explicit ConstSeed(const colx_cv* seeds)
      : seed(load_as<uint64_t>(seeds->colx_cv_data)) {}
  COLX_INLINE uint64_t at(uint64_t) const { return seed; }
};

struct StreamSeeds {
  const uint8_t* seeds;
  COLX_INLINE explicit StreamSeeds(const colx_cv* seeds)
      : seeds(bytes_at(seeds->colx_cv_data, 0)) {}
  COLX_INLINE uint64_t at(uint64_t row) const { return load_as<uint64_t>(seeds + row * 8); }
};

template <Layout layout, class Seeds>
COLX_INLINE uint32_t hash_column(colx_cv* res, const colx_cv* src, const colx_cv* seeds,
                                 colx_hash_fn fn) {
  const uint32_t rows = src->colx_cv_num_of_rows;
  const Seeds seed(seeds);
  uint8_t* const hashes = bytes_at(res->colx_cv_data, 0);
  auto keys = Values<layout>::of(src, 0, 0);
  for (uint64_t r = 0; r < rows; ++r) {
    const RowBytes key = keys.value();
    store_as(hashes + r * 8, fn(key.bytes, key.length, seed.at(r)));
    keys.pass(key);
  }
  return COLX_DONE;
}

template <class Keys>
COLX_INLINE void hash_block(uint64_t* hashes, Keys keys, uint32_t rows, colx_hash_fn fn) {
  for (uint32_t r = 0; r < rows; ++r) {
    const RowBytes key = keys.value();
    hashes[r] = fn(key.bytes, key.length, 0);
    keys.pass(key);
  }
}

template <class Keys>
COLX_INLINE void hash_streamed_block(uint64_t* hashes, uint64_t* offsets, Keys keys, uint32_t rows,
                                     colx_hash_fn fn) {
  uint64_t offset = 0;
  offsets[0] = 0;
  for (uint32_t r = 0; r < rows; ++r) {
    const RowBytes key = keys.value();
    hashes[r] = fn(key.bytes, key.length, 0);
    offset += Keys::stride(key);
    offsets[r + 1] = offset;
    keys.pass(key);
  }
}

using HashKernel = decltype(colx_hash_hashfn_const_fixed);

// The kernels by layout, for one seed and for a seed a row.
struct HashKernels {
  HashKernel* of[ordinal(Layout::none)][2];
};

#define COLX_PLACE(layout)                                                  \
  kernels.of[ordinal(Layout::layout)][0] = colx_hash_hashfn_const_##layout; \
  kernels.of[ordinal(Layout::layout)][1] = colx_hash_hashfn_stream_##layout;
constexpr HashKernels hash_kernels = [] {
  HashKernels kernels{};
  COLX_HASHED_LAYOUTS(COLX_PLACE)
  return kernels;
}();

}  // namespace

extern "C" {

#define COLX_DEFINE(layout)                                                             \
  uint32_t colx_hash_hashfn_const_##layout(colx_cv* res, colx_cv* src, colx_cv* seeds,  \
                                           colx_hash_fn fn) {                           \
    return hash_column<Layout::layout, ConstSeed>(res, src, seeds, fn);                 \
  }                                                                                     \
  uint32_t colx_hash_hashfn_stream_##layout(colx_cv* res, colx_cv* src, colx_cv* seeds, \
                                            colx_hash_fn fn) {                          \
    return hash_column<Layout::layout, StreamSeeds>(res, src, seeds, fn);               \
  }
COLX_HASHED_LAYOUTS(COLX_DEFINE)

void colx_hashfn_array_fixed(uint64_t* hashes, const void* data, uint16_t length, uint32_t rows,
                             uint64_t, colx_hash_fn fn) {
  hash_block(hashes, Values<Layout::fixed>{bytes_at(data, 0), length}, rows, fn);
}

void colx_hashfn_array_lv(uint64_t* hashes, uint64_t* offsets, const void* data, uint32_t rows,
                          uint64_t, uint64_t, colx_hash_fn fn) {
  hash_streamed_block(hashes, offsets, Values<Layout::lv>{bytes_at(data, 0)}, rows, fn);
}

void colx_hashfn_array_lv_sep(uint64_t* hashes, uint64_t* offsets, const void* data,
                              const void* lengths, uint32_t rows, uint64_t, colx_hash_fn fn) {
  const Values<Layout::lv_sep> keys = {bytes_at(data, 0), bytes_at(lengths, 0)};
  hash_streamed_block(hashes, offsets, keys, rows, fn);
}

void colx_hashfn_array_lp(uint64_t* hashes, const void* records, uint32_t rows, uint64_t,
                          colx_hash_fn fn) {
  hash_block(hashes, Values<Layout::lp>{bytes_at(records, 0)}, rows, fn);
}

void colx_hashfn_array_lp_sep(uint64_t* hashes, const void* pointers, const void* lengths,
                              uint32_t rows, uint64_t, colx_hash_fn fn) {
  const Values<Layout::lp_sep> keys = {bytes_at(pointers, 0), bytes_at(lengths, 0)};
  hash_block(hashes, keys, rows, fn);
}

}  // extern "C"
}  // namespace colx

using namespace colx;

uint32_t colx_hash_dydi(colx_cv* res, colx_cv* src, colx_cv* seeds, colx_hash_fn fn, void*) {
  if (!(flags_of(seeds) & COLX_HASH_VALUES)) return COLX_NOT_SERVED;
  const Layout layout = first_layout<Layout::fixed, Layout::dict, Layout::lv_sep, Layout::lv,
                                     Layout::lp_sep, Layout::lp>(flags_of(src));
  if (layout == Layout::none) return COLX_NOT_SERVED;
  const bool seed_per_row = seeds->colx_cv_num_of_rows != 1;
  return hash_kernels.of[ordinal(layout)][seed_per_row](res, src, seeds, fn);
}
