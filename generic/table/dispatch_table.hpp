// The dispatch table of a level, built at compile time from the list of families.
#pragma once

#include "generic/families.hpp"
#include "generic/table/dispatch_builder.hpp"

VORN_KERNELS_BEGIN
VORN_OWN_FAMILIES(VORN_DECLARE_FAMILY)
VORN_KERNELS_END
VORN_BASE_KERNELS_BEGIN
VORN_BASE_FAMILIES(VORN_DECLARE_FAMILY)
VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL {

VORN_FAMILIES(VORN_FAMILY_ENTRIES)

consteval dispatch build_families() {
  dispatch_builder builder;
#define VORN_ADD_FAMILY(family, KERNELS, shape, count) builder.add(#family, family, count);
  VORN_FAMILIES(VORN_ADD_FAMILY)
  return builder.finish(800);
}

consteval dispatch build_dispatch() {
  constexpr dispatch built = build_families();
  prove<built.fault>();
  return built;
}

} // namespace vorn::inline VORN_LEVEL
