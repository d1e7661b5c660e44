/* The records of the Arrow C data interface and C stream interface, by which libraries in one process hand each other
 * columns.  A program that has them from elsewhere keeps its own: the guards are those that all of them use. */
#ifndef STORE_ARROW_INTERFACE_H
#define STORE_ARROW_INTERFACE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef ARROW_C_DATA_INTERFACE
  #define ARROW_C_DATA_INTERFACE

  #define ARROW_FLAG_DICTIONARY_ORDERED 1
  #define ARROW_FLAG_NULLABLE           2
  #define ARROW_FLAG_MAP_KEYS_SORTED    4

struct ArrowSchema {
  const char *format;
  const char *name;
  const char *metadata;
  int64_t flags;
  int64_t n_children;
  struct ArrowSchema **children;
  struct ArrowSchema *dictionary;
  void (*release)(struct ArrowSchema *);
  void *private_data;
};

struct ArrowArray {
  int64_t length;
  int64_t null_count; /* -1 where it was not counted */
  int64_t offset;
  int64_t n_buffers;
  int64_t n_children;
  const void **buffers;
  struct ArrowArray **children;
  struct ArrowArray *dictionary;
  void (*release)(struct ArrowArray *);
  void *private_data;
};

#endif

#ifndef ARROW_C_STREAM_INTERFACE
  #define ARROW_C_STREAM_INTERFACE

struct ArrowArrayStream {
  int (*get_schema)(struct ArrowArrayStream *, struct ArrowSchema *out);
  int (*get_next)(struct ArrowArrayStream *, struct ArrowArray *out); /* a released array at the end */
  const char *(*get_last_error)(struct ArrowArrayStream *);
  void (*release)(struct ArrowArrayStream *);
  void *private_data;
};

#endif

#ifdef __cplusplus
}
#endif

#endif
