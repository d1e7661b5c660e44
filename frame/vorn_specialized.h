/** @file
 * The contract between libvorn and a specialised library.
 *
 * A specialised library is a shared object that exports one symbol, the record vorn_global_specialized_ctx. At load
 * libvorn compares the version and the magic number of the record with its own. It expects the status
 * VORN_STATUS_SPECIALIZED, and the load name of the library in vorn_global_ctx_lib_name. Then it copies the whole
 * record over vorn_global_ctx. The kernels of a specialised library give exactly the results of the generic kernels,
 * including every field of vorn_aux. The two slots for threads may be null.
 */
#ifndef VORN_SPECIALIZED_H
#define VORN_SPECIALIZED_H

#include "vorn.h"

/** The magic number and the version that a load compares, and the symbol that it looks up. */
#define VORN_GLOBAL_CTX_MAGIC   UINT64_C(0xb9018218)
#define VORN_GLOBAL_CTX_VERSION "19.1-1"
#define VORN_SPECIALIZED_SYMBOL "vorn_global_specialized_ctx"

/** The capability codes of cpucap_query and the load names, the best library first. */
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
