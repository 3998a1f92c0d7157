// A flat translation table for all 2^32 keys, of which only the pages around a few keys exist.
//
// Address space is reserved for the whole table, up to 16 GiB; what lies elsewhere cannot be read.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tests/oracle/xlate_oracle.h"

namespace colx::test {

class SparseTable {
 public:
  // The elements around the keys begin as `others`, which is 0 or the marker.
  SparseTable(unsigned element_bits, const std::vector<uint32_t>& keys, uint32_t others)
      : element_bits_(element_bits), bytes_((size_t{element_bits} << 32) / 8) {
    void* const reserved =
        mmap(nullptr, bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (reserved == MAP_FAILED) give_up();
    elements_ = static_cast<uint8_t*>(reserved);
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    for (const uint32_t key : keys) {
      uint8_t* const at = elements_ + uint64_t{key} * element_bits_ / 8 / page * page;
      if (mprotect(at, page, PROT_READ | PROT_WRITE) != 0) give_up();
      std::memset(at, others == 0 ? 0 : 0xFF, page);
    }
  }
  ~SparseTable() { munmap(elements_, bytes_); }
  SparseTable(const SparseTable&) = delete;
  SparseTable& operator=(const SparseTable&) = delete;

  void put(uint32_t key, uint32_t element) const {
    oracle::put_element(elements_, element_bits_, key, element);
  }
  const void* elements() const { return elements_; }

 private:
  [[noreturn]] static void give_up() {
    std::perror("sparse table");
    std::abort();
  }

  unsigned element_bits_;
  size_t bytes_;
  uint8_t* elements_;
};

}  // namespace colx::test
