/** @file
 * vorn: kernels over compressed column vectors.
 *
 * A host process keeps table data in memory in compressed columns and hands the library a batch of rows at a
 * time.  The library evaluates predicates on the compressed form, decodes, hashes, joins, groups and computes, and
 * writes its results into memory of the host.  It owns no data, no thread, no lock and no file.
 *
 *     vorn_enc_ctx enc, cst_enc;           how the column and the constant are stored
 *     vorn_cv src, cst, res;               the column, the constant, the result
 *     vorn_nfy(3, &ctx);                   once per process: choose the implementation
 *     vorn_eq(&ctx, &res, &src, &cst, NULL);
 *                                          one bit per row in res, their number in res.vorn_cv_popc
 *
 * Contents, in this order:
 *
 *     results        result codes of entry points and kernels
 *     codes          opcodes and encodings
 *     flags          flag bits of the records
 *     forms          stored forms, byte by byte
 *     records        vectors, encodings, contexts, iterators, the implementation in force
 *     data           exported tables
 *     start_up       start-up, loading, queries, names
 *     builders       of vectors, encodings, type codes and cumulative arrays
 *     predicates     comparisons, ranges, sets
 *     decoders       values, plain codes, prefix groups, bursts, block-compressed streams
 *     bit_vectors    combinations, counts, ranges and iteration
 *     joins          hashing, hash tables, partitions, transposition, gather, the bloom test
 *     expressions    translation, group keys, sums, arithmetic, conversion, point in polygon
 *
 * Conventions, valid throughout:
 *
 *  1. Memory.  Every record and buffer belongs to the caller and must outlive the call.  The library frees nothing;
 *     the one buffer that it asks for, a decompressed stream, comes from a callback and belongs to the host too.
 *  2. Bit vectors are arrays of 64-bit words in the processor's order.  Row r is bit r & 63, counted from the least
 *     significant bit, of word r >> 6.  A vector of n rows takes (n + 63) >> 6 words.  In a result every bit from n
 *     to the end of the last word is zero.  Filters and masks may hold stray bits there.
 *  3. Stored data is big-endian: packed codes, fixed values, cumulative arrays.  Records, bit vectors, dictionary code
 *     constants, unpacked codes, and the row forms and tables of the joins are in the processor's
 *     order (little-endian).
 *  4. Slack.  A stream should be readable beyond its last code or value, compressed or not.  Packed codes: 8 bytes at
 *     the widths 5 and 7, otherwise 3 bytes up to width 6, 2 at 9 to 15, 1 at 17 to 20 and 24, none at 8, 16, 32
 *     and 64.  Fixed values: 1 byte at width 24, 3, 2 and 1 at 40, 48 and 56, none at the others.  Dynamic-packed
 *     values, length codes and run lengths: none.  Packed codes that are hashed: 3 bytes at every width.  The generic
 *     kernels read nothing past the end; specialised ones may use the slack.
 *  5. Results.  Entry points and kernels return one of the VORN_RESULT codes.  A wrong call is reported through
 *     host_raise_internal_error of the host (frame/host.h); if the reporter returns, the call goes on with its next
 *     step.  A limit that only a builder or a kernel can see is a fatal assertion.
 *  6. Unwinding.  A reporter may throw or jump: no entry point holds a resource when it reports, but for scratch
 *     memory of a self-check that failed, and of group keys over a stream that cannot be decompressed, which the host
 *     takes back with the scratch of the call.
 *  7. Threads.  vorn_nfy comes before all other calls.  After it any number of threads may call, each with its own
 *     result and vorn_aux.  One thread at a time makes the first call on a block-compressed vector, and one thread
 *     at a time scans a given run-length encoding context.
 *  8. Alignment.  Addresses are checked against the alignment words of vorn_global_ctx in force at the call.
 *  9. Names.  A field repeats the name of its record.  A name in _dydi is the generic implementation of a slot of
 *     vorn_global_ctx.
 */
#ifndef VORN_H
#define VORN_H

#include <stddef.h>
#include <stdint.h>

/** Version of this header.  The library's version is that of its file name. */
#define VORN_VERSION_MAJOR 0
#define VORN_VERSION_MINOR 1
#define VORN_VERSION_PATCH 0

