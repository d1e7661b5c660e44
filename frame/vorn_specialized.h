/** @file
 * The contract between libvorn and a specialised library.
 *
 * A specialised library is a shared object that exports one symbol, the record vorn_global_specialized_ctx.  At load
 * the library compares version and magic, expects the status VORN_STATUS_SPECIALIZED and its load name in
 * vorn_global_ctx_lib_name, and copies the record whole over vorn_global_ctx.  Its kernels give the results of the
 * generic ones to the bit, every field of vorn_aux included.  The two thread slots may be null.
 */
#ifndef VORN_SPECIALIZED_H
#define VORN_SPECIALIZED_H

#include "vorn.h"

/** What a load compares, and the name that it looks up. */
#define VORN_GLOBAL_CTX_MAGIC   UINT64_C(0xb9018218)
#define VORN_GLOBAL_CTX_VERSION "19.1-1"
#define VORN_SPECIALIZED_SYMBOL "vorn_global_specialized_ctx"

/** Capability codes of cpucap_query and load names, best first. */
#define VORN_SPECIALIZED_LIBRARIES(X)                                                                                  \
  X(269, "svxlavx51219")                                                                                               \
  X(267, "svxlavx219")                                                                                                 \
  X(259, "svxlavx19")                                                                                                  \
  X(258, "svxlsse4219")

#ifdef __cplusplus
extern "C" {
#endif

/** The record of the library. */
extern VORN_API vorn_global_ctx_t vorn_global_specialized_ctx;

#ifdef __cplusplus
}
#endif

#endif /* VORN_SPECIALIZED_H */
