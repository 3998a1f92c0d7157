// Hash functions for the join's tests: one whose value a test chooses by the key's bytes, and one
// that writes down its calls.
#pragma once

#include <cstdint>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_layout_oracle.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

// Every byte of the key, its length and the seed count. key_with_hash undoes it for keys of 8 bytes
// and more; shorter ones have the hash that they have.
uint64_t chosen_hash(const void* key, uint64_t length, uint64_t seed);

// Random bytes whose chosen_hash under seed 0 is `hash` if there are 8 of them or more.
std::vector<uint8_t> key_with_hash(uint64_t hash, uint16_t length, Random& random);

// The lowest 20 bits of chosen_hash: for tables whose bucket numbers take all bits up.
uint64_t small_hash(const void* key, uint64_t length, uint64_t seed);

// Reads no byte of the key: its value comes of address, length and seed. Writes the call down.
uint64_t recording_hash(const void* key, uint64_t length, uint64_t seed);
uint64_t recorded_value(const oracle::HashCall& call);

// What recording_hash was asked since the last start_recording.
void start_recording();
const std::vector<oracle::HashCall>& recorded_calls();

}  // namespace colx::test
