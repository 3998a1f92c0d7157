// Memory at the edge of an unreadable page.
//
// GuardedPages hands out memory that ends exactly where an unreadable page begins, or that begins
// right behind one: a read or write beyond what was granted ends the program. GuardedOutput adds
// dirty content and canary bytes, for what a kernel writes. Both are made once and used again for
// every call, so that a test can afford them in its innermost loop. They work under the sanitizers
// too, which know nothing of mapped memory and leave it alone.
//
//   GuardedPages input;
//   const uint8_t* codes = input.place(bytes, slack_bytes, Edge::end);
//   GuardedOutput output;
//   uint64_t* bits = output.words(2, Place::middle);
//   ... call the kernel ...
//   EXPECT_EQ(output.damage(), "");  // the bytes around the output are as they were
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace colx::test {

enum class Edge { end, begin };

class GuardedPages {
 public:
  GuardedPages() = default;
  ~GuardedPages();
  GuardedPages(const GuardedPages&) = delete;
  GuardedPages& operator=(const GuardedPages&) = delete;

  // `bytes` bytes that end where an unreadable page begins. A later request that needs more room
  // than any before it invalidates the pointers handed out earlier.
  uint8_t* at_end(size_t bytes);

  // `bytes` bytes that begin where an unreadable page ends.
  uint8_t* at_begin(size_t bytes);

  // A copy of `content` followed by `slack_bytes` readable bytes of noise, at that edge.
  uint8_t* place(std::span<const uint8_t> content, size_t slack_bytes, Edge edge);

  // A copy of the values and nothing behind them, at that edge.
  template <class Value>
  Value* place_values(const std::vector<Value>& values, Edge edge) {
    const auto* const bytes = reinterpret_cast<const uint8_t*>(values.data());
    return reinterpret_cast<Value*>(place({bytes, values.size() * sizeof(Value)}, 0, edge));
  }

  // An address that must not be touched, with unreadable memory a page up and a page down.
  uint8_t* unreadable();

 private:
  void reserve(size_t bytes);

  uint8_t* mapping_ = nullptr;
  size_t mapped_bytes_ = 0;
  size_t room_bytes_ = 0;
};

// Where an output lies: at a page's edge (canary bytes on the other side) or between canaries.
enum class Place { end, begin, middle };

class GuardedOutput {
 public:
  static constexpr size_t canary_bytes = 64;

  // Keeps room for outputs of that size, so that two of them end as far away from one another.
  void reserve(size_t bytes) { pages_.at_end(bytes); }

  // `size` dirty bytes; byte i holds dirty_byte(i). `shift` moves a middle output up by that many
  // bytes, to try alignments.
  uint8_t* bytes(size_t size, Place place, size_t shift = 0);

  // `count` dirty words, 8-byte aligned; word i holds dirty_word(i). In the middle they lie at an
  // odd multiple of 8, so that an aligned 16-byte store needs care.
  uint64_t* words(size_t count, Place place);

  // The first canary byte that changed, in words; empty if none did.
  std::string damage() const;

  static uint8_t dirty_byte(size_t i) { return static_cast<uint8_t>(0xA7 ^ (i * 29)); }
  static uint64_t dirty_word(size_t i);

 private:
  GuardedPages pages_;
  uint8_t* output_ = nullptr;
  size_t size_ = 0;
  size_t canaries_before_ = 0;
  size_t canaries_behind_ = 0;
};

}  // namespace colx::test