/** Marks what the library exports. */
#define VORN_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup results Result codes
 *  @{ */

enum {
  VORN_RESULT_DONE = 0,              /**< done; a predicate selected at least one row */
  VORN_RESULT_EMPTY = 1,             /**< done; the result is empty */
  VORN_RESULT_REFUSED = 2,           /**< an operand or combination that the kernel does not handle */
  VORN_RESULT_KEY_SPACE = 3,         /**< the space of a group key is too large */
  VORN_RESULT_PARTITION_FULL = 5,    /**< make room in partition vorn_aux_full_part and resume */
  VORN_RESULT_NO_OVERFLOW = 6,       /**< no overflow room in the hash table; add some and resume */
  VORN_RESULT_PROBE_FULL = 7,        /**< probe output full; resume */
  VORN_RESULT_TRANSPOSE_FULL = 8,    /**< no room in the transpose output; resume */
  VORN_RESULT_OUTPUT_FULL = 9,       /**< no room in the gather or group-key output; resume */
  VORN_RESULT_NO_IMPLEMENTATION = 10 /**< the slot is empty, or the layout is not supported */
};

/** @} */

/** @defgroup codes Opcodes and encodings
 *  @{ */

/** Bits 0 to 4 of a dispatch index. */
enum {
  VORN_OPC_EQ = 0,
  VORN_OPC_LT = 1,
  VORN_OPC_GT = 2,
  VORN_OPC_LE = 3,
  VORN_OPC_GE = 4,
  VORN_OPC_NE = 5,
  VORN_OPC_GT_LT = 6,
  VORN_OPC_GT_LE = 7,
  VORN_OPC_GE_LT = 8,
  VORN_OPC_GE_LE = 9,
  VORN_OPC_DECODE = 10,
  VORN_OPC_DECODE_UNPACK = 11,
  VORN_OPC_DECODE_SYMBOL = 12,
  VORN_OPC_SET = 13,
  VORN_OPC_BURST = 14,
  VORN_OPC_SUM = 15,
  VORN_OPC_DISTINCT = 16,
  VORN_OPC_XLATE = 17,
  VORN_OPC_BLOOM = 18,
  VORN_OPC_ADD = 19,
  VORN_OPC_SUB = 20,
  VORN_OPC_MUL = 21,
  VORN_OPC_NONE = 22 /**< no predicate: vorn_convert_rowz_pcode */
};

/** Bits 5 and 6 of a dispatch index, bits 0 and 1 of an encoding type code. */
enum { VORN_ENC_FIXED = 0, VORN_ENC_DICT = 1, VORN_ENC_DYNP = 2, VORN_ENC_RLE = 3 };

/** Slots of the dispatch table.  An entry point calls the slot of its operation and encoding without a test, and a call
 * through an empty one ends the process.  A host that is not sure asks first:
 *
 *     uint32_t index = (enc.vorn_enc_ctx_type & 0xff) << 5 | VORN_OPC_SET;
 *     if (vorn_global_ctx.vorn_global_ctx_dispatch[index].binary != NULL)
 *
 * Filled are: the ten comparisons for every width of the three builders, with VORN_NULLS or VORN_TZ too; set, decode
 * and unpack for the dictionary widths but 64, without VORN_NULLS; symbol decode for the widths 8, 16 and 32, without
 * VORN_NULLS; the burst of every run-length context, by vorn_enc_ctx_minor_type in place of the type; translation for
 * what vorn_add_encoding_type_xlate builds, but bits with c2d, and vorn_add_encoding_type_imca, but bits.  Arithmetic
 * forms an index of its own. */
enum { VORN_DISPATCH_SLOTS = 8192 };

/** @} */

/** @defgroup flags Flag bits
 *  @{ */

/** vorn_enc_ctx_flags */
enum {
  VORN_NATIVE = 0x1,            /**< numbers: float or double in the processor's form, not the canonical one */
  VORN_CONST = 0x4,             /**< a constant operand; required of the operand of a comparison */
  VORN_TZ = 0x8,                /**< fixed, dynp: the length code of a row is a second sort key */
  VORN_NULLS = 0x40,            /**< dict: code 0 stands for NULL and matches no predicate */
  VORN_HASH_VALUES = 0x80,      /**< hash values computed earlier; with VORN_LV, values that begin with theirs */
  VORN_DICT = 0x100,            /**< dictionary codes */
  VORN_RLE = 0x200,             /**< the code stream has one entry per run */
  VORN_DYNP = 0x400,            /**< dynamic-packed values */
  VORN_FIXED = 0x800,           /**< fixed-width values */
  VORN_LV_SEP = 0x1000,         /**< values back to back, lengths separate */
  VORN_LV = 0x2000,             /**< values back to back, each behind its length */
  VORN_LP_SEP = 0x4000,         /**< pointers, lengths separate */
  VORN_LP = 0x8000,             /**< length-pointer records */
  VORN_STREAM = 0x10000,        /**< the value stream is compressed in blocks */
  VORN_HASHRID = 0x20000,       /**< records of a row identifier and a hash value */
  VORN_RIDVALUE = 0x40000,      /**< pairs that a probe wrote */
  VORN_AUTORID = 0x80000,       /**< implicit row identifiers, from vorn_cv_autorid on */
  VORN_DLP = 0x100000,          /**< length and place in a partitioned store, in one word */
  VORN_ROW = 0x200000,          /**< row-major layout */
  VORN_GD = 0x400000,           /**< codes of a global dictionary */
  VORN_HASHGDRID = 0x800000,    /**< records of a hash value, a code and a row identifier */
  VORN_UNIFORM_LENS = 0x1000000 /**< fixed with tz: vorn_cv_lens is one byte, the length code of every row */
};

/** vorn_enc_ctx_num_type; no builder stores it */
enum { VORN_NUM_FLOAT = 1, VORN_NUM_DOUBLE = 2, VORN_NUM_DSB = 8 };

/** vorn_enc_ctx_dict_layout */
enum { VORN_DICT_ONE_LENGTH = 0, VORN_DICT_CLA = 1 };

/** vorn_aux_flags */
enum {
  VORN_AUX_INVERT_FILTER = 0x01,   /**< rejected together with a filter */
  VORN_AUX_FORCE_SELECTIVE = 0x02, /**< visit only the rows of the filter */
  VORN_AUX_UNPACK_UB4 = 0x04,      /**< elements of an unpacked code array have 4 bytes */
  VORN_AUX_MULTIPLY = 0x10,        /**< group key in multiply mode */
  VORN_AUX_RID = 0x20,             /**< gather: follow the left value of a pair, not the table value */
  VORN_AUX_SUM = 0x80              /**< reduce to one sum */
};

/** vorn_aux_flags2 */
enum { VORN_AUX_COPY_VALUES = 0x01 /**< copy symbol bytes instead of writing pointers */ };

/** vorn_ctx_flags */
enum {
  VORN_CTX_ACCUMULATE = 0x04,    /**< keep vorn_ctx_call_counts and vorn_ctx_rates */
  VORN_CTX_PRINT_LOAD = 0x08,    /**< print the load report */
  VORN_CTX_FORCE_GENERIC = 0x10, /**< always run the generic kernel */
  VORN_CTX_SELF_CHECK = 0x20,    /**< run generic and loaded kernel and compare */
  VORN_CTX_MAX_PADS = 0x80       /**< read at load: use the maximum alignment and padding words */
};

/** vorn_ctx_init_flags */
enum { VORN_INIT_SPECIALIZED = 0x1 /**< ask for a specialised library */ };

/** vorn_global_ctx_status */
enum { VORN_STATUS_GENERIC = 2, VORN_STATUS_SPECIALIZED = 3 };

/** vorn_global_ctx_flags */
enum {
  VORN_REQUIRES_QPAK_PACKED_DICT = 0x1,
  VORN_REQUIRES_BYTE_ALIGNED_WIDTHS = 0x2,
  VORN_REQUIRES_BYTE_ALIGNED_WIDTHS_OVER_2BYTES = 0x4,
  VORN_REQUIRES_DECODE_BITWVEC = 0x8,
  VORN_ALLOWS_QPAK_DATASTREAM = 0x10
};

/** vorn_hash_table: vorn_ht_type */
enum {
  VORN_HT_K2V8 = 0x1,
  VORN_HT_K2V4 = 0x2,
  VORN_HT_K4V8 = 0x4,
  VORN_HT_K4V4 = 0x8,
  VORN_HT_GD = 0x1000 /**< with K4V8 or K4V4: the tag is the key's global dictionary code */
};

/** vorn_partition_buffer: vorn_pb_type, the form of the records that are written */
enum {
  VORN_PB_RID = 0x09,     /**< a row identifier and the hash value: VORN_HASHRID */
  VORN_PB_LV = 0x0a,      /**< length, hash value, payload: VORN_LV with VORN_HASH_VALUES */
  VORN_PB_FIXED = 0x0c,   /**< hash value, payload of vorn_pb_fixed_width bytes */
  VORN_PB_REFUSED = 0x10, /**< with VORN_PB_LV and VORN_PB_FIXED: no kernel takes it */
  VORN_PB_RID_GD = 0x29   /**< hash value, code, row identifier: VORN_HASHGDRID */
};

/** vorn_transpose_table: vorn_tt_flags */
enum {
  VORN_TT_ROW = 0x2,  /**< a row of the matrix becomes one record */
  VORN_TT_CLA = 0x8,  /**< the values are found by an array of offsets */
  VORN_TT_DLP = 0x10, /**< by dlp words */
  VORN_TT_LP = 0x20   /**< by length-pointer entries */
};

/** Event code of vorn_nfy. */
enum { VORN_NFY_LOAD = 3 };

/** @} */

/**
 * @defgroup forms Stored forms
 *
 * What a host stores of a column, with the bytes of an example in hexadecimal.
 *
 * Packed codes (vorn_build_encoding_type_dict).  The codes of w bits are one bit string: code i takes the bits i * w to
 * i * w + w - 1, where bit 0 is the most significant bit of byte 0.  A stream holds fewer than 2^32 bits.
 *
 *     codes 0 1 2 3 4 5 6 7, width 3        05 39 77
 *     codes 0xabc 0x123, width 12           ab c1 23
 *
 * Cumulative length array (CLA) of n items.  n + 1 numbers of 32 bits: entry 0 is 0, and entry i + 1 is entry i plus
 * the length of item i.  vorn_build_cla_1_ub1 and vorn_build_cla_1_ub2 make one.
 *
 * Dictionary.  The symbols back to back, that of code 0 first.  With VORN_DICT_ONE_LENGTH dict_lens is their one
 * length, a 16-bit number; with VORN_DICT_CLA dict_cla is a CLA of their lengths.  A symbol of length 0 decodes to
 * NULL; it is code 0 where VORN_NULLS is used.  Symbols are shorter than 2^16 bytes.
 *
 *     ATL ORD DFW, one length               41 54 4c 4f 52 44 44 46 57; length 00 03
 *     NULL ATL Paris, CLA                   41 54 4c 50 61 72 69 73; CLA 00000000 00000000 00000003 00000008
 *
 * Runs (vorn_add_encoding_type_rle).  Packed codes, one per run, with the lengths of the runs in rows, 8 or 16 bits
 * each.  A CLA of these lengths is optional.  vorn_cv_nrows counts rows, vorn_enc_ctx_rle_nruns runs.
 *
 *     2 rows of code 3, 300 of 10, 1 of 1, width 4
 *                                           3a 10; lengths of 16 bits 00 02 01 2c 00 01;
 *                                           CLA 00000000 00000002 0000012e 0000012f
 *
 * Fixed values (vorn_build_encoding_type_fixed).  Width / 8 bytes a row, compared as unsigned numbers: a host that
 * stores signed ones flips the sign bit.  The widths fall into classes, whose kernels serve them: 8; 16; 24 and 32; 40
 * to 64.
 *
 *     1 0x10203, width 24                   00 00 01 01 02 03
 *
 * Dynamic-packed values (vorn_build_encoding_type_dynp).  A value of 2, 4 or 8 bytes, the class of 16, 32 or 64 bits,
 * without its last bytes as far as these are zero; of 0 one byte remains.  The next value follows at once.  Every row
 * has a length code in vorn_cv_lens, the number of its stored bytes less 1, in 1, 2 or 4 bits by the class, packed like
 * dictionary codes of that width.  Zeros that are stored nevertheless change no answer without VORN_TZ.
 *
 *     0x12000000 0x12340000 0 0x12345678, class 32
 *                                           12 12 34 00 12 34 56 78; length codes 0 1 0 3: 13
 *
 * Second key (VORN_TZ, for the classes 16, 32 and 64; the class 8 has none).  Rows are compared by value and, where
 * these are equal, by length code, so that zero-padded byte strings sort as strings.  Dynamic-packed values have their
 * length codes already; they then keep the zero bytes that belong to the string.  Fixed values get vorn_cv_lens in the
 * same form, where a code may be any number of its 1, 2 or 4 bits, or with VORN_UNIFORM_LENS one byte that is the code
 * of all rows.
 *
 *     "ab" "ab\0" "abc", fixed, width 32    61 62 00 00 61 62 00 00 61 62 63 00; length codes 1 2 2: 68
 *     the same, dynamic-packed, class 32    61 62 61 62 00 61 62 63; length codes 1 2 2: 68
 *
 * Prefix groups (vorn_prefix_decode).  Records of 16 values of 1 to 8 bytes, the last one of the values that are left:
 * a byte p, the p bytes that all values begin with, then the rest of each.  vorn_cv_lens has the offset of every record
 * in vorn_cv_vals, 32 bits; vorn_cv_nrows counts records.  prefix_group is 16, prefix_vlen the bytes of a value and
 * prefix_nvals the number of values; no builder fills these three.
 *
 *     ab01 ab02 ab17                        02 61 62 30 31 30 32 31 37; offset 00000000
 *
 * Block-compressed streams (VORN_STREAM).  vorn_cv_vals of any form but prefix groups, compressed in a format of the
 * host, whose qpak_decode makes vorn_cv_stream_len bytes of it; length codes, run lengths and dictionaries are not
 * compressed.  The first call that reads the stream keeps it, decompressed, in *vorn_cv_stream_slot.
 *
 *     codes 3 10 3 10 3 10, width 4, for a host that writes pairs of a count and a byte
 *                                           03 3a; vorn_cv_stream_len 3
 *
 * Row forms (hash and join kernels).  Numbers are in the processor's order and need no alignment; values have up to
 * 65,535 bytes.  The kernels take every row as it stands: no mask, no NULL, no block compression.  All but the first,
 * second and last have a builder without arguments but the context.
 *
 *     VORN_FIXED       width / 8 bytes a row, fewer than 2^32 in all
 *     VORN_DICT        packed codes; the value is the symbol, by vorn_enc_ctx_dict_cla whatever the layout says
 *     VORN_LV_SEP      the values back to back; vorn_cv_lens, a 16-bit length per row
 *     VORN_LV          per row a 16-bit length and the value
 *     VORN_LP_SEP      a 64-bit pointer per row; vorn_cv_lens, a 16-bit length per row
 *     VORN_LP          16 bytes a row: 16-bit length, 6 bytes that are not read, 64-bit pointer
 *     VORN_HASH_VALUES a 64-bit hash value per row, taken as it is
 *     VORN_GD          a 32-bit code per row; the value is its 4 bytes
 *     VORN_HASHRID     16 bytes a row: 64-bit row identifier, 64-bit hash value
 *     VORN_HASHGDRID   24 bytes a row: 64-bit hash value, 32-bit code, 4 bytes that are not read, 64-bit row identifier
 *     VORN_RIDVALUE    16 bytes a row: 64-bit left value, 64-bit table value
 *     VORN_AUTORID     nothing stored: row i is vorn_cv_autorid + i
 *     VORN_DLP         a 64-bit word per row: 16 bits of length, above them an offset field of 48 bits, whose low
 *                      vorn_enc_ctx_dlp_shift bits are added to the pointer that the rest selects in
 *                      vorn_enc_ctx_dlp_table
 *
 *     "ab", "" as VORN_LV                   02 00 61 62 00 00
 *     the same as VORN_LV_SEP               61 62; lengths 02 00 00 00
 *
 * Hash table (vorn_hash_table).  A 64-bit hash value h says where a row belongs.  With T bits of tag, 16 or 32 by the
 * type, and the fields of the record without their prefix:
 *
 *     tag              the low T bits of h; with VORN_HT_GD the code of the key
 *     bucket           (h & (2^(bucket_hi_bit + 1) - 1)) >> T
 *     partition        ((h & (2^(part_hi_bit + 1) - 1)) >> part_shift) << part_low_bits | (h & (2^part_low_bits - 1))
 *
 *     VORN_HT_K2V4, 1,024 buckets in each of 16 partitions
 *                                           bucket_hi_bit 25, part_hi_bit 29, part_shift 26, part_low_bits 0
 *
 * There is but one partition when part_hi_bit equals bucket_hi_bit and part_low_bits is 0.  A bucket has 64 bytes:
 *
 *     VORN_HT_K2V4     header; 9 tags of 16 bits at 2; 9 values of 32 bits at 20; chain at 56
 *     VORN_HT_K2V8     header; 5 tags of 16 bits at 2; 5 values of 64 bits at 16; chain at 56
 *     VORN_HT_K4V4     header; 6 tags of 32 bits at 4; 6 values of 32 bits at 32; chain at 56
 *     VORN_HT_K4V8     header; 4 tags of 32 bits at 4; 4 values of 64 bits at 24; chain at 56
 *
 * The header byte counts the used slots, from slot 0 on, in its low 4 bits.  0x40: no tag of this bucket occurs again
 * behind it, in this bucket or later in its chain; a clear bit promises nothing.  0x80: the bucket is full, and the
 * chain is a pointer to the next one.
 *
 *     VORN_HT_K2V4, tag 0x1234, value 7     41 00 34 12, at 20: 07 00 00 00
 *     and another tag; or the same again    header 42; or 02
 *
 * Records of a partitioning (vorn_partition_buffer), back to back.
 *
 *     VORN_PB_RID      64-bit row identifier, 64-bit hash value
 *     VORN_PB_RID_GD   64-bit hash value, 32-bit code, 4 bytes that are left as they are, 64-bit row identifier
 *     VORN_PB_LV       16-bit length of what follows, 64-bit hash value, payload of up to 65,527 bytes
 *     VORN_PB_FIXED    64-bit hash value, payload of vorn_pb_fixed_width bytes
 *
 *     "abc" as VORN_PB_LV, hash 1           0b 00 01 00 00 00 00 00 00 00 61 62 63
 *
 * Translate table (vorn_xlate).  An entry of 1, 4, 8, 16 or 32 bits for each key, back to back: bit i & 7 of byte i >>
 * 3; the low four bits of byte i >> 1 for even i, the high ones for odd i; bytes, or numbers in the processor's order.
 * All ones say that the key has no entry.  Entry i belongs to key i (kind 1), or to the key i above a base (2); in kind
 * 3 the table is an array of pointers to such tables, of which some may be null: key >> vorn_enc_ctx_ind_shift selects
 * one, and key & vorn_enc_ctx_ind_mask the entry in it.
 *
 *     keys 0 to 3 have 5, none, 0, 14, 4 bits
 *                                           f5 e0
 *
 * Numbers (vorn_gby_sum, vorn_convert, vorn_arith), by vorn_enc_ctx_num_type.  VORN_NUM_FLOAT and VORN_NUM_DOUBLE with
 * VORN_NATIVE are IEEE 754 values in the processor's order.  Without it they are canonical: most significant byte
 * first, with the top bit set when the value is not negative and otherwise all bits inverted, so that they sort as
 * bytes. VORN_NUM_DSB are signed integers of vorn_enc_ctx_width bits, 8, 16, 32 or 64, most significant byte first.
 *
 *     1.0 -1.0 -0.0, canonical float        bf 80 00 00 40 7f ff ff 7f ff ff ff
 *     5 -2, dsb, width 16                   00 05 ff fe
 *
 * Bloom map (vorn_bloom).  Bytes in which bit b is bit b & 7 of byte b >> 3.  The hash values that are tested, of 32 or
 * 64 bits, are big-endian; of 64 bits the last four bytes count.
 */

/** @defgroup records Records
 *  @{ */

/** The records by their names. */
typedef struct vorn_cv vorn_cv;
typedef struct vorn_enc_ctx vorn_enc_ctx;
typedef struct vorn_aux vorn_aux;
typedef struct vorn_ctx vorn_ctx;
typedef struct vorn_lbiv_ictx vorn_lbiv_ictx;
typedef struct vorn_lbiwv_ictx vorn_lbiwv_ictx;
typedef struct vorn_qpak_ctx vorn_qpak_ctx;
typedef struct vorn_hash_table vorn_hash_table;
typedef struct vorn_partition_buffer vorn_partition_buffer;
typedef struct vorn_transpose_table vorn_transpose_table;
typedef struct vorn_global_ctx_t vorn_global_ctx_t;
typedef union vorn_kernel vorn_kernel;

/** Kernels and callbacks. */
typedef uint32_t (*vorn_unary_fn)(vorn_cv *res, vorn_cv *src, vorn_aux *aux);
typedef uint32_t (*vorn_binary_fn)(vorn_cv *res, vorn_cv *src, const vorn_cv *operand, vorn_aux *aux);
typedef uint32_t (*vorn_ternary_fn)(vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi, vorn_aux *aux);
typedef uint32_t (*vorn_burst_fn)(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);
typedef uint64_t (*vorn_hashfn)(const void *data, uint64_t len, uint64_t seed);
typedef void *(*vorn_alloc_fn)(void *env, void *heap, uint64_t size, const char *name, uint32_t align_hint,
                               uint32_t pad_hint, uint64_t tag);
typedef void *(*vorn_stack_alloc_fn)(void *env, uint64_t size, const char *name, uint64_t align, uint64_t padding,
                                     void **token);
typedef void (*vorn_stack_free_fn)(void *env, void *memory, void *token);
typedef uint32_t (*vorn_decompress_fn)(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen,
                                       uint32_t dstlen);

/** A slot of the dispatch table: null, or a kernel that is called through the member of its shape. */
union vorn_kernel {
  vorn_unary_fn unary;     /**< decoders, bursts */
  vorn_binary_fn binary;   /**< comparisons with one constant, sets, translation, arithmetic */
  vorn_ternary_fn ternary; /**< range comparisons */
};

/** A column vector: source, constant, set operand or result. */
struct vorn_cv {
  void *vorn_cv_vals; /**< source: value stream, aligned to VORN_DATASTREAM_ALIGN; constant: value */
  void *vorn_cv_lens; /**< dynp and tz: length codes of the rows, or the one of a constant; row forms: 16-bit lengths */
  void *vorn_cv_flgs; /**< decode result: 16-bit value flags, 2 marks NULL */
  vorn_enc_ctx *vorn_cv_encoding_context; /**< how the stream is encoded */
  uint64_t *vorn_cv_mask_bv;              /**< source: row mask, ANDed into every result; may be null */
  uint64_t *vorn_cv_bv;                   /**< result: its bit vector; set operand: the membership map */
  uint32_t vorn_cv_popc;                  /**< result: ones in the bit vector, or number of results */
  uint32_t vorn_cv_nrows;                 /**< rows of the vector */
  uint32_t vorn_cv_stream_len;            /**< bytes of the decompressed stream (VORN_STREAM) */
  void **vorn_cv_stream_slot;             /**< where the decompressed stream is kept between calls; starts at null */
  uint64_t vorn_cv_stream_tag;            /**< last argument of the allocation callback */
  uint64_t vorn_cv_autorid;               /**< first row identifier when they are implicit */
  uint64_t vorn_cv_size;                  /**< output: capacity of vorn_cv_vals in bytes */
};

/** How a vector is encoded. */
struct vorn_enc_ctx {
  uint64_t vorn_enc_ctx_type;          /**< type code: encoding, width code << 2, flag 0x80; the low byte dispatches */
  uint64_t vorn_enc_ctx_minor_type;    /**< run-length: type code of the burst kernel, else 0 */
  const void *vorn_enc_ctx_dict_syms;  /**< dictionary: symbol bytes */
  const void *vorn_enc_ctx_dict_lens;  /**< dictionary: the one 16-bit big-endian symbol length */
  const void *vorn_enc_ctx_dict_cla;   /**< dictionary: CLA of the symbols */
  uint32_t vorn_enc_ctx_dict_nsyms;    /**< dictionary: number of symbols */
  uint32_t vorn_enc_ctx_dict_layout;   /**< dictionary: VORN_DICT_ONE_LENGTH or VORN_DICT_CLA */
  const void *vorn_enc_ctx_rle_lens;   /**< run-length: lengths of the runs, 8 or 16 bits each */
  uint8_t vorn_enc_ctx_rle_width;      /**< run-length: 8 or 16 */
  uint32_t vorn_enc_ctx_rle_nruns;     /**< run-length: runs, which is the number of codes of the stream */
  const void *vorn_enc_ctx_rle_cla;    /**< run-length: CLA of the runs in rows; may be null */
  vorn_burst_fn vorn_enc_ctx_burst_fn; /**< run-length: expands one bit per run to rows */
  uint64_t *vorn_enc_ctx_burst_res_bv; /**< run-length: room for one bit per run; every scan needs it */
  uint8_t vorn_enc_ctx_prefix_group;   /**< prefix compression: values per group, 16 */
  uint16_t vorn_enc_ctx_prefix_vlen;   /**< prefix compression: bytes of a value, 1 to 8 */
  uint32_t vorn_enc_ctx_prefix_nvals;  /**< prefix compression: number of values */
  uint8_t vorn_enc_ctx_xlate_type;     /**< translate table: 1 sim, 2 off, 3 ind */
  uint8_t vorn_enc_ctx_bloom_ind;      /**< bloom: nonzero when the map has two levels */
  uint32_t vorn_enc_ctx_bloom_mask;    /**< bloom: mask of the hash */
  uint32_t vorn_enc_ctx_ind_shift;     /**< two-level tables: shift that gives the page */
  uint32_t vorn_enc_ctx_ind_mask;      /**< two-level tables: mask that gives the position in the page */
  uint8_t vorn_enc_ctx_dlp_shift;      /**< dlp: low bits of the offset field inside a partition */
  void **vorn_enc_ctx_dlp_table;       /**< dlp: base pointers of the partitions */
  uint32_t vorn_enc_ctx_xlate_base;    /**< off translate table: base subtracted from the key */
  uint32_t vorn_enc_ctx_flags;         /**< VORN_NATIVE to VORN_UNIFORM_LENS */
  uint32_t vorn_enc_ctx_width;         /**< bits of a code or value */
  uint8_t vorn_enc_ctx_width_code;     /**< vorn_convert_width of it */
  uint8_t vorn_enc_ctx_unit;           /**< 8 from the fixed builder */
  uint16_t vorn_enc_ctx_row_a;         /**< arguments of vorn_build_encoding_type_row */
  uint64_t vorn_enc_ctx_row_b;         /**< the same */
  uint8_t vorn_enc_ctx_num_type;       /**< VORN_NUM_FLOAT, VORN_NUM_DOUBLE or VORN_NUM_DSB */
};

/** The auxiliary record of one call: filter, options, resume position.  Clear it before its first use. */
struct vorn_aux {
  const vorn_ctx *vorn_aux_ctx;     /**< written by the entry point, for the kernel */
  uint64_t *vorn_aux_filter_bv;     /**< rows to keep, aligned to VORN_BITWVEC_ALIGN; may be null */
  uint8_t vorn_aux_flags;           /**< VORN_AUX_INVERT_FILTER to VORN_AUX_SUM */
  uint8_t vorn_aux_flags2;          /**< VORN_AUX_COPY_VALUES */
  uint32_t vorn_aux_popc;           /**< ones in the filter; for diagnostics */
  uint32_t vorn_aux_full_part;      /**< written: the partition that ran out of room */
  uint32_t vorn_aux_start_slot;     /**< row or slot to start at; written back by resumable kernels */
  uint32_t vorn_aux_run_idx;        /**< resume state over runs: the run */
  uint32_t vorn_aux_run_end;        /**< resume state over runs: the row behind it */
  uint64_t vorn_aux_out_pos;        /**< resume state: byte cursor into the key data */
  uint64_t vorn_aux_out_pos2;       /**< resume state: byte cursor into the payload data */
  uint32_t *vorn_aux_ones_vec;      /**< row numbers to process */
  uint32_t vorn_aux_ones_vec_size;  /**< entries of vorn_aux_ones_vec */
  uint32_t vorn_aux_diag_code;      /**< written: diagnostic code of the kernel, 0 for none */
  uint32_t vorn_aux_start_row;      /**< first row of a bloom or translate kernel */
  uint8_t vorn_aux_op_bits[3];      /**< written: what the call did, for the statistics */
  void *vorn_aux_prefix_out;        /**< output descriptors of a prefix decode; may be null */
  vorn_enc_ctx *vorn_aux_xlate_enc; /**< whose vorn_enc_ctx_xlate_base applies */
  void *vorn_aux_xlate_tbl;         /**< output codes of the c2d translate forms */
  uint32_t vorn_aux_xlate_n;        /**< multiplier of the group-key kernels */
};

/**
 * The call context, first argument of every entry point.  Read-only to the library but for what it points to.
 *
 * A host with statistics gives a block whose bytes 384 to 551 are three arrays of uint64_t counters, back to back; the
 * rest of it is the host's own.  They count calls, those in which a filter or a list chose the rows, and what a
 * specialised kernel may report, for the operations
 *
 *     8 called, from byte 384               comparison, decode, burst, set, bloom, translate, unpack, symbol decode
 *     8 selective, from byte 448            the same
 *     5 third, from byte 512                comparison, decode, burst, set, unpack
 *
 * Ranges are comparisons; prefix decode and the block decoder are not counted.
 */
struct vorn_ctx {
  void *vorn_ctx_env;                       /**< host environment, a struct host_env of frame/host.h */
  void *vorn_ctx_heap;                      /**< second argument of the allocation callback */
  uint64_t vorn_ctx_trace;                  /**< trace control word, 0 for none, see frame/host.h */
  vorn_alloc_fn vorn_ctx_alloc;             /**< gives the buffer of a decompressed stream; must not return null */
  vorn_stack_alloc_fn vorn_ctx_stack_alloc; /**< scratch memory for the block decoder and for group keys */
  vorn_stack_free_fn vorn_ctx_stack_free;   /**< and its release */
  uint32_t *vorn_ctx_call_counts;           /**< timed calls per dispatch index */
  double *vorn_ctx_rates;                   /**< running mean of Mrows (2^20) per second per dispatch index */
  uint32_t vorn_ctx_init_flags;             /**< start-up: VORN_INIT_SPECIALIZED */
  const char *vorn_ctx_lib_name;            /**< start-up: library that replaces the choice; may be null */
  uint32_t vorn_ctx_trace_level;            /**< start-up: nonzero is handed to the trace-level hook */
  vorn_decompress_fn vorn_ctx_decompress;   /**< the block decoder */
  void *vorn_ctx_stats;                     /**< host statistics block, see above; may be null */
  uint8_t vorn_ctx_flags;                   /**< VORN_CTX_ACCUMULATE to VORN_CTX_MAX_PADS */
};

/** Iterator over a bit vector that begins at any byte.  The caller provides the storage. */
struct vorn_lbiv_ictx {
  const uint64_t *vorn_lbiv_ictx_next; /**< the 8-byte group behind the current word */
  int32_t vorn_lbiv_ictx_nbits;        /**< bits of the vector, fewer than 2^31 */
  int32_t vorn_lbiv_ictx_base;         /**< index of bit 0 of the current word; negative before the vector */
  uint64_t vorn_lbiv_ictx_offset;      /**< offset of the start in the first word, then 0 */
  uint64_t vorn_lbiv_ictx_word;        /**< bits of the current word that are not delivered yet */
};

/** Iterator over a bit vector of whole words.  The caller provides the storage. */
struct vorn_lbiwv_ictx {
  const uint64_t *vorn_lbiwv_ictx_next; /**< the word behind the current one */
  int32_t vorn_lbiwv_ictx_nbits;        /**< bits of the vector, fewer than 2^31 */
  int32_t vorn_lbiwv_ictx_base;         /**< index of bit 0 of the current word, a multiple of 64 */
  uint64_t vorn_lbiwv_ictx_offset;      /**< offset of the start in the first word, then 0 */
  uint64_t vorn_lbiwv_ictx_word;        /**< bits of the current word that are not delivered yet */
};

/** What a block decoder is given.  A kernel builds one on its stack for one call. */
struct vorn_qpak_ctx {
  void *vorn_qpak_ctx_env;                       /**< vorn_ctx_env */
  void *vorn_qpak_ctx_heap;                      /**< vorn_ctx_heap */
  vorn_stack_alloc_fn vorn_qpak_ctx_stack_alloc; /**< vorn_ctx_stack_alloc; may be null */
  vorn_stack_free_fn vorn_qpak_ctx_stack_free;   /**< vorn_ctx_stack_free */
  uint32_t vorn_qpak_ctx_generic;                /**< 1 under force_generic or self-check, else 0 */
};

/** A join hash table of 64-byte buckets, partitioned.  Arrays have one entry per partition. */
struct vorn_hash_table {
  uint32_t vorn_ht_unused_a;
  uint32_t vorn_ht_type; /**< VORN_HT_K2V8 to VORN_HT_K4V4, with VORN_HT_GD */
  uint8_t vorn_ht_unused_b[9];
  uint8_t vorn_ht_bucket_hi_bit; /**< highest hash bit of the bucket number */
  uint8_t vorn_ht_part_hi_bit;   /**< highest hash bit of the partition number */
  uint8_t vorn_ht_part_shift;    /**< right shift that brings the partition bits down */
  void **vorn_ht_tables;         /**< bucket arrays */
  void *vorn_ht_reserved;        /**< stored, not read */
  void **vorn_ht_ovfl_cur;       /**< next free overflow bucket; advanced by the build */
  void **vorn_ht_ovfl_end;       /**< end of the overflow room */
  uint64_t vorn_ht_unused_c[2];
  uint8_t vorn_ht_part_low_bits; /**< low hash bits in the partition index; stored by the host after the build */
};

/** The output areas of a partitioning.  Arrays have one entry per partition. */
struct vorn_partition_buffer {
  uint32_t vorn_pb_unused_a;
  uint32_t vorn_pb_type;  /**< VORN_PB_RID to VORN_PB_RID_GD; the low byte is read */
  uint8_t vorn_pb_hi_bit; /**< highest hash bit of the partition number */
  uint8_t vorn_pb_shift;  /**< right shift of the masked hash */
  uint8_t vorn_pb_unused_b[18];
  uint16_t vorn_pb_fixed_width; /**< payload bytes of a fixed record; stored by the host after the build */
  uint8_t vorn_pb_unused_c[2];
  void *vorn_pb_reserved; /**< stored, not read */
  void **vorn_pb_cur;     /**< where the next record goes; advanced by the kernels */
  void **vorn_pb_end;     /**< end of the area; null when the caller vouches for the room */
};

/** A partitioned store of values.  Arrays have one entry per partition. */
struct vorn_transpose_table {
  uint32_t vorn_tt_unused_a;
  uint32_t vorn_tt_flags;    /**< VORN_TT_ROW to VORN_TT_LP */
  uint16_t vorn_tt_ncols;    /**< columns of a row of the matrix, at most 255 */
  uint16_t vorn_tt_width;    /**< gather: bits of a value in a result of VORN_FIXED */
  uint64_t vorn_tt_opaque_a; /**< stored, not read, like the other opaque fields */
  uint8_t vorn_tt_hi_bit;    /**< gather: highest identifier bit of the partition number */
  uint8_t vorn_tt_row_bits;  /**< gather: low identifier bits that are the row; 64: there is one partition */
  uint64_t vorn_tt_unused_b;
  void **vorn_tt_in_refs; /**< start of the length-pointer entries, as in VORN_LP */
  void **vorn_tt_refs;    /**< cursor into the length-pointer entries */
  uint64_t vorn_tt_opaque_b;
  void **vorn_tt_dlp; /**< start of the dlp words */
  uint64_t vorn_tt_opaque_c;
  uint64_t vorn_tt_opaque_d;
  uint8_t vorn_tt_opaque_e;
  void **vorn_tt_cla;     /**< start of the array of 32-bit offsets */
  void **vorn_tt_offsets; /**< cursor into the array of offsets */
  uint64_t vorn_tt_opaque_f;
  void **vorn_tt_data; /**< start of the value bytes */
  void **vorn_tt_pos;  /**< next free value byte */
  void **vorn_tt_end;  /**< end of the value bytes */
};

/**
 * The implementation in force.  A specialised library exports a record of the same layout under the name
 * vorn_global_specialized_ctx; at load it is copied whole over this one.  Read-only after vorn_nfy.
 * The slots bear the names of their generic implementations.
 */
struct vorn_global_ctx_t {
  /** What a load compares, see frame/vorn_specialized.h. */
  uint64_t vorn_global_ctx_magic;
  const char *vorn_global_ctx_version;
  uint32_t vorn_global_ctx_status;             /**< VORN_STATUS_GENERIC or VORN_STATUS_SPECIALIZED */
  uint32_t vorn_global_ctx_flags;              /**< VORN_REQUIRES_..., VORN_ALLOWS_... */
  const char *vorn_global_ctx_lib_name;        /**< "generic", or the load name of a library */
  uint64_t VORN_MAX_ALIGN;                     /**< largest alignment */
  uint64_t VORN_DATASTREAM_ALIGN;              /**< of vorn_cv_vals of a source and other data streams */
  uint64_t VORN_BITWVEC_ALIGN;                 /**< of a filter */
  uint64_t VORN_OUTPUT_BITWVEC_ALIGN;          /**< of a result bit vector */
  uint64_t VORN_JOIN_BITWVEC_ALIGN;            /**< of the membership map of a set */
  uint64_t vorn_global_ctx_qpak_in_align;      /**< of the input of the block decoder */
  uint64_t vorn_global_ctx_qpak_out_align;     /**< of its output, without the generic flag */
  uint64_t vorn_global_ctx_pad_output;         /**< padding of a scratch result bit vector */
  uint64_t vorn_global_ctx_pad_spare;          /**< not read */
  uint32_t vorn_global_ctx_end_cu;             /**< printed by the load report */
  const vorn_kernel *vorn_global_ctx_dispatch; /**< the dispatch table in force */
  /** Hooks: the end of start-up, a change of the trace level. */
  void (*vorn_global_ctx_init_sharedlib)(vorn_ctx *ctx);
  uint32_t (*vorn_global_ctx_set_trace_level)(uint32_t level, void *a, void *b);

  /** Bit vectors that begin at any byte. */
  void (*vorn_lbivpopcnt_dydi)(uint32_t *popc, const void *bv, uint64_t nbits);
  void (*vorn_lbivnot_dydi)(void *dst, uint32_t *popc, const void *src, uint64_t nbits);
  void (*vorn_lbivand_dydi)(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits);
  void (*vorn_lbivor_dydi)(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits);
  void (*vorn_lbivxor_dydi)(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits);
  void (*vorn_lbivandnot_dydi)(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits);
  void (*vorn_lbivand3_dydi)(void *dst, uint32_t *popc, const void *a, const void *b, const void *c, uint64_t nbits);
  void (*vorn_lbivor3_dydi)(void *dst, uint32_t *popc, const void *a, const void *b, const void *c, uint64_t nbits);
  void (*vorn_lbivxor3_dydi)(void *dst, uint32_t *popc, const void *a, const void *b, const void *c, uint64_t nbits);
  void (*vorn_lbivset_range_dydi)(void *bv, uint64_t first, uint64_t last);
  void (*vorn_lbivclr_range_dydi)(void *bv, uint64_t first, uint64_t last);
  void (*vorn_lbiv_ictx_ini2_dydi)(vorn_lbiv_ictx *ictx, const void *bv, uint64_t nbits, uint8_t mode, uint64_t start);
  uint64_t (*vorn_lbiviter_dydi)(vorn_lbiv_ictx *ictx);
  uint64_t (*vorn_lbiviter_clr_dydi)(vorn_lbiv_ictx *ictx);
  uint32_t (*vorn_lbivones_dydi)(vorn_lbiv_ictx *ictx, uint32_t *out, uint32_t max);
  uint64_t (*vorn_lbivrun_dydi)(uint64_t a, uint64_t b);
  uint64_t (*vorn_lbivruns_dydi)(uint64_t a, uint64_t b, uint64_t c, uint64_t d);

  /** Bit vectors of whole words. */
  void (*vorn_lbiwvpopcnt_dydi)(uint32_t *popc, const uint64_t *bv, uint64_t nbits);
  void (*vorn_lbiwvnot_dydi)(uint64_t *dst, uint32_t *popc, const uint64_t *src, uint64_t nbits);
  void (*vorn_lbiwvand_dydi)(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits);
  void (*vorn_lbiwvor_dydi)(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits);
  void (*vorn_lbiwvxor_dydi)(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits);
  void (*vorn_lbiwvandnot_dydi)(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits);
  void (*vorn_lbiwvand3_dydi)(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                              uint64_t nbits);
  void (*vorn_lbiwvor3_dydi)(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                             uint64_t nbits);
  void (*vorn_lbiwvxor3_dydi)(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                              uint64_t nbits);
  void (*vorn_lbiwvset_range_dydi)(uint64_t *bv, uint64_t first, uint64_t last);
  void (*vorn_lbiwvclr_range_dydi)(uint64_t *bv, uint64_t first, uint64_t last);
  void (*vorn_lbiwv_ictx_ini2_dydi)(vorn_lbiwv_ictx *ictx, const uint64_t *bv, uint64_t nbits, uint8_t mode,
                                    uint64_t start);
  uint64_t (*vorn_lbiwviter_dydi)(vorn_lbiwv_ictx *ictx);
  uint64_t (*vorn_lbiwviter_clr_dydi)(vorn_lbiwv_ictx *ictx);
  uint32_t (*vorn_lbiwvones_dydi)(vorn_lbiwv_ictx *ictx, uint32_t *out, uint32_t max);
  uint64_t (*vorn_lbiwvrun_dydi)(uint64_t a, uint64_t b);
  uint64_t (*vorn_lbiwvruns_dydi)(uint64_t a, uint64_t b, uint64_t c, uint64_t d);

  /** The kernels behind the entry points of these names without _dydi. */
  uint32_t (*vorn_bloom_dydi)(vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux);
  uint32_t (*vorn_spatial_pip_dydi)(vorn_cv *res, vorn_cv *xs, vorn_cv *ys, vorn_cv *px, vorn_cv *py, vorn_aux *aux);
  uint32_t (*vorn_groupkey_dydi)(vorn_cv *res, uint32_t *nkeys, vorn_cv *cols, uint32_t ncols, vorn_cv *tmp,
                                 vorn_aux *aux);
  uint32_t (*vorn_gby_sum_dydi)(vorn_cv *res, vorn_cv *src, vorn_cv *grp, vorn_aux *aux);
  uint32_t (*vorn_convert_dydi)(vorn_cv *res, vorn_cv *src, vorn_aux *aux);
  uint32_t (*vorn_prefix_decode_dydi)(vorn_cv *res, vorn_cv *src, vorn_aux *aux);
  uint32_t (*vorn_hash_dydi)(vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn, vorn_aux *aux);
  uint32_t (*vorn_ht_build_dydi)(vorn_hash_table *ht, vorn_cv *src, vorn_cv *values, int32_t part, vorn_hashfn hashfn,
                                 vorn_aux *aux);
  uint32_t (*vorn_ht_probe_dydi)(vorn_cv *res, vorn_cv *src, vorn_cv *left, vorn_hash_table *ht, vorn_hashfn hashfn,
                                 vorn_aux *aux);
  uint32_t (*vorn_partition_dydi)(vorn_partition_buffer *pb, vorn_cv *src, vorn_cv *payload, vorn_hashfn hashfn,
                                  vorn_aux *aux);
  uint32_t (*vorn_gather_dydi)(vorn_cv *res, vorn_cv *src, vorn_transpose_table *tbl, vorn_aux *aux);
  uint32_t (*vorn_transpose_reference_dydi)(vorn_transpose_table *tbl, vorn_cv *src, uint32_t col, int32_t arr,
                                            vorn_aux *aux);
  uint32_t (*vorn_transpose_convert_dydi)(vorn_transpose_table *dst, vorn_transpose_table *src, int32_t dst_arr,
                                          int32_t src_arr, uint32_t first, uint32_t last, vorn_aux *aux);
  uint32_t (*vorn_qpak_decode_dydi)(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen, uint32_t dstlen);

  /** May be null. */
  uint32_t (*vorn_thread_ctx_init_dydi)(void *a, void *b, void *c, void *d);
  uint32_t (*vorn_thread_ctx_fini_dydi)(void *a, void *b, void *c, void *d);
};

/** @} */

/** @defgroup data Data
 *  @{ */

/** The implementation in force. */
extern VORN_API vorn_global_ctx_t vorn_global_ctx;

/** The generic kernels and their names, by dispatch index: low byte of vorn_enc_ctx_type << 5 | opcode.  An empty slot
 * is null and named "vorn_invalid_dispatch".  The generic table stays reachable after a load. */
extern VORN_API const vorn_kernel vorn_dispatch_table[VORN_DISPATCH_SLOTS];
extern VORN_API const char *const vorn_dispatch_func_names[VORN_DISPATCH_SLOTS];

/** Population counts of the 256 byte values. */
extern VORN_API const uint8_t vorn_byte_popc[256];

/** Bytes that the values of one byte of dynamic-packed length codes take, by that byte, for the classes of 2, 4 and 8
 * bytes. */
extern VORN_API const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth2[256];
extern VORN_API const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth4[256];
extern VORN_API const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth8[256];

/** Relative costs, for a host that plans scans and projections.  Indexed by the width in bits. */
extern VORN_API const double vorn_scan_fixed[65];
extern VORN_API const double vorn_scan_dict[33];
extern VORN_API const double vorn_scan_dynp[65];
extern VORN_API const double vorn_proj_fixed[65];
extern VORN_API const double vorn_proj_dict[33];
extern VORN_API const double vorn_proj_dynp;
extern VORN_API const double vorn_burst_rle;

/** @} */

/** @defgroup start_up Start-up and queries
 *  @{ */

/** Notifies the library of an event of the host.  VORN_NFY_LOAD comes once, before any other call: it runs
 * vorn_init_global_ctx and hands a nonzero vorn_ctx_trace_level to the trace-level hook.  Other events do nothing. */
VORN_API void vorn_nfy(uint32_t event, vorn_ctx *ctx);

/** Chooses the implementation.  With VORN_INIT_SPECIALIZED in vorn_ctx_init_flags it loads the library that
 * vorn_ctx_lib_name names or, without a name, the best that the processor can run: svxlavx51219, svxlavx219,
 * svxlavx19 or svxlsse4219; with neither, or without the flag, the generic kernels stay in force. */
VORN_API void vorn_init_global_ctx(vorn_ctx *ctx);

/** Loads one specialised library and copies its record over vorn_global_ctx.  Reports a missing library or symbol and
 * returns with nothing changed; reports a wrong version, magic, status or alignment, and softly a wrong name, and,
 * if the reporter returns, goes on with the load.  There is no way back and the library stays loaded. */
VORN_API void vorn_load_global_ctx(vorn_ctx *ctx, const char *name);

/** Callback for the host's trace settings: hands *level to the trace-level hook and returns its result. */
VORN_API uint32_t vorn_set_trace_level_callback(void *a, uint32_t *level, void *c);

/** Set-up and tear-down of a thread: the implementation's result, or VORN_RESULT_NO_IMPLEMENTATION without one. */
VORN_API uint32_t vorn_thread_ctx_init(void *a, void *b, void *c, void *d);
VORN_API uint32_t vorn_thread_ctx_fini(void *a, void *b, void *c, void *d);

/** Requirements of the implementation in force: the bit of vorn_global_ctx_flags itself, zero for no. */
VORN_API uint32_t vorn_is_qpak_packed_dict_required(void);
VORN_API uint32_t vorn_is_byte_aligned_widths_required(void);
VORN_API uint32_t vorn_is_byte_aligned_widths_required_over_2bytes(void);
VORN_API uint32_t vorn_is_decode_bitwvec_required(void);
VORN_API uint32_t vorn_is_qpak_datastream_allowed(void);

/** VORN_DISPATCH_SLOTS. */
VORN_API uint32_t vorn_dispatch_table_size(void);

/** Shaped like a kernel; does nothing and returns VORN_RESULT_REFUSED. */
VORN_API uint32_t vorn_null(vorn_cv *res, vorn_cv *src, const vorn_cv *operand, vorn_aux *aux);

/** Names for diagnostics, static texts.  An opcode without a name is "E^R^R^O^R"; the others give null. */
VORN_API const char *vorn_overload_opc_name(uint32_t opc, uint32_t enc);
VORN_API const char *vorn_flag_name(uint32_t flag);
VORN_API const char *vorn_enc_name(uint32_t enc);
VORN_API const char *vorn_datawidth_name(uint32_t code);

/** Prints name, call count and mean rate of every slot, or of those called, on standard output.  ctx must have both
 * vorn_ctx_call_counts and vorn_ctx_rates. */
VORN_API void vorn_stats_dump(const vorn_ctx *ctx, uint32_t only_called);

/** @} */

/** @defgroup builders Builders
 *  @{ */

/** Stores its arguments and a popcount of 0; leaves vorn_cv_autorid and vorn_cv_size alone.  With null vals and a
 * slot, vorn_cv_vals takes the slot's target. */
VORN_API void vorn_build_vector(vorn_cv *cv, void *vals, void *lens, void *flgs, vorn_enc_ctx *enc, uint64_t *mask_bv,
                                uint64_t *bv, uint32_t nrows, uint32_t stream_len, void **stream_slot,
                                uint64_t stream_tag);
VORN_API void vorn_add_vector_autorid(vorn_cv *cv, uint64_t first_rid);
VORN_API void vorn_add_vector_size(vorn_cv *cv, uint64_t size);

/** Each clears the whole context, sets the flag of its encoding and, for the first three, `flags` with it and the type
 * code.  Widths are in bits.  dict: 1 to 20, 24, 32, 64.  fixed: 8, 16, or a multiple of 8 up to 64; the kernels of 32
 * and 64 bits serve the narrower ones.  dynp: 16, 32, 64.  Any other width is a fatal assertion, or has no kernel. */
VORN_API void vorn_build_encoding_type_dict(vorn_enc_ctx *enc, uint32_t width, const void *syms, const void *lens,
                                            const void *cla, uint32_t nsyms, uint32_t layout, uint32_t flags);
VORN_API void vorn_build_encoding_type_fixed(vorn_enc_ctx *enc, uint32_t width, uint32_t flags);
VORN_API void vorn_build_encoding_type_dynp(vorn_enc_ctx *enc, uint32_t width, uint64_t ignored_a, uint64_t ignored_b,
                                            uint32_t flags);
VORN_API void vorn_build_encoding_type_lp_sep(vorn_enc_ctx *enc);
VORN_API void vorn_build_encoding_type_lp(vorn_enc_ctx *enc);
VORN_API void vorn_build_encoding_type_lv_sep(vorn_enc_ctx *enc);
VORN_API void vorn_build_encoding_type_lv(vorn_enc_ctx *enc);
VORN_API void vorn_build_encoding_type_gd(vorn_enc_ctx *enc);
VORN_API void vorn_build_encoding_type_hashrid(vorn_enc_ctx *enc);
VORN_API void vorn_build_encoding_type_hashgdrid(vorn_enc_ctx *enc);
VORN_API void vorn_build_encoding_type_ridvalue(vorn_enc_ctx *enc);
VORN_API void vorn_build_encoding_type_hash_values(vorn_enc_ctx *enc);
VORN_API void vorn_build_encoding_type_autorid(vorn_enc_ctx *enc);
VORN_API void vorn_build_encoding_type_dlp(vorn_enc_ctx *enc, uint8_t shift, void **table);
VORN_API void vorn_build_encoding_type_row(vorn_enc_ctx *enc, uint16_t a, uint64_t b);

/** Add to a built context.  rle: width 8 or 16, cla may be null, burst_res_bv holds one bit per run.  xlate: kind 1 to
 * 3, width in bytes 1, 2 or 4, -1 for bits and -4 for nibbles.  imca: the type code of the translate group keys. */
VORN_API void vorn_add_encoding_type_rle(vorn_enc_ctx *enc, const void *lens, const void *cla, uint8_t width,
                                         uint32_t nruns, uint64_t *burst_res_bv);
VORN_API void vorn_add_encoding_type_bloom(vorn_enc_ctx *enc, uint8_t ind, uint32_t mask, uint32_t shift,
                                           uint32_t ind_mask);
VORN_API void vorn_add_encoding_type_xlate(vorn_enc_ctx *enc, uint8_t kind, int32_t width, uint32_t c2d, uint32_t shift,
                                           uint32_t mask);
VORN_API void vorn_add_encoding_type_imca(vorn_enc_ctx *enc, int32_t width);

/** Each clears the record and stores its arguments.  What no argument stands for is 0; the host stores it afterwards:
 * vorn_ht_part_low_bits, vorn_pb_fixed_width. */
VORN_API void vorn_build_hash_table(vorn_hash_table *ht, void **tables, void *reserved, void **ovfl_cur,
                                    void **ovfl_end, uint8_t part_hi_bit, uint8_t part_shift, uint8_t bucket_hi_bit,
                                    uint32_t type);
VORN_API void vorn_build_partition_buffer(vorn_partition_buffer *pb, void *reserved, void **cur, void **end,
                                          uint8_t hi_bit, uint8_t shift, uint32_t type);
VORN_API void vorn_build_transpose_table(vorn_transpose_table *tbl, uint8_t ncols, uint16_t width, uint64_t a,
                                         uint8_t hi_bit, uint8_t row_bits, void **in_refs, void **refs, uint64_t b,
                                         void **dlp, uint64_t c, uint64_t d, uint8_t e, void **cla, void **offsets,
                                         uint64_t f, void **data, void **pos, void **end, uint32_t flags);

/** Derive the type codes from the other fields; the builders above call them. */
VORN_API void vorn_build_encoding_type(vorn_enc_ctx *enc);
VORN_API void vorn_build_minor_encoding_type(vorn_enc_ctx *enc);

/** Codes of widths and translate kinds.  A value without a code is a fatal assertion. */
VORN_API uint8_t vorn_convert_width(uint32_t width);
VORN_API uint8_t vorn_xlate_convert_width(int32_t width);
VORN_API uint8_t vorn_xlate_convert_type(uint32_t kind);

/** Build the CLA of src_len lengths in res, from bytes or from big-endian 16-bit numbers.  res_len, in entries, is at
 * least src_len + 1; less is a fatal assertion. */
VORN_API void vorn_build_cla_1_ub1(uint32_t *res, uint32_t res_len, const void *src, uint32_t src_len);
VORN_API void vorn_build_cla_1_ub2(uint32_t *res, uint32_t res_len, const void *src, uint32_t src_len);

/** @} */

/** @defgroup predicates Predicates
 *  @{ */

/**
 * Compares every row of src with a constant.
 *
 * src: vals (aligned), encoding context, nrows, mask_bv; a block-compressed one its stream fields.  cst: vals; an
 * encoding context of the same vorn_enc_ctx_type with VORN_CONST.  What else a constant has to be is not checked:
 *   - dictionary: a uint32_t code that fits the width of the column.  One that does not finds other rows in the full
 *     pass than in the selective one: 259 is 3 to the full pass of width 8, and no code to the selective one.
 *   - fixed: the bytes of a value, and an encoding context of the column's own width.  The type code is the same
 *     for all widths of a class, but with another width the rows are read at wrong places.
 *   - dynamic-packed: all bytes of the class, trailing zeros included, and in lens one byte, the length code.  A code
 *     above 2, 4 or 8 in the classes 16, 32 and 64 is reported.
 *   - VORN_TZ: in lens one byte, the length code, but for fixed values of width 8.
 * res: bv of (nrows + 63) >> 6 words, aligned, and nrows, equal to that of src; bv and popc are written.
 * aux: null, or a filter: only its rows are kept.  Without VORN_AUX_FORCE_SELECTIVE all rows are compared and the
 * filter is ANDed in; with it only its rows are visited, which pays when they are few.
 *
 * A run-length source is compared once per run: it needs vorn_enc_ctx_burst_res_bv for one bit per run, which
 * vorn_decode_rle_burst expands to rows.  Its mask holds one bit per run; its filter is dropped: vorn_aux_filter_bv is
 * null after the call.
 *
 * Returns VORN_RESULT_DONE, VORN_RESULT_EMPTY or the result of the burst, and VORN_RESULT_REFUSED, with nothing
 * written, for a length code that was reported.  opc is VORN_OPC_EQ to VORN_OPC_NE.
 */
VORN_API uint32_t vorn_cmp(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux,
                           uint32_t opc);

/** vorn_cmp with the opcode of the name. */
VORN_API uint32_t vorn_eq(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux);
VORN_API uint32_t vorn_lt(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux);
VORN_API uint32_t vorn_gt(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux);
VORN_API uint32_t vorn_le(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux);
VORN_API uint32_t vorn_ge(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux);
VORN_API uint32_t vorn_ne(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux);

/**
 * Compares every row of src with two constants: a row matches when it lies between lo and hi, bounds included or not as
 * the opcode says.  The rules are those of vorn_cmp, for both constants.  opc is VORN_OPC_GT_LT to VORN_OPC_GE_LE.
 */
VORN_API uint32_t vorn_range_cmp(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                                 vorn_aux *aux, uint32_t opc);

/** vorn_range_cmp with the opcode of the name: lo < x < hi, lo < x <= hi, lo <= x < hi, lo <= x <= hi. */
VORN_API uint32_t vorn_gt_lt(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                             vorn_aux *aux);
VORN_API uint32_t vorn_gt_le(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                             vorn_aux *aux);
VORN_API uint32_t vorn_ge_lt(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                             vorn_aux *aux);
VORN_API uint32_t vorn_ge_le(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                             vorn_aux *aux);

/**
 * Selects the rows whose dictionary code is a member of a set.  set: vorn_cv_bv alone is read, one bit per code,
 * aligned to VORN_JOIN_BITWVEC_ALIGN; it covers every code that the column can contain.  Code 0 counts like any other.
 * There is no kernel for VORN_NULLS or the width 64: the slot is empty, and the call ends the process.
 * The mask of src is not applied: vorn_cv_mask_bv is null after the call.  Otherwise as vorn_cmp.
 */
VORN_API uint32_t vorn_in_set(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *set, vorn_aux *aux);

/** The opcode of a predicate code of the sibling module rowz, VORN_OPC_NONE for a code that is none. */
VORN_API uint32_t vorn_convert_rowz_pcode(uint8_t code);

/** @} */

/** @defgroup decoders Decoders
 *  @{ */

/**
 * Decodes the dictionary codes of a list of rows to their values, without copying them.
 *
 * src: vals (aligned), encoding context with VORN_DICT, no VORN_NULLS, no width 64.  aux: vorn_aux_ones_vec, n row
 * numbers in any order, n in vorn_aux_ones_vec_size; over runs they number the runs.  They are not checked.  The rate
 * of a timed call is that of the last number less the first one, which means nothing where the list does not ascend.
 * res: vals, an array of n addresses into vorn_enc_ctx_dict_syms; lens, n uint16_t; flgs, n uint16_t, 2 for NULL, which
 * is a value of length 0, else 0.  Entry i belongs to row i of the list.  When all values are NULL because their one
 * length is 0, vals is not written.  vorn_cv_popc becomes n, vorn_aux_start_slot the last row.
 *
 * Returns VORN_RESULT_DONE, or VORN_RESULT_NO_IMPLEMENTATION for an unknown vorn_enc_ctx_dict_layout.
 */
VORN_API uint32_t vorn_decode(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/** 1 for a vorn_enc_ctx_dict_layout that the decoders know, else 0. */
VORN_API uint32_t vorn_decode_is_vorn_dict_type_supported(uint32_t layout);

/**
 * Unpacks dictionary codes to an array of integers in the processor's order, in batches.
 *
 * src: as for vorn_decode.  res: vals, room for vorn_cv_nrows elements; an element has 1 byte for codes of up to 8
 * bits, 2 up to 16, else 4, or always 4 with VORN_AUX_UNPACK_UB4.  vorn_cv_popc becomes the number of elements written.
 * aux, not null, says which rows:
 *   - with a filter, its rows from vorn_aux_start_slot on;
 *   - else with vorn_aux_ones_vec, the rows of that list, ascending over runs; all of them, whatever the room;
 *   - else all rows from vorn_aux_start_slot on.
 * vorn_aux_start_slot becomes the last row dealt with.  To go on, add 1 to it and leave vorn_aux_run_idx and
 * vorn_aux_run_end, the run of that row and the row behind it, alone; a walk that starts at row 0 starts afresh.  The
 * walk is over at the last row of src, or when nothing was written.
 *
 * Without a filter and a list every run has at least one row: an empty one makes wrong codes, or writes in front of
 * vals.  By a filter or a list, and in predicates and bursts, a run may be empty.
 *
 * Returns VORN_RESULT_DONE, or VORN_RESULT_EMPTY when nothing was written.
 */
VORN_API uint32_t vorn_decode_unpack(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/** The same by the generic kernel and without the checks; vorn_aux_ctx must be set. */
VORN_API uint32_t vorn_dispatch_decode_unpack(vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/**
 * Decodes an array of vorn_cv_nrows codes, as vorn_decode_unpack writes it, to the outputs of vorn_decode.  src: an
 * encoding context of the width 8, 16 or 32 with the dictionary; the elements have as many bits, or 32 with
 * VORN_AUX_UNPACK_UB4.  flgs of res may be null.  vorn_cv_popc becomes vorn_cv_nrows of src.  This entry takes its
 * kernel by the whole of vorn_enc_ctx_type, the others by its low byte: the upper bytes are zero, as a builder leaves
 * them.
 *
 * With VORN_AUX_COPY_VALUES, the width 32 and VORN_DICT_ONE_LENGTH the values themselves go back to back into
 * vorn_cv_vals of res, and lens and flgs are not written.
 */
VORN_API uint32_t vorn_decode_symbol(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/**
 * Rebuilds prefix-compressed values of vorn_enc_ctx_prefix_vlen bytes into vals of res, back to back.
 *
 * src: prefix groups, with the three prefix fields of the encoding context.
 * aux may be null.  vorn_aux_prefix_out, unless null, is an array of 16 bytes per value: its address in vals of res,
 * its length and 0 as uint16_t, and 4 bytes that are left as they are.
 *
 * Returns VORN_RESULT_DONE, or VORN_RESULT_NO_IMPLEMENTATION for other groups than of 16, or lengths than 1 to 8.
 */
VORN_API uint32_t vorn_prefix_decode(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/** The same by the generic implementation alone. */
VORN_API uint32_t vorn_prefix_decode_dydi(vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/**
 * Expands one bit per run to one bit per row.  src: a run-length encoding context, run lengths and CLA aligned to
 * VORN_DATASTREAM_ALIGN; the lengths add up to no more than vorn_cv_nrows of res.  aux, not null: vorn_aux_filter_bv is
 * the per-run vector, distinct from vorn_cv_bv of res, which is written with vorn_cv_popc.  With a CLA the runs that
 * are not selected cost nothing.  Predicates call it through vorn_enc_ctx_burst_fn.
 */
VORN_API uint32_t vorn_decode_rle_burst(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/**
 * Decodes a block-compressed stream of dstlen bytes; what a host normally puts into vorn_ctx_decompress.  Checks the
 * alignments, fills in scratch allocators where the context has none, and runs the decoder in force; when one that is
 * not the host's own fails, the host's has the last word.  0 on success.  *outlen is the decoder's to write.
 */
VORN_API uint32_t vorn_qpak_decode(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen, uint32_t dstlen);

/** The same without checks, by qpak_decode of the host. */
VORN_API uint32_t vorn_qpak_decode_dydi(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen,
                                        uint32_t dstlen);

/** @} */

/** @defgroup bit_vectors Bit vectors
 *  @{ */

/**
 * Two families of the same seventeen operations, without checks; a host calls them through the slots of
 * vorn_global_ctx.  A vector of lbiv is (nbits + 7) >> 3 bytes at any address, one of lbiwv (nbits + 63) >> 6 words,
 * which are read and written whole.  Bit i has the same place in both.
 *
 * nbits is at least 1.  Combinations write zeros behind nbits up to the end of the last byte or word and nothing after
 * that; stray bits in the sources do not matter.  dst may be any of the sources, but not overlap one otherwise.  popc
 * receives the number of ones; with null they are not counted.
 *
 * An iterator stays ready until it has returned the end; it holds nothing to free.  Vectors have fewer than 2^31 bits,
 * and only delivered bits may change meanwhile.  An iterator readied with mode 1 goes on with iter_clr, any other with
 * iter and ones, which may take turns.
 */

/** Writes the number of ones of bv; does nothing without popc. */
VORN_API void vorn_lbivpopcnt_dydi(uint32_t *popc, const void *bv, uint64_t nbits);

/** dst = NOT src. */
VORN_API void vorn_lbivnot_dydi(void *dst, uint32_t *popc, const void *src, uint64_t nbits);

/** dst = a AND b. */
VORN_API void vorn_lbivand_dydi(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits);

/** dst = a OR b. */
VORN_API void vorn_lbivor_dydi(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits);

/** dst = a XOR b. */
VORN_API void vorn_lbivxor_dydi(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits);

/** dst = (NOT a) AND b: the first source is complemented. */
VORN_API void vorn_lbivandnot_dydi(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits);

/** dst = a AND b AND c. */
VORN_API void vorn_lbivand3_dydi(void *dst, uint32_t *popc, const void *a, const void *b, const void *c,
                                 uint64_t nbits);

/** dst = a OR b OR c. */
VORN_API void vorn_lbivor3_dydi(void *dst, uint32_t *popc, const void *a, const void *b, const void *c, uint64_t nbits);

/** dst = a XOR b XOR c. */
VORN_API void vorn_lbivxor3_dydi(void *dst, uint32_t *popc, const void *a, const void *b, const void *c,
                                 uint64_t nbits);

/** Set or clear the bits first to last, both included; first is not above last. */
VORN_API void vorn_lbivset_range_dydi(void *bv, uint64_t first, uint64_t last);
VORN_API void vorn_lbivclr_range_dydi(void *bv, uint64_t first, uint64_t last);

/** Readies ictx to iterate from bit start, which lies in a stored byte.  mode 1: over clear bits. */
VORN_API void vorn_lbiv_ictx_ini2_dydi(vorn_lbiv_ictx *ictx, const void *bv, uint64_t nbits, uint8_t mode,
                                       uint64_t start);

/** The next set bit, the next clear bit, ascending; 0xffffffff at the end, and ever after. */
VORN_API uint64_t vorn_lbiviter_dydi(vorn_lbiv_ictx *ictx);
VORN_API uint64_t vorn_lbiviter_clr_dydi(vorn_lbiv_ictx *ictx);

/** Writes up to max next set bits to out and returns how many; a later call resumes. */
VORN_API uint32_t vorn_lbivones_dydi(vorn_lbiv_ictx *ictx, uint32_t *out, uint32_t max);

/** Placeholders: do nothing and return 0xffffffff and 0. */
VORN_API uint64_t vorn_lbivrun_dydi(uint64_t a, uint64_t b);
VORN_API uint64_t vorn_lbivruns_dydi(uint64_t a, uint64_t b, uint64_t c, uint64_t d);

/** The same over whole words; the kernels of the library call these directly. */

/** Writes the number of ones of bv; does nothing without popc. */
VORN_API void vorn_lbiwvpopcnt_dydi(uint32_t *popc, const uint64_t *bv, uint64_t nbits);

/** dst = NOT src. */
VORN_API void vorn_lbiwvnot_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *src, uint64_t nbits);

/** dst = a AND b. */
VORN_API void vorn_lbiwvand_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits);

/** dst = a OR b. */
VORN_API void vorn_lbiwvor_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits);

/** dst = a XOR b. */
VORN_API void vorn_lbiwvxor_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits);

/** dst = (NOT a) AND b: the first source is complemented. */
VORN_API void vorn_lbiwvandnot_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b,
                                    uint64_t nbits);

/** dst = a AND b AND c. */
VORN_API void vorn_lbiwvand3_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b,
                                  const uint64_t *c, uint64_t nbits);

/** dst = a OR b OR c. */
VORN_API void vorn_lbiwvor3_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                                 uint64_t nbits);

/** dst = a XOR b XOR c. */
VORN_API void vorn_lbiwvxor3_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b,
                                  const uint64_t *c, uint64_t nbits);

