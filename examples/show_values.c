/*
 * Values of selected rows: the cities of the flights that are at least an hour late.  One column is scanned, and of
 * another one the dictionary codes of the selected rows are decoded.
 *
 *     show_values                 with the generic kernels
 *     show_values specialized     with those of the best library that the processor can run
 */
#include "minimal_host.h"

#include <stdio.h>

enum { ROWS = 8, WORDS = (ROWS + 63) / 64, CITIES = 4 };

/* The delays, 75 3 60 0 130 59 61 12 minutes, as fixed values of 16 bits. */
static _Alignas(8) uint8_t delays[] = {0, 75, 0, 3, 0, 60, 0, 0, 0, 130, 0, 59, 0, 61, 0, 12};

/* The cities, as codes 1 3 0 2 2 1 3 1 of 2 bits, and bytes that may be read after them. */
static _Alignas(8) uint8_t cities[8] = {0x72, 0x9d};

/* Their dictionary.  Code 0 stands for NULL: its symbol has no bytes. */
static const char symbols[] = "AtlantaChicagoParis";
static const uint8_t symbol_lengths[CITIES] = {0, 7, 7, 5};

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);

  vorn_enc_ctx delay_enc, hour_enc;
  vorn_build_encoding_type_fixed(&delay_enc, 16, 0);
  vorn_build_encoding_type_fixed(&hour_enc, 16, VORN_CONST);
  uint8_t sixty[] = {0, 60};
  uint64_t late[WORDS];
  vorn_cv delay, hour, res;
  vorn_build_vector(&delay, delays, NULL, NULL, &delay_enc, NULL, NULL, ROWS, 0, NULL, 0);
  vorn_build_vector(&hour, sixty, NULL, NULL, &hour_enc, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&res, NULL, NULL, NULL, NULL, NULL, late, ROWS, 0, NULL, 0);
  if (vorn_ge(&ctx, &res, &delay, &hour, NULL) == VORN_RESULT_EMPTY)
    return 0;

  /* The selected rows as a list. */
  uint32_t rows[ROWS];
  vorn_lbiwv_ictx ones;
  vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&ones, late, ROWS, 0, 0);
  vorn_aux aux = {0};
  aux.vorn_aux_ones_vec = rows;
  aux.vorn_aux_ones_vec_size = vorn_global_ctx.vorn_lbiwvones_dydi(&ones, rows, ROWS);

  /* Their values, without VORN_NULLS: a scan of this column would have it, but no decoder does. */
  uint32_t cla[CITIES + 1];
  vorn_build_cla_1_ub1(cla, CITIES + 1, symbol_lengths, CITIES);
  vorn_enc_ctx city_enc;
  vorn_build_encoding_type_dict(&city_enc, 2, symbols, NULL, cla, CITIES, VORN_DICT_CLA, 0);
  const char *texts[ROWS];
  uint16_t lengths[ROWS], flags[ROWS];
  vorn_cv city, values;
  vorn_build_vector(&city, cities, NULL, NULL, &city_enc, NULL, NULL, ROWS, 0, NULL, 0);
  vorn_build_vector(&values, texts, lengths, flags, NULL, NULL, NULL, ROWS, 0, NULL, 0);
  vorn_decode(&ctx, &values, &city, &aux);

  for (uint32_t i = 0; i < values.vorn_cv_popc; ++i) {
    const uint8_t *minutes = delays + 2 * rows[i];
    printf("%d minutes: ", minutes[0] << 8 | minutes[1]);
    if (flags[i] == 2)
      printf("NULL\n");
    else
      printf("%.*s\n", lengths[i], texts[i]);
  }
  return 0;
}
