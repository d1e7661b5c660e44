/*
 * A bloom test between hashing and a join: which orders can belong to a known customer?  vorn_hash writes numbers in
 * the order of the processor, and vorn_bloom reads numbers with the most significant byte first.  The map is therefore
 * made for the bytes as they are, and no hash value has to be turned around.
 */
#include "minimal_host.h"

#include <stdio.h>

enum { CUSTOMERS = 20, ORDERS = 12, BITS = 256, MASK = BITS - 1 };

/* FNV-1a, with a final mix that spreads it over all 64 bits. */
static uint64_t hash(const void *data, uint64_t length, uint64_t seed) {
  uint64_t h = seed ^ 0xcbf29ce484222325;
  for (uint64_t i = 0; i < length; ++i)
    h = (h ^ ((const uint8_t *) data)[i]) * 0x100000001b3;
  h = (h ^ h >> 33) * 0xff51afd7ed558ccd;
  return h ^ h >> 33;
}

static void hash_keys(const vorn_ctx *ctx, uint32_t *keys, uint32_t rows, uint64_t *hashes) {
  vorn_enc_ctx key_enc, seed_enc;
  vorn_build_encoding_type_fixed(&key_enc, 32, 0);
  vorn_build_encoding_type_hash_values(&seed_enc);
  uint64_t seed_value = 0;
  vorn_cv src = {0}, seed = {0}, res = {0};
  vorn_build_vector(&src, keys, NULL, NULL, &key_enc, NULL, NULL, rows, 0, NULL, 0);
  vorn_build_vector(&seed, &seed_value, NULL, NULL, &seed_enc, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&res, hashes, NULL, NULL, NULL, NULL, NULL, rows, 0, NULL, 0);
  vorn_aux aux = {0};
  vorn_hash(ctx, &res, &src, &seed, hash, &aux);
}

/* The bit that vorn_bloom tests: it takes the last four of the eight bytes, the most significant one first. */
static uint32_t bit_of(uint64_t hash_value) { return __builtin_bswap32((uint32_t) (hash_value >> 32)) & MASK; }

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);
  uint32_t customers[CUSTOMERS], orders[ORDERS];
  for (uint32_t i = 0; i < CUSTOMERS; ++i)
    customers[i] = 1000 + 17 * i;
  for (uint32_t i = 0; i < ORDERS; ++i)
    orders[i] = 1000 + i * 85 % 391;
  uint64_t customer_hashes[CUSTOMERS], order_hashes[ORDERS];
  hash_keys(&ctx, customers, CUSTOMERS, customer_hashes);
  hash_keys(&ctx, orders, ORDERS, order_hashes);

  uint64_t map[BITS / 64] = {0};
  uint8_t *const bytes = (uint8_t *) map; /* bit b is bit b & 7 of byte b >> 3 */
  for (unsigned i = 0; i < CUSTOMERS; ++i) {
    const uint32_t bit = bit_of(customer_hashes[i]);
    bytes[bit / 8] = (uint8_t) (bytes[bit / 8] | 1 << bit % 8);
  }

  vorn_enc_ctx hash_enc, map_enc;
  vorn_build_encoding_type_hash_values(&hash_enc);
  vorn_build_encoding_type_hash_values(&map_enc);
  vorn_add_encoding_type_bloom(&map_enc, 0, MASK, 0, 0);
  uint64_t pass[1] = {0}; /* bits are only set, so they are clear before the call */
  uint32_t first_last[2];
  vorn_cv src = {0}, filter = {0}, res = {0};
  vorn_build_vector(&src, order_hashes, NULL, NULL, &hash_enc, NULL, NULL, ORDERS, 0, NULL, 0);
  vorn_build_vector(&filter, NULL, NULL, NULL, &map_enc, NULL, map, 0, 0, NULL, 0);
  vorn_build_vector(&res, first_last, NULL, NULL, NULL, NULL, pass, ORDERS, 0, NULL, 0);
  vorn_bloom(&ctx, &res, &src, &filter, NULL);

  /* A customer always passes.  Another number may pass by chance; the join finds out. */
  int lost = 0;
  for (unsigned row = 0; row < ORDERS; ++row) {
    int member = 0;
    for (unsigned i = 0; i < CUSTOMERS; ++i)
      member |= customers[i] == orders[row];
    const int passes = (int) (pass[0] >> row & 1);
    lost |= member && !passes;
    printf("order %u of %u: %s\n", row, orders[row], !passes ? "dropped" : member ? "customer" : "passes by chance");
  }
  printf("%u of %d orders are looked up\n", res.vorn_cv_popc, ORDERS);
  return lost;
}
