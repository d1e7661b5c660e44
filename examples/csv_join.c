/* From two CSV files to a join: reads flights and airports, stores their columns with the encoders of <vorn/encode.h>,
 * selects the late flights, and looks up the airport of each of them. CSV_DIR is the folder of the files. */
#include "minimal_host.h"
#include <vorn/encode.h>

#include <stdio.h>
#include <stdlib.h>

static void *fail(const char *text) {
  fprintf(stderr, "csv_join: %s\n", text);
  exit(EXIT_FAILURE);
}

static void check(uint32_t result) {
  if (result != VORNENC_DONE)
    fail(vornenc_result_text(result));
}

/* Zeroed memory at a multiple of 64. It lives as long as the program. */
static void *allocate(size_t bytes) {
  static _Alignas(64) char memory[1 << 20];
  static size_t used;
  used += (bytes / 64 + 1) * 64;
  return used <= sizeof memory ? memory + used - (bytes / 64 + 1) * 64 : fail("out of memory");
}

/* A column of texts for each field. The first line has the names. Fields have no quotes. */
enum { COLUMNS = 3, MOST_ROWS = 1000 };
struct table {
  uint32_t nrows;
  vornenc_text columns[COLUMNS][MOST_ROWS];
};

static struct table *read_csv(const char *path) {
  struct table *table = allocate(sizeof *table);
  char line[256];
  FILE *file = fopen(path, "r");
  if (file == NULL || fgets(line, sizeof line, file) == NULL)
    fail(path);
  for (; table->nrows < MOST_ROWS && fgets(line, sizeof line, file) != NULL; ++table->nrows) {
    char *next = strcpy(allocate(strlen(line) + 1), line);
    for (unsigned column = 0; column < COLUMNS; ++column) {
      const size_t length = strcspn(next, ",\n");
      table->columns[column][table->nrows] = (vornenc_text){next, (uint32_t) length};
      next += length;
      if (*next != '\0')
        *next++ = '\0';
    }
  }
  if (!feof(file))
    fail("too many rows");
  fclose(file);
  return table;
}

struct vector {
  vorn_cv cv;
  vorn_enc_ctx enc;
};

static void build_rows(struct vector *out, vornenc_rows rows) { check(vornenc_build_rows(&out->cv, &out->enc, &rows)); }

/* Texts as packed codes and a dictionary, and the hash value of each row. */
static uint64_t *hash_texts(const vorn_ctx *ctx, const vornenc_text *texts, uint32_t nrows) {
  uint32_t codes[MOST_ROWS], row_of_code[MOST_ROWS], ncodes, cla[MOST_ROWS + 1];
  check(vornenc_assign_codes(codes, row_of_code, &ncodes, texts, nrows));
  vornenc_dictionary dictionary;
  const size_t room = vornenc_symbols_bytes(texts, row_of_code, ncodes);
  check(vornenc_pack_symbols(&dictionary, allocate(room), room, cla, sizeof cla, texts, row_of_code, ncodes));
  const uint32_t width = vornenc_code_width(ncodes);
  const size_t bytes = vornenc_codes_bytes(nrows, width);
  void *stream = allocate(bytes);
  check(vornenc_pack_codes(stream, bytes, codes, nrows, width));
  uint64_t *hashes = allocate(nrows * sizeof *hashes), seed = 0;
  const vornenc_column stored = {.width = width, .nrows = nrows, .vals = stream, .dictionary = &dictionary};
  struct vector column, seeds;
  vorn_cv res;
  vorn_aux aux = {0};
  check(vornenc_build_column(&column.cv, &column.enc, &stored));
  build_rows(&seeds, (vornenc_rows){.form = VORN_HASH_VALUES, .nrows = 1, .vals = &seed});
  vornenc_build_vector(&res, &(vornenc_vector){.vals = hashes, .nrows = nrows});
  vorn_hash(ctx, &res, &column.cv, &seeds.cv, vornenc_hash, &aux);
  return hashes;
}

