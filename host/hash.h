/*
 * A hash function for the kernels that take one.
 */
#ifndef VORN_HOST_HASH_H
#define VORN_HOST_HASH_H

#include "vorn.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A vorn_hashfn: XXH3, 64 bits, with a seed.  The same bytes and seed give the same hash on every machine. */
VORN_API uint64_t vorn_host_hash(const void *data, uint64_t len, uint64_t seed);

#ifdef __cplusplus
}
#endif

#endif /* VORN_HOST_HASH_H */
