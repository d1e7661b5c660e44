/** @file
 * Encoders for hosts: functions that write the stored forms of vorn.
 *
 * The group "forms" of vorn.h defines the bytes of each form. A host calls these functions to store its columns in the
 * forms, and to give its joins sizes. The library libvornencode allocates nothing, keeps no state, calls nothing of the
 * host and needs only the C library. It does not need libvorn either. The builders at the end of this header are inline
 * functions; they call the builders of libvorn.
 *
 * A column of codes, from plain numbers to a vector that a predicate reads:
 *
 * @code{.c}
 * #include <vorn/encode.h>
 * #include <stdlib.h>
 *
 * uint32_t first_column(vorn_cv *cv, vorn_enc_ctx *enc, const uint32_t *codes, uint32_t nrows, uint32_t ncodes) {
 *   vornenc_column column = {.form = VORNENC_CODES, .width = vornenc_code_width(ncodes), .nrows = nrows};
 *   const size_t bytes = vornenc_codes_bytes(nrows, column.width);
 *   void *stream = malloc(bytes); // the host frees it after the last call on cv
 *   column.vals = stream;
 *   if (vornenc_pack_codes(stream, bytes, codes, nrows, column.width) != VORNENC_DONE)
 *     return 0;
 *   return vornenc_build_column(cv, enc, &column) == VORNENC_DONE;
 * }
 * @endcode
 *
 * Contents, in this order:
 *
 *     encode_conventions     rules that are valid for every function
 *     encode_results         result codes
 *     encode_codes           packed codes
 *     encode_runs            runs of equal codes
 *     encode_values          fixed and dynamic-packed values, length codes
 *     encode_prefix          prefix groups
 *     encode_dictionary      codes of texts, and the symbols of a dictionary
 *     encode_numbers         canonical numbers, and keys that sort like numbers
 *     encode_joins           the hash function, sizes of hash tables, bloom maps
 *     encode_translate       translate tables
 *     encode_builders        vectors, constants and tables in one call each
 */

/**
 * @defgroup encode_conventions Conventions of the encoders
 *
 *  1. Memory. Every buffer belongs to the caller. A function reads its inputs and writes its outputs, and keeps no
 *     address. Inputs and outputs do not overlap. Any number of threads may call at once.
 *  2. Outputs. An output is an address and its room in bytes, for example out and out_bytes. The room may be larger
 *     than needed; bytes after the output are not written. An output may begin at any address unless its type has an
 *     alignment. The kernels want streams at a multiple of vorn_global_ctx.VORN_DATASTREAM_ALIGN.
 *  3. Sizes. A function whose name ends with _bytes returns the room that an output needs. It returns 0 for arguments
 *     that its encoder refuses. For streams of codes and values the size includes VORNENC_SLACK bytes. The encoder
 *     clears these bytes. A host that saves or compresses a stream leaves them out. They must be there again when a
 *     kernel reads the stream.
 *  4. Byte order. Inputs are in the processor's order. Outputs have the byte order that vorn.h says; a comment names it
 *     where the type of the output does not.
 *  5. Results. A function that can fail returns one of the VORNENC results. After a result other than VORNENC_DONE
 *     nothing was written.
 *  6. No rows. Every function takes 0 rows. Addresses of empty inputs may be null.
 *  7. Names. n counts elements, nrows counts rows. width is in bits, bytes in bytes.
 */
#ifndef VORN_ENCODE_H
#define VORN_ENCODE_H

#include "vorn.h"

