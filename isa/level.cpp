// The dispatch table and the record of a level, for a specialised library.
#include "isa/level.hpp"

#include "generic/table/dispatch_table.hpp"
#include "generic/table/record.hpp"

namespace vorn::inline VORN_LEVEL {

namespace {
constexpr dispatch built = build_dispatch();
constinit const auto kernels = built.kernels;
} // namespace

extern constinit const vorn_global_ctx_t record;
constinit const vorn_global_ctx_t record = record_of(VORN_STATUS_SPECIALIZED, nullptr, kernels.data());

} // namespace vorn::inline VORN_LEVEL
