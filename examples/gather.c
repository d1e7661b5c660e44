/*
 * Gather: values of a store by the numbers of their rows, such as a probe writes them.  The output has room for three
 * names at a time, so the call is repeated.
 */
#include "minimal_host.h"

#include <stdio.h>
#include <string.h>

enum { PAIRS = 7, NAMES = 5, ROOM = 24 };

/* The store: names one after another, and the offset of each, in the order of the processor. */
static char names[] = "AtlantaBoiseChicagoDenverElko";
static uint32_t offsets[NAMES + 1] = {0, 7, 12, 19, 25, 29};

/* The pairs of a probe: a row of the flights, and a row of the store. */
static struct { uint64_t flight, city; } pairs[PAIRS] = {{0, 3}, {1, 0}, {2, 2}, {4, 2}, {5, 4}, {8, 1}, {9, 0}};

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);

  /* One partition: all 64 bits of an identifier are the row. */
  void *data[1] = {names}, *cla[1] = {offsets};
  vorn_transpose_table store;
  vorn_build_transpose_table(&store, 1, 0, 0, 0, 64, NULL, NULL, 0, NULL, 0, 0, 0, cla, NULL, 0, data, NULL, NULL,
                             VORN_TT_CLA);

  vorn_enc_ctx pair_enc, name_enc;
  vorn_build_encoding_type_ridvalue(&pair_enc);
  vorn_build_encoding_type_lv(&name_enc);
  uint8_t out[ROOM];
  vorn_cv src = {0}, res = {0};
  vorn_build_vector(&src, pairs, NULL, NULL, &pair_enc, NULL, NULL, PAIRS, 0, NULL, 0);
  vorn_build_vector(&res, out, NULL, NULL, &name_enc, NULL, NULL, 0, 0, NULL, 0);
  vorn_add_vector_size(&res, sizeof out);

  vorn_aux aux = {0};
  uint32_t row = 0, calls = 0, code;
  int wrong = 0;
  do {
    code = vorn_gather(&ctx, &res, &src, &store, &aux);
    ++calls;
    /* Each value follows its 16-bit length.  The output begins anew in every call. */
    for (const uint8_t *at = out; row < aux.vorn_aux_start_slot; ++row) {
      uint16_t length;
      memcpy(&length, at, sizeof length);
      const char *const name = (const char *) at + sizeof length;
      printf("flight %u to %.*s\n", (unsigned) pairs[row].flight, length, name);
      const uint32_t *const expected = offsets + pairs[row].city;
      wrong |= length != expected[1] - expected[0] || memcmp(name, names + expected[0], length) != 0;
      at += sizeof length + length;
    }
  } while (code == VORN_RESULT_OUTPUT_FULL);
  printf("%u names in %u calls\n", row, calls);
  return wrong || row != PAIRS;
}
