/*
 * Two predicates and deleted rows: people of at least 60 in region 3, and then people of at least 95 or in region 3.
 *
 * A mask belongs to a column and takes rows out of every result; here it hides the rows that are deleted.  A filter
 * belongs to a call: AND hands the rows of one predicate to the next as its filter.  OR combines two results.
 */
#include "minimal_host.h"

#include <stdio.h>

enum { ROWS = 100, WORDS = (ROWS + 63) / 64 };

static uint8_t age_of(unsigned row) { return (uint8_t) (row * 37 % 100); }
static uint8_t region_of(unsigned row) { return (uint8_t) (row * 7 % 10); }
static int is_deleted(unsigned row) { return row % 9 == 0; }

static int has(const uint64_t *bits, unsigned row) { return (bits[row / 64] >> row % 64 & 1) != 0; }

/* Prints the selected rows; 1 when they are not those that the plain question finds. */
static int differs(const char *what, const uint64_t *bits, uint32_t count, int with_or, uint8_t age) {
  int wrong = 0;
  printf("%s: %u rows:", what, count);
  for (unsigned row = 0; row < ROWS; ++row) {
    const int old = age_of(row) >= age, here = region_of(row) == 3;
    wrong |= has(bits, row) != (!is_deleted(row) && (with_or ? old || here : old && here));
    if (has(bits, row))
      printf(" %u", row);
  }
  printf("\n");
  return wrong;
}

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);

  /* Ages as fixed values of one byte, regions as codes of 4 bits, two to a byte. */
  uint64_t age_words[(ROWS + 7) / 8], region_words[(ROWS + 15) / 16] = {0}, present[WORDS] = {0};
  uint8_t *ages = (uint8_t *) age_words, *regions = (uint8_t *) region_words;
  for (unsigned row = 0; row < ROWS; ++row) {
    ages[row] = age_of(row);
    regions[row / 2] = (uint8_t) (regions[row / 2] | region_of(row) << (row % 2 == 0 ? 4 : 0));
    present[row / 64] |= (uint64_t) !is_deleted(row) << row % 64;
  }
  vorn_enc_ctx age_enc, age_constant, region_enc, region_constant;
  vorn_build_encoding_type_fixed(&age_enc, 8, 0);
  vorn_build_encoding_type_fixed(&age_constant, 8, VORN_CONST);
  vorn_build_encoding_type_dict(&region_enc, 4, NULL, NULL, NULL, 10, VORN_DICT_ONE_LENGTH, 0);
  vorn_build_encoding_type_dict(&region_constant, 4, NULL, NULL, NULL, 10, VORN_DICT_ONE_LENGTH, VORN_CONST);

  uint8_t sixty = 60, ninety_five = 95;
  uint32_t three = 3;
  uint64_t old[WORDS], here[WORDS];
  vorn_cv age, region, age_bound, region_bound, res;
  vorn_build_vector(&age, ages, NULL, NULL, &age_enc, present, NULL, ROWS, 0, NULL, 0);
  vorn_build_vector(&region, regions, NULL, NULL, &region_enc, present, NULL, ROWS, 0, NULL, 0);
  vorn_build_vector(&region_bound, &three, NULL, NULL, &region_constant, NULL, NULL, 1, 0, NULL, 0);

  /* AND.  Where the filter has few rows, VORN_AUX_FORCE_SELECTIVE visits only these. */
  vorn_build_vector(&age_bound, &sixty, NULL, NULL, &age_constant, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&res, NULL, NULL, NULL, NULL, NULL, old, ROWS, 0, NULL, 0);
  vorn_ge(&ctx, &res, &age, &age_bound, NULL);
  vorn_aux aux = {0};
  aux.vorn_aux_filter_bv = old;
  aux.vorn_aux_flags = res.vorn_cv_popc < ROWS / 4 ? VORN_AUX_FORCE_SELECTIVE : 0;
  res.vorn_cv_bv = here;
  vorn_eq(&ctx, &res, &region, &region_bound, &aux);
  int wrong = differs("at least 60 and in region 3", here, res.vorn_cv_popc, 0, 60);

  /* OR. */
  vorn_eq(&ctx, &res, &region, &region_bound, NULL);
  age_bound.vorn_cv_vals = &ninety_five;
  res.vorn_cv_bv = old;
  vorn_ge(&ctx, &res, &age, &age_bound, NULL);
  uint32_t count;
  vorn_global_ctx.vorn_lbiwvor_dydi(old, &count, old, here, ROWS);
  wrong |= differs("at least 95 or in region 3", old, count, 1, 95);
  return wrong;
}
