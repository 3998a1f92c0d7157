// Any number of inputs, each at an unreadable page of its own, made again for every call.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "tests/support/guarded_pages.h"

namespace colx::test {

class GuardedArrays {
 public:
  // The ends of arrays lie at least `apart` bytes away from one another, and their begins too.
  explicit GuardedArrays(size_t apart = 0) : apart_(apart) {}
  GuardedArrays(const GuardedArrays&) = delete;
  GuardedArrays& operator=(const GuardedArrays&) = delete;

  // Forgets what was placed. Arrays then lie at `edge`; those at the end are moved away from the
  // unreadable page by `misaligned` bytes, for loads at odd addresses.
  void clear(Edge edge, size_t misaligned);

  uint8_t* place(std::span<const uint8_t> content);

  template <class T>
  T* place_all(const std::vector<T>& values) {
    const auto* const bytes = reinterpret_cast<const uint8_t*>(values.data());
    return reinterpret_cast<T*>(place({bytes, values.size() * sizeof(T)}));
  }

  // An array that the library reads as one of pointers, always aligned as such.
  void** place_pointers(const std::vector<void*>& pointers);

  void* unreadable() { return nowhere_.unreadable(); }

 private:
  GuardedPages& next();

  size_t apart_;
  std::vector<std::unique_ptr<GuardedPages>> pages_;
  size_t used_ = 0;
  Edge edge_ = Edge::end;
  size_t misaligned_ = 0;
  GuardedPages nowhere_;
};

}  // namespace colx::test
