// A row list of no rows whose last entry can be read.
//
// The last entry of a list is the one at the 32-bit index count - 1. Without rows that is the entry
// at 0xFFFFFFFF, 16 GiB behind the list's begin: address space is reserved up to there, and nothing
// but the last page of it is readable.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace colx::test {

class ListOfNoRows {
 public:
  explicit ListOfNoRows(uint32_t entry_at_0xffffffff) {
    void* const reserved =
        mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    auto* const begin = static_cast<uint8_t*>(reserved);
    if (reserved == MAP_FAILED || mprotect(begin + bytes - page, page, PROT_READ | PROT_WRITE)) {
      std::perror("list of no rows: mmap");
      std::abort();
    }
    rows_ = reinterpret_cast<uint32_t*>(begin);
    rows_[0xFFFFFFFF] = entry_at_0xffffffff;
  }
  ~ListOfNoRows() { munmap(rows_, bytes); }
  ListOfNoRows(const ListOfNoRows&) = delete;
  ListOfNoRows& operator=(const ListOfNoRows&) = delete;

  const uint32_t* rows() const { return rows_; }

 private:
  static constexpr size_t bytes = size_t{4} << 32;

  uint32_t* rows_;
};

}  // namespace colx::test
