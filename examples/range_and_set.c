/*
 * A range and a set: readings between -5 and 5 degrees, stored as signed values, and stations whose name begins with an
 * S.
 */
#include "minimal_host.h"

#include <stdio.h>

enum { ROWS = 12, STATIONS = 8 };

static const int16_t degrees[ROWS] = {-12, -5, 3, 5, 6, 0, -6, 18, 4, -1, -300, 300};
static const uint8_t station_of[ROWS] = {5, 0, 6, 2, 3, 6, 5, 1, 7, 4, 6, 0};

/* The dictionary, in order: the codes compare as the names do. */
static const char *const stations[STATIONS] = {"Bergen", "Davos", "Kiruna", "Lyon", "Oulu", "Sion", "Split", "Turin"};

/* Kernels compare unsigned numbers: with the sign bit flipped signed ones come in the same order. */
static void store(uint8_t *at, int16_t value) {
  const uint16_t key = (uint16_t) ((uint16_t) value ^ 0x8000);
  at[0] = (uint8_t) (key >> 8);
  at[1] = (uint8_t) key;
}

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);

  _Alignas(8) uint8_t readings[2 * ROWS];
  uint8_t low[2], high[2];
  for (unsigned row = 0; row < ROWS; ++row)
    store(readings + 2 * row, degrees[row]);
  store(low, -5);
  store(high, 5);
  vorn_enc_ctx enc, constant_enc;
  vorn_build_encoding_type_fixed(&enc, 16, 0);
  vorn_build_encoding_type_fixed(&constant_enc, 16, VORN_CONST);
  uint64_t mild[1], in_s[1];
  vorn_cv src, lo, hi, res;
  vorn_build_vector(&src, readings, NULL, NULL, &enc, NULL, NULL, ROWS, 0, NULL, 0);
  vorn_build_vector(&lo, low, NULL, NULL, &constant_enc, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&hi, high, NULL, NULL, &constant_enc, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&res, NULL, NULL, NULL, NULL, NULL, mild, ROWS, 0, NULL, 0);
  vorn_ge_le(&ctx, &res, &src, &lo, &hi, NULL);
  printf("from -5 to 5 degrees: %u readings\n", res.vorn_cv_popc);

  /* The set is a map of the codes, made by asking each name once, however many rows there are.  It has whole words; a
   * code of 8 bits could be up to 255, so the map covers as many. */
  uint64_t map[256 / 64] = {0};
  for (unsigned code = 0; code < STATIONS; ++code)
    map[code / 64] |= (uint64_t) (stations[code][0] == 'S') << code % 64;
  vorn_enc_ctx station_enc;
  vorn_build_encoding_type_dict(&station_enc, 8, NULL, NULL, NULL, STATIONS, VORN_DICT_ONE_LENGTH, 0);
  _Alignas(8) uint8_t codes[ROWS];
  for (unsigned row = 0; row < ROWS; ++row)
    codes[row] = station_of[row];
  vorn_cv set = {0};
  set.vorn_cv_bv = map;
  vorn_aux aux = {0};
  aux.vorn_aux_filter_bv = mild;
  vorn_build_vector(&src, codes, NULL, NULL, &station_enc, NULL, NULL, ROWS, 0, NULL, 0);
  vorn_build_vector(&res, NULL, NULL, NULL, NULL, NULL, in_s, ROWS, 0, NULL, 0);
  vorn_in_set(&ctx, &res, &src, &set, &aux);

  int wrong = 0;
  printf("and at a station whose name begins with S: %u\n", res.vorn_cv_popc);
  for (unsigned row = 0; row < ROWS; ++row) {
    const int expected = degrees[row] >= -5 && degrees[row] <= 5 && stations[station_of[row]][0] == 'S';
    wrong |= (int) (in_s[0] >> row & 1) != expected;
    if (in_s[0] >> row & 1)
      printf("%s %d\n", stations[station_of[row]], degrees[row]);
  }
  return wrong;
}