#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup encode_results Results of the encoders
 *  @{ */

enum {
  VORNENC_DONE = 0,          /**< done */
  VORNENC_NO_ROOM = 1,       /**< an output is smaller than its size function or its comment says */
  VORNENC_TOO_WIDE = 2,      /**< a number does not fit its width, or a length its limit */
  VORNENC_BAD_WIDTH = 3,     /**< the form does not have this width, kind or layout */
  VORNENC_TOO_MANY = 4,      /**< more rows, symbols, keys or bytes than the form can hold */
  VORNENC_NOT_ONE_LENGTH = 5 /**< a dictionary of one length has symbols of different lengths */
};

/** Bytes that are readable after a stream of codes or values. This is more than any kernel of today reads. */
enum { VORNENC_SLACK = 16 };

/** Returns a static text for a result, or null for another number. */
VORN_API const char *vornenc_result_text(uint32_t result);

/** @} */

/** @defgroup encode_codes Packed codes
 *  @{ */

/** Returns the smallest width that has kernels and holds the codes 0 to ncodes - 1: 1 to 20, 24 or 32. Returns 0 when
 * ncodes is above 2^32. */
VORN_API uint32_t vornenc_code_width(uint64_t ncodes);

/** Returns the room of vornenc_pack_codes, with slack. width is 1 to 32. A stream holds fewer than 2^32 bits. */
VORN_API size_t vornenc_codes_bytes(uint32_t nrows, uint32_t width);

/**
 * Packs codes of a width of 1 to 32 bits. Code i takes the bits i * width to i * width + width - 1 of out. Bit 0 is the
 * most significant bit of byte 0. The unused bits of the last byte are 0.
 *
 * Widths other than the widths of vornenc_code_width have no kernel, except for vorn_hash. A stream of 32-bit codes is
 * an array of big-endian numbers. vorn_xlate takes its keys in this form.
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH, VORNENC_TOO_MANY for 2^32 bits or more, VORNENC_NO_ROOM, VORNENC_TOO_WIDE.
 */
VORN_API uint32_t vornenc_pack_codes(void *out, size_t out_bytes, const uint32_t *codes, uint32_t nrows,
                                     uint32_t width);

/** @} */

/**
 * @defgroup encode_runs Runs
 *
 * Rows come as n codes. With counts, code i stands for counts[i] rows; without counts (null), for one row. Neighbours
 * with equal codes are one run. A run that is longer than its length can say is stored as several runs.
 *
 * @code{.c}
 * uint32_t nruns = (uint32_t) vornenc_count_runs(codes, NULL, nrows, 65535);
 * vornenc_split_runs(run_codes, run_lens, run_cla, nruns, codes, NULL, nrows, 16);
 * vornenc_pack_codes(stream, vornenc_codes_bytes(nruns, 12), run_codes, nruns, 12);
 * @endcode
 *  @{ */

/** Returns the number of runs of at most longest rows each: 255 for lengths of 8 bits, 65535 for lengths of 16 bits.
 * longest is not 0. */
VORN_API uint64_t vornenc_count_runs(const uint32_t *codes, const uint64_t *counts, uint64_t n, uint32_t longest);

/**
 * Splits rows into runs.
 *
 * Operands:
 *   - nruns: at least the number that vornenc_count_runs returns.
 *   - length_bits: 8 or 16.
 *
 * Writes: nruns is the room of three arrays.
 *   - run_codes: a code per run, in the processor's order, for vornenc_pack_codes.
 *   - lens: a length per run, 8 bits, or 16 bits and big-endian.
 *   - cla: null, or room for nruns + 1 numbers: the CLA of the lengths, big-endian.
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH for other length_bits, VORNENC_TOO_MANY for 2^32 rows or more,
 * VORNENC_NO_ROOM.
 */
VORN_API uint32_t vornenc_split_runs(uint32_t *run_codes, void *lens, uint32_t *cla, uint32_t nruns,
                                     const uint32_t *codes, const uint64_t *counts, uint32_t n, uint32_t length_bits);

/** @} */

/**
 * @defgroup encode_values Fixed and dynamic-packed values
 *
 * Values are unsigned numbers. vornenc_key_of_int64 and the other functions of the group encode_numbers make unsigned
 * numbers that sort like signed numbers, reals and texts. A host that subtracts the smallest value of a column from all
 * of them needs a smaller width.
 *
 * lengths has a number of bytes for each value. Fixed values need them only with VORN_TZ.
 *  @{ */

/** Returns the room of vornenc_pack_fixed, with slack. width is a multiple of 8 up to 64. */
VORN_API size_t vornenc_fixed_bytes(uint32_t nrows, uint32_t width);

/**
 * Writes width / 8 bytes for each value, most significant byte first.
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH, VORNENC_NO_ROOM, VORNENC_TOO_WIDE.
 */
VORN_API uint32_t vornenc_pack_fixed(void *out, size_t out_bytes, const uint64_t *values, uint32_t nrows,
                                     uint32_t width);

/** Returns the room of packed length codes: 1, 2 or 4 bits a row for widths up to 16, 32 and 64. width is as for
 * vornenc_pack_lens. */
VORN_API size_t vornenc_lens_bytes(uint32_t nrows, uint32_t width);

/**
 * Packs length codes. The length code of a row is lengths[row] - 1. vornenc_pack_dynp writes length codes too; this
 * function is for fixed values with VORN_TZ.
 *
 * Operands:
 *   - width: of the values, a multiple of 8 from 16 to 64.
 *   - lengths: from 1 to 2, 4 or 8 for widths up to 16, 32 and 64.
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH, VORNENC_NO_ROOM, VORNENC_TOO_WIDE for another length.
 */
VORN_API uint32_t vornenc_pack_lens(void *lens, size_t lens_bytes, const uint8_t *lengths, uint32_t nrows,
                                    uint32_t width);

/** Returns the room of the values of vornenc_pack_dynp, with slack. It reads the values, or the lengths if there are
 * any. */
VORN_API size_t vornenc_dynp_bytes(const uint64_t *values, const uint8_t *lengths, uint32_t nrows, uint32_t width);

/**
 * Writes dynamic-packed values and their length codes.
 *
 * Operands:
 *   - width: the class, 16, 32 or 64.
 *   - lengths: null, or the number of bytes to store of each value, its most significant bytes. Zero bytes may follow
 *     the stored bytes, others not. Without lengths each value loses all trailing zero bytes; the value 0 keeps one.
 *
 * Writes: the values to out, and to lens the length codes, of vornenc_lens_bytes(nrows, width) bytes.
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH, VORNENC_TOO_MANY for 2^32 bytes or more, VORNENC_NO_ROOM, VORNENC_TOO_WIDE
 * for a value or a length.
 */
VORN_API uint32_t vornenc_pack_dynp(void *out, size_t out_bytes, void *lens, size_t lens_bytes, const uint64_t *values,
                                    const uint8_t *lengths, uint32_t nrows, uint32_t width);

/** @} */

/** @defgroup encode_prefix Prefix groups
 *  @{ */

/** Values of a group. */
enum { VORNENC_PREFIX_GROUP = 16 };

/** Returns the room of vornenc_pack_prefix, with slack. It reads the values. */
VORN_API size_t vornenc_prefix_bytes(const void *values, uint32_t value_bytes, uint32_t nrows);

/**
 * Writes prefix groups. The prefix of a group is as long as possible.
 *
 * Operands: values has nrows values of value_bytes bytes, one after another. value_bytes is 1 to 8.
 *
 * Writes: the records to out, and to offsets the big-endian offset of each record. The room of offsets is offsets_bytes
 * for (nrows + 15) / 16 numbers.
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH, VORNENC_TOO_MANY for 2^32 bytes or more, VORNENC_NO_ROOM.
 */
VORN_API uint32_t vornenc_pack_prefix(void *out, size_t out_bytes, uint32_t *offsets, size_t offsets_bytes,
                                      const void *values, uint32_t value_bytes, uint32_t nrows);

/** @} */

/** @defgroup encode_dictionary Dictionaries
 *  @{ */

/** A text: bytes of any kind. */
typedef struct vornenc_text {
  const void *bytes; /**< null: the text is NULL and has the length 0 */
  uint32_t length;   /**< below 2^16 */
} vornenc_text;

/** A dictionary as vornenc_pack_symbols writes it. Its encoding contexts point into this record. */
typedef struct vornenc_dictionary {
  const void *syms;    /**< symbols, one after another */
  const uint32_t *cla; /**< big-endian CLA of the symbols; null: all symbols have one length */
  uint32_t nsyms;      /**< number of symbols */
  uint16_t one_length; /**< without cla: bytes of a symbol, big-endian */
} vornenc_dictionary;

/**
 * Gives each row the code of its text. Texts are compared byte by byte, a shorter text before a longer text that it
 * begins. Codes ascend like the texts. If there are NULL texts, they have code 0 and the smallest text has code 1.
 *
 * Writes: a code per row to codes; to row_of_code, for each code, the first row that has it; to *ncodes the number of
 * codes. codes and row_of_code have room for nrows numbers.
 *
 * Returns: VORNENC_DONE, or VORNENC_TOO_WIDE for a text of 2^16 bytes or more, or for a NULL text with a length.
 */
VORN_API uint32_t vornenc_assign_codes(uint32_t *codes, uint32_t *row_of_code, uint32_t *ncodes,
                                       const vornenc_text *rows, uint32_t nrows);

/** Returns the number of bytes of the symbols of vornenc_pack_symbols. There is no slack. */
VORN_API size_t vornenc_symbols_bytes(const vornenc_text *texts, const uint32_t *text_of_code, uint32_t nsyms);

/**
 * Writes the symbols of a dictionary. The symbol of code c is texts[text_of_code[c]]; row_of_code of
 * vornenc_assign_codes serves as text_of_code. When text_of_code is null, it is texts[c].
 *
 * Operands: cla is null for VORN_DICT_ONE_LENGTH, or has room for nsyms + 1 numbers for VORN_DICT_CLA. A symbol of
 * length 0 decodes to NULL.
 *
 * Writes: the symbols to syms, the big-endian CLA to cla, and all fields of *dictionary.
 *
 * Returns: VORNENC_DONE, VORNENC_TOO_WIDE for a symbol of 2^16 bytes or more, VORNENC_TOO_MANY for 2^32 bytes or more,
 * VORNENC_NOT_ONE_LENGTH, VORNENC_NO_ROOM.
 */
VORN_API uint32_t vornenc_pack_symbols(vornenc_dictionary *dictionary, void *syms, size_t syms_bytes, uint32_t *cla,
                                       size_t cla_bytes, const vornenc_text *texts, const uint32_t *text_of_code,
                                       uint32_t nsyms);

/** @} */

/**
 * @defgroup encode_numbers Numbers
 *
 * Sums, arithmetic and conversion read canonical numbers. A canonical number is a key of the same number, most
 * significant byte first. Predicates compare canonical numbers as fixed values. The key of -0.0 is below the key of
 * 0.0; a host for which they are equal adds 0.0 to its numbers first. The keys of NaN are below or above all others.
 *  @{ */

/**
 * Writes numbers in the form of vorn_enc_ctx_num_type, without VORN_NATIVE. The room is vornenc_fixed_bytes(n, width).
 *
 *     VORN_NUM_FLOAT     numbers are float, the width is 32
 *     VORN_NUM_DOUBLE    numbers are double, the width is 64
 *     VORN_NUM_DSB       numbers are int64_t, the width is 8, 16, 32 or 64
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH for another width or type, VORNENC_NO_ROOM, VORNENC_TOO_WIDE.
 */
VORN_API uint32_t vornenc_pack_numbers(void *out, size_t out_bytes, const void *numbers, uint32_t n, uint32_t num_type,
                                       uint32_t width);

/** Reads numbers that vornenc_pack_numbers wrote. numbers_bytes is the room for n elements of the type above. Returns
 * VORNENC_DONE, VORNENC_BAD_WIDTH or VORNENC_NO_ROOM. */
VORN_API uint32_t vornenc_unpack_numbers(void *numbers, size_t numbers_bytes, const void *stream, uint32_t n,
                                         uint32_t num_type, uint32_t width);

/** Returns the key of a signed number of a width of 1 to 64 bits: the number with its sign bit inverted. The keys of a
 * width sort like the numbers. A number that does not fit gives a key that does not fit the width. */
static inline uint64_t vornenc_key_of_int64(int64_t number, uint32_t width) {
  return (uint64_t) number + (UINT64_C(1) << (width - 1));
}
/** The number of a key. */
static inline int64_t vornenc_int64_of_key(uint64_t key, uint32_t width) {
  return (int64_t) (key - (UINT64_C(1) << (width - 1)));
}

/** Return the key of a real number, of 64 bits for a double and of 32 bits for a float. Keys sort like the numbers. */
static inline uint64_t vornenc_key_of_double(double number) {
  uint64_t bits;
  memcpy(&bits, &number, sizeof bits);
  return bits >> 63 ? ~bits : bits | UINT64_C(1) << 63;
}
static inline uint32_t vornenc_key_of_float(float number) {
  uint32_t bits;
  memcpy(&bits, &number, sizeof bits);
  return bits >> 31 ? ~bits : bits | UINT32_C(1) << 31;
}
/** Return the number of a key. */
static inline double vornenc_double_of_key(uint64_t key) {
  double number;
  key = key >> 63 ? key ^ UINT64_C(1) << 63 : ~key;
  memcpy(&number, &key, sizeof number);
  return number;
}
static inline float vornenc_float_of_key(uint32_t key) {
  float number;
  key = key >> 31 ? key ^ UINT32_C(1) << 31 : ~key;
  memcpy(&number, &key, sizeof number);
  return number;
}

/** Returns the key of a text of up to width / 8 bytes: its bytes and then zero bytes. With VORN_TZ the keys and the
 * lengths of texts sort like the texts. */
static inline uint64_t vornenc_key_of_text(const void *bytes, uint32_t length, uint32_t width) {
  uint64_t key = 0;
  for (uint32_t i = 0; i < width / 8; ++i)
    key = key << 8 | (i < length ? ((const uint8_t *) bytes)[i] : 0);
  return key;
}

/** @} */

/**
 * @defgroup encode_joins Sizes of joins
 *
 * A hash value has 64 bits. The tag of a slot takes the lowest bits, the bucket the next bits, the partition the bits
 * above them. The bloom map takes bits of the upper half. A row that passes the map by chance therefore does not find
 * its tag in the table by the same chance.
 *  @{ */

/** The hash function XXH3 with 64 bits, a vorn_hashfn. The same bytes and seed give the same hash on every machine. */
VORN_API uint64_t vornenc_hash(const void *data, uint64_t len, uint64_t seed);

/** Bytes of a bucket of a hash table. A bucket is one cache line if the table begins at a multiple of this number. */
enum { VORNENC_BUCKET_BYTES = 64 };

/** The size of a hash table, for vornenc_build_hash_table and vornenc_build_partition_buffer. */
typedef struct vornenc_table_size {
  uint32_t layout;         /**< VORN_HT_K2V8 to VORN_HT_K4V4 */
  uint32_t tag_bits;       /**< 16 or 32 */
  uint32_t slots;          /**< keys of a bucket */
  uint32_t bucket_bits;    /**< a partition has 2^bucket_bits buckets, all bytes zero at first */
  uint32_t partition_bits; /**< there are 2^partition_bits partitions */
  uint64_t first_overflow; /**< overflow buckets of a partition before the first key */
  uint64_t area_records;   /**< records of a partition that vorn_partition collects before they are inserted */
} vornenc_table_size;

/**
 * Chooses the size of a hash table for up to `keys` keys. Buckets are filled to between 3/10 and 6/10. The overflow
 * buckets are one for 16 buckets. A table that is larger than cache_bytes is partitioned; a partition takes half of
 * cache_bytes, and there are at most 256 partitions.
 *
 * Operands:
 *   - layout of *size: 0, or the layout to use. With 0 it becomes VORN_HT_K2V4, or VORN_HT_K2V8 when row numbers need
 *     more than 32 bits.
 *   - cache_bytes: the size of the second-level cache. With 0 partition_bits of *size, up to 16, says how many
 *     partitions there are.
 *
 * Writes: all fields of *size.
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH for another layout, VORNENC_TOO_MANY for 2^48 keys or more or for more
 * partitions.
 */
VORN_API uint32_t vornenc_size_table(vornenc_table_size *size, uint64_t keys, uint64_t cache_bytes);

/** Returns the number of overflow buckets to add to a partition after VORN_RESULT_NO_OVERFLOW: half of the buckets that
 * were granted to it, at least 1. */
VORN_API uint64_t vornenc_more_overflow(uint64_t granted);

/** Returns the bits of a bloom map: the map has 2^bits bits, and bits is 6 to 32. Up to about 2^28 keys these are 10 to
 * 20 bits for a key, and the map lets 5 to 10 % of the rows without a match through. With more keys it lets more
 * through. */
VORN_API uint32_t vornenc_bloom_bits(uint64_t keys);

/** Returns the bytes of a bloom map of 2^bits bits. They are zero before the first key. */
VORN_API size_t vornenc_bloom_bytes(uint32_t bits);

/**
 * Adds hash values to a bloom map. They are numbers in the processor's order, as vorn_hash writes them. A hash value h
 * sets the bit (h >> 32) & (2^bits - 1). Only the keys of vornenc_bloom_keys find this bit. The result of vorn_hash,
 * passed to vorn_bloom without this step, looks up another bit and loses members; vorn_bloom describes a map for it.
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH for bits below 6 or above 32, VORNENC_NO_ROOM.
 */
VORN_API uint32_t vornenc_bloom_add(void *map, size_t map_bytes, const uint64_t *hashes, uint64_t n, uint32_t bits);

/**
 * Makes the source of vorn_bloom from hash values in the processor's order: the upper half of each, big-endian. The
 * room of keys is keys_bytes for n numbers. The vector of keys has the form VORN_HASH_VALUES and the width 32.
 *
 * Returns: VORNENC_DONE or VORNENC_NO_ROOM.
 */
VORN_API uint32_t vornenc_bloom_keys(uint32_t *keys, size_t keys_bytes, const uint64_t *hashes, uint64_t n);

/** @} */

/** @defgroup encode_translate Translate tables
 *  @{ */

/** The entry of a key that has none. */
#define VORNENC_NO_ENTRY UINT32_C(0xffffffff)

/** Returns the room of vornenc_pack_translate, a multiple of 8. width is 1, 4, 8, 16 or 32. */
VORN_API size_t vornenc_translate_bytes(uint32_t nkeys, uint32_t width);

/**
 * Writes a translate table, or a page of a table of two levels. The table is aligned to 8 bytes.
 *
 * Operands:
 *   - entries: an entry per key, or VORNENC_NO_ENTRY. An entry is below 2^width - 1. With the width 1 all
 *     entries are 0.
 *
 * The keys that vorn_xlate looks up are written by vornenc_pack_codes with the width 32.
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH, VORNENC_NO_ROOM, VORNENC_TOO_WIDE.
 */
VORN_API uint32_t vornenc_pack_translate(void *table, size_t table_bytes, const uint32_t *entries, uint32_t nkeys,
                                         uint32_t width);

/** @} */

/**
 * @defgroup encode_builders Builders with named arguments
 *
 * A builder takes its arguments in a record. A field that is not needed stays zero. A host in C++17 writes
 * `vornenc_vector v = {};` and then the fields that it needs. The builders call the builders of
 * libvorn, so the program links libvorn. They copy no arrays: what a record points to outlives the vector and its
 * context. The record itself may go, except for a vornenc_dictionary.
 *
 * @code{.c}
 * vornenc_build_vector(&res, &(vornenc_vector){.bits = hits, .nrows = nrows});
 * @endcode
 *  @{ */

/* C has no nullptr. NOLINTBEGIN(modernize-use-nullptr) */

/** The arguments of vorn_build_vector and the fields that the host stores after it. */
typedef struct vornenc_vector {
  void *vals;            /**< values, or their output */
  void *lens;            /**< lengths, or their output */
  uint16_t *flgs;        /**< output of value flags */
  vorn_enc_ctx *enc;     /**< encoding context */
  uint64_t *mask;        /**< row mask of a source */
  uint64_t *bits;        /**< result bit vector, or the members of a set */
  uint32_t nrows;        /**< rows, or room for results */
  uint32_t stream_bytes; /**< VORN_STREAM: bytes of the decompressed stream */
  void **stream_slot;    /**< VORN_STREAM: keeps the decompressed stream */
  uint64_t stream_tag;   /**< VORN_STREAM: last argument of the allocation callback */
  uint64_t first_rid;    /**< VORN_AUTORID: first row identifier */
  uint64_t size;         /**< output of vorn_gather: bytes of vals */
} vornenc_vector;

/** Builds a vector. */
static inline void vornenc_build_vector(vorn_cv *cv, const vornenc_vector *v) {
  vorn_build_vector(cv, v->vals, v->lens, v->flgs, v->enc, v->mask, v->bits, v->nrows, v->stream_bytes, v->stream_slot,
                    v->stream_tag);
  vorn_add_vector_autorid(cv, v->first_rid);
  vorn_add_vector_size(cv, v->size);
}

/** Form of a vornenc_column. */
enum { VORNENC_CODES = 0, VORNENC_RUNS = 1, VORNENC_FIXED = 2, VORNENC_DYNP = 3, VORNENC_PREFIX = 4 };

/** A column, or a batch of its rows, as the encoders have written it. */
typedef struct vornenc_column {
  uint32_t form;    /**< VORNENC_CODES to VORNENC_PREFIX */
  uint32_t width;   /**< bits of a code or value */
  uint32_t nrows;   /**< rows */
  uint32_t flags;   /**< more flags of the encoding context: VORN_NULLS, VORN_TZ, VORN_UNIFORM_LENS, VORN_NATIVE */
  uint8_t num_type; /**< fixed: VORN_NUM_FLOAT, VORN_NUM_DOUBLE or VORN_NUM_DSB for sums and arithmetic */
  const void *vals; /**< stream of codes, values or records */
  const void *lens; /**< length codes, lengths of runs, or offsets of prefix groups */
  const vornenc_dictionary
      *dictionary;       /**< codes and runs: for decoders, vorn_hash, vorn_groupkey; not for predicates */
  uint32_t nruns;        /**< runs: number of runs */
  uint32_t length_bits;  /**< runs: 8 or 16 */
  const uint32_t *cla;   /**< runs: CLA of the lengths; may be null */
  uint64_t *run_bits;    /**< runs: room for one bit per run, for predicates */
  uint64_t *mask;        /**< row mask, for runs a bit per run; may be null */
  void **stream_slot;    /**< not null: vals is compressed in blocks, and this keeps the decompressed stream */
  uint32_t stream_bytes; /**< compressed: bytes of the decompressed stream */
  uint64_t stream_tag;   /**< compressed: last argument of the allocation callback */
} vornenc_column;

/** Returns the address without const. Vectors are sources and results; the library only reads a source. */
static inline void *vornenc_only_read(const void *address) {
  void *out;
  memcpy(&out, &address, sizeof out);
  return out;
}

/** Does the form have kernels of this width? */
static inline int vornenc_has_width(uint32_t form, uint32_t width) {
  switch (form) {
  case VORNENC_CODES:
  case VORNENC_RUNS:
    return (width >= 1 && width <= 20) || width == 24 || width == 32 || width == 64;
  case VORNENC_FIXED:
  case VORNENC_PREFIX:
    return width >= 8 && width <= 64 && width % 8 == 0;
  case VORNENC_DYNP:
    return width == 16 || width == 32 || width == 64;
  default:
    return 0;
  }
}

/** Builds the encoding context of a column. Returns VORNENC_DONE, or VORNENC_BAD_WIDTH for a form, a width or
 * length_bits that has no kernel. */
static inline uint32_t vornenc_build_encoding(vorn_enc_ctx *enc, const vornenc_column *column) {
  const vornenc_dictionary *dictionary = column->dictionary;
  const uint32_t flags = column->flags | (column->stream_slot != NULL ? (uint32_t) VORN_STREAM : 0);
  if (!vornenc_has_width(column->form, column->width) ||
      (column->form == VORNENC_RUNS && column->length_bits != 8 && column->length_bits != 16))
    return VORNENC_BAD_WIDTH;
  switch (column->form) {
  case VORNENC_CODES:
  case VORNENC_RUNS:
    if (dictionary != NULL)
      vorn_build_encoding_type_dict(enc, column->width, dictionary->syms, &dictionary->one_length, dictionary->cla,
                                    dictionary->nsyms, dictionary->cla != NULL ? VORN_DICT_CLA : VORN_DICT_ONE_LENGTH,
                                    flags);
    else
      vorn_build_encoding_type_dict(enc, column->width, NULL, NULL, NULL, 0, VORN_DICT_ONE_LENGTH, flags);
    if (column->form == VORNENC_RUNS)
      vorn_add_encoding_type_rle(enc, column->lens, column->cla, (uint8_t) column->length_bits, column->nruns,
                                 column->run_bits);
    break;
  case VORNENC_DYNP:
    vorn_build_encoding_type_dynp(enc, column->width, 0, 0, flags);
    break;
  default:
    vorn_build_encoding_type_fixed(enc, column->width, flags);
    enc->vorn_enc_ctx_num_type = column->num_type;
    break;
  }
  if (column->form == VORNENC_PREFIX) {
    enc->vorn_enc_ctx_prefix_group = VORNENC_PREFIX_GROUP;
    enc->vorn_enc_ctx_prefix_vlen = (uint16_t) (column->width / 8);
    enc->vorn_enc_ctx_prefix_nvals = column->nrows;
  }
  return VORNENC_DONE;
}

/** Builds the vector of a column and its encoding context. Returns as vornenc_build_encoding. */
static inline uint32_t vornenc_build_column(vorn_cv *cv, vorn_enc_ctx *enc, const vornenc_column *column) {
  const uint32_t result = vornenc_build_encoding(enc, column);
  const uint32_t nrows = column->form == VORNENC_PREFIX && column->nrows != 0
                             ? (column->nrows - 1) / VORNENC_PREFIX_GROUP + 1
                             : column->nrows;
  if (result == VORNENC_DONE)
    vorn_build_vector(cv, vornenc_only_read(column->vals), vornenc_only_read(column->lens), NULL, enc, column->mask,
                      NULL, nrows, column->stream_bytes, column->stream_slot, column->stream_tag);
  return result;
}

/** Memory of a constant. */
typedef struct vornenc_constant {
  uint64_t words[2];   /**< the code or value */
  uint8_t length_code; /**< its length code */
} vornenc_constant;

/**
 * Builds a constant for comparisons with a column.
 *
 * Operands:
 *   - column: form, width, flags and stream_slot of the column that it is compared with. They give the constant the
 *     type of the column. Prefix groups have no comparisons.
 *   - value: the code or value.
 *   - length: bytes of the value for VORN_TZ and dynamic-packed values; 0 for all bytes. These are the most significant
 *     bytes. The other bytes of the value are 0.
 *
 * Writes: cv, enc and memory. All three live as long as the constant.
 *
 * Returns: VORNENC_DONE, VORNENC_BAD_WIDTH as vornenc_build_encoding and for prefix groups, VORNENC_TOO_WIDE for a
 * value or a length that the column cannot hold.
 */
static inline uint32_t vornenc_build_constant(vorn_cv *cv, vorn_enc_ctx *enc, vornenc_constant *memory,
                                              const vornenc_column *column, uint64_t value, uint32_t length) {
  const uint32_t width = column->width;
  const uint32_t most = width <= 16 ? width / 8 : width <= 32 ? 4 : 8;
  uint8_t *bytes = (uint8_t *) memory->words;
  vornenc_column type = *column;
  uint32_t result;
  type.form = column->form == VORNENC_RUNS ? (uint32_t) VORNENC_CODES : column->form;
  type.flags = column->flags | VORN_CONST;
  if (column->form == VORNENC_PREFIX || !vornenc_has_width(type.form, width))
    return VORNENC_BAD_WIDTH;
  if (value > (width < 64 ? (UINT64_C(1) << width) - 1 : UINT64_MAX) ||
      (type.form == VORNENC_CODES ? value > UINT32_MAX : length > most))
    return VORNENC_TOO_WIDE;
  result = vornenc_build_encoding(enc, &type);
  memset(memory, 0, sizeof *memory);
  if (type.form == VORNENC_CODES) {
    const uint32_t code = (uint32_t) value;
    memcpy(bytes, &code, sizeof code);
  } else {
    for (uint32_t i = 0; i < width / 8; ++i)
      bytes[i] = (uint8_t) (value >> (width - 8 * (i + 1)));
    memory->length_code = (uint8_t) ((length != 0 ? length : width / 8) - 1);
  }
  vorn_build_vector(cv, memory->words, &memory->length_code, NULL, enc, NULL, NULL, 1, 0, NULL, 0);
  return result;
}

/** Rows for the hash and join kernels, or their output. */
typedef struct vornenc_rows {
  uint32_t form;      /**< the flag of the row form: VORN_FIXED, VORN_LV_SEP, ..., VORN_AUTORID, VORN_DLP */
  uint32_t width;     /**< VORN_FIXED: bits of a value. VORN_HASH_VALUES: 32 for vorn_bloom and vorn_xlate, else 0 */
  uint32_t nrows;     /**< rows, or room for pairs */
  const void *vals;   /**< values, or their output */
  const void *lens;   /**< lengths, or their output */
  uint64_t first_rid; /**< VORN_AUTORID: row identifier of row 0 */
  uint64_t size;      /**< output of vorn_gather: bytes of vals */
  uint8_t dlp_shift;  /**< VORN_DLP */
  void **dlp_table;   /**< VORN_DLP */
} vornenc_rows;

/** Builds a vector of rows and its encoding context. Codes (VORN_DICT) are a vornenc_column. Returns VORNENC_DONE, or
 * VORNENC_BAD_WIDTH for another form or width. */
static inline uint32_t vornenc_build_rows(vorn_cv *cv, vorn_enc_ctx *enc, const vornenc_rows *rows) {
  switch (rows->form) {
  case VORN_FIXED:
    if (!vornenc_has_width(VORNENC_FIXED, rows->width))
      return VORNENC_BAD_WIDTH;
    vorn_build_encoding_type_fixed(enc, rows->width, 0);
    break;
  case VORN_LV_SEP:
    vorn_build_encoding_type_lv_sep(enc);
    break;
  case VORN_LV:
    vorn_build_encoding_type_lv(enc);
    break;
  case VORN_LP_SEP:
    vorn_build_encoding_type_lp_sep(enc);
    break;
  case VORN_LP:
    vorn_build_encoding_type_lp(enc);
    break;
  case VORN_GD:
    vorn_build_encoding_type_gd(enc);
    break;
  case VORN_HASHRID:
    vorn_build_encoding_type_hashrid(enc);
    break;
  case VORN_HASHGDRID:
    vorn_build_encoding_type_hashgdrid(enc);
    break;
  case VORN_RIDVALUE:
    vorn_build_encoding_type_ridvalue(enc);
    break;
  case VORN_AUTORID:
    vorn_build_encoding_type_autorid(enc);
    break;
  case VORN_DLP:
    vorn_build_encoding_type_dlp(enc, rows->dlp_shift, rows->dlp_table);
    break;
  case VORN_HASH_VALUES:
    vorn_build_encoding_type_hash_values(enc);
    enc->vorn_enc_ctx_width = rows->width;
    break;
  default:
    return VORNENC_BAD_WIDTH;
  }
  vorn_build_vector(cv, vornenc_only_read(rows->vals), vornenc_only_read(rows->lens), NULL, enc, NULL, NULL,
                    rows->nrows, 0, NULL, 0);
  vorn_add_vector_autorid(cv, rows->first_rid);
  vorn_add_vector_size(cv, rows->size);
  return VORNENC_DONE;
}

/** Builds the operand filter of vorn_bloom: a map of one level with 2^bits bits. */
static inline void vornenc_build_bloom(vorn_cv *cv, vorn_enc_ctx *enc, const void *map, uint32_t bits) {
  memset(enc, 0, sizeof *enc);
  vorn_add_encoding_type_bloom(enc, 0, (uint32_t) ((UINT64_C(1) << bits) - 1), 0, 0);
  vorn_build_vector(cv, NULL, NULL, NULL, enc, NULL, (uint64_t *) vornenc_only_read(map), 0, 0, NULL, 0);
}

/** A translate table. */
typedef struct vornenc_translate {
  const void *table;  /**< the table; with paged nonzero the array of pointers to pages */
  uint32_t width;     /**< bits of an entry: 1, 4, 8, 16 or 32 */
  uint32_t base;      /**< the key of entry 0 */
  uint32_t c2d;       /**< nonzero: vorn_xlate writes the entries too; not with the width 1 */
  uint32_t paged;     /**< nonzero: a page has 2^page_bits entries, and base is 0 */
  uint32_t page_bits; /**< 0 to 31 */
} vornenc_translate;

/** Builds the operand tbl of vorn_xlate. With a base the host also stores enc in vorn_aux_xlate_enc. Returns
 * VORNENC_DONE, or VORNENC_BAD_WIDTH for another width or combination. */
static inline uint32_t vornenc_build_translate(vorn_cv *cv, vorn_enc_ctx *enc, const vornenc_translate *of) {
  const int32_t width = of->width == 1 ? -1 : of->width == 4 ? -4 : (int32_t) (of->width / 8);
  if ((of->width != 1 && of->width != 4 && of->width != 8 && of->width != 16 && of->width != 32) ||
      (of->width == 1 && of->c2d != 0) || (of->paged != 0 && (of->base != 0 || of->page_bits > 31)))
    return VORNENC_BAD_WIDTH;
  memset(enc, 0, sizeof *enc);
  enc->vorn_enc_ctx_xlate_base = of->base;
  vorn_add_encoding_type_xlate(enc,
                               of->paged != 0  ? 3
                               : of->base != 0 ? 2
                                               : 1,
                               width, of->c2d, of->paged != 0 ? of->page_bits : 0,
                               of->paged != 0 ? (UINT32_C(1) << of->page_bits) - 1 : 0);
  vorn_build_vector(cv, NULL, NULL, NULL, enc, NULL, (uint64_t *) vornenc_only_read(of->table), 0, 0, NULL, 0);
  return VORNENC_DONE;
}

/** Builds a hash table of a size of vornenc_size_table. The arrays have an entry per partition: tables the buckets,
 * ovfl_cur and ovfl_end the room of the overflow buckets. */
static inline void vornenc_build_hash_table(vorn_hash_table *ht, const vornenc_table_size *size, void **tables,
                                            void **ovfl_cur, void **ovfl_end) {
  const uint32_t bucket_end = size->tag_bits + size->bucket_bits;
  vorn_build_hash_table(ht, tables, NULL, ovfl_cur, ovfl_end, (uint8_t) (bucket_end + size->partition_bits - 1),
                        (uint8_t) bucket_end, (uint8_t) (bucket_end - 1), size->layout);
}

/** Builds a partition buffer with the partitions of a hash table. type is VORN_PB_RID to VORN_PB_RID_GD. fixed_width is
 * the number of payload bytes of VORN_PB_FIXED, else 0. The arrays have an entry per partition: the first byte of its
 * area and the end of the area. */
static inline void vornenc_build_partition_buffer(vorn_partition_buffer *pb, const vornenc_table_size *size,
                                                  uint32_t type, uint16_t fixed_width, void **cur, void **end) {
  const uint32_t bucket_end = size->tag_bits + size->bucket_bits;
  vorn_build_partition_buffer(pb, NULL, cur, end, (uint8_t) (bucket_end + size->partition_bits - 1),
                              (uint8_t) bucket_end, type);
  pb->vorn_pb_fixed_width = fixed_width;
}

/** The arguments of vorn_build_transpose_table without the arguments that are not read. The arrays have an entry per
 * partition. */
typedef struct vornenc_transpose {
  uint32_t flags;   /**< VORN_TT_ROW to VORN_TT_LP */
  uint8_t ncols;    /**< columns of a row of the matrix */
  uint16_t width;   /**< gather: bits of a value in a result of VORN_FIXED */
  uint8_t hi_bit;   /**< gather: highest identifier bit of the partition number */
  uint8_t row_bits; /**< gather: low identifier bits that are the row; 0: there is one partition */
  void **in_refs;   /**< start of the entries of a length and a pointer */
  void **refs;      /**< next entry of a length and a pointer */
  void **dlp;       /**< start of the dlp words */
  void **cla;       /**< start of the array of offsets */
  void **offsets;   /**< next entry of the array of offsets */
  void **data;      /**< start of the value bytes */
  void **pos;       /**< next free value byte */
  void **end;       /**< end of the value bytes */
} vornenc_transpose;

/** Builds a transposition table. */
static inline void vornenc_build_transpose_table(vorn_transpose_table *tbl, const vornenc_transpose *t) {
  vorn_build_transpose_table(tbl, t->ncols, t->width, 0, t->hi_bit, t->row_bits != 0 ? t->row_bits : 64, t->in_refs,
                             t->refs, 0, t->dlp, 0, 0, 0, t->cla, t->offsets, 0, t->data, t->pos, t->end, t->flags);
}

/* NOLINTEND(modernize-use-nullptr) */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* VORN_ENCODE_H */
