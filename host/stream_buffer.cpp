#include "host/stream_buffer.h"

#include <cstring>
#include <utility>

namespace colx::host {

StreamBuffer::StreamBuffer(size_t size)
    : bytes_(static_cast<uint8_t*>(
          ::operator new[](size + slack_bytes, std::align_val_t{alignment_bytes}))),
      size_(size) {
  std::memset(bytes_.get(), 0, size + slack_bytes);
}

StreamBuffer::StreamBuffer(StreamBuffer&& other) noexcept
    : bytes_(std::move(other.bytes_)), size_(std::exchange(other.size_, 0)) {}

StreamBuffer& StreamBuffer::operator=(StreamBuffer&& other) noexcept {
  bytes_ = std::move(other.bytes_);
  size_ = std::exchange(other.size_, 0);
  return *this;
}

}  // namespace colx::host
