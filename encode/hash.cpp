// The hash function.
#include <vorn/encode.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

uint64_t vornenc_hash(const void *data, uint64_t len, uint64_t seed) { return XXH3_64bits_withSeed(data, len, seed); }