/** Set or clear the bits first to last, both included; first is not above last. */
VORN_API void vorn_lbiwvset_range_dydi(uint64_t *bv, uint64_t first, uint64_t last);
VORN_API void vorn_lbiwvclr_range_dydi(uint64_t *bv, uint64_t first, uint64_t last);

/** Readies ictx to iterate from bit start, which lies in a stored word.  mode 1: over clear bits. */
VORN_API void vorn_lbiwv_ictx_ini2_dydi(vorn_lbiwv_ictx *ictx, const uint64_t *bv, uint64_t nbits, uint8_t mode,
                                        uint64_t start);

/** The next set bit, the next clear bit, ascending; all ones in 64 bits at the end, and ever after. */
VORN_API uint64_t vorn_lbiwviter_dydi(vorn_lbiwv_ictx *ictx);
VORN_API uint64_t vorn_lbiwviter_clr_dydi(vorn_lbiwv_ictx *ictx);

/** Writes up to max next set bits to out and returns how many; a later call resumes. */
VORN_API uint32_t vorn_lbiwvones_dydi(vorn_lbiwv_ictx *ictx, uint32_t *out, uint32_t max);

/** Placeholders: do nothing and return all ones in 64 bits and 0. */
VORN_API uint64_t vorn_lbiwvrun_dydi(uint64_t a, uint64_t b);
VORN_API uint64_t vorn_lbiwvruns_dydi(uint64_t a, uint64_t b, uint64_t c, uint64_t d);

