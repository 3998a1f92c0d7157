// call_meter.h: how often each kernel of the library's table was called, and how fast it was.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>

#include "host/loader.h"
#include "host/result.h"
#include "kernels/frame/colx_x86.h"

namespace colx::host {

// One thread's counts; threads merge theirs in the end.
class CallMeter {
 public:
  // Calls `call` and counts it as one of the slot's kernel on `rows` rows. Without a meter (null)
  // only calls it.
  template <class Call>
  static auto measure(CallMeter* meter, uint32_t slot, uint64_t rows, Call call) {
    if (!meter) return call();
    const auto start = std::chrono::steady_clock::now();
    auto result = call();
    meter->add(slot, rows, std::chrono::steady_clock::now() - start);
    return result;
  }
  // Counts one call of the kernel in `slot`, below COLX_DISPATCH_SLOTS, on `rows` rows.
  void add(uint32_t slot, uint64_t rows, std::chrono::nanoseconds time);
  // Adds the calls, rows and times of another thread's meter.
  void merge(const CallMeter& other);

  // Calls counted so far of the kernel in `slot`, below COLX_DISPATCH_SLOTS.
  uint32_t calls(uint32_t slot) const { return counts_->calls[slot]; }
  // Million rows a second; 0 if it was not called.
  double million_rows(uint32_t slot) const;

  // Prints on standard output through the library's own dump, a line a slot: of all slots, or of
  // those that were called. Error: a library without the function.
  Result<void> dump(const Library& library, bool only_called) const;

 private:
  struct Counts {
    std::array<uint32_t, COLX_DISPATCH_SLOTS> calls{};
    std::array<uint64_t, COLX_DISPATCH_SLOTS> rows{};
    std::array<std::chrono::nanoseconds, COLX_DISPATCH_SLOTS> time{};
  };
  std::unique_ptr<Counts> counts_ = std::make_unique<Counts>();
};

}  // namespace colx::host
