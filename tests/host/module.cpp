// A loadable library that, like a specialised one, has a symbol to find and takes a service from the process.
#include "frame/host.h"

extern "C" VORN_API uint64_t module_time() { return host_clock_time64(); }
