#include "host/key_hash.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace colx::host {

uint64_t hash_key(const void* key, uint64_t length, uint64_t seed) {
  return XXH3_64bits_withSeed(key, length, seed);
}

}  // namespace colx::host
