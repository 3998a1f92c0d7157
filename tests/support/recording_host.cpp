#include "tests/support/recording_host.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace colx::test {
namespace {

RecordingHost* in_charge = nullptr;

RecordingHost& current(const char* service) {
  if (in_charge == nullptr) {
    std::fprintf(stderr, "%s was called, and no RecordingHost exists\n", service);
    std::abort();
  }
  return *in_charge;
}

// The buffer with this number, made when it is needed for the first time.
GuardedPages& nth(std::vector<std::unique_ptr<GuardedPages>>& buffers, size_t number) {
  while (buffers.size() <= number) buffers.push_back(std::make_unique<GuardedPages>());
  return *buffers[number];
}

}  // namespace

struct RecordingHost::Services {
  static void* alloc_cached(void* host, void* heap, uint32_t bytes, const char* label,
                            uint32_t unit, uint32_t align, uint64_t size) {
    RecordingHost& self = current("colx_env_alloc_cached");
    GuardedPages& pages = nth(self.cached_buffers_, self.cached_allocations.size());
    void* const buffer = pages.at_end(bytes + self.slack_bytes_);
    self.order.push_back("alloc_cached");
    self.cached_allocations.push_back({host, heap, bytes, label, unit, align, size, buffer});
    return buffer;
  }

  static void* alloc(void* host, uint64_t bytes, const char* label, uint32_t unit, uint32_t zero,
                     uint64_t* cookie) {
    RecordingHost& self = current("colx_env_alloc");
    const size_t number = self.scratch_allocations.size();
    // Up to the next address that the unit allows: an unreadable page follows.
    void* const buffer =
        nth(self.scratch_buffers_, number).at_end((bytes + unit - 1) / unit * unit);
    *cookie = 0xC00C1E0000000000 + number;
    self.order.push_back("alloc");
    self.scratch_allocations.push_back(
        {host, bytes, label, unit, zero, *cookie, buffer, /*released=*/false});
    return buffer;
  }

  static void free(void* host, void* buffer, uint64_t cookie) {
    RecordingHost& self = current("colx_env_free");
    self.order.push_back("free");
    for (ScratchAllocation& a : self.scratch_allocations) {
      if (a.buffer != buffer || a.released) continue;
      a.released = true;
      if (a.cookie != cookie) self.misuse.push_back("free: another cookie came back: " + a.label);
      if (a.host != host) self.misuse.push_back("free: another host handle: " + a.label);
      return;
    }
    self.misuse.push_back("free: this buffer is not on loan");
  }

  static uint32_t decode(colx_decode_env* env, const void* image, void* out, uint32_t* out_len,
                         uint32_t capacity) {
    RecordingHost& self = current("colx_env_decode");
    self.order.push_back("decode");
    self.decodes.push_back({*env, image, out, *out_len, capacity});
    if (self.at_decode) self.at_decode();
    const size_t bytes = std::min<size_t>(self.plain_.size(), capacity);
    auto* const to = static_cast<uint8_t*>(out);
    if (bytes > 0) std::memcpy(to, self.plain_.data(), bytes);
    for (size_t i = 0; i < self.slack_bytes_; ++i) {
      to[capacity + i] = GuardedOutput::dirty_byte(i);
    }
    *out_len = static_cast<uint32_t>(bytes);
    return self.decode_status;
  }
};

RecordingHost::RecordingHost() : outer_(in_charge) {
  in_charge = this;
  handle = handles_.unreadable();
  heap = handles_.unreadable() + 64;
  env.colx_env_host = handle;
  env.colx_env_heap = heap;
  env.colx_env_alloc_cached = Services::alloc_cached;
  env.colx_env_alloc = Services::alloc;
  env.colx_env_free = Services::free;
  env.colx_env_decode = Services::decode;
}

RecordingHost::~RecordingHost() {
  in_charge = outer_;
}

void RecordingHost::expands_to(std::span<const uint8_t> plain, size_t slack_bytes) {
  plain_.assign(plain.begin(), plain.end());
  slack_bytes_ = slack_bytes;
}

void RecordingHost::reset() {
  decode_status = 0;
  expand_status = 0;
  at_decode = nullptr;
  at_expand = nullptr;
  order.clear();
  cached_allocations.clear();
  scratch_allocations.clear();
  decodes.clear();
  raised.clear();
  expansions.clear();
  misuse.clear();
}

uint32_t RecordingHost::expand(colx_env* env, colx_cv* res, colx_cv* src, colx_kctx* run_hits) {
  RecordingHost& self = current("colx_enc_ctx_rle_expand");
  self.order.push_back("expand");
  self.expansions.push_back({env, res, src, *run_hits, res->colx_cv_num_set});
  if (self.at_expand) self.at_expand();
  return self.expand_status;
}

std::string not_fresh(const colx_kctx& k) {
  if (k.colx_kctx_env != nullptr) return "colx_kctx_env";
  if (k.colx_kctx_flags != 0) return "colx_kctx_flags";
  if (k.colx_kctx_resume_extra != 0) return "colx_kctx_resume_extra";
  if (k.colx_kctx_position != 0) return "colx_kctx_position";
  if (k.colx_kctx_state1 != 0) return "colx_kctx_state1";
  if (k.colx_kctx_state2 != 0) return "colx_kctx_state2";
  if (k.colx_kctx_key_offset != 0) return "colx_kctx_key_offset";
  if (k.colx_kctx_value_offset != 0) return "colx_kctx_value_offset";
  if (k.colx_kctx_rows != nullptr) return "colx_kctx_rows";
  if (k.colx_kctx_num_rows != 0) return "colx_kctx_num_rows";
  if (k.colx_kctx_start_row != 0) return "colx_kctx_start_row";
  if (k.colx_kctx_flags_out != 0) return "colx_kctx_flags_out";
  if (k.colx_kctx_prefix_ptrs != nullptr) return "colx_kctx_prefix_ptrs";
  if (k.colx_kctx_off_ctx != nullptr) return "colx_kctx_off_ctx";
  if (k.colx_kctx_xlate_out != nullptr) return "colx_kctx_xlate_out";
  if (k.colx_kctx_multiplier != 0) return "colx_kctx_multiplier";
  return {};
}

// The library imports this from the program: here it is the recorder's.
extern "C" __attribute__((visibility("default"))) void host_raise_internal(void* host,
                                                                           void* error_frame,
                                                                           const char* text,
                                                                           uint64_t zero) {
  RecordingHost& self = current("host_raise_internal");
  self.order.push_back("raise");
  self.raised.push_back({host, error_frame, text, zero});
}

}  // namespace colx::test