/** @} */

/** @defgroup joins Hashing and joins
 *
 * A hash join takes these steps, of which only build and probe are needed:
 *
 *     vorn_bloom                            drops probe rows that cannot match
 *     vorn_partition                        splits the rows of a side by bits of their hash
 *     vorn_ht_build                         inserts the rows of the build side into a hash table
 *     vorn_ht_probe                         writes a pair for each slot whose tag is that of a probe row
 *     vorn_transpose_...                    prepare a store of values
 *     vorn_gather                           fetches the values of the rows that the pairs name
 *
 * The rows of a vector are in one of the row forms; the result of a step has one too, and is the source of the next.
 * When a vector carries several of these flags, the first one in the list of the entry point counts.
 *
 * The library has no hash function.  The host hands one to every call that hashes keys: a pure function of the bytes,
 * their number and the seed, whose values spread over all 64 bits.  It may be null where nothing is hashed; otherwise
 * the call returns VORN_RESULT_NO_IMPLEMENTATION and writes nothing, unless a specialised library brings its own.
 *
 * Resuming.  A call that runs out of room has done all rows before vorn_aux_start_slot and none from there on; the host
 * makes room and calls again with the same arguments and the same aux.  For a vector in VORN_LV or VORN_LV_SEP
 * vorn_aux_out_pos is the byte position of that row in its vals.  A first call has both at 0.  aux is never null,
 * except for vorn_bloom.  A kernel that returns VORN_RESULT_REFUSED has changed nothing.
 *  @{ */

