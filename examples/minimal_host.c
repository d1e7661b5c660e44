/* The services that the library asks of its host, each as short as it can honestly be. */
#define _POSIX_C_SOURCE 200809L

#include "minimal_host.h"

#include <dlfcn.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>
#ifdef __x86_64__
  #include <cpuid.h>
#endif

/* A program may bring a service of its own in place of one that bears this. */
#define REPLACEABLE __attribute__((weak))

/* The environment: where the library finds the print function, the argument of the error reporters and the trace. */

static void print(void *env, const char *format, ...) {
  (void) env;
  va_list values;
  va_start(values, format);
  vprintf(format, values);
  va_end(values);
}

static const struct host_env_fns functions = {print};
static struct host_env environment = {&functions, NULL, NULL}; /* no trace control: nothing is ever traced */

/* Errors.  A call that the library reports was wrong from the start, so this host ends; another may unwind. */

static void print_error(const char *message, uint32_t nvalues, va_list values) {
  fprintf(stderr, "%s", message);
  for (uint32_t i = 0; i < nvalues; ++i)
    switch (va_arg(values, uint32_t)) {
    case HOST_TAG_INT:
      fprintf(stderr, " %d", va_arg(values, int));
      break;
    case HOST_TAG_DOUBLE:
      fprintf(stderr, " %g", va_arg(values, double));
      break;
    case HOST_TAG_POINTER:
      fprintf(stderr, " %p", va_arg(values, void *));
      break;
    case HOST_TAG_TEXT:
      fprintf(stderr, " %s", va_arg(values, const char *));
      break;
    default: /* of unknown width, so the values end here */
      i = nvalues - 1;
      break;
    }
  fputc('\n', stderr);
}

REPLACEABLE void host_raise_internal_error(void *env, void *error_arg, const char *message, uint32_t nvalues, ...) {
  (void) env, (void) error_arg;
  va_list values;
  va_start(values, nvalues);
  print_error(message, nvalues, values);
  va_end(values);
  exit(EXIT_FAILURE);
}

void host_soft_internal_error(void *env, void *error_arg, const char *message, uint32_t nvalues, ...) {
  (void) env, (void) error_arg;
  va_list values;
  va_start(values, nvalues);
  print_error(message, nvalues, values);
  va_end(values);
}

/* Processor and libraries. */

/* SPECIALIZED_DIR is given to the compiler: the folder that the package names. */
static const char *file_of(const char *library) {
  static char path[4096];
  return snprintf(path, sizeof path, "%s/%s.so", SPECIALIZED_DIR, library) < (int) sizeof path ? path : "";
}

#ifdef __x86_64__

/* What the specialised libraries use, the least first: bits of CPUID, and registers that the operating system has to
 * save. Each level needs those before it too. */
struct level {
  uint32_t code;
  const char *library;
  uint32_t leaf1_ecx, leaf7_ebx, extended_ecx, xcr0;
};

static const struct level levels[] = {
    {258, "svxlsse4219", bit_SSE3 | bit_SSSE3 | bit_SSE4_1 | bit_SSE4_2 | bit_POPCNT | bit_CMPXCHG16B, 0, bit_LAHF_LM,
     0},
    {259, "svxlavx19", bit_OSXSAVE | bit_AVX, 0, 0, 0x06},
    {267, "svxlavx219", bit_FMA | bit_MOVBE | bit_F16C, bit_AVX2 | bit_BMI | bit_BMI2, bit_LZCNT, 0x06},
    {269, "svxlavx51219", 0, bit_AVX512F | bit_AVX512DQ | bit_AVX512CD | bit_AVX512BW | bit_AVX512VL, 0, 0xe6},
};

static struct level processor(void) {
  struct level here = {0};
  uint32_t eax, ebx, ecx, edx;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx))
    here.leaf1_ecx = ecx;
  if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx))
    here.leaf7_ebx = ebx;
  if (__get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx))
    here.extended_ecx = ecx;
  if (here.leaf1_ecx & bit_OSXSAVE)
    __asm__("xgetbv" : "=a"(here.xcr0), "=d"(edx) : "c"(0));
  return here;
}

static int has(const struct level *here, const struct level *needs) {
  return (needs->leaf1_ecx & ~here->leaf1_ecx) == 0 && (needs->leaf7_ebx & ~here->leaf7_ebx) == 0 &&
         (needs->extended_ecx & ~here->extended_ecx) == 0 && (needs->xcr0 & ~here->xcr0) == 0;
}

/* The library loads the best level that is confirmed and fails without its file, so a level without a file is denied.
 * The next level is then loaded. */
static int is_there(const char *library) {
  static int said;
  if (access(file_of(library), R_OK) == 0)
    return 1;
  if (!said++)
    fprintf(stderr, "%s is missing, so this level is not used\n", file_of(library));
  return 0;
}

uint32_t cpucap_query(uint32_t code, void *answer) {
  const struct level here = processor();
  uint32_t words[3] = {0};
  for (const struct level *level = levels; level != levels + sizeof levels / sizeof *levels && has(&here, level);
       ++level)
    words[2] |= level->code == code && is_there(level->library);
  memcpy(answer, words, sizeof words);
  return 0;
}

#else /* other processors have the generic kernels alone */

