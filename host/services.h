// services.h: what the library asks of its host: memory, decompression, run expansion.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "kernels/frame/colx_x86.h"

namespace colx::host {

class Library;

// What the allocators of one HostServices have handed out. Any thread may read it at any time.
struct AllocationCounters {
  std::atomic<uint64_t> scratch_calls{0};   // scratch blocks ever handed out
  std::atomic<uint64_t> scratch_blocks{0};  // scratch blocks not yet released
  std::atomic<uint64_t> cached_calls{0};    // decompressed copies ever handed out
  std::atomic<uint64_t> cached_blocks{0};   // decompressed copies not yet released
  std::atomic<uint64_t> bytes{0};           // bytes of all blocks not yet released
};

// The services behind a colx_env. Kernels reach them through colx_kctx_env; put env() there.
//
//   scratch        aligned to 16 bytes, 16 readable zero bytes behind
//   cached copies  aligned to 64 bytes, 16 readable zero bytes behind: the slack of any stream;
//                  they outlive the call, release each with release_cached()
//   decompression  the library's own wpak decoder; while the library has none, every image is
//                  refused, which the kernels report through host_raise_internal
//   run expansion  expand_runs(), below
//
// Memory that runs out is reported through host_raise_internal and null is handed back.
//
// One object may serve any number of threads at once. It must stay where it is and outlive the
// calls made with its env(); cached copies may outlive it.
class HostServices {
 public:
  // Services that run the kernels of `library`, which must outlive them.
  explicit HostServices(const Library& library);
  // Services that run the kernels of any dispatch table of COLX_DISPATCH_SLOTS slots; `decode` may
  // be null.
  HostServices(const colx_kernel_fn* dispatch, colx_wpak_decode_call* decode);
  HostServices(const HostServices&) = delete;
  HostServices& operator=(const HostServices&) = delete;

  // The record for colx_kctx_env; it belongs to this object.
  colx_env* env() { return &env_; }
  // Blocks handed out so far.
  const AllocationCounters& counters() const { return *counters_; }

  // The services that a kernel's `env` belongs to; null if it is none of ours.
  static HostServices* of(const colx_env* env);

  // The table whose kernels expand runs.
  const colx_kernel_fn* dispatch() const { return dispatch_; }

 private:
  static void* allocate_cached(void* host, void* heap, uint32_t bytes, const char* label,
                               uint32_t unit, uint32_t align, uint64_t size);
  static void* allocate_scratch(void* host, uint64_t bytes, const char* label, uint32_t unit,
                                uint32_t zero, uint64_t* cookie);
  static void release_scratch(void* host, void* buffer, uint64_t cookie);

  uint64_t tag_;  // tells our records from another host's
  colx_env env_;
  const colx_kernel_fn* dispatch_;
  std::shared_ptr<AllocationCounters> counters_;
};

// Gives back a decompressed copy that the cached allocator handed out; null is allowed.
void release_cached(void* copy);

// The run expansion callback of every run-length column (colx_enc_ctx_rle_expand): runs the burst
// kernel for the column's run lengths, the cumulative form if the column has run positions. `env`
// must be a HostServices' env().
//
// `res` needs colx_cv_num_of_rows and as many bits in colx_cv_bits as there are rows, with 7 spare
// bytes behind the words (RowBits has them). Returns the burst kernel's status. If the library has
// no such kernel, or the record is not sound, says so through host_raise_internal and returns
// COLX_NOT_SERVED with `res` unchanged.
uint32_t expand_runs(colx_env* env, colx_cv* res, colx_cv* src, colx_kctx* run_hits);

}  // namespace colx::host
