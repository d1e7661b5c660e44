/*
 * A host in one file: the least that a process brings along to use the library.  minimal_host.c defines every service
 * of host.h; this header is what the rest of the program sees of it.
 */
#ifndef MINIMAL_HOST_H
#define MINIMAL_HOST_H

#include <vorn/host.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A cleared context with the environment and the memory callbacks of this host.  It serves the whole process. */
vorn_ctx minimal_host_context(void);

/* The same, with kernels chosen, and their name printed: the generic kernels, or with an argument
 * "specialized" the kernels of the best library that the processor can run. */
vorn_ctx minimal_host_start(int argc, char **argv);

#ifdef __cplusplus
}
#endif

#endif