/**
 * Hashes every row of src: one uint64_t per row into vals of res, of which nothing else is read or written.
 *
 * src: VORN_FIXED, VORN_DICT, VORN_LV_SEP, VORN_LV, VORN_LP_SEP or VORN_LP.  seed: a vector with VORN_HASH_VALUES.  Its
 * one value is the seed of all rows; with any other number of rows it has a seed for each row of src.
 * The rows always begin at the first one: vorn_aux_start_slot is not read.
 *
 * Returns VORN_RESULT_DONE, or VORN_RESULT_REFUSED for another seed or form.
 */
VORN_API uint32_t vorn_hash(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn,
                            vorn_aux *aux);

/** The same without a hash function, for a specialised library that has one. */
VORN_API uint32_t vorn_hash_implicit(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_aux *aux);

/**
 * Inserts rows into a hash table.  Equal keys are all kept, in their order; a slot holds a tag and a value, not the
 * key.
 *
 * ht: built by vorn_build_hash_table.  Per partition it has 2^(vorn_ht_bucket_hi_bit + 1 - T) buckets, zero at first,
 * and room for overflow buckets, of 64 bytes each, in any state.
 * src: the keys.  VORN_HASHRID, VORN_FIXED, VORN_LV_SEP, VORN_LV, VORN_LP_SEP, VORN_LP or VORN_HASH_VALUES; for a table
 * with VORN_HT_GD VORN_GD, or VORN_HASHGDRID for values of 64 bits.
 * values: with VORN_AUTORID the row identifiers, else an array of uint32_t or uint64_t by the type of the table, one
 * per row of src; its number of rows is not read.  VORN_HASHRID and VORN_HASHGDRID have the values in their records.
 * part: the one partition that all rows belong to, or negative: each row's follows from its hash.
 *
 * Returns VORN_RESULT_DONE; VORN_RESULT_REFUSED for another type or form; VORN_RESULT_NO_OVERFLOW when a row needs an
 * overflow bucket and its partition has none left.  vorn_aux_full_part is then the high part of its number, the bits of
 * the hash above vorn_ht_bucket_hi_bit, without vorn_ht_part_low_bits.  The host stores new room in vorn_ht_ovfl_cur
 * and vorn_ht_ovfl_end and resumes.
 *
 * Threads build one table at once only with a part of their own each.
 */
