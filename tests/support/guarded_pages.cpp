#include "tests/support/guarded_pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace colx::test {
namespace {

size_t page_bytes() {
  static const size_t bytes = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return bytes;
}

[[noreturn]] void out_of_memory(const char* what) {
  std::perror(what);
  std::abort();
}

}  // namespace

GuardedPages::~GuardedPages() {
  if (mapping_ != nullptr) munmap(mapping_, mapped_bytes_);
}

// Two unreadable pages on each side of the room.
void GuardedPages::reserve(size_t bytes) {
  if (mapping_ != nullptr && bytes <= room_bytes_) return;
  const size_t page = page_bytes();
  const size_t room = std::max((bytes + page - 1) / page * page, 4 * page);
  const size_t mapped = room + 4 * page;
  void* const fresh =
      mmap(nullptr, mapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (fresh == MAP_FAILED) out_of_memory("guarded pages: mmap");
  auto* const base = static_cast<uint8_t*>(fresh);
  if (mprotect(base + 2 * page, room, PROT_READ | PROT_WRITE) != 0) {
    out_of_memory("guarded pages: mprotect");
  }
  if (mapping_ != nullptr) munmap(mapping_, mapped_bytes_);
  mapping_ = base;
  mapped_bytes_ = mapped;
  room_bytes_ = room;
}

uint8_t* GuardedPages::at_end(size_t bytes) {
  reserve(bytes);
  return mapping_ + 2 * page_bytes() + room_bytes_ - bytes;
}

uint8_t* GuardedPages::at_begin(size_t bytes) {
  reserve(bytes);
  return mapping_ + 2 * page_bytes();
}

uint8_t* GuardedPages::place(std::span<const uint8_t> content, size_t slack_bytes, Edge edge) {
  const size_t bytes = content.size() + slack_bytes;
  uint8_t* const at = edge == Edge::end ? at_end(bytes) : at_begin(bytes);
  if (!content.empty()) std::memcpy(at, content.data(), content.size());
  for (size_t i = 0; i < slack_bytes; ++i) {
    at[content.size() + i] = GuardedOutput::dirty_byte(content.size() + i);
  }
  return at;
}

uint8_t* GuardedPages::unreadable() {
  reserve(0);
  return mapping_ + page_bytes();
}

uint64_t GuardedOutput::dirty_word(size_t i) {
  uint64_t word = 0;
  for (size_t byte = 0; byte < 8; ++byte) {
    word |= uint64_t{dirty_byte(8 * i + byte)} << (8 * byte);
  }
  return word;
}

uint8_t* GuardedOutput::bytes(size_t size, Place place, size_t shift) {
  canaries_before_ = place == Place::begin ? 0 : canary_bytes + shift;
  canaries_behind_ = place == Place::end ? 0 : canary_bytes;
  size_ = size;
  const size_t all = canaries_before_ + size + canaries_behind_;
  uint8_t* const first = place == Place::end ? pages_.at_end(all) : pages_.at_begin(all);
  output_ = first + canaries_before_;
  for (size_t i = 0; i < all; ++i) first[i] = dirty_byte(i - canaries_before_);
  return output_;
}

uint64_t* GuardedOutput::words(size_t count, Place place) {
  return reinterpret_cast<uint64_t*>(bytes(8 * count, place, place == Place::middle ? 8 : 0));
}

std::string GuardedOutput::damage() const {
  const uint8_t* const first = output_ - canaries_before_;
  const size_t all = canaries_before_ + size_ + canaries_behind_;
  for (size_t i = 0; i < all; ++i) {
    const bool inside = i >= canaries_before_ && i < canaries_before_ + size_;
    if (inside || first[i] == dirty_byte(i - canaries_before_)) continue;
    return i < canaries_before_
               ? "changed: byte " + std::to_string(canaries_before_ - i) + " before the output"
               : "changed: byte " + std::to_string(i - canaries_before_ - size_) +
                     " behind the output";
  }
  return {};
}

}  // namespace colx::test
