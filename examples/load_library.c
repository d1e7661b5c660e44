/*
 * Loading: the library that the processor is fit for, or one that is named, and its kernels checked against the generic
 * ones on the host's own data.
 *
 *     load_library                 says what is in force without a library
 *     load_library specialized     loads the best one
 *     load_library NAME            loads this one
 */
#include "minimal_host.h"

#include <stdio.h>
#include <string.h>

enum { ROWS = 10000, WORDS = (ROWS + 63) / 64, WIDTH = 12 };

int main(int argc, char **argv) {
  vorn_ctx ctx = minimal_host_context();
  if (argc > 1) {
    ctx.vorn_ctx_init_flags = VORN_INIT_SPECIALIZED;
    ctx.vorn_ctx_lib_name = strcmp(argv[1], "specialized") == 0 ? NULL : argv[1];
  }
  /* A library that cannot be loaded, or is not of this version, is reported to the host. */
  vorn_nfy(VORN_NFY_LOAD, &ctx);
  const vorn_global_ctx_t *in_force = &vorn_global_ctx;
  printf("kernels: %s\n", in_force->vorn_global_ctx_lib_name);

  /* Columns are aligned as the implementation in force asks. */
  static uint64_t stream[ROWS * WIDTH / 64 + 2], plain[WORDS], checked[WORDS];
  if ((uintptr_t) stream % in_force->VORN_DATASTREAM_ALIGN != 0 ||
      (uintptr_t) plain % in_force->VORN_OUTPUT_BITWVEC_ALIGN != 0)
    return 1;
  uint64_t random = 1;
  for (unsigned word = 0; word < sizeof stream / sizeof *stream; ++word)
    stream[word] = random = random * UINT64_C(6364136223846793005) + UINT64_C(1442695040888963407);

  vorn_enc_ctx enc, constant_enc;
  vorn_build_encoding_type_dict(&enc, WIDTH, NULL, NULL, NULL, 1 << WIDTH, VORN_DICT_ONE_LENGTH, 0);
  vorn_build_encoding_type_dict(&constant_enc, WIDTH, NULL, NULL, NULL, 1 << WIDTH, VORN_DICT_ONE_LENGTH, VORN_CONST);
  uint32_t bound = 1000;
  vorn_cv src, constant, res;
  vorn_build_vector(&src, stream, NULL, NULL, &enc, NULL, NULL, ROWS, 0, NULL, 0);
  vorn_build_vector(&constant, &bound, NULL, NULL, &constant_enc, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&res, NULL, NULL, NULL, NULL, NULL, plain, ROWS, 0, NULL, 0);

  /* A host that doubts a library runs both kernels and has a difference reported as an error: VORN_CTX_SELF_CHECK.  One
   * that wants to measure, or to go on without the library, forces the generic ones. */
  ctx.vorn_ctx_flags = VORN_CTX_FORCE_GENERIC;
  vorn_lt(&ctx, &res, &src, &constant, NULL);
  ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
  res.vorn_cv_bv = checked;
  vorn_lt(&ctx, &res, &src, &constant, NULL);
  const uint32_t slot = (uint32_t) (enc.vorn_enc_ctx_type & 0xff) << 5 | VORN_OPC_LT;
  printf("%s of %d rows: %u below %u\n", vorn_dispatch_func_names[slot], ROWS, res.vorn_cv_popc, bound);
  return memcmp(plain, checked, sizeof plain) != 0;
}