uint32_t cpucap_query(uint32_t code, void *answer) {
  (void) code;
  memset(answer, 0, 3 * sizeof(uint32_t));
  return 0;
}

#endif

uint32_t svorn_dlopen(vorn_ctx *ctx, const char *name, void **handle) {
  (void) ctx;
  *handle = dlopen(file_of(name), RTLD_NOW | RTLD_LOCAL);
  return *handle != NULL;
}

void *svorn_dlsym(vorn_ctx *ctx, void *handle, const char *symbol) {
  (void) ctx;
  return dlsym(handle, symbol);
}

/* Memory. */

static void *allocate(uint64_t size, uint64_t align, uint64_t padding) {
  void *memory = NULL;
  if (posix_memalign(&memory, align < sizeof memory ? sizeof memory : align, size + padding) != 0) {
    fputs("out of memory\n", stderr);
    exit(EXIT_FAILURE);
  }
  return memory;
}

/* A decompressed stream lives as long as its column does; this host keeps it to the end of the process. */
static void *allocate_stream(void *env, void *heap, uint64_t size, const char *name, uint32_t align_hint,
                             uint32_t pad_hint, uint64_t tag) {
  (void) env, (void) heap, (void) name, (void) tag;
  return allocate(size, align_hint, pad_hint);
}

void *vornu_stack_alloc_align(void *env, uint64_t size, const char *name, uint64_t align, uint64_t padding,
                              void **token) {
  (void) env, (void) name;
  *token = NULL;
  return allocate(size, align, padding);
}

void vornu_stack_free_align(void *env, void *memory, void *token) {
  (void) env, (void) token;
  free(memory);
}

/* Compressed streams: this host stores none, so a stream to decode is a fault. */
REPLACEABLE uint32_t qpak_decode(void *env, void *heap, const void *in, void *out, uint32_t *outlen, uint32_t outsize,
                                 uint64_t a, uint64_t b, uint64_t c) {
  (void) env, (void) heap, (void) in, (void) out, (void) outlen, (void) outsize, (void) a, (void) b, (void) c;
  return 1;
}

/* Time, and the comparison of the self-check. */

uint64_t host_clock_time64(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (uint64_t) now.tv_sec * 1000000 + (uint64_t) now.tv_nsec / 1000;
}

uint32_t vornt_compare_res(uint32_t zero, const uint64_t *a, const uint64_t *b, uint32_t nrows) {
  (void) zero;
  const uint32_t whole = nrows / 64;
  if (memcmp(a, b, whole * sizeof *a) != 0)
    return 0;
  return nrows % 64 == 0 || (a[whole] ^ b[whole]) << (64 - nrows % 64) == 0;
}

/* The trace.  This host has no use for it: no level is ever on, and nothing passes. */

uint64_t host_trace_eval_flags(struct host_trace_ctl *ctl, uint32_t component, uint32_t level, uint64_t flags,
                               uint64_t trace_word) {
  (void) ctl, (void) component, (void) level, (void) trace_word;
  return flags;
}

uint64_t host_trace_eval_event(struct host_trace_ctl *ctl, uint32_t component, uint32_t level, uint64_t flags,
                               uint64_t word) {
  (void) ctl, (void) component, (void) level, (void) word;
  return flags;
}

uint32_t host_trace_check_event(struct host_trace_ctl *ctl, const uint64_t *events, uint32_t event, uint32_t component,
                                uint64_t *word, const char *entry, const char *file, uint32_t line, uint32_t zero) {
  (void) ctl, (void) events, (void) event, (void) component, (void) word;
  (void) entry, (void) file, (void) line, (void) zero;
  return 0;
}

uint32_t host_trace_eval_filters(struct host_trace_ctl *ctl, void *env, uint32_t component, uint32_t zero,
                                 uint32_t level, uint64_t flags, uint32_t one, const char *entry, const char *file,
                                 uint32_t line) {
  (void) ctl, (void) env, (void) component, (void) zero, (void) level, (void) flags, (void) one;
  (void) entry, (void) file, (void) line;
  return 0;
}

void host_trace_record(struct host_trace_ctl *ctl, uint32_t component, uint32_t zero, uint64_t flags, const char *entry,
                       uint32_t one, const char *text, uint32_t nvalues, ...) {
  (void) ctl, (void) component, (void) zero, (void) flags, (void) entry, (void) one, (void) text, (void) nvalues;
}

void host_trace_write(void *env, const char *format, uint32_t nvalues, ...) {
  (void) env, (void) format, (void) nvalues;
}

vorn_ctx minimal_host_context(void) {
  vorn_ctx ctx = {0};
  ctx.vorn_ctx_env = &environment;
  ctx.vorn_ctx_alloc = allocate_stream;
  ctx.vorn_ctx_stack_alloc = vornu_stack_alloc_align;
  ctx.vorn_ctx_stack_free = vornu_stack_free_align;
  return ctx;
}

vorn_ctx minimal_host_start(int argc, char **argv) {
  vorn_ctx ctx = minimal_host_context();
  if (argc > 1 && strcmp(argv[1], "specialized") == 0)
    ctx.vorn_ctx_init_flags = VORN_INIT_SPECIALIZED;
  vorn_nfy(VORN_NFY_LOAD, &ctx);
  printf("kernels: %s\n", vorn_global_ctx.vorn_global_ctx_lib_name);
  return ctx;
}
