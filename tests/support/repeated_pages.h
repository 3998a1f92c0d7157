// Gigabytes of address space behind which one small file lies again and again: for positions beyond
// 32 bits in streams that would not fit memory.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace colx::test {

class RepeatedPages {
 public:
  // `bytes_per_copy` is a whole number of pages.
  RepeatedPages(size_t bytes_per_copy, size_t copies) : bytes_(bytes_per_copy * copies) {
    const int file = memfd_create("repeated pages", 0);
    void* const reserved =
        mmap(nullptr, bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    begin_ = static_cast<uint8_t*>(reserved);
    bool good = file >= 0 && reserved != MAP_FAILED &&
                ftruncate(file, static_cast<off_t>(bytes_per_copy)) == 0;
    for (size_t i = 0; good && i < copies; ++i) {
      good = mmap(begin_ + i * bytes_per_copy, bytes_per_copy, PROT_READ | PROT_WRITE,
                  MAP_SHARED | MAP_FIXED, file, 0) != MAP_FAILED;
    }
    if (!good) {
      std::perror("repeated pages");
      std::abort();
    }
    close(file);
  }
  ~RepeatedPages() { munmap(begin_, bytes_); }
  RepeatedPages(const RepeatedPages&) = delete;
  RepeatedPages& operator=(const RepeatedPages&) = delete;

  uint8_t* begin() const { return begin_; }
  size_t size() const { return bytes_; }

 private:
  size_t bytes_;
  uint8_t* begin_;
};

}  // namespace colx::test