/* The numbers of the rows whose integer is at least the bound. */
static uint32_t rows_from(const vorn_ctx *ctx, uint32_t *rows, const vornenc_text *texts, uint32_t nrows, int bound) {
  uint64_t keys[MOST_ROWS], hits[MOST_ROWS / 64 + 1];
  for (uint32_t row = 0; row < nrows; ++row)
    keys[row] = vornenc_key_of_int64(strtol(texts[row].bytes, NULL, 10), 16);
  const size_t bytes = vornenc_fixed_bytes(nrows, 16);
  void *stream = allocate(bytes);
  check(vornenc_pack_fixed(stream, bytes, keys, nrows, 16));
  const vornenc_column stored = {.form = VORNENC_FIXED, .width = 16, .nrows = nrows, .vals = stream};
  struct vector column, constant;
  vornenc_constant memory;
  vorn_cv res;
  check(vornenc_build_column(&column.cv, &column.enc, &stored));
  check(vornenc_build_constant(&constant.cv, &constant.enc, &memory, &stored, vornenc_key_of_int64(bound, 16), 0));
  vornenc_build_vector(&res, &(vornenc_vector){.bits = hits, .nrows = nrows});
  vorn_ge(ctx, &res, &column.cv, &constant.cv, NULL);
  vorn_lbiwv_ictx iterator;
  vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&iterator, hits, nrows, 0, 0);
  return res.vorn_cv_popc == 0 ? 0 : vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, rows, nrows);
}

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);
  const struct table *airports = read_csv(CSV_DIR "/airports.csv"), *flights = read_csv(CSV_DIR "/flights.csv");
  const uint64_t *airport_hashes = hash_texts(&ctx, airports->columns[0], airports->nrows);
  const uint64_t *flight_hashes = hash_texts(&ctx, flights->columns[1], flights->nrows);
  uint32_t late[MOST_ROWS], code, found = 0;
  const uint32_t nlate = rows_from(&ctx, late, flights->columns[2], flights->nrows, 30);
  printf("%u of %u flights are at least 30 minutes late\n", nlate, flights->nrows);

  /* Build: one partition. It gets overflow buckets when it asks for them. */
  vornenc_table_size size = {0};
  check(vornenc_size_table(&size, airports->nrows, 0));
  void *buckets = allocate(((size_t) 1 << size.bucket_bits) * VORNENC_BUCKET_BYTES), *next = NULL, *end = NULL;
  vorn_hash_table table;
  struct vector keys, numbers, res;
  vorn_aux build = {0}, probe = {0};
  vornenc_build_hash_table(&table, &size, &buckets, &next, &end);
  build_rows(&keys, (vornenc_rows){.form = VORN_HASH_VALUES, .nrows = airports->nrows, .vals = airport_hashes});
  build_rows(&numbers, (vornenc_rows){.form = VORN_AUTORID});
  while (vorn_ht_build(&ctx, &table, &keys.cv, &numbers.cv, -1, NULL, &build) == VORN_RESULT_NO_OVERFLOW) {
    next = allocate(size.first_overflow * VORNENC_BUCKET_BYTES);
    end = (char *) next + size.first_overflow * VORNENC_BUCKET_BYTES;
  }

  /* Probe: the hash values and the numbers of the late flights give pairs of a flight and an airport. */
  uint64_t late_hashes[MOST_ROWS], pairs[MOST_ROWS][2];
  for (uint32_t i = 0; i < nlate; ++i)
    late_hashes[i] = flight_hashes[late[i]];
  build_rows(&keys, (vornenc_rows){.form = VORN_HASH_VALUES, .nrows = nlate, .vals = late_hashes});
  build_rows(&numbers, (vornenc_rows){.form = VORN_FIXED, .width = 32, .vals = late});
  do {
    build_rows(&res, (vornenc_rows){.form = VORN_RIDVALUE, .nrows = MOST_ROWS, .vals = pairs});
    code = vorn_ht_probe(&ctx, &res.cv, &keys.cv, &numbers.cv, &table, NULL, &probe);
    for (uint32_t i = 0; i < res.cv.vorn_cv_nrows; ++i) {
      const uint64_t flight = pairs[i][0], airport = pairs[i][1];
      if (strcmp(flights->columns[1][flight].bytes, airports->columns[0][airport].bytes) != 0)
        continue; /* only the tags are equal */
      printf("%s from %s, %s minutes\n", (const char *) flights->columns[0][flight].bytes,
             (const char *) airports->columns[1][airport].bytes, (const char *) flights->columns[2][flight].bytes);
      ++found;
    }
  } while (code == VORN_RESULT_PROBE_FULL);
  printf("%u of them from known airports\n", found);
}
