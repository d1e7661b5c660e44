// The code in the comments of vorn.h, as it is there: the first example, and the uses of the calls that most hosts
// need.
#include "first_example.inc"

#include "tests/manual/header_code.h"

uint32_t codes_between(vorn_ctx ctx, uint8_t *stream, uint32_t nrows, uint32_t bounds[2], uint8_t *out, uint32_t room) {
  static const uint32_t offsets[101] = {0};
  uint64_t bits[3][1], *const rows = bits[2];
  uint32_t count;
  vorn_enc_ctx enc, constant;
  vorn_cv src, low, high, least, most, codes;
  vorn_aux aux = {0};
  const char *symbols = "";
  vorn_build_encoding_type_dict(&constant, 8, NULL, NULL, NULL, 0, VORN_DICT_CLA, VORN_CONST);
  vorn_build_vector(&low, &bounds[0], NULL, NULL, &constant, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&high, &bounds[1], NULL, NULL, &constant, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&least, NULL, NULL, NULL, NULL, NULL, bits[0], nrows, 0, NULL, 0);
  vorn_build_vector(&most, NULL, NULL, NULL, NULL, NULL, bits[1], nrows, 0, NULL, 0);
#include "uses.inc"
  return count;
}
