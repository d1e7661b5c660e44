/*
 * A host in one file: the least that a process brings along to use the library.  minimal_host.c defines every service
 * of host.h; this header is what the rest of the program sees of it.
 */
#ifndef MINIMAL_HOST_H
#define MINIMAL_HOST_H

#include <vorn/host.h>

/* A cleared context with the environment and the memory callbacks of this host.  It serves the whole process. */
vorn_ctx minimal_host_context(void);

#endif
