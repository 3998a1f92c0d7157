// key_hash.h: the hash function that the toolkit hands to the library.
#pragma once

#include <cstdint>

namespace colx::host {

// A colx_hash_fn: XXH3, 64 bits, of `length` bytes under a seed (Y. Collet, xxHash). Pure, from any
// thread. Reads exactly the key.
uint64_t hash_key(const void* key, uint64_t length, uint64_t seed);

}  // namespace colx::host
