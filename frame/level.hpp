// The instruction-set level that a source is compiled for.  The build names it: the kernels are compiled once for every
// level, and one library may hold several.  Everything that a level may instantiate or inline is in
// vorn::VORN_LEVEL, so the linker cannot merge it with code of another level.
#pragma once

#ifndef VORN_LEVEL
  #error "VORN_LEVEL is generic, sse42, avx, avx2, avx512 or vbmi"
#endif

// The scope of named kernels.  Generic kernels have plain C names, for debuggers, profilers and hosts.  Kernels of
// other levels are in the namespace of their level.
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

// A level may have kernels of some families only.  Its record then has the other kernels of VORN_BASE_LEVEL, another
// level of the same library.
#ifdef VORN_BASE_LEVEL
  #define VORN_BASE_KERNELS_BEGIN VORN_SCOPE_OF(VORN_BASE_LEVEL)
#else
  #define VORN_BASE_KERNELS_BEGIN VORN_KERNELS_BEGIN
#endif
