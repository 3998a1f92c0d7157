// An output of which an oracle tells what is written: everything else, around it and inside, has to
// be as it was.
#pragma once

#include <cstdint>
#include <string>

#include "tests/oracle/patches.h"
#include "tests/support/guarded_pages.h"

namespace colx::test {

class PatchedOutput {
 public:
  void reserve(size_t bytes) { output_.reserve(bytes); }

  // `bytes` dirty bytes at that place.
  uint8_t* place(size_t bytes, Place place);

  // What differs from the dirty bytes with the patches in them; empty if nothing does.
  std::string difference(const oracle::Patches& patches) const;

  uint8_t* begin() const { return begin_; }
  size_t size() const { return size_; }

 private:
  GuardedOutput output_;
  uint8_t* begin_ = nullptr;
  size_t size_ = 0;
};

}  // namespace colx::test
