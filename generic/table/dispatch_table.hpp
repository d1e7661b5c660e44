// The dispatch table of a level, built at compile time from the list of families: the kernels of the common algorithms
// and, over them, those of the level's engines.
//
// A level with engines names a header by VORN_ENGINES.  It lists them as VORN_ENGINE_FAMILIES(F), like VORN_FAMILIES;
// the kernels stand in the namespace engine of the level.
#pragma once

#include "generic/families.hpp"
#include "generic/table/dispatch_builder.hpp"

#ifdef VORN_ENGINES
  #include VORN_ENGINES
#else
  #define VORN_ENGINE_FAMILIES(F)
#endif

VORN_KERNELS_BEGIN
VORN_FAMILIES(VORN_DECLARE_FAMILY)
VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL {

namespace engine {
VORN_ENGINE_FAMILIES(VORN_DECLARE_FAMILY)
VORN_ENGINE_FAMILIES(VORN_FAMILY_ENTRIES)
} // namespace engine

VORN_FAMILIES(VORN_FAMILY_ENTRIES)

consteval dispatch build_families() {
  dispatch_builder builder;
#define VORN_ADD_FAMILY(family, KERNELS, shape, count)     builder.add(#family, family, count);
#define VORN_REPLACE_FAMILY(family, KERNELS, shape, count) builder.replace(#family, engine::family, count);
  VORN_FAMILIES(VORN_ADD_FAMILY)
  VORN_ENGINE_FAMILIES(VORN_REPLACE_FAMILY)
  return builder.finish(800);
}

consteval dispatch build_dispatch() {
  constexpr dispatch built = build_families();
  prove<built.fault>();
  return built;
}

} // namespace vorn::inline VORN_LEVEL
