// A numeric column at the edge of an unreadable page, and what a call must leave as it was.
//
// The rows end with the last one; every field of the records that has no meaning to arithmetic,
// sums and conversion (nulls, second streams, decompression) is an unreadable address or noise.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/scan_stage.h"

namespace colx::test {

struct NumberColumn {
  Bytes stored = {};        // no row: an unreadable address
  uint32_t rows = 0;        // colx_cv_num_of_rows
  uint32_t flags = 0;       // colx_enc_ctx_flags
  uint32_t type = 0;        // colx_enc_ctx_type
  uint32_t width_bits = 0;  // colx_enc_ctx_width
  Edge edge = Edge::end;
  size_t slack_bytes = 0;  // readable behind the rows, to try other alignments
};

class StagedNumbers {
 public:
  // The record stays the same one from call to call.
  colx_cv* place(const NumberColumn& column);

  // The first thing that has changed since, said of `what`; empty if nothing has.
  std::string damage(const char* what) const;

 private:
  Bytes stored_;
  GuardedPages pages_, nowhere_;
  colx_enc_ctx encoding_, encoding_before_;
  colx_cv vector_, vector_before_;
};

// A record of noise, all of whose pointers are unreadable but for its data.
colx_cv noisy_vector(void* data, void* untouchable);

// `count` native numbers or integers of 4 or 8 bytes, in 64-bit words, and back.
std::vector<uint64_t> words_at(const void* at, size_t count, unsigned bytes);
void store_words(void* at, const std::vector<uint64_t>& words, unsigned bytes);

// How `got` differs from a word of that many bytes, for messages: "0x1, not 0x2".
std::string not_the_word(uint64_t got, uint64_t due);

}  // namespace colx::test
