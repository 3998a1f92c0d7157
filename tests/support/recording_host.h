// A host whose services write down what they are asked.
//
// One is in charge at a time: the newest one that exists. Its handles are unreadable addresses, so
// that a kernel that looks into what only the host may look into ends the program. Errors reported
// through host_raise_internal are recorded and the report returns, so kernels carry on behind it.
//
//   RecordingHost host;
//   host.expands_to(plain_bytes, 8);        // what the decoder will deliver, and its slack
//   kctx.colx_kctx_env = &host.env;
//   ... call the kernel ...
//   EXPECT_EQ(host.decodes.size(), 1u);
//   EXPECT_EQ(host.raised.at(0).text, "...");
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/support/guarded_pages.h"

namespace colx::test {

struct CachedAllocation {
  void* host;
  void* heap;
  uint32_t bytes;
  std::string label;
  uint32_t unit;
  uint32_t align;
  uint64_t size;
  void* buffer;  // what was handed out
};

struct ScratchAllocation {
  void* host;
  uint64_t bytes;
  std::string label;
  uint32_t unit;
  uint32_t zero;
  uint64_t cookie;  // what has to come back on release
  void* buffer;
  bool released;
};

struct Decode {
  colx_decode_env env;  // a copy of the record that the kernel built
  const void* image;
  void* out;
  uint32_t out_len_before;  // what the length word held on entry
  uint32_t capacity;
};

struct Raised {
  void* host;
  void* error_frame;
  std::string text;
  uint64_t zero;
};

struct Expansion {
  colx_env* env;
  colx_cv* res;
  colx_cv* src;
  colx_kctx run_hits;         // a copy of the record that the epilogue built
  uint32_t num_set_on_entry;  // what the result's colx_cv_num_set held by then
};

class RecordingHost {
 public:
  RecordingHost();
  ~RecordingHost();
  RecordingHost(const RecordingHost&) = delete;
  RecordingHost& operator=(const RecordingHost&) = delete;

  // What the decoder delivers, whatever image it is shown; a cached buffer is followed by
  // `slack_bytes` readable bytes and an unreadable page. `plain` is copied.
  void expands_to(std::span<const uint8_t> plain, size_t slack_bytes);

  // Forgets all calls and goes back to statuses of 0.
  void reset();

  colx_env env = {};
  void* handle = nullptr;  // env.colx_env_host
  void* heap = nullptr;    // env.colx_env_heap

  uint32_t decode_status = 0;
  uint32_t expand_status = 0;
  std::function<void()> at_decode;  // run inside the service, before it does its work
  std::function<void()> at_expand;

  std::vector<std::string> order;  // "alloc_cached", "alloc", "free", "decode", "raise", "expand"
  std::vector<CachedAllocation> cached_allocations;
  std::vector<ScratchAllocation> scratch_allocations;
  std::vector<Decode> decodes;
  std::vector<Raised> raised;
  std::vector<Expansion> expansions;
  std::vector<std::string>
      misuse;  // a release of what was not handed out, a cookie not handed back

  // The callback for colx_enc_ctx_rle_expand: records and returns expand_status.
  static uint32_t expand(colx_env* env, colx_cv* res, colx_cv* src, colx_kctx* run_hits);

 private:
  struct Services;
  friend struct Services;

  std::vector<uint8_t> plain_;
  size_t slack_bytes_ = 0;
  GuardedPages handles_;
  std::vector<std::unique_ptr<GuardedPages>> cached_buffers_;
  std::vector<std::unique_ptr<GuardedPages>> scratch_buffers_;
  RecordingHost* outer_ = nullptr;
};

// Empty if every field of the record is 0 but for its selection and its count, else the first
// field that is not.
std::string not_fresh(const colx_kctx& run_hits);

}  // namespace colx::test
