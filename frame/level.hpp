// The instruction-set level that a source is compiled for.  The build names it: the kernels are compiled once for every
// level, and one library may hold several.  Whatever a level may instantiate or inline lies in vorn::VORN_LEVEL, so
// that the linker cannot merge it with another level's.
#pragma once

#ifndef VORN_LEVEL
  #error "VORN_LEVEL is generic, sse42, avx, avx2, avx512 or vbmi"
#endif

// The scope of named kernels.  Those of the generic level have the plain names of the C language, for debuggers,
// profilers and hosts; the others lie in the namespace of their level.
#define VORN_SCOPE_generic    extern "C" {
#define VORN_SCOPE_sse42      namespace vorn::inline sse42 {
#define VORN_SCOPE_avx        namespace vorn::inline avx {
#define VORN_SCOPE_avx2       namespace vorn::inline avx2 {
#define VORN_SCOPE_avx512     namespace vorn::inline avx512 {
#define VORN_SCOPE_vbmi       namespace vorn::inline vbmi {
#define VORN_SCOPE_OF_(level) VORN_SCOPE_##level
#define VORN_SCOPE_OF(level)  VORN_SCOPE_OF_(level)
#define VORN_KERNELS_BEGIN    VORN_SCOPE_OF(VORN_LEVEL)
#define VORN_KERNELS_END      }