VORN_API uint32_t vorn_ht_build(const vorn_ctx *ctx, vorn_hash_table *ht, vorn_cv *src, vorn_cv *values, int32_t part,
                                vorn_hashfn hashfn, vorn_aux *aux);

/**
 * Looks rows up in a hash table and writes the pairs of each row and every slot that has its tag, the rows in their
 * order, the slots in the order of insertion.  Pairs are candidates, since other keys may have the same tag; those of a
 * table with VORN_HT_GD are exact.
 *
 * src: the keys.  VORN_FIXED, VORN_LV_SEP, VORN_LV, VORN_LP_SEP, VORN_LP or VORN_HASH_VALUES; for a table with
 * VORN_HT_GD VORN_GD.  The hash function is that of the build.
 * left: what a pair says of its row: with VORN_AUTORID the 64-bit row identifier, else an element of an array of
 * uint32_t or uint64_t by the type of the table; its number of rows is not read.
 * res: vals, room for vorn_cv_nrows pairs in VORN_RIDVALUE; vorn_cv_nrows becomes the number of pairs, which begin at
 * vals in every call.
 *
 * Returns VORN_RESULT_DONE, also without a pair; VORN_RESULT_REFUSED for another type or form; VORN_RESULT_PROBE_FULL
 * when there is a match without room.  The pairs of a row come in one call, so a row with more matches than res has
 * room for never gets on.  The host takes the pairs, sets vorn_cv_nrows of res to its room and resumes.
 */
