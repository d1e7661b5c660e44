/** @file
 * The host boundary: the services that the library needs from its process.
 *
 * A host defines every function below. They are the only undefined symbols of libvorn. The specialised libraries have
 * the same undefined symbols and find them in the process when they are loaded. vorn_ctx_env points to a struct
 * host_env. A host may keep its own state after this struct. The function that reports an error may unwind (throw or
 * jump) or return.
 *
 * Variadic values come in pairs: a 32-bit tag, then the value. A 64-bit number is passed as HOST_TAG_INT with its low
 * 32 bits.
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

/** Trace control block. It is active when trace_on is nonzero or bit 0x4 of trace_ctl is set. */
struct host_trace_ctl {
  uint64_t *trace_events; /**< at least four words; may be null */
  uint8_t trace_ctl;      /**< bit 0x4 makes the block active */
  uint32_t trace_on;      /**< nonzero makes the block active */
};

/** Functions of the environment. */
struct host_env_fns {
  void (*host_env_print)(void *env, const char *format, ...); /**< printf-like */
};

/** The environment of a host. The host may add fields after it. */
struct host_env {
  const struct host_env_fns *host_env_fns; /**< the functions */
  void *host_env_error_arg;                /**< second argument of the error reporters */
  struct host_trace_ctl *host_env_trace;   /**< may be null */
};

/** Report an internal error: the message and nvalues values. host_raise_internal_error may unwind.
 * host_soft_internal_error returns. */
VORN_API void host_raise_internal_error(void *env, void *error_arg, const char *message, uint32_t nvalues, ...);
VORN_API void host_soft_internal_error(void *env, void *error_arg, const char *message, uint32_t nvalues, ...);

/*
 * The trace. With a vorn_ctx_trace of 0 the library traces nothing and calls no trace service. Otherwise it asks the
 * host before each of its trace points. All trace points have the component 0x12050004. Their levels are 2 (the
 * kernel), 3 (the call) and 4 (the time of the call). What the library does depends on the control block of the
 * environment:
 *
 *   no control block          Unless vorn_ctx_trace is all ones, the library calls host_trace_eval_flags with a null
 *                             block. If the flags have 0x4, it calls host_trace_write.
 *   an active block           If vorn_ctx_trace is not all ones, the library calls host_trace_eval_flags. If it is all
 *                             ones, the library tests bit 0x10 of trace_events[0] and bit 0x1 of the three words after
 *                             it. If they are set, it calls host_trace_check_event for the event 0x1160001. If the
 *                             event is armed, it calls host_trace_eval_event.
 *                             If the flags have 0x2 or 0x4, the library calls host_trace_record. If the flags have bit
 *                             62 too, it calls host_trace_record only when host_trace_eval_filters returns nonzero.
 *   a block that is not       Nothing.
 *   active
 *
 * The library passes 0x400 as flags, and the host adds its own flags. A call is timed when, at its start, a control
 * block lets level 4 through. vorn_ctx_call_counts and vorn_ctx_rates are kept only for timed calls.
 */

/** Return the trace flags of a level: for the control word of the context, and for the word of an armed event. */
VORN_API uint64_t host_trace_eval_flags(struct host_trace_ctl *ctl, uint32_t component, uint32_t level, uint64_t flags,
                                        uint64_t trace_word);
VORN_API uint64_t host_trace_eval_event(struct host_trace_ctl *ctl, uint32_t component, uint32_t level, uint64_t flags,
                                        uint64_t word);
/** Returns nonzero when the event is armed, and then fills *word. */
VORN_API uint32_t host_trace_check_event(struct host_trace_ctl *ctl, const uint64_t *events, uint32_t event,
                                         uint32_t component, uint64_t *word, const char *entry, const char *file,
                                         uint32_t line, uint32_t zero);
/** Returns nonzero to let a record through. */
VORN_API uint32_t host_trace_eval_filters(struct host_trace_ctl *ctl, void *env, uint32_t component, uint32_t zero,
                                          uint32_t level, uint64_t flags, uint32_t one, const char *entry,
                                          const char *file, uint32_t line);
/** Writes a structured record. text is the source location, a byte 0x01 and a printf-like format. The text is static.
 */
VORN_API void host_trace_record(struct host_trace_ctl *ctl, uint32_t component, uint32_t zero, uint64_t flags,
                                const char *entry, uint32_t one, const char *text, uint32_t nvalues, ...);
/** Writes a line. The library calls it when there is no control block. */
VORN_API void host_trace_write(void *env, const char *format, uint32_t nvalues, ...);

/** Returns the time in microseconds. */
VORN_API uint64_t host_clock_time64(void);

/**
 * Says whether the processor has a capability. Returns 0 and fills the answer, which has at least 12 bytes. When the
 * capability is present, the 32-bit word at byte 0 is 0 and the 32-bit word at byte 8 is 1. A code stands for
 * everything that a library uses: the instructions of its line and of the lines above, and an operating system that
 * saves the registers (OSXSAVE, and the bits of XCR0):
 *
 *   258  svxlsse4219    SSE3, SSSE3, SSE4.1, SSE4.2, POPCNT, CMPXCHG16B, LAHF
 *   259  svxlavx19      AVX; XCR0 bits 1 and 2
 *   267  svxlavx219     AVX2, BMI1, BMI2, F16C, FMA, LZCNT, MOVBE
 *   269  svxlavx51219   AVX-512 F, BW, CD, DQ, VL; XCR0 bits 5, 6 and 7
 */
VORN_API uint32_t cpucap_query(uint32_t code, void *answer);

/** Loads a library by its load name. Returns nonzero on success and stores a handle. */
VORN_API uint32_t svorn_dlopen(vorn_ctx *ctx, const char *name, void **handle);

/** Returns the address of a symbol of a loaded library, or null. */
VORN_API void *svorn_dlsym(vorn_ctx *ctx, void *handle, const char *symbol);

/** Returns scratch memory of size bytes and padding more bytes after them. The address is a multiple of align. *token
 * is for the use of the host. */
VORN_API void *vornu_stack_alloc_align(void *env, uint64_t size, const char *name, uint64_t align, uint64_t padding,
                                       void **token);

/** Frees scratch memory. token is the value that the allocation stored. */
VORN_API void vornu_stack_free_align(void *env, void *memory, void *token);

/** Returns nonzero when the first nrows bits of two bit vectors are equal. */
VORN_API uint32_t vornt_compare_res(uint32_t zero, const uint64_t *a, const uint64_t *b, uint32_t nrows);

/** Decompresses a block-compressed stream into exactly outsize bytes. Returns 0 on success. On failure it writes
 * nothing outside the buffer. */
VORN_API uint32_t qpak_decode(void *env, void *heap, const void *in, void *out, uint32_t *outlen, uint32_t outsize,
                              uint64_t a, uint64_t b, uint64_t c);

#ifdef __cplusplus
}
#endif

#endif /* VORN_HOST_H */
