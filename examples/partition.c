/*
 * Partitioning: the rows of a column are split into four parts by bits of their hash values.  The areas of the parts
 * have room for two records each.  When an area is full, the call stops; its records are taken and the call goes on.
 */
#include "minimal_host.h"

#include <stdio.h>

enum { ROWS = 14, PARTS = 4, ROOM = 2 };

/* A record of VORN_PB_RID. */
struct record {
  uint64_t row, hash;
};

static struct record areas[PARTS][ROOM];
static unsigned taken[PARTS];
static uint64_t seen;

/* Empties the area of a partition, for this program by printing it. */
static void take(unsigned partition, void **next) {
  for (struct record *record = areas[partition]; (void *) record != next[partition]; ++record) {
    printf("partition %u: row %u\n", partition, (unsigned) record->row);
    seen |= (uint64_t) 1 << record->row;
    ++taken[partition];
  }
  next[partition] = areas[partition];
}

/* The upper bits choose the partition. They depend on all bytes of the key. */
static uint64_t hash(const void *data, uint64_t length, uint64_t seed) {
  uint64_t h = seed;
  for (uint64_t i = 0; i < length; ++i)
    h = (h ^ ((const uint8_t *) data)[i]) * 0x9e3779b97f4a7c15;
  return h ^ h >> 29;
}

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);
  uint32_t keys[ROWS];
  for (uint32_t row = 0; row < ROWS; ++row)
    keys[row] = 100 + 7 * row;

  vorn_enc_ctx key_enc, rid_enc;
  vorn_build_encoding_type_fixed(&key_enc, 32, 0);
  vorn_build_encoding_type_autorid(&rid_enc);
  vorn_cv src = {0}, rows = {0};
  vorn_build_vector(&src, keys, NULL, NULL, &key_enc, NULL, NULL, ROWS, 0, NULL, 0);
  rows.vorn_cv_encoding_context = &rid_enc; /* row i is number i, nothing is stored */

  /* The partition is bits 62 and 63 of the hash value. */
  void *next[PARTS], *end[PARTS];
  for (unsigned partition = 0; partition < PARTS; ++partition) {
    next[partition] = areas[partition];
    end[partition] = areas[partition] + ROOM;
  }
  vorn_partition_buffer buffer;
  vorn_build_partition_buffer(&buffer, NULL, next, end, 63, 62, VORN_PB_RID);

  vorn_aux aux = {0};
  while (vorn_partition(&ctx, &buffer, &src, &rows, hash, &aux) == VORN_RESULT_PARTITION_FULL) {
    printf("partition %u is full at row %u\n", aux.vorn_aux_full_part, aux.vorn_aux_start_slot);
    take(aux.vorn_aux_full_part, next);
  }
  for (unsigned partition = 0; partition < PARTS; ++partition)
    take(partition, next);

  unsigned all = 0;
  for (unsigned partition = 0; partition < PARTS; ++partition)
    all += taken[partition];
  printf("%u rows: %u, %u, %u and %u\n", all, taken[0], taken[1], taken[2], taken[3]);
  return all != ROWS || seen != ((uint64_t) 1 << ROWS) - 1;
}