VORN_API uint32_t vorn_ht_probe(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *left, vorn_hash_table *ht,
                                vorn_hashfn hashfn, vorn_aux *aux);

/**
 * Appends a record for each row to the area of its partition, (h & (2^(vorn_pb_hi_bit + 1) - 1)) >> vorn_pb_shift for
 * the hash value h.  The rows of a partition keep their order.
 *
 * pb: per partition a cursor and, unless vorn_pb_end is null, the end of the area.
 * src: the keys.  VORN_FIXED, VORN_LV_SEP, VORN_LV, VORN_LP_SEP, VORN_LP, VORN_HASH_VALUES; by vorn_pb_type also
 *   - VORN_PB_RID: VORN_HASHRID, whose records are copied;
 *   - VORN_PB_RID_GD: VORN_GD alone;
 *   - VORN_PB_LV: VORN_LV with VORN_HASH_VALUES, whose records are copied.
 * payload, by vorn_pb_type; its number of rows is not read:
 *   - VORN_PB_RID, VORN_PB_RID_GD: VORN_AUTORID, or else an array of uint64_t row identifiers;
 *   - VORN_PB_LV: values in VORN_FIXED, VORN_LV_SEP, VORN_LV, VORN_LP_SEP or VORN_LP;
 *   - VORN_PB_FIXED: VORN_FIXED, stepped through by its own width.
 *
 * Returns VORN_RESULT_DONE; VORN_RESULT_REFUSED for another type or combination; VORN_RESULT_PARTITION_FULL when a
 * record does not fit: vorn_aux_full_part is its partition, vorn_aux_out_pos2 the byte position of its row in a payload
 * in VORN_LV or VORN_LV_SEP.  The host makes room, by draining the area, say, and resumes.
 */
VORN_API uint32_t vorn_partition(const vorn_ctx *ctx, vorn_partition_buffer *pb, vorn_cv *src, vorn_cv *payload,
                                 vorn_hashfn hashfn, vorn_aux *aux);

