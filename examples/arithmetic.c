/*
 * Arithmetic: the revenue of some sales, price * (1 - discount), for each sale and in all.  Prices are stored as
 * canonical numbers; these sort as bytes. Discounts and all results are numbers in the form of the processor.
 */
#include "minimal_host.h"

#include <stdio.h>
#include <string.h>

enum { SALES = 5 };

static const double prices[SALES] = {100, 59.5, 12.25, -20, 8};
static double discounts[SALES] = {0.25, 0, 0.5, 0.25, 0.125};

/* The canonical form: the most significant byte first, the top bit set, or all bits inverted if the number is negative.
 */
static void store_canonical(uint8_t *at, double number) {
  uint64_t bits;
  memcpy(&bits, &number, sizeof bits);
  bits = bits >> 63 ? ~bits : bits | (uint64_t) 1 << 63;
  for (unsigned byte = 0; byte < 8; ++byte)
    at[byte] = (uint8_t) (bits >> (56 - 8 * byte));
}

/* No builder stores the kind of numbers. */
static vorn_enc_ctx doubles(uint32_t flags) {
  vorn_enc_ctx enc;
  vorn_build_encoding_type_fixed(&enc, 64, flags);
  enc.vorn_enc_ctx_num_type = VORN_NUM_DOUBLE;
  return enc;
}

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);
  _Alignas(8) uint8_t stored[8 * SALES];
  for (unsigned sale = 0; sale < SALES; ++sale)
    store_canonical(stored + 8 * sale, prices[sale]);

  vorn_enc_ctx canonical = doubles(0), native = doubles(VORN_NATIVE), constant = doubles(VORN_NATIVE | VORN_CONST);
  double one_value = 1, shares[SALES], revenues[SALES], total = 0;
  vorn_cv price, discount, one, share, revenue, sum;
  vorn_build_vector(&price, stored, NULL, NULL, &canonical, NULL, NULL, SALES, 0, NULL, 0);
  vorn_build_vector(&discount, discounts, NULL, NULL, &native, NULL, NULL, SALES, 0, NULL, 0);
  vorn_build_vector(&one, &one_value, NULL, NULL, &constant, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&share, shares, NULL, NULL, &native, NULL, NULL, SALES, 0, NULL, 0);
  vorn_build_vector(&revenue, revenues, NULL, NULL, &native, NULL, NULL, SALES, 0, NULL, 0);
  vorn_build_vector(&sum, &total, NULL, NULL, &native, NULL, NULL, 1, 0, NULL, 0);

  vorn_sub(&ctx, &share, &one, &discount, NULL); /* a constant may be on either side */
  vorn_mul(&ctx, &revenue, &price, &share, NULL);
  vorn_aux to_sum = {0};
  to_sum.vorn_aux_flags = VORN_AUX_SUM; /* adds the rows to the number at vals, and stores no row */
  vorn_mul(&ctx, &sum, &price, &share, &to_sum);

  int wrong = 0;
  double expected = 0;
  for (unsigned sale = 0; sale < SALES; ++sale) {
    printf("%g less %g %%: %g\n", prices[sale], 100 * discounts[sale], revenues[sale]);
    const double exact = prices[sale] * (1 - discounts[sale]); /* these numbers are exact */
    wrong |= revenues[sale] != exact;
    expected += exact;
  }
  printf("in all: %g\n", total);
  return wrong || total != expected;
}
