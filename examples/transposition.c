/*
 * Transposition: two columns become records, a row each.  The first step writes references to the values into a matrix,
 * column by column.  The second one copies the values row by row.  The output has room for some records at a time.
 */
#include "minimal_host.h"

#include <stdio.h>
#include <string.h>

enum { ROWS = 5, COLUMNS = 2, ROOM = 48 };

/* The columns: names with their lengths, and numbers of two bytes, the first one the most significant. */
static char names[] = "AtlantaBoiseChicagoDenverElko";
static uint16_t name_lengths[ROWS] = {7, 5, 7, 6, 4};
static uint8_t heights[] = {0x01, 0x41, 0x03, 0x36, 0x00, 0xb6, 0x06, 0x5c, 0x06, 0x02};

/* An entry of the matrix, as in VORN_LP: the length, six bytes that nobody reads, the address. */
struct reference {
  uint16_t length;
  uint8_t unread[6];
  const void *value;
};

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);

  static struct reference matrix[ROWS][COLUMNS];
  void *refs[1] = {matrix};
  vorn_transpose_table columns;
  vorn_build_transpose_table(&columns, COLUMNS, 0, 0, 0, 64, refs, refs, 0, NULL, 0, 0, 0, NULL, NULL, 0, NULL, NULL,
                             NULL, VORN_TT_LP);
  vorn_enc_ctx name_enc, height_enc;
  vorn_build_encoding_type_lv_sep(&name_enc);
  vorn_build_encoding_type_fixed(&height_enc, 16, 0);
  vorn_cv name = {0}, height = {0};
  vorn_build_vector(&name, names, name_lengths, NULL, &name_enc, NULL, NULL, ROWS, 0, NULL, 0);
  vorn_build_vector(&height, heights, NULL, NULL, &height_enc, NULL, NULL, ROWS, 0, NULL, 0);
  vorn_aux aux = {0};
  vorn_transpose_reference(&ctx, &columns, &name, 0, 0, &aux);
  vorn_transpose_reference(&ctx, &columns, &height, 1, 0, &aux);

  /* The records: each value after its 16-bit length.  ends has the end of each record, after a 0. */
  uint8_t bytes[ROOM];
  uint32_t ends[ROWS + 1];
  void *position[1] = {bytes}, *end[1] = {bytes + sizeof bytes}, *next_end[1] = {ends};
  vorn_transpose_table records;
  vorn_build_transpose_table(&records, COLUMNS, 0, 0, 0, 64, NULL, NULL, 0, NULL, 0, 0, 0, NULL, next_end, 0, NULL,
                             position, end, VORN_TT_ROW | VORN_TT_CLA);
  uint32_t row = 0, calls = 0, code;
  int wrong = 0;
  memset(&aux, 0, sizeof aux);
  do {
    code = vorn_transpose_convert(&ctx, &records, &columns, 0, 0, row, ROWS - 1, &aux);
    ++calls;
    const uint8_t *at = bytes;
    for (; row < aux.vorn_aux_start_slot; ++row) {
      uint16_t length;
      memcpy(&length, at, sizeof length);
      const uint8_t *const number = at + sizeof length + length + sizeof length;
      printf("record of %u bytes: %.*s, %d m\n", ends[row + 1] - ends[row], length, (const char *) at + sizeof length,
             number[0] << 8 | number[1]);
      wrong |= ends[row + 1] - ends[row] != 6u + name_lengths[row] || memcmp(number, heights + 2 * row, 2) != 0;
      at = number + 2;
    }
    position[0] = bytes; /* the records are taken, so there is room again */
  } while (code == VORN_RESULT_TRANSPOSE_FULL);
  printf("%u records in %u calls\n", row, calls);
  return wrong || row != ROWS;
}
