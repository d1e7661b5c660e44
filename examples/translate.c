/*
 * Translation: two tables have dictionaries of their own, and rows of one are looked up in the other.  The work is done
 * once for each code, in a translate table; the rows follow by vorn_xlate.
 */
#include "minimal_host.h"

#include <stdio.h>
#include <string.h>

enum { ROWS = 10, CITIES = 6, AIRPORTS = 4, NONE = 0xff };

/* The column: codes of cities.  The other table has one row for each airport, in an order of its own. */
static const uint8_t city_of[ROWS] = {3, 0, 5, 2, 2, 4, 1, 3, 0, 5};
static const char *const cities[CITIES] = {"Atlanta", "Boise", "Chicago", "Denver", "Elko", "Fresno"};
static const char *const airports[AIRPORTS] = {"Denver", "Fresno", "Atlanta", "Chicago"};

static uint8_t airport_of(const char *city) {
  for (unsigned airport = 0; airport < AIRPORTS; ++airport)
    if (strcmp(airports[airport], city) == 0)
      return (uint8_t) airport;
  return NONE;
}

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);

  /* An entry of one byte for each city; all ones say that there is none.  Kind 1: key i has entry i. */
  uint64_t entry_words[1] = {0};
  uint8_t *entries = (uint8_t *) entry_words;
  for (unsigned city = 0; city < CITIES; ++city)
    entries[city] = airport_of(cities[city]);
  vorn_enc_ctx table_enc;
  vorn_build_encoding_type_fixed(&table_enc, 8, 0);
  vorn_add_encoding_type_xlate(&table_enc, 1, 1, 1, 0, 0);
  vorn_cv table = {0};
  table.vorn_cv_bv = entry_words;
  table.vorn_cv_encoding_context = &table_enc;

  /* The keys: numbers of 32 bits, the first byte the most significant one. */
  _Alignas(8) uint8_t keys[4 * ROWS] = {0};
  for (unsigned row = 0; row < ROWS; ++row)
    keys[4 * row + 3] = city_of[row];
  vorn_enc_ctx key_enc;
  vorn_build_encoding_type_fixed(&key_enc, 32, VORN_HASH_VALUES);
  vorn_cv src, res;
  vorn_build_vector(&src, keys, NULL, NULL, &key_enc, NULL, NULL, ROWS, 0, NULL, 0);

  /* Rows with an entry, the first and the last of them, and the entry of every row: to be cleared before. */
  uint64_t found[1] = {0};
  uint32_t first_last[2];
  uint8_t row_entries[ROWS];
  vorn_build_vector(&res, first_last, NULL, NULL, NULL, NULL, found, ROWS, 0, NULL, 0);
  vorn_aux aux = {0};
  aux.vorn_aux_xlate_tbl = row_entries;
  vorn_xlate(&ctx, &res, &src, &table, &aux);

  int wrong = 0;
  printf("%u of %d rows have an airport, the first one is %u, the last one %u\n", res.vorn_cv_popc, ROWS, first_last[0],
         first_last[1]);
  for (unsigned row = 0; row < ROWS; ++row) {
    const char *city = cities[city_of[row]];
    const int hit = (int) (found[0] >> row & 1);
    wrong |= row_entries[row] != airport_of(city) || hit != (airport_of(city) != NONE);
    if (hit)
      printf("row %u: %s is airport %d\n", row, city, row_entries[row]);
    else
      printf("row %u: %s has none\n", row, city);
  }
  return wrong;
}
