// Prototypes of hashing: the kernels behind colx_hash_dydi, and the passes that hash a block of
// rows for partition, build and probe. Hidden C linkage: profiles, debuggers and tests know them by
// name.
#pragma once

#include "kernels/frame/colx_x86.h"

#pragma GCC visibility push(hidden)
extern "C" {

// colx_hash_hashfn_<seeds>_<layout>: hashes of all rows of `src` into the 64-bit slots of
// res->colx_cv_data. `const` has one seed for all rows, `stream` a seed a row.
#define COLX_HASHED_LAYOUTS(X) X(fixed) X(dict) X(lv_sep) X(lv) X(lp_sep) X(lp)
#define COLX_DECLARE(layout)                                                            \
  uint32_t colx_hash_hashfn_const_##layout(colx_cv* res, colx_cv* src, colx_cv* seeds,  \
                                           colx_hash_fn fn);                            \
  uint32_t colx_hash_hashfn_stream_##layout(colx_cv* res, colx_cv* src, colx_cv* seeds, \
                                            colx_hash_fn fn);
COLX_HASHED_LAYOUTS(COLX_DECLARE)
#undef COLX_DECLARE

// Hashes of `rows` rows under seed 0. The streamed layouts also store where each row starts,
// counted from the first, and behind the last where the next would: rows + 1 offsets.
void colx_hashfn_array_fixed(uint64_t* hashes, const void* data, uint16_t length, uint32_t rows,
                             uint64_t unused, colx_hash_fn fn);
void colx_hashfn_array_lv(uint64_t* hashes, uint64_t* offsets, const void* data, uint32_t rows,
                          uint64_t unused1, uint64_t unused2, colx_hash_fn fn);
void colx_hashfn_array_lv_sep(uint64_t* hashes, uint64_t* offsets, const void* data,
                              const void* lengths, uint32_t rows, uint64_t unused, colx_hash_fn fn);
void colx_hashfn_array_lp(uint64_t* hashes, const void* records, uint32_t rows, uint64_t unused,
                          colx_hash_fn fn);
void colx_hashfn_array_lp_sep(uint64_t* hashes, const void* pointers, const void* lengths,
                              uint32_t rows, uint64_t unused, colx_hash_fn fn);

}  // extern "C"
#pragma GCC visibility pop
