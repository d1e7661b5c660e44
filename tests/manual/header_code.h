/* The functions of header_code.c. */
#ifndef HEADER_CODE_H
#define HEADER_CODE_H

#include <vorn/vorn.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The first example of vorn.h. header_code.c has the definition first, as a user's file has.
 * NOLINTNEXTLINE(readability-redundant-declaration) */
uint64_t first_scan(vorn_ctx *ctx);

/* The uses of the calls that most hosts need. Writes the codes between two bounds to out and returns their number. */
uint32_t codes_between(vorn_ctx ctx, uint8_t *stream, uint32_t nrows, uint32_t bounds[2], uint8_t *out, uint32_t room);

#ifdef __cplusplus
}
#endif

#endif
