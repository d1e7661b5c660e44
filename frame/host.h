/** @file
 * The host boundary: what the library needs from the process that it lives in.
 *
 * A host defines every function below; libvorn has them as its only undefined symbols, and so have the specialised
 * libraries, which resolve them in the process at load.  vorn_ctx_env points at a struct host_env; a host may keep
 * state of its own behind it.  An error reporter may unwind (throw or jump) or return.
 *
 * Variadic values come in pairs: a 32-bit tag, then the value.  A 64-bit number goes as HOST_TAG_INT with its low half.
 */
#ifndef VORN_HOST_H
#define VORN_HOST_H

#include "vorn.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Tags of variadic values. */
enum {
  HOST_TAG_INT = 0x13,     /**< int32_t */
  HOST_TAG_DOUBLE = 0x15,  /**< double */
  HOST_TAG_POINTER = 0x16, /**< const void * */
  HOST_TAG_TEXT = 0x18     /**< const char * */
};

/** Trace control block.  Active when trace_on is nonzero or bit 0x4 of trace_ctl is set. */
struct host_trace_ctl {
  uint64_t *trace_events; /**< at least four words; may be null */
  uint8_t trace_ctl;      /**< the bit 0x4 */
  uint32_t trace_on;      /**< on where nonzero */
};

/** Functions of the environment. */
struct host_env_fns {
  void (*host_env_print)(void *env, const char *format, ...); /**< printf-like */
};

/** The environment of a host, in front of what it adds. */
struct host_env {
  const struct host_env_fns *host_env_fns; /**< the functions */
  void *host_env_error_arg;                /**< second argument of the error reporters */
  struct host_trace_ctl *host_env_trace;   /**< may be null */
};

/** Report an internal error.  The first may unwind; the second returns. */
VORN_API void host_raise_internal_error(void *env, void *error_arg, const char *message, uint32_t nvalues, ...);
VORN_API void host_soft_internal_error(void *env, void *error_arg, const char *message, uint32_t nvalues, ...);

/*
 * The trace.  A context with a vorn_ctx_trace of 0 traces nothing and asks nothing.  With another one the library asks
 * before each of its trace points, which are of the component 0x12050004 and of level 2, the kernel, 3, the call, or 4,
 * its time:
 *
 *   without a control block   host_trace_eval_flags, with a null block, unless vorn_ctx_trace is all ones.  0x4 in its
 *                             flags: host_trace_write.
 *   with an active one        host_trace_eval_flags.  Where vorn_ctx_trace is all ones, instead: if bit 0x10 of
 *                             trace_events[0] and bit 0x1 of the three words after it are set, host_trace_check_event
 *                             for the event 0x1160001, and if that is armed, host_trace_eval_event.  0x2 or 0x4 in the
 *                             flags: host_trace_record, but with bit 62 only if host_trace_eval_filters agrees.
 *   with one not active       nothing.
 *
 * The flags are given as 0x400, to which a host adds its own.  A call is timed, which is what vorn_ctx_call_counts and
 * vorn_ctx_rates need too, when at its start a control block lets level 4 through.
 */

/** The trace flags of a level, for a control word of the context and for an armed event. */
VORN_API uint64_t host_trace_eval_flags(struct host_trace_ctl *ctl, uint32_t component, uint32_t level, uint64_t flags,
                                        uint64_t trace_word);
VORN_API uint64_t host_trace_eval_event(struct host_trace_ctl *ctl, uint32_t component, uint32_t level, uint64_t flags,
                                        uint64_t word);
/** Nonzero when the event is armed; fills the word. */
VORN_API uint32_t host_trace_check_event(struct host_trace_ctl *ctl, const uint64_t *events, uint32_t event,
                                         uint32_t component, uint64_t *word, const char *entry, const char *file,
                                         uint32_t line, uint32_t zero);
/** Nonzero to let a record through. */
VORN_API uint32_t host_trace_eval_filters(struct host_trace_ctl *ctl, void *env, uint32_t component, uint32_t zero,
                                          uint32_t level, uint64_t flags, uint32_t one, const char *entry,
                                          const char *file, uint32_t line);
/** Writes a structured record; text is the source location, a byte 0x01 and a printf-like format. */
VORN_API void host_trace_record(struct host_trace_ctl *ctl, uint32_t component, uint32_t zero, uint64_t flags,
                                const char *entry, uint32_t one, const char *text, uint32_t nvalues, ...);
/** Writes a line when there is no control block. */
VORN_API void host_trace_write(void *env, const char *format, uint32_t nvalues, ...);

/** Microseconds. */
VORN_API uint64_t host_clock_time64(void);

/**
 * Capability of the processor.  Returns 0 and fills the answer, at least 12 bytes: the 32-bit word at byte 0 is 0 and
 * the one at byte 8 is 1 when the capability is present.  Each code vouches for all that a library uses, those of the
 * lines above it included, and for an operating system that saves the registers (OSXSAVE, and the bits of XCR0):
 *
 *   258  svxlsse4219    SSE3, SSSE3, SSE4.1, SSE4.2, POPCNT, CMPXCHG16B, LAHF
 *   259  svxlavx19      AVX; XCR0 bits 1 and 2
 *   267  svxlavx219     AVX2, BMI1, BMI2, F16C, FMA, LZCNT, MOVBE
 *   269  svxlavx51219   AVX-512 F, BW, CD, DQ, VL; XCR0 bits 5, 6 and 7
 */
VORN_API uint32_t cpucap_query(uint32_t code, void *answer);

/** Nonzero on success, with a handle; the address of a symbol or null. */
VORN_API uint32_t svorn_dlopen(vorn_ctx *ctx, const char *name, void **handle);
VORN_API void *svorn_dlsym(vorn_ctx *ctx, void *handle, const char *symbol);

/** Scratch memory of `size` bytes and `padding` more behind them, at an address that is a multiple of `align`. */
VORN_API void *vornu_stack_alloc_align(void *env, uint64_t size, const char *name, uint64_t align, uint64_t padding,
                                       void **token);
VORN_API void vornu_stack_free_align(void *env, void *memory, void *token);

/** Nonzero when the first nrows bits of two bit vectors are equal. */
VORN_API uint32_t vornt_compare_res(uint32_t zero, const uint64_t *a, const uint64_t *b, uint32_t nrows);

/** Decodes a block-compressed stream into exactly outsize bytes.  0 on success; on failure nothing outside the buffer
 * is written. */
VORN_API uint32_t qpak_decode(void *env, void *heap, const void *in, void *out, uint32_t *outlen, uint32_t outsize,
                              uint64_t a, uint64_t b, uint64_t c);

#ifdef __cplusplus
}
#endif

#endif /* VORN_HOST_H */
