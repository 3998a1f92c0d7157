// stream_buffer.h: memory of one data stream, with the slack that kernels may read behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>

namespace colx::host {

// Owner of one stream: `size` bytes, aligned to a cache line, followed by `slack_bytes` zero bytes
// that kernels may read and nobody writes. 16 covers every kernel: packed codes reach 8 bytes past
// the rows in a scan and 15 in unpacking, fixed rows 6, tie codes 12, dynp values 16 from the start
// of the last group. The allocation ends there, so a memory checker sees any read beyond it.
//
// Moves, never copies. Reading from several threads is safe.
class StreamBuffer {
 public:
  static constexpr size_t alignment_bytes = 64;  // of the first byte
  static constexpr size_t slack_bytes = 16;      // behind the last byte

  // An empty stream without memory: data() is null.
  StreamBuffer() = default;
  // `size` zero bytes and the slack; also for a size of 0 data() is readable slack.
  explicit StreamBuffer(size_t size);

  // Takes the memory; `other` is empty and without memory then.
  StreamBuffer(StreamBuffer&& other) noexcept;
  // Likewise; what was here is released.
  StreamBuffer& operator=(StreamBuffer&& other) noexcept;

  // The first byte, size() + slack_bytes readable from there; null without memory.
  uint8_t* data() { return bytes_.get(); }
  const uint8_t* data() const { return bytes_.get(); }
  // Bytes of the stream, slack not counted.
  size_t size() const { return size_; }
  // The stream without its slack.
  std::span<uint8_t> bytes() { return {data(), size_}; }
  std::span<const uint8_t> bytes() const { return {data(), size_}; }

 private:
  struct Release {
    void operator()(uint8_t* memory) const {
      ::operator delete[](memory, std::align_val_t{alignment_bytes});
    }
  };
  std::unique_ptr<uint8_t[], Release> bytes_;
  size_t size_ = 0;
};

}  // namespace colx::host
