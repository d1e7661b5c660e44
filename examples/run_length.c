/*
 * A column of runs: the weather of 400 hours, of which 7 runs are stored.  A predicate is asked once per run, and its
 * answers are expanded to hours; then the codes of the hours are unpacked, in batches that end in the middle of runs.
 */
#include "minimal_host.h"

#include <stdio.h>

enum { HOURS = 400, RUNS = 7, WORDS = (HOURS + 63) / 64, BATCH = 150 };
enum weather { SUN, CLOUDS, RAIN, SNOW };
static const char *const names[] = {"sun", "clouds", "rain", "snow"};

static const uint8_t runs[RUNS] = {CLOUDS, RAIN, SUN, RAIN, SNOW, CLOUDS, SUN};
static const uint8_t lengths[RUNS] = {40, 25, 90, 70, 15, 60, 100};

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);

  /* One code of 2 bits and one length of 16 bits for each run, the first byte the more significant one; and the sums of
   * the lengths, with which runs that are not selected cost nothing. */
  uint64_t code_words[1] = {0}, length_words[(RUNS + 3) / 4] = {0}, sum_words[(RUNS + 2) / 2] = {0}, per_run[1];
  uint8_t *codes = (uint8_t *) code_words, *lens = (uint8_t *) length_words;
  for (unsigned run = 0; run < RUNS; ++run) {
    codes[run / 4] = (uint8_t) (codes[run / 4] | runs[run] << (6 - run % 4 * 2));
    lens[2 * run + 1] = lengths[run];
  }
  vorn_build_cla_1_ub2((uint32_t *) sum_words, RUNS + 1, lens, RUNS);

  vorn_enc_ctx enc, constant_enc;
  vorn_build_encoding_type_dict(&enc, 2, NULL, NULL, NULL, 4, VORN_DICT_ONE_LENGTH, 0);
  vorn_add_encoding_type_rle(&enc, lens, sum_words, 16, RUNS, per_run);
  vorn_build_encoding_type_dict(&constant_enc, 2, NULL, NULL, NULL, 4, VORN_DICT_ONE_LENGTH, VORN_CONST);
  uint32_t rain = RAIN;
  uint64_t wet[WORDS];
  vorn_cv src, constant, res;
  vorn_build_vector(&src, codes, NULL, NULL, &enc, NULL, NULL, HOURS, 0, NULL, 0);
  vorn_build_vector(&constant, &rain, NULL, NULL, &constant_enc, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&res, NULL, NULL, NULL, NULL, NULL, wet, HOURS, 0, NULL, 0);
  vorn_ge(&ctx, &res, &src, &constant, NULL);
  printf("rain or snow: %u of %d hours, in the runs", res.vorn_cv_popc, HOURS);
  for (unsigned run = 0; run < RUNS; ++run)
    if (per_run[0] >> run & 1)
      printf(" %u", run);
  printf("\n");

  /* The expansion alone: any vector of one bit per run, here the runs that are longer than two days. */
  uint64_t long_runs[1] = {0}, in_long_runs[WORDS];
  for (unsigned run = 0; run < RUNS; ++run)
    long_runs[0] |= (uint64_t) (lengths[run] > 48) << run;
  vorn_aux aux = {0};
  aux.vorn_aux_filter_bv = long_runs;
  res.vorn_cv_bv = in_long_runs;
  vorn_decode_rle_burst(&ctx, &res, &src, &aux);
  printf("in runs of more than two days: %u hours\n", res.vorn_cv_popc);

  /* The codes of all hours, a batch at a time. */
  uint8_t batch[BATCH];
  unsigned hour = 0, run = 0, end = lengths[0], wrong = 0;
  vorn_aux walk = {0};
  vorn_build_vector(&res, batch, NULL, NULL, NULL, NULL, NULL, BATCH, 0, NULL, 0);
  for (; hour < HOURS; ++walk.vorn_aux_start_slot) {
    vorn_decode_unpack(&ctx, &res, &src, &walk);
    printf("hours from %u: %s to %s\n", hour, names[batch[0]], names[batch[res.vorn_cv_popc - 1]]);
    for (unsigned i = 0; i < res.vorn_cv_popc; ++i, ++hour) {
      while (hour >= end)
        end += lengths[++run];
      wrong |= batch[i] != runs[run];
      wrong |= (wet[hour / 64] >> hour % 64 & 1) != (runs[run] >= RAIN);
      wrong |= (in_long_runs[hour / 64] >> hour % 64 & 1) != (lengths[run] > 48);
    }
  }
  return (int) wrong;
}
