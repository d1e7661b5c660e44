/*
 * The first scan: a column of 20 small codes, 4 bits each, and the rows whose code is at least 9.
 *
 *     first_scan                 with the generic kernels
 *     first_scan specialized     with those of the best library that the processor can run
 */
#include "minimal_host.h"

#include <stdio.h>

enum { ROWS = 20, WORDS = (ROWS + 63) / 64 };

static const uint8_t codes[ROWS] = {3, 9, 12, 0, 15, 8, 9, 1, 10, 7, 2, 11, 9, 4, 14, 6, 5, 13, 8, 9};

/* Two codes to a byte, the first one in the upper half. */
static void pack(uint8_t *stream) {
  for (unsigned row = 0; row < ROWS; ++row)
    stream[row / 2] = (uint8_t) (stream[row / 2] | codes[row] << (row % 2 == 0 ? 4 : 0));
}

static void print_rows(const char *what, const vorn_cv *res) {
  printf("%s: %u rows:", what, res->vorn_cv_popc);
  for (unsigned row = 0; row < ROWS; ++row)
    if (res->vorn_cv_bv[row / 64] >> row % 64 & 1)
      printf(" %u", row);
  printf("\n");
}

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);

  /* The column; whole words, so that the stream is aligned and readable a little beyond its last code. */
  uint64_t stream[(ROWS * 4 + 63) / 64 + 1] = {0};
  pack((uint8_t *) stream);
  vorn_enc_ctx enc;
  vorn_build_encoding_type_dict(&enc, 4, NULL, NULL, NULL, 16, VORN_DICT_ONE_LENGTH, 0);
  vorn_cv src;
  vorn_build_vector(&src, stream, NULL, NULL, &enc, NULL, NULL, ROWS, 0, NULL, 0);

  /* The constant: encoded like the column, and marked. */
  uint32_t nine = 9;
  vorn_enc_ctx constant_enc;
  vorn_build_encoding_type_dict(&constant_enc, 4, NULL, NULL, NULL, 16, VORN_DICT_ONE_LENGTH, VORN_CONST);
  vorn_cv constant;
  vorn_build_vector(&constant, &nine, NULL, NULL, &constant_enc, NULL, NULL, 1, 0, NULL, 0);

  /* The result: one bit a row. */
  uint64_t bits[WORDS];
  vorn_cv res;
  vorn_build_vector(&res, NULL, NULL, NULL, NULL, NULL, bits, ROWS, 0, NULL, 0);

  vorn_ge(&ctx, &res, &src, &constant, NULL);
  print_rows("code >= 9", &res);

  /* Again, but only among the even rows. */
  uint64_t even[WORDS] = {UINT64_C(0x5555555555555555)};
  vorn_aux aux = {0};
  aux.vorn_aux_filter_bv = even;
  vorn_ge(&ctx, &res, &src, &constant, &aux);
  print_rows("code >= 9 in an even row", &res);
  return 0;
}
