// Calls of the wpak decoder with everything at the edge of an unreadable page: the stream ends 16
// readable bytes behind its last code, the output with the last byte that is due, and each array
// that the decoder asks for with its last byte.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tests/oracle/wpak_oracle.h"
#include "tests/support/crash_note.h"
#include "tests/support/guarded_pages.h"

namespace colx::test {

using Bytes = std::vector<uint8_t>;

inline constexpr size_t readable_behind_codes = 16;
inline constexpr uint32_t unwritten_length = 0xDEADBEEF;

// Scratch services that write down each call, a line each. One heap at a time is in charge.
class ScratchLog {
 public:
  ScratchLog() { in_charge() = this; }
  ~ScratchLog() { in_charge() = nullptr; }
  ScratchLog(const ScratchLog&) = delete;
  ScratchLog& operator=(const ScratchLog&) = delete;

  colx_decode_env env() { return {handles_.unreadable(), handles_.unreadable() + 64, alloc, free}; }
  void clear() {
    lines.clear();
    blocks_.clear();
  }
  // The lines of a call that asks for these, and gives back the last one first.
  static std::vector<std::string> due(const std::vector<oracle::WpakScratch>& allocated) {
    std::vector<std::string> all;
    for (const auto& a : allocated) all.push_back(asked(a.label, a.bytes, 8, 0));
    for (size_t i = allocated.size(); i-- > 0;) all.push_back("free " + std::to_string(i));
    return all;
  }
  static std::string asked(const std::string& label, uint64_t bytes, uint32_t unit, uint32_t zero) {
    return "alloc \"" + label + "\" " + std::to_string(bytes) + " unit " + std::to_string(unit) +
           " zero " + std::to_string(zero);
  }

  std::vector<std::string> lines;

 private:
  static ScratchLog*& in_charge() {
    static ScratchLog* log = nullptr;
    return log;
  }
  static uint64_t cookie_of(size_t number) { return 0xC00C1E00FFFFFFFF - number; }

  static void* alloc(void* host, uint64_t bytes, const char* label, uint32_t unit, uint32_t zero,
                     uint64_t* cookie) {
    ScratchLog& self = *in_charge();
    const size_t number = self.blocks_.size();
    while (self.pages_.size() <= number) self.pages_.push_back(std::make_unique<GuardedPages>());
    uint8_t* const block = self.pages_[number]->at_end(bytes);
    for (uint64_t i = 0; i < bytes; ++i) block[i] = GuardedOutput::dirty_byte(i);
    *cookie = cookie_of(number);
    const bool right_host = host == self.handles_.unreadable();
    self.lines.push_back(asked(label, bytes, unit, zero) + (right_host ? "" : " of whom?"));
    self.blocks_.push_back(block);
    return block;
  }
  static void free(void* host, void* block, uint64_t cookie) {
    ScratchLog& self = *in_charge();
    std::string line = "free something else";
    for (size_t i = 0; i < self.blocks_.size(); ++i) {
      if (self.blocks_[i] != block) continue;
      line = "free " + std::to_string(i);
      if (cookie != cookie_of(i)) line += " with another cookie";
      if (host != self.handles_.unreadable()) line += " of whom?";
      self.blocks_[i] = nullptr;
    }
    self.lines.push_back(line);
  }

  GuardedPages handles_;
  std::vector<std::unique_ptr<GuardedPages>> pages_;
  std::vector<const uint8_t*> blocks_;  // null when given back
};

struct WpakRun {
  uint32_t status;
  uint32_t out_len;
  Bytes out;
  std::string damage;  // the first thing that changed and should not have; empty if nothing did
  std::vector<std::string> scratch;
};

// `room` bytes of output.
inline WpakRun run_wpak(const Bytes& stream, uint32_t capacity, size_t room,
                        Place place = Place::end,
                        colx_wpak_decode_call* decode = colx_wpak_decode_dydi) {
  static GuardedPages input;
  static GuardedOutput output;
  static ScratchLog scratch;
  scratch.clear();
  colx_decode_env env = scratch.env();
  const colx_decode_env env_before = env;
  const uint8_t* const at = input.place(stream, readable_behind_codes, Edge::end);
  uint8_t* const out = output.bytes(room, place);
  WpakRun run = {0, unwritten_length, {}, {}, {}};
  run.status = decode(&env, at, out, &run.out_len, capacity);
  run.out.assign(out, out + room);
  run.damage = output.damage();
  run.scratch = scratch.lines;
  if (std::memcmp(&env, &env_before, sizeof env) != 0) run.damage = "changed: the environment";
  if (std::memcmp(at, stream.data(), stream.size()) != 0) run.damage = "changed: the stream";
  return run;
}

// Empty if the decoder does what the oracle says and nothing else.
inline std::string wpak_difference(const Bytes& stream, uint32_t capacity, Place place = Place::end,
                                   colx_wpak_decode_call* decode = colx_wpak_decode_dydi) {
  const oracle::WpakOutcome due = oracle::wpak_outcome(stream.data(), capacity);
  const size_t room = due.out_len ? due.written.size() : 64;
  set_crash_note("wpak stream of %zu bytes, capacity %u, room %zu", stream.size(), capacity, room);
  const WpakRun run = run_wpak(stream, capacity, room, place, decode);
  if (run.status != due.status) return "status " + std::to_string(run.status);
  if (run.out_len != due.out_len.value_or(unwritten_length)) {
    return "out_len " + std::to_string(run.out_len);
  }
  for (size_t i = 0; i < room; ++i) {
    const uint8_t byte = due.out_len ? due.written[i] : GuardedOutput::dirty_byte(i);
    if (run.out[i] != byte) return "byte " + std::to_string(i) + " of " + std::to_string(room);
  }
  if (run.scratch != ScratchLog::due(due.allocated)) {
    std::string calls = "scratch:";
    for (const std::string& line : run.scratch) calls += " " + line + ";";
    return calls;
  }
  return run.damage;
}

inline std::string wpak_difference(const oracle::WpakParts& parts, Place place = Place::end) {
  return wpak_difference(oracle::wpak_stream(parts), 0xFFFFFFFF, place);
}

}  // namespace colx::test
