// The exports of the generic level: the dispatch table, the names of its slots, and the record that is in force until
// another one is loaded.
#include "generic/table/dispatch_table.hpp"
#include "generic/table/record.hpp"

namespace {
constexpr vorn::dispatch built = vorn::build_dispatch();
}

// The exported names are C arrays, and no function can return an array.  So the exported names are aliases of the
// arrays that the builder made.
extern "C" constinit const auto vorn_built_kernels = built.kernels;
extern "C" constinit const auto vorn_built_names = built.names;
extern "C" const vorn_kernel vorn_dispatch_table[VORN_DISPATCH_SLOTS] __attribute__((alias("vorn_built_kernels")));
extern "C" const char *const vorn_dispatch_func_names[VORN_DISPATCH_SLOTS] __attribute__((alias("vorn_built_names")));

constinit vorn_global_ctx_t vorn_global_ctx = vorn::record_of(VORN_STATUS_GENERIC, "generic", vorn_dispatch_table);