/**
 * Fetches values by row identifiers, or copies values that src refers to.
 *
 * res: vals, room for vorn_cv_size bytes; output begins there in every call.  The form of the result:
 *   - VORN_FIXED: vorn_tt_width / 8 bytes each;
 *   - VORN_LV_SEP, VORN_LV: the values; VORN_LP_SEP, VORN_LP: where they are;
 *   - VORN_DLP: a word per row of src, at the place of the row, whose offset field is the partition, shifted by
 *     vorn_enc_ctx_dlp_shift, plus as many low bits of the address; without a test for room.
 * VORN_LV_SEP and VORN_LP_SEP write lens, which has room for the rows of src.  vorn_cv_nrows is not written: the rows
 * done are those before vorn_aux_start_slot.
 * src, for values in tbl: the identifiers, VORN_FIXED of up to 8 bytes, or VORN_RIDVALUE, of which the table value is
 * followed, or with VORN_AUX_RID the left value.  An identifier is a row in its low vorn_tt_row_bits and a partition
 * in the bits above, up to vorn_tt_hi_bit; it is not checked.
 * tbl: values by length-pointer entries (VORN_TT_LP), by dlp words (VORN_TT_DLP) or by offsets (VORN_TT_CLA).  Dlp
 * words are relative to entry 0 of the vorn_enc_ctx_dlp_table of res, with its vorn_enc_ctx_dlp_shift, whatever the
 * form of res.
 * src, for results in VORN_LV_SEP and VORN_LV, may also hold the values: VORN_LP_SEP, VORN_LP or VORN_DLP.  tbl is
 * then not read.
 *
 * Returns VORN_RESULT_DONE; VORN_RESULT_REFUSED for another form or kind; VORN_RESULT_OUTPUT_FULL when a row has no
 * room left: the host takes the output and resumes.
 */
VORN_API uint32_t vorn_gather(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_transpose_table *tbl,
                              vorn_aux *aux);

/**
 * Enters references to the values of a column, length and pointer, into a matrix of rows.
 *
 * tbl: VORN_TT_LP; vorn_tt_refs of partition arr is the start of the matrix, whose row r has its entries, of 16 bytes
 * like those of VORN_LP, from r * vorn_tt_ncols on.  The cursor stays where it is.
 * src: VORN_FIXED, VORN_LV_SEP, VORN_LV, VORN_LP_SEP or VORN_LP.  col: the column, below vorn_tt_ncols.
 *
 * Returns VORN_RESULT_DONE, or VORN_RESULT_REFUSED for another form or table.
 */
VORN_API uint32_t vorn_transpose_reference(const vorn_ctx *ctx, vorn_transpose_table *tbl, vorn_cv *src, uint32_t col,
                                           int32_t arr, vorn_aux *aux);

/**
 * Copies the values of the rows first to last, both included, of a matrix to one output: with VORN_TT_ROW in dst and
 * not in src a record per row, each value behind its 16-bit length; otherwise value by value, without lengths.
 *
 * src: vorn_tt_ncols, and vorn_tt_in_refs of partition src_arr, the matrix.
 * dst: of partition dst_arr vorn_tt_pos, where the bytes go, and vorn_tt_end; what describes the output is
 *   - VORN_TT_CLA: at the cursor vorn_tt_offsets the 32-bit end of each record or value; a call with first 0 writes a 0
 *     in front, others go on from the entry before the cursor;
 *   - VORN_TT_LP: at the cursor vorn_tt_refs an entry for each; the length of a record does not count the 2 bytes
 *     before each value.
 * The cursors move on.  vorn_aux_start_slot becomes last + 1, or first where that is above last.
 *
 * Returns VORN_RESULT_DONE; VORN_RESULT_REFUSED without dst or with neither flag in it; VORN_RESULT_TRANSPOSE_FULL when
 * a row does not fit: the cursors stand behind the rows that did, vorn_aux_start_slot is the row, and the host goes on
 * with it as first.  When that is row 0 and VORN_TT_CLA, the leading 0 is there already.
 */
VORN_API uint32_t vorn_transpose_convert(const vorn_ctx *ctx, vorn_transpose_table *dst, vorn_transpose_table *src,
                                         int32_t dst_arr, int32_t src_arr, uint32_t first, uint32_t last,
                                         vorn_aux *aux);

/**
 * Tests hash values against a bit map that the host has made of the other side of a join.
 *
 * src: VORN_HASH_VALUES; big-endian values of 32 bits when the width is 32, else of 64 bits.
 * filter: vorn_cv_bv, the map, and an encoding context with vorn_add_encoding_type_bloom.  A hash value h, cut to 32
 * bits, tests the bit h & vorn_enc_ctx_bloom_mask of the map.  With vorn_enc_ctx_bloom_ind vorn_cv_bv is an array of
 * pointers to maps: the masked h, shifted right by vorn_enc_ctx_ind_shift, selects one, and masked with
 * vorn_enc_ctx_ind_mask the bit in it.
 * res: bv, aligned, of (nrows + 63) >> 6 words, nrows of src.  Bits are only set: it is clear at first.  vorn_cv_popc
 * becomes the number of rows that pass, and the two uint32_t at vals the first and the last of them, 0xffffffff twice
 * without any.
 * aux: null, or vorn_aux_start_row, the first row to test, and a filter: only its rows are tested.  The filter of a
 * run-length source is dropped: vorn_aux_filter_bv is null after the call.
 *
 * Returns VORN_RESULT_DONE, VORN_RESULT_EMPTY, or VORN_RESULT_REFUSED for another form.
 */
VORN_API uint32_t vorn_bloom(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux);

/** The same by the generic implementation alone; aux is not null. */
VORN_API uint32_t vorn_bloom_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux);

/** @} */

/** @defgroup expressions Translation, groups and arithmetic
 *  @{ */

/**
 * Looks the key of every row up in a table: which rows have an entry, and what it says.
 *
 * src: VORN_HASH_VALUES and the width 32, big-endian keys.  All of them lie in the table: nothing is checked.
 * tbl: vorn_cv_bv, a translate table; an encoding context with vorn_add_encoding_type_xlate.
 * res: bv, aligned, of (nrows + 63) >> 6 words, nrows of src.  Bits are only set: it is clear at first.  vorn_cv_popc
 * becomes the number of rows with an entry, and the two uint32_t at vals the first and the last of them, 0xffffffff
 * twice without any.  The result code is always VORN_RESULT_DONE.
 * aux, not null: vorn_aux_start_row, the first row, and a filter: only its rows are looked up.  The filter of a
 * run-length source is dropped: vorn_aux_filter_bv is null after the call.  vorn_aux_xlate_enc, for tables of kind 2,
 * is the encoding context whose vorn_enc_ctx_xlate_base is the base.  vorn_aux_xlate_tbl, with c2d, receives the entry
 * of every row that is looked up, misses too, in an array of elements of the width of an entry.
 *
 * With an encoding context of vorn_add_encoding_type_imca it adds to group keys instead: src has the width 32 and codes
 * in the processor's order, vorn_aux_xlate_tbl is the table, and each uint32_t at vals of res grows by the entry of the
 * row times vorn_aux_xlate_n.
 */
VORN_API uint32_t vorn_xlate(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *tbl, vorn_aux *aux);

/**
 * Folds the dictionary codes of several columns into one number per row, less than *nkeys: with VORN_AUX_MULTIPLY
 * key * vorn_enc_ctx_dict_nsyms + code from column to column, otherwise (key << width) + code.
 *
 * cols: an array of ncols columns, at least one and at most 32 over runs, as for vorn_decode_unpack; the first one
 * tells the number of rows.  res: vals, room for vorn_cv_nrows keys of 32 bits; vorn_cv_popc becomes their number; bv
 * is aligned.  tmp: vals, room for vorn_cv_nrows numbers of 32 bits, the rows of a batch.
 * aux, not null: vorn_aux_start_slot, the first row, and a filter.  It keeps its position: after
 * VORN_RESULT_OUTPUT_FULL the host finds the row to go on with by the number of keys.
 *
 * Returns VORN_RESULT_DONE; VORN_RESULT_REFUSED for a column without VORN_DICT, VORN_RESULT_KEY_SPACE when the number
 * of keys exceeds 2^32 - 1, both with nothing written; VORN_RESULT_OUTPUT_FULL when rows remain.
 */
VORN_API uint32_t vorn_groupkey(const vorn_ctx *ctx, vorn_cv *res, uint32_t *nkeys, vorn_cv *cols, uint32_t ncols,
                                vorn_cv *tmp, vorn_aux *aux);

/**
 * Adds numbers to the accumulators that keys select, row by row, or their sum to the first one.
 *
 * src: numbers.  grp: null, or vals, a uint32_t per row of src.  res: vals, an array of float, double or, for
 * VORN_NUM_DSB, int64_t, which wraps around; it has an accumulator for each key.  aux is not null.
 *
 * Returns VORN_RESULT_DONE, or VORN_RESULT_NO_IMPLEMENTATION for another kind of numbers.
 */
VORN_API uint32_t vorn_gby_sum(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *grp, vorn_aux *aux);

/**
 * Computes left + right, left - right or left * right row by row, by VORN_OPC_ADD, VORN_OPC_SUB or VORN_OPC_MUL.
 *
 * left, right: float or double numbers of the kind of left, each native or canonical.  One of them may be a constant,
 * with VORN_CONST: its first number goes with every row.  There are as many rows as the longer one has.
 * res: vals, a native number per row, which may be the array of an operand, or with VORN_AUX_SUM one accumulator to
 * which the sum of the rows is added.  aux may be null.
 *
 * Returns VORN_RESULT_DONE.  A kind that is neither is reported; then VORN_RESULT_NO_IMPLEMENTATION.
 */
VORN_API uint32_t vorn_arith(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux,
                             uint32_t opcode);

/** vorn_arith with the opcode of the name. */
VORN_API uint32_t vorn_add(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux);
VORN_API uint32_t vorn_sub(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux);
VORN_API uint32_t vorn_mul(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux);

/** There is no division: VORN_RESULT_NO_IMPLEMENTATION. */
VORN_API uint32_t vorn_div(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux);

/**
 * Converts canonical numbers to native ones in vals of res, or with VORN_AUX_SUM adds the sum of numbers, of
 * VORN_NUM_DSB too, to the accumulator there.  aux may be null.
 *
 * Returns VORN_RESULT_DONE, or VORN_RESULT_NO_IMPLEMENTATION where there is nothing to convert: native numbers, or
 * VORN_NUM_DSB, without a sum, or another kind.
 */
VORN_API uint32_t vorn_convert(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/**
 * Counts the edges of a ring that a ray crosses which runs from a point towards growing x.  An odd number says that the
 * point is inside.
 *
 * xs, ys: vals, the coordinates of the vertices, native doubles; vorn_cv_nrows of xs is their number, and the last one
 * is joined to the first.  px, py: vals, those of the point.  res: vals, one uint32_t.  aux may be null.
 *
 * A vertex at the height of the ray counts as below it, and a point on an edge does not count that edge: of a square,
 * the left and the bottom side are inside.
 */
VORN_API uint32_t vorn_spatial_pip(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *xs, vorn_cv *ys, vorn_cv *px,
                                   vorn_cv *py, vorn_aux *aux);

/** Operations without an implementation: VORN_RESULT_NO_IMPLEMENTATION.  They are traced and timed by src; aux is not
 * null, the other arguments are not read. */
VORN_API uint32_t vorn_dk_create(const vorn_ctx *ctx, const void *a, const void *b, const void *c, const vorn_cv *src,
                                 const void *d, const void *e, vorn_aux *aux);
VORN_API uint32_t vorn_compare(const vorn_ctx *ctx, const void *a, const vorn_cv *src, const void *b, vorn_aux *aux);

/** The same by the generic implementations alone, with vorn_aux_ctx set where they need a host. */
VORN_API uint32_t vorn_groupkey_dydi(vorn_cv *res, uint32_t *nkeys, vorn_cv *cols, uint32_t ncols, vorn_cv *tmp,
                                     vorn_aux *aux);
VORN_API uint32_t vorn_gby_sum_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *grp, vorn_aux *aux);
VORN_API uint32_t vorn_convert_dydi(vorn_cv *res, vorn_cv *src, vorn_aux *aux);
VORN_API uint32_t vorn_spatial_pip_dydi(vorn_cv *res, vorn_cv *xs, vorn_cv *ys, vorn_cv *px, vorn_cv *py,
                                        vorn_aux *aux);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* VORN_H */
