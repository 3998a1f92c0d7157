#include "tests/support/guarded_arrays.h"

namespace colx::test {

void GuardedArrays::clear(Edge edge, size_t misaligned) {
  used_ = 0;
  edge_ = edge;
  misaligned_ = misaligned;
}

GuardedPages& GuardedArrays::next() {
  if (used_ == pages_.size()) {
    pages_.push_back(std::make_unique<GuardedPages>());
    pages_.back()->at_end(apart_);
  }
  return *pages_[used_++];
}

uint8_t* GuardedArrays::place(std::span<const uint8_t> content) {
  return next().place(content, edge_ == Edge::end ? misaligned_ : 0, edge_);
}

void** GuardedArrays::place_pointers(const std::vector<void*>& pointers) {
  const auto* const bytes = reinterpret_cast<const uint8_t*>(pointers.data());
  return reinterpret_cast<void**>(next().place({bytes, pointers.size() * sizeof(void*)}, 0, edge_));
}

}  // namespace colx::test
