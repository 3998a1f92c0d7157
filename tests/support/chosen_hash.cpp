#include "tests/support/chosen_hash.h"

#include <cstring>

namespace colx::test {
namespace {

std::vector<oracle::HashCall> calls;

uint64_t mixed_bytes(const uint8_t* bytes, uint64_t count, uint64_t length) {
  uint64_t sum = length * 0x9E3779B97F4A7C15;
  for (uint64_t i = 0; i < count; ++i) sum = (sum ^ bytes[i]) * 0x100000001B3;
  return sum ^ (sum >> 29);
}

uint64_t mixed_seed_part(uint64_t seed) {
  return seed * 0xD6E8FEB86659FD93;  // 0 for seed 0
}

}  // namespace

uint64_t chosen_hash(const void* key, uint64_t length, uint64_t seed) {
  const auto* const bytes = static_cast<const uint8_t*>(key);
  if (length < 8) return Random(mixed_bytes(bytes, length, length)).next() ^ mixed_seed_part(seed);
  uint64_t first;
  std::memcpy(&first, bytes, 8);
  return (first + mixed_bytes(bytes + 8, length - 8, length)) ^ mixed_seed_part(seed);
}

std::vector<uint8_t> key_with_hash(uint64_t hash, uint16_t length, Random& random) {
  std::vector<uint8_t> key = random.bytes(length);
  if (length < 8) return key;
  const uint64_t first = hash - mixed_bytes(key.data() + 8, length - 8u, length);
  std::memcpy(key.data(), &first, 8);
  return key;
}

uint64_t small_hash(const void* key, uint64_t length, uint64_t seed) {
  return chosen_hash(key, length, seed) & 0xFFFFF;
}

uint64_t recorded_value(const oracle::HashCall& call) {
  const auto address = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(call.key));
  return mixed_seed(mixed_seed(address, call.length), call.seed);
}

uint64_t recording_hash(const void* key, uint64_t length, uint64_t seed) {
  calls.push_back({key, length, seed});
  return recorded_value(calls.back());
}

void start_recording() {
  calls.clear();
}

const std::vector<oracle::HashCall>& recorded_calls() {
  return calls;
}

}  // namespace colx::test
