/** @file
 * vorn: kernels over compressed column vectors.
 *
 * A host process keeps table data in memory in compressed columns. It gives the library a batch of rows at a time. The
 * library evaluates predicates on the compressed form, decodes, hashes, joins, groups and computes. It writes its
 * results into memory of the host. The library owns no data, no thread, no lock and no file.
 *
 * A first scan: which rows of a column hold a code of at least 7? The host has filled the context ctx with its services
 * (frame/host.h).
 *
 * @code{.c}
 * #include <vorn/vorn.h>
 *
 * uint64_t first_scan(vorn_ctx *ctx) {
 *   _Alignas(8) uint8_t codes[8] = {0x3a, 0x17, 0x95, 0x0c}; // eight codes of 4 bits: 3 10 1 7 9 5 0 12; then slack
 *   uint32_t bound = 7;
 *   uint64_t hits[1];
 *   vorn_enc_ctx column, constant;
 *   vorn_cv src = {0}, cst = {0}, res = {0};
 *
 *   vorn_nfy(VORN_NFY_LOAD, ctx); // once per process: chooses the implementation
 *   vorn_build_encoding_type_dict(&column, 4, NULL, NULL, NULL, 16, VORN_DICT_ONE_LENGTH, 0);
 *   vorn_build_encoding_type_dict(&constant, 4, NULL, NULL, NULL, 16, VORN_DICT_ONE_LENGTH, VORN_CONST);
 *   vorn_build_vector(&src, codes, NULL, NULL, &column, NULL, NULL, 8, 0, NULL, 0);
 *   vorn_build_vector(&cst, &bound, NULL, NULL, &constant, NULL, NULL, 1, 0, NULL, 0);
 *   vorn_build_vector(&res, NULL, NULL, NULL, NULL, NULL, hits, 8, 0, NULL, 0);
 *
 *   vorn_ge(ctx, &res, &src, &cst, NULL);
 *   return hits[0]; // 0x9a: bit r is set for each row r that matches; res.vorn_cv_popc is 4
 * }
 * @endcode
 *
 * Contents, in this order:
 *
 *     essentials     the calls that most hosts need
 *     terms          words of the field and abbreviations in names
 *     conventions    rules that are valid for every call
 *     messages       what a wrong call reports
 *     results        result codes of entry points and kernels
 *     codes          opcodes and encodings
 *     flags          flag bits of the records
 *     records        vectors, encodings, contexts, iterators, the implementation in force
 *     forms          stored forms, byte by byte
 *     data           exported tables
 *     start_up       start-up, loading, queries, names
 *     builders       of vectors, encodings, type codes and cumulative length arrays
 *     predicates     comparisons, ranges, sets
 *     decoders       values, unpacked codes, prefix groups, bursts, block-compressed streams
 *     bit_vectors    combinations, counts, ranges and iteration
 *     joins          hashing, hash tables, partitions, transposition, gather, the bloom test
 *     expressions    translation, group keys, sums, arithmetic, conversion, point in polygon
 */

/**
 * @defgroup essentials The calls that most hosts need
 *
 * Five calls make a scan. The other entry points follow the same pattern: a context, a result, operands, and a record
 * vorn_aux that may hold a filter.
 *
 *  1. Start. vorn_nfy(event, ctx) chooses the implementation. It comes once, before all other calls.
 *
 * @code{.c}
 * ctx.vorn_ctx_init_flags = VORN_INIT_SPECIALIZED; // the best library that the processor can run
 * vorn_nfy(VORN_NFY_LOAD, &ctx);
 * @endcode
 *
 *  2. Describe. vorn_build_encoding_type_dict(enc, width, syms, lens, cla, nsyms, layout, flags) says how values are
 *     stored. vorn_build_vector(cv, vals, lens, flgs, enc, mask_bv, bv, nrows, ...) describes a column, a constant or a
 *     result.
 *
 * @code{.c}
 * vorn_build_encoding_type_dict(&enc, 8, symbols, NULL, offsets, 100, VORN_DICT_CLA, 0);
 * vorn_build_vector(&src, stream, NULL, NULL, &enc, NULL, NULL, nrows, 0, NULL, 0);
 * @endcode
 *
 *  3. Compare. vorn_cmp(ctx, res, src, cst, aux, opc) sets a bit for each row that matches. vorn_eq to vorn_ne are the
 *     same call with a fixed opcode. vorn_range_cmp takes two constants, and vorn_in_set takes a set.
 *
 * @code{.c}
 * vorn_cmp(&ctx, &least, &src, &low, NULL, VORN_OPC_GE);
 * vorn_cmp(&ctx, &most, &src, &high, NULL, VORN_OPC_LE);
 * @endcode
 *
 *  4. Combine. vorn_lbiwvand_dydi(dst, popc, a, b, nbits) and the other operations on bit vectors are called through
 *     vorn_global_ctx.
 *
 * @code{.c}
 * vorn_global_ctx.vorn_lbiwvand_dydi(rows, &count, least.vorn_cv_bv, most.vorn_cv_bv, nrows);
 * aux.vorn_aux_filter_bv = rows;
 * @endcode
 *
 *  5. Read. vorn_decode_unpack(ctx, res, src, aux) writes the codes of the selected rows as plain integers.
 *     vorn_decode_symbol(ctx, res, src, aux) turns these codes into the values of the dictionary.
 *
 * @code{.c}
 * vorn_build_vector(&codes, out, NULL, NULL, &enc, NULL, NULL, room, 0, NULL, 0);
 * vorn_decode_unpack(&ctx, &codes, &src, &aux);
 * @endcode
 */

/**
 * @defgroup terms Terms
 *
 * docs/glossary.md has more of them.
 *
 * Stored data:
 *
 *     code           the number of a value in a dictionary; codes are stored packed
 *     symbol         the stored bytes of one value of a dictionary
 *     width          the number of bits of a code or a value
 *     class          widths that share kernels
 *     CLA            cumulative length array: n + 1 offsets of n items
 *     run            neighbouring rows with equal codes, stored as one code and a number of rows
 *     fixed          the stored form of values that all have the same number of bytes
 *     dynp           dynamic-packed: the stored form of fixed-size values without their trailing zero bytes, each with
 *                    a length code
 *     length code    a small number for the length of a value
 *     tz             the flag that makes the length code of a row a second sort key; zero-padded byte strings then sort
 *                    as strings
 *     dsb            a kind of number: a signed integer of 8, 16, 32 or 64 bits, most significant byte first
 *     prefix group   16 values that share their first bytes; the shared bytes are stored once
 *     stream         the stored values or codes of a vector
 *     slack          bytes after the end of a stream that a kernel may read; they may have any value, but they must be
 *                    readable
 *     qpak           compression of a stream in blocks; the format belongs to the host
 *     filter, mask   bit vectors of the rows that count: of one call, and of a column in every call
 *
 * Rows and joins:
 *
 *     row form       the layout of keys or values that the hash and join kernels read or write, chosen by a flag of the
 *                    encoding context
 *     lv, lp         row forms: length and value, length and pointer; with _sep the lengths are a separate array
 *     rid            row identifier: a number that names a row, of up to 64 bits
 *     gd             a code of a global dictionary; the join kernels take the code itself as the key
 *     dlp            a row form: one 64-bit word per row, with the length of a value and the place of the value in a
 *                    partitioned store
 *     partition      a part of a hash table or of an output, chosen by bits of the hash value
 *     bucket         64 bytes of a hash table: a header, tags, values, and a pointer to an overflow bucket
 *     tag            a part of the hash value, or a global dictionary code, that a bucket stores in place of the key
 *     pair           what a probe writes for a match: a value of the probe side and a value of the hash table
 *
 * Translate tables:
 *
 *     sim            a translate table: entry i belongs to the key i
 *     off            a translate table: entry i belongs to the key base + i
 *     ind            a translate table of two levels: the high bits of a key select a page, the low bits the entry in
 *                    the page
 *     c2d            the form of a translation that also writes the entry of each row to an output array
 *     imca           the encoding context that makes vorn_xlate add scaled table entries to group keys
 *
 * Kernels:
 *
 *     kernel         the function that does the work of one operation for one stored form
 *     entry point    the function that a host calls: it checks, traces and counts the call and runs a kernel
 *     opcode         the number of an operation
 *     type code      a number made of encoding, width code and one flag; its low byte selects the kernel
 *     slot           a place for one function: an element of the dispatch table, or a function pointer of
 *                    vorn_global_ctx; in a bucket: a place for one tag and its value
 *     level          an instruction set that the kernels are compiled for: generic, SSE4.2, AVX, AVX2, AVX-512
 *     engine         the inner loops of the kernels for one instruction set, written with its vector instructions
 *     dydi           the suffix of a generic implementation: vorn_lbiwvand_dydi is the generic function of the slot of
 *                    this name in vorn_global_ctx
 *     in force       the implementation that vorn_global_ctx holds after start-up
 *     burst          the expansion of one bit per run to one bit per row
 *     popc           population count: the number of ones in a bit vector, or the number of results
 *     lbiv, lbiwv    the two families of functions over bit vectors: over bytes at any address, over whole 64-bit words
 */

/**
 * @defgroup conventions Conventions
 *
 *  1. Memory. Every record and every buffer belongs to the caller and must outlive the call. The library frees nothing.
 *     It asks for one buffer that outlives a call, a decompressed stream. This buffer comes from a callback and belongs
 *     to the host.
 *  2. Bit vectors are arrays of 64-bit words in the processor's order. Row r is bit r & 63 of word r >> 6; bit 0 is the
 *     least significant bit. A vector of n rows takes (n + 63) >> 6 words. In a result every bit from n to the end of
 *     the last word is zero. Filters and masks may hold any bits there.
 *  3. Byte order. Stored data is big-endian: packed codes, fixed values, cumulative length arrays. Records, bit
 *     vectors, constant dictionary codes, unpacked codes, row forms and the tables of the joins are in the processor's
 *     order (little-endian). There are two exceptions: vorn_bloom reads hash values as big-endian numbers, and
 *     vorn_xlate reads keys as big-endian numbers. Both write their results in the processor's order.
 *     docs/host-duties.md has a table of all steps, and says how to pass the result of one step to the next.
 *  4. Slack. A stream should be readable beyond its last code or value, whether it is compressed or not. The generic
 *     kernels read nothing beyond the end. Specialised kernels may read the slack. The slack in bytes is:
 *
 *         packed codes             8 at the widths 5 and 7; 3 at 1 to 4 and 6; 2 at 9 to 15; 1 at 17 to 20 and 24;
 *                                  0 at 8, 16, 32 and 64
 *         packed codes, hashed     3 at every width
 *         fixed values             1 at the width 24; 3 at 40; 2 at 48; 1 at 56; 0 at the other widths
 *         dynamic-packed values    0
 *         length codes             0
 *         run lengths              0
 *
 *  5. Results. Entry points and kernels return one of the VORN_RESULT codes. A wrong call is reported through
 *     host_raise_internal_error of the host (frame/host.h). If that function returns, the call continues with its next
 *     step. A limit that only a builder or a kernel can see is a fatal assertion: it ends the process.
 *  6. Unwinding. host_raise_internal_error may throw or jump. An entry point holds no resource when it reports, with
 *     two exceptions. A self-check that failed holds scratch memory. Group keys over a stream that cannot be
 *     decompressed hold scratch memory. The host takes this memory back with the scratch memory of the call.
 *  7. Threads. vorn_nfy comes before all other calls. After vorn_nfy any number of threads may call, each with its own
 *     result and its own vorn_aux. One thread at a time makes the first call on a block-compressed vector. One thread
 *     at a time scans a given run-length encoding context.
 *  8. Alignment. Addresses are checked against the alignment words of vorn_global_ctx at the time of the call.
 *  9. Names. A field repeats the name of its record. A name that ends with _dydi is the name of a slot of
 *     vorn_global_ctx and of the generic implementation of this slot.
 *  10. Comments of entry points begin with the effect. Labelled paragraphs follow: Operands, Writes, Returns,
 *      Reports and Memory. An entry point without Reports reports nothing. Without Memory, convention 1 says
 *      everything. An operand may be null only where its comment says so.
 */

/**
 * @defgroup messages Messages of a wrong call
 *
 * A wrong call is reported by the argument message of host_raise_internal_error. A message begins with the name of an
 * entry point, here ENTRY, and a colon. It says which operand is wrong: res is the result, src or src1 the source, src2
 * and src3 the constants, aux bv the filter. Values may follow: addresses or numbers of the operand. The table has the
 * messages of all entry points. The document docs/entry-points.md lists them for each entry point, with their values.
 *
 * Result and source:
 *
 *     ENTRY: res is not aligned              vorn_cv_bv of the result is no multiple of VORN_OUTPUT_BITWVEC_ALIGN
 *     ENTRY: src is not aligned              vorn_cv_vals of the source is no multiple of VORN_DATASTREAM_ALIGN
 *     ENTRY: src is not DICT                 a decoder or a set has a source without VORN_DICT
 *     ENTRY: src is not RLE                  vorn_decode_rle_burst: a source without VORN_RLE
 *     ENTRY: src1 missing burst resvec       a run-length source has a null vorn_enc_ctx_burst_res_bv
 *     ENTRY: rle vec is not aligned          run lengths are no multiple of VORN_DATASTREAM_ALIGN
 *     ENTRY: rle cla is not aligned          the CLA of runs is no multiple of VORN_DATASTREAM_ALIGN
 *     ENTRY: 32-bit hash values are required vorn_xlate: the width of the source is not 32
 *     ENTRY: slot without a kernel           operation and encoding of the call have no kernel; nothing is written
 *     unsupported dtype                      vorn_arith: the numbers are neither float nor double
 *
 * Constants and sets:
 *
 *     ENTRY: encoding does not match         the constant and the source have different vorn_enc_ctx_type; the message
 *                                            of vorn_range_cmp names the constant: src1 & src2 or src1 & src3
 *     ENTRY: src2 is not constant            the constant lacks VORN_CONST; src3 is the second constant
 *     ENTRY: invalid constant length         the length code of a constant is too large
 *     ENTRY: join bv is not aligned          the map of the set is no multiple of VORN_JOIN_BITWVEC_ALIGN
 *
 * Auxiliary record:
 *
 *     ENTRY: vorn_aux is NULL                a decoder or vorn_groupkey has a null aux
 *     ENTRY: input is NULL                   vorn_xlate has a null aux
 *     ENTRY: aux bv is not aligned           the filter is no multiple of VORN_BITWVEC_ALIGN
 *     ENTRY: invert filter not supported     VORN_AUX_INVERT_FILTER is set
 *
 * Block-compressed streams, and kernels, where KERNEL is the name of a kernel:
 *
 *     ENTRY: input is not aligned            the stream is no multiple of vorn_global_ctx_qpak_in_align
 *     ENTRY: output is not aligned           the output is no multiple of vorn_global_ctx_qpak_out_align
 *     KERNEL: vorn_qpak_decode failed        vorn_ctx_decompress failed on the stream of the source
 *     KERNEL: [rle] ones_vec size is zero    vorn_decode_unpack over runs has an empty list
 *
 * Self-check, when two implementations differ:
 *
 *     ENTRY: vxl check popcount              in the number of rows
 *     ENTRY: vxl check result                in the bits
 *     ENTRY: vxl check range                 in the first or the last row: vorn_bloom, vorn_xlate
 *
 * Start-up. ENTRY is vorn_load_global_ctx, also when vorn_nfy loads a library:
 *
 *     ENTRY: library load failed             svorn_dlopen has no library of this name
 *     ENTRY: Cannot load vorn_global_ctx     the library does not export vorn_global_specialized_ctx
 *     ENTRY: ... is not power of 2           an alignment word of the record is no power of 2; the message names it
 *     Unexpected VXL library version         the library is made for another version of the record
 *     VXL Library on-load check failed       the magic number of the library is wrong
 *     Wrong library name in loaded VXL       the record has another name than the library; this report is soft
 *     Loaded VXL context status is not SPECIALIZED
 *                                            the status of the record is not VORN_STATUS_SPECIALIZED
 */
#ifndef VORN_H
#define VORN_H

#include <stddef.h>
#include <stdint.h>

/** Version of this header. vorn_version returns the version of the library. */
#define VORN_VERSION_MAJOR 0
#define VORN_VERSION_MINOR 1
#define VORN_VERSION_PATCH 0

/** The same as one number: 100 stands for 0.1.0, 20304 for 2.3.4. */
#define VORN_VERSION_NUMBER (VORN_VERSION_MAJOR * 10000 + VORN_VERSION_MINOR * 100 + VORN_VERSION_PATCH)

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
  VORN_RESULT_REFUSED = 2,           /**< the kernel does not handle an operand or a combination */
  VORN_RESULT_KEY_SPACE = 3,         /**< there are too many possible group keys */
  VORN_RESULT_PARTITION_FULL = 5,    /**< make room in partition vorn_aux_full_part and resume */
  VORN_RESULT_NO_OVERFLOW = 6,       /**< the hash table has no overflow bucket left; add some and resume */
  VORN_RESULT_PROBE_FULL = 7,        /**< the output of the probe is full; resume */
  VORN_RESULT_TRANSPOSE_FULL = 8,    /**< the output of the transposition is full; resume */
  VORN_RESULT_OUTPUT_FULL = 9,       /**< the output of gather or group keys is full; resume */
  VORN_RESULT_NO_IMPLEMENTATION = 10 /**< the slot has no kernel, or the layout is not supported */
};

/** @} */

/** @defgroup codes Opcodes and encodings
 *  @{ */

/** Operations: bits 0 to 4 of a dispatch index. */
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

/** Encodings: bits 5 and 6 of a dispatch index, bits 0 and 1 of an encoding type code. */
enum { VORN_ENC_FIXED = 0, VORN_ENC_DICT = 1, VORN_ENC_DYNP = 2, VORN_ENC_RLE = 3 };

/**
 * Number of slots of the dispatch table. An entry point runs the slot of its operation and encoding. An empty slot has
 * no kernel. A call that needs an empty slot is a wrong call: the entry point reports it, writes nothing and returns
 * VORN_RESULT_NO_IMPLEMENTATION. An opcode of another entry point is reported in the same way. The values of the report
 * are the name of the operation, the number of the slot, and the width and flags of the encoding context. A host that
 * is not sure asks first:
 *
 *     uint32_t index = (enc.vorn_enc_ctx_type & 0xff) << 5 | VORN_OPC_SET;
 *     if (vorn_global_ctx.vorn_global_ctx_dispatch[index].binary != NULL)
 *
 * These slots have a kernel:
 *
 *     comparisons and ranges       every width of the three builders, also with VORN_NULLS or VORN_TZ
 *     set, decode, unpack          every dictionary width except 64, without VORN_NULLS
 *     symbol decode                the dictionary widths 8, 16 and 32, without VORN_NULLS
 *     burst                        every run-length context; its index has vorn_enc_ctx_minor_type for the type
 *     translation                  every context of vorn_add_encoding_type_xlate except bits with c2d, every context
 *                                  of vorn_add_encoding_type_imca except bits
 *     arithmetic                   vorn_arith computes its own index
 */
enum { VORN_DISPATCH_SLOTS = 8192 };

/** @} */

/** @defgroup flags Flag bits
 *  @{ */

/** vorn_enc_ctx_flags */
enum {
  /* Of columns: how values are encoded. */
  VORN_DICT = 0x100,             /**< dictionary codes */
  VORN_FIXED = 0x800,            /**< fixed-width values; also a row form */
  VORN_DYNP = 0x400,             /**< dynamic-packed values */
  VORN_RLE = 0x200,              /**< the code stream has one code per run */
  VORN_NULLS = 0x40,             /**< dict: code 0 stands for NULL and matches no predicate */
  VORN_TZ = 0x8,                 /**< fixed, dynp: the length code of a row is a second sort key */
  VORN_UNIFORM_LENS = 0x1000000, /**< fixed with tz: vorn_cv_lens is one byte, the length code of every row */
  VORN_STREAM = 0x10000,         /**< the value stream is compressed in blocks */
  VORN_NATIVE = 0x1,             /**< numbers: float or double in the processor's form, not the canonical form */

  /* Of constants. */
  VORN_CONST = 0x4, /**< a constant operand; the constant of a comparison must have it */

  /* Of row forms: where the bytes of a row are. */
  VORN_LV_SEP = 0x1000, /**< values one after another, lengths separate */
  VORN_LV = 0x2000,     /**< values one after another, each after its length */
  VORN_LP_SEP = 0x4000, /**< pointers, lengths separate */
  VORN_LP = 0x8000,     /**< records of a length and a pointer */
  VORN_DLP = 0x100000,  /**< words of a length and an offset in a partitioned store */

  /* Of row forms: codes, hash values and identifiers in place of values. */
  VORN_HASH_VALUES = 0x80,   /**< hash values computed earlier; with VORN_LV, values that begin with their hash value */
  VORN_GD = 0x400000,        /**< codes of a global dictionary */
  VORN_HASHRID = 0x20000,    /**< records of a row identifier and a hash value */
  VORN_HASHGDRID = 0x800000, /**< records of a hash value, a code and a row identifier */
  VORN_RIDVALUE = 0x40000,   /**< pairs that a probe wrote */
  VORN_AUTORID = 0x80000,    /**< implicit row identifiers, from vorn_cv_autorid on */

  /* Of no kernel. */
  VORN_ROW = 0x200000 /**< row-major layout */
};

/** vorn_enc_ctx_num_type; no builder stores it */
enum {
  VORN_NUM_FLOAT = 1,  /**< float */
  VORN_NUM_DOUBLE = 2, /**< double */
  VORN_NUM_DSB = 8     /**< big-endian signed integers */
};

/** vorn_enc_ctx_dict_layout */
enum {
  VORN_DICT_ONE_LENGTH = 0, /**< all symbols have the length at vorn_enc_ctx_dict_lens */
  VORN_DICT_CLA = 1         /**< vorn_enc_ctx_dict_cla has the offsets of the symbols */
};

/** vorn_aux_flags */
enum {
  VORN_AUX_INVERT_FILTER = 0x01,   /**< not supported: predicates, decoders and vorn_groupkey report it */
  VORN_AUX_FORCE_SELECTIVE = 0x02, /**< predicates: visit only the rows of the filter */
  VORN_AUX_UNPACK_UB4 = 0x04,      /**< unpacked codes: elements have 4 bytes */
  VORN_AUX_MULTIPLY = 0x10,        /**< group keys: multiply by the number of symbols, do not shift */
  VORN_AUX_RID = 0x20,             /**< gather: use the left value of a pair, not the table value */
  VORN_AUX_SUM = 0x80              /**< arithmetic, conversion: reduce to one sum */
};

/** vorn_aux_flags2 */
enum { VORN_AUX_COPY_VALUES = 0x01 /**< symbol decode: copy the values, do not write pointers */ };

/** vorn_ctx_flags */
enum {
  VORN_CTX_ACCUMULATE = 0x04,    /**< keep vorn_ctx_call_counts and vorn_ctx_rates */
  VORN_CTX_PRINT_LOAD = 0x08,    /**< at load: print the load report */
  VORN_CTX_FORCE_GENERIC = 0x10, /**< always run the generic kernel */
  VORN_CTX_SELF_CHECK = 0x20,    /**< run the generic kernel and the kernel in force and compare the results */
  VORN_CTX_MAX_PADS = 0x80       /**< at load: use the maximum alignment and padding words */
};

/** vorn_ctx_init_flags */
enum { VORN_INIT_SPECIALIZED = 0x1 /**< load a specialised library */ };

/** vorn_global_ctx_status */
enum { VORN_STATUS_GENERIC = 2, VORN_STATUS_SPECIALIZED = 3 };

/** vorn_global_ctx_flags: what the implementation in force requires or allows */
enum {
  VORN_REQUIRES_QPAK_PACKED_DICT = 0x1,
  VORN_REQUIRES_BYTE_ALIGNED_WIDTHS = 0x2,
  VORN_REQUIRES_BYTE_ALIGNED_WIDTHS_OVER_2BYTES = 0x4,
  VORN_REQUIRES_DECODE_BITWVEC = 0x8,
  VORN_ALLOWS_QPAK_DATASTREAM = 0x10
};

/** vorn_ht_type of vorn_hash_table: bytes of a tag (K) and of a value (V) */
enum {
  VORN_HT_K2V8 = 0x1,
  VORN_HT_K2V4 = 0x2,
  VORN_HT_K4V8 = 0x4,
  VORN_HT_K4V4 = 0x8,
  VORN_HT_GD = 0x1000 /**< with K4V8 or K4V4: the tag is the key's code in the global dictionary */
};

/** vorn_pb_type of vorn_partition_buffer: the form of the records that are written */
enum {
  VORN_PB_RID = 0x09,     /**< a row identifier and the hash value: VORN_HASHRID */
  VORN_PB_LV = 0x0a,      /**< length, hash value, payload: VORN_LV with VORN_HASH_VALUES */
  VORN_PB_FIXED = 0x0c,   /**< hash value, payload of vorn_pb_fixed_width bytes */
  VORN_PB_REFUSED = 0x10, /**< with VORN_PB_LV and VORN_PB_FIXED: no kernel takes it */
  VORN_PB_RID_GD = 0x29   /**< hash value, code, row identifier: VORN_HASHGDRID */
};

/** vorn_tt_flags of vorn_transpose_table */
enum {
  VORN_TT_ROW = 0x2,  /**< a row of the matrix becomes one record */
  VORN_TT_CLA = 0x8,  /**< the values are found by an array of offsets */
  VORN_TT_DLP = 0x10, /**< the values are found by dlp words */
  VORN_TT_LP = 0x20   /**< the values are found by entries of a length and a pointer */
};

/** Event code of vorn_nfy. */
enum { VORN_NFY_LOAD = 3 };

/** @} */

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

/** Kernels of the dispatch table. */
typedef uint32_t (*vorn_unary_fn)(vorn_cv *res, vorn_cv *src, vorn_aux *aux);
typedef uint32_t (*vorn_binary_fn)(vorn_cv *res, vorn_cv *src, const vorn_cv *operand, vorn_aux *aux);
typedef uint32_t (*vorn_ternary_fn)(vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi, vorn_aux *aux);

/** Callbacks: the burst of a context, the hash function of the host, memory, the block decoder. */
typedef uint32_t (*vorn_burst_fn)(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);
typedef uint64_t (*vorn_hashfn)(const void *data, uint64_t len, uint64_t seed);
typedef void *(*vorn_alloc_fn)(void *env, void *heap, uint64_t size, const char *name, uint32_t align_hint,
                               uint32_t pad_hint, uint64_t tag);
typedef void *(*vorn_stack_alloc_fn)(void *env, uint64_t size, const char *name, uint64_t align, uint64_t padding,
                                     void **token);
typedef void (*vorn_stack_free_fn)(void *env, void *memory, void *token);
typedef uint32_t (*vorn_decompress_fn)(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen,
                                       uint32_t dstlen);

/** Operations on bit vectors that begin at any byte. The group bit_vectors says what they do. */
typedef void vorn_lbiv_count_op(uint32_t *popc, const void *bv, uint64_t nbits);
typedef void vorn_lbiv_unary_op(void *dst, uint32_t *popc, const void *src, uint64_t nbits);
typedef void vorn_lbiv_binary_op(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits);
typedef void vorn_lbiv_ternary_op(void *dst, uint32_t *popc, const void *a, const void *b, const void *c,
                                  uint64_t nbits);
typedef void vorn_lbiv_range_op(void *bv, uint64_t first, uint64_t last);
typedef void vorn_lbiv_start_op(vorn_lbiv_ictx *ictx, const void *bv, uint64_t nbits, uint8_t mode, uint64_t start);
typedef uint64_t vorn_lbiv_next_op(vorn_lbiv_ictx *ictx);
typedef uint32_t vorn_lbiv_list_op(vorn_lbiv_ictx *ictx, uint32_t *out, uint32_t max);

/** Operations on bit vectors of whole words. */
typedef void vorn_lbiwv_count_op(uint32_t *popc, const uint64_t *bv, uint64_t nbits);
typedef void vorn_lbiwv_unary_op(uint64_t *dst, uint32_t *popc, const uint64_t *src, uint64_t nbits);
typedef void vorn_lbiwv_binary_op(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits);
typedef void vorn_lbiwv_ternary_op(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b,
                                   const uint64_t *c, uint64_t nbits);
typedef void vorn_lbiwv_range_op(uint64_t *bv, uint64_t first, uint64_t last);
typedef void vorn_lbiwv_start_op(vorn_lbiwv_ictx *ictx, const uint64_t *bv, uint64_t nbits, uint8_t mode,
                                 uint64_t start);
typedef uint64_t vorn_lbiwv_next_op(vorn_lbiwv_ictx *ictx);
typedef uint32_t vorn_lbiwv_list_op(vorn_lbiwv_ictx *ictx, uint32_t *out, uint32_t max);

/** Placeholders in both families. */
typedef uint64_t vorn_run_op(uint64_t a, uint64_t b);
typedef uint64_t vorn_runs_op(uint64_t a, uint64_t b, uint64_t c, uint64_t d);

/** A slot of the dispatch table: null, or a kernel. The number of operands says through which member it is called. */
union vorn_kernel {
  vorn_unary_fn unary;     /**< decoders, bursts */
  vorn_binary_fn binary;   /**< comparisons with one constant, sets, translation, arithmetic */
  vorn_ternary_fn ternary; /**< range comparisons */
};

/** A column vector: source, constant, set operand or result. */
struct vorn_cv {
  void *vorn_cv_vals; /**< source: value stream, aligned to VORN_DATASTREAM_ALIGN; constant: value; result: output */
  void *vorn_cv_lens; /**< dynp and tz: length codes of the rows, or of the constant; row forms: 16-bit lengths */
  void *vorn_cv_flgs; /**< decode result: 16-bit value flags, 2 marks NULL */
  vorn_enc_ctx *vorn_cv_encoding_context; /**< how the stream is encoded */
  uint64_t *vorn_cv_mask_bv;              /**< source: row mask, ANDed into every result; may be null */
  uint64_t *vorn_cv_bv;                   /**< result: its bit vector; set operand: the membership map */
  uint32_t vorn_cv_popc;                  /**< result: ones in the bit vector, or number of results */
  uint32_t vorn_cv_nrows;                 /**< rows of the vector */
  uint32_t vorn_cv_stream_len;            /**< VORN_STREAM: bytes of the decompressed stream */
  void **vorn_cv_stream_slot;             /**< VORN_STREAM: keeps the decompressed stream between calls; first null */
  uint64_t vorn_cv_stream_tag;            /**< VORN_STREAM: last argument of the allocation callback */
  uint64_t vorn_cv_autorid;               /**< VORN_AUTORID: first row identifier */
  uint64_t vorn_cv_size;                  /**< output: capacity of vorn_cv_vals in bytes */
};

/** How a vector is encoded. */
struct vorn_enc_ctx {
  uint64_t vorn_enc_ctx_type;          /**< type code: encoding, width code << 2, flag 0x80; the low byte dispatches */
  uint64_t vorn_enc_ctx_minor_type;    /**< run-length: type code of the burst kernel, else 0 */
  const void *vorn_enc_ctx_dict_syms;  /**< dictionary: symbol bytes */
  const void *vorn_enc_ctx_dict_lens;  /**< dictionary: length of all symbols, 16-bit big-endian */
  const void *vorn_enc_ctx_dict_cla;   /**< dictionary: CLA of the symbols */
  uint32_t vorn_enc_ctx_dict_nsyms;    /**< dictionary: number of symbols */
  uint32_t vorn_enc_ctx_dict_layout;   /**< dictionary: VORN_DICT_ONE_LENGTH or VORN_DICT_CLA */
  const void *vorn_enc_ctx_rle_lens;   /**< run-length: lengths of the runs in rows, 8 or 16 bits each */
  uint8_t vorn_enc_ctx_rle_width;      /**< run-length: bits of a length, 8 or 16 */
  uint32_t vorn_enc_ctx_rle_nruns;     /**< run-length: number of runs, equal to the number of codes of the stream */
  const void *vorn_enc_ctx_rle_cla;    /**< run-length: CLA of the runs in rows; may be null */
  vorn_burst_fn vorn_enc_ctx_burst_fn; /**< run-length: expands one bit per run to rows */
  uint64_t *vorn_enc_ctx_burst_res_bv; /**< run-length: room for one bit per run; every scan needs it */
  uint8_t vorn_enc_ctx_prefix_group;   /**< prefix groups: values per group, 16 */
  uint16_t vorn_enc_ctx_prefix_vlen;   /**< prefix groups: bytes of a value, 1 to 8 */
  uint32_t vorn_enc_ctx_prefix_nvals;  /**< prefix groups: number of values */
  uint8_t vorn_enc_ctx_xlate_type;     /**< translate table: 1 sim, 2 off, 3 ind */
  uint8_t vorn_enc_ctx_bloom_ind;      /**< bloom: nonzero when the map has two levels */
  uint32_t vorn_enc_ctx_bloom_mask;    /**< bloom: mask of the hash */
  uint32_t vorn_enc_ctx_ind_shift;     /**< two-level tables: right shift that gives the page */
  uint32_t vorn_enc_ctx_ind_mask;      /**< two-level tables: mask that gives the position in the page */
  uint8_t vorn_enc_ctx_dlp_shift;      /**< dlp: number of low bits of the offset field that are inside a partition */
  void **vorn_enc_ctx_dlp_table;       /**< dlp: base pointers of the partitions */
  uint32_t vorn_enc_ctx_xlate_base;    /**< off translate table: base subtracted from the key */
  uint32_t vorn_enc_ctx_flags;         /**< VORN_DICT and the other flags of an encoding */
  uint32_t vorn_enc_ctx_width;         /**< bits of a code or value */
  uint8_t vorn_enc_ctx_width_code;     /**< vorn_convert_width of the width, or of the largest width of its class */
  uint8_t vorn_enc_ctx_unit;           /**< 8 from the fixed builder */
  uint16_t vorn_enc_ctx_row_a;         /**< argument a of vorn_build_encoding_type_row */
  uint64_t vorn_enc_ctx_row_b;         /**< argument b of vorn_build_encoding_type_row */
  uint8_t vorn_enc_ctx_num_type;       /**< VORN_NUM_FLOAT, VORN_NUM_DOUBLE or VORN_NUM_DSB */
};

/** The auxiliary record of one call: filter, options, resume position. Clear it before its first use. */
struct vorn_aux {
  const vorn_ctx *vorn_aux_ctx;     /**< written by the entry point, for the kernel */
  uint64_t *vorn_aux_filter_bv;     /**< rows to keep, aligned to VORN_BITWVEC_ALIGN; may be null */
  uint8_t vorn_aux_flags;           /**< VORN_AUX_INVERT_FILTER to VORN_AUX_SUM */
  uint8_t vorn_aux_flags2;          /**< VORN_AUX_COPY_VALUES */
  uint32_t vorn_aux_popc;           /**< ones in the filter; for diagnostics */
  uint32_t vorn_aux_full_part;      /**< written: the partition that ran out of room */
  uint32_t vorn_aux_start_slot;     /**< row to start at; resumable kernels write the position reached */
  uint32_t vorn_aux_run_idx;        /**< resume state over runs: the run */
  uint32_t vorn_aux_run_end;        /**< resume state over runs: the first row after the run */
  uint64_t vorn_aux_out_pos;        /**< resume state: byte position in the key data */
  uint64_t vorn_aux_out_pos2;       /**< resume state: byte position in the payload data */
  uint32_t *vorn_aux_ones_vec;      /**< row numbers to process */
  uint32_t vorn_aux_ones_vec_size;  /**< entries of vorn_aux_ones_vec */
  uint32_t vorn_aux_diag_code;      /**< written: diagnostic code of the kernel, 0 for none */
  uint32_t vorn_aux_start_row;      /**< first row of a bloom or translate kernel */
  uint8_t vorn_aux_op_bits[3];      /**< written: what the call did, for the statistics */
  void *vorn_aux_prefix_out;        /**< output descriptors of a prefix decode; may be null */
  vorn_enc_ctx *vorn_aux_xlate_enc; /**< off translate table: the context with vorn_enc_ctx_xlate_base */
  void *vorn_aux_xlate_tbl;         /**< c2d: output entries; imca: the translate table */
  uint32_t vorn_aux_xlate_n;        /**< imca: multiplier of the entries */
};

/**
 * The call context, first argument of every entry point. The library only reads it. The library writes what the
 * context points to: counts, rates and statistics.
 *
 * A host with statistics provides a block. Bytes 384 to 551 of the block are three arrays of uint64_t counters, one
 * after another. The rest of the block is the host's own. The arrays count calls, calls in which a filter or a list
 * chose the rows, and what a specialised kernel may report, for these operations:
 *
 *     8 called, from byte 384               comparison, decode, burst, set, bloom, translate, unpack, symbol decode
 *     8 selective, from byte 448            the same operations
 *     5 third, from byte 512                comparison, decode, burst, set, unpack
 *
 * Ranges count as comparisons. Prefix decode and the block decoder are not counted.
 */
struct vorn_ctx {
  void *vorn_ctx_env;                       /**< host environment, a struct host_env of frame/host.h */
  void *vorn_ctx_heap;                      /**< second argument of the allocation callback */
  uint64_t vorn_ctx_trace;                  /**< trace control word, 0 for no trace, see frame/host.h */
  vorn_alloc_fn vorn_ctx_alloc;             /**< returns the buffer of a decompressed stream, never null */
  vorn_stack_alloc_fn vorn_ctx_stack_alloc; /**< scratch memory for the block decoder and for group keys */
  vorn_stack_free_fn vorn_ctx_stack_free;   /**< frees scratch memory */
  uint32_t *vorn_ctx_call_counts;           /**< timed calls per dispatch index */
  double *vorn_ctx_rates;                   /**< running mean of Mrows (2^20 rows) per second per dispatch index */
  uint32_t vorn_ctx_init_flags;             /**< start-up: VORN_INIT_SPECIALIZED */
  const char *vorn_ctx_lib_name;            /**< start-up: library to load; null: the best that the processor can run */
  uint32_t vorn_ctx_trace_level;            /**< start-up: passed to the trace-level hook if nonzero */
  vorn_decompress_fn vorn_ctx_decompress;   /**< the block decoder */
  void *vorn_ctx_stats;                     /**< statistics block of the host, see above; may be null */
  uint8_t vorn_ctx_flags;                   /**< VORN_CTX_ACCUMULATE to VORN_CTX_MAX_PADS */
};

/** Iterator over a bit vector that begins at any byte. The caller provides the storage. */
struct vorn_lbiv_ictx {
  const uint64_t *vorn_lbiv_ictx_next; /**< the 8 bytes after the current word */
  int32_t vorn_lbiv_ictx_nbits;        /**< bits of the vector, fewer than 2^31 */
  int32_t vorn_lbiv_ictx_base;         /**< index of bit 0 of the current word; negative before the vector */
  uint64_t vorn_lbiv_ictx_offset;      /**< offset of the start in the first word, then 0 */
  uint64_t vorn_lbiv_ictx_word;        /**< bits of the current word that are not delivered yet */
};

/** Iterator over a bit vector of whole words. The caller provides the storage. */
struct vorn_lbiwv_ictx {
  const uint64_t *vorn_lbiwv_ictx_next; /**< the word after the current word */
  int32_t vorn_lbiwv_ictx_nbits;        /**< bits of the vector, fewer than 2^31 */
  int32_t vorn_lbiwv_ictx_base;         /**< index of bit 0 of the current word, a multiple of 64 */
  uint64_t vorn_lbiwv_ictx_offset;      /**< offset of the start in the first word, then 0 */
  uint64_t vorn_lbiwv_ictx_word;        /**< bits of the current word that are not delivered yet */
};

/** The context of a block decoder. A kernel builds one on its stack for one call. */
struct vorn_qpak_ctx {
  void *vorn_qpak_ctx_env;                       /**< vorn_ctx_env */
  void *vorn_qpak_ctx_heap;                      /**< vorn_ctx_heap */
  vorn_stack_alloc_fn vorn_qpak_ctx_stack_alloc; /**< vorn_ctx_stack_alloc; may be null */
  vorn_stack_free_fn vorn_qpak_ctx_stack_free;   /**< vorn_ctx_stack_free */
  uint32_t vorn_qpak_ctx_generic;                /**< 1 with VORN_CTX_FORCE_GENERIC or VORN_CTX_SELF_CHECK, else 0 */
};

/** A join hash table of 64-byte buckets, partitioned. Arrays have one entry per partition. */
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
  uint8_t vorn_ht_part_low_bits; /**< low hash bits in the partition index; stored by the host after the builder */
};

/** The output areas of a partitioning. Arrays have one entry per partition. */
struct vorn_partition_buffer {
  uint32_t vorn_pb_unused_a;
  uint32_t vorn_pb_type;  /**< VORN_PB_RID to VORN_PB_RID_GD; the low byte is read */
  uint8_t vorn_pb_hi_bit; /**< highest hash bit of the partition number */
  uint8_t vorn_pb_shift;  /**< right shift of the masked hash */
  uint8_t vorn_pb_unused_b[18];
  uint16_t vorn_pb_fixed_width; /**< payload bytes of a fixed record; stored by the host after the builder */
  uint8_t vorn_pb_unused_c[2];
  void *vorn_pb_reserved; /**< stored, not read */
  void **vorn_pb_cur;     /**< where the next record goes; advanced by the kernels */
  void **vorn_pb_end;     /**< end of the area; null when the caller guarantees the room */
};

/** A partitioned store of values. Arrays have one entry per partition. */
struct vorn_transpose_table {
  uint32_t vorn_tt_unused_a;
  uint32_t vorn_tt_flags;    /**< VORN_TT_ROW to VORN_TT_LP */
  uint16_t vorn_tt_ncols;    /**< columns of a row of the matrix, at most 255 */
  uint16_t vorn_tt_width;    /**< gather: bits of a value in a result of VORN_FIXED */
  uint64_t vorn_tt_opaque_a; /**< stored, not read, like the other opaque fields */
  uint8_t vorn_tt_hi_bit;    /**< gather: highest identifier bit of the partition number */
  uint8_t vorn_tt_row_bits;  /**< gather: low identifier bits that are the row; 64: there is one partition */
  uint64_t vorn_tt_unused_b;
  void **vorn_tt_in_refs; /**< start of the entries of a length and a pointer, as in VORN_LP */
  void **vorn_tt_refs;    /**< next entry of a length and a pointer */
  uint64_t vorn_tt_opaque_b;
  void **vorn_tt_dlp; /**< start of the dlp words */
  uint64_t vorn_tt_opaque_c;
  uint64_t vorn_tt_opaque_d;
  uint8_t vorn_tt_opaque_e;
  void **vorn_tt_cla;     /**< start of the array of 32-bit offsets */
  void **vorn_tt_offsets; /**< next entry of the array of offsets */
  uint64_t vorn_tt_opaque_f;
  void **vorn_tt_data; /**< start of the value bytes */
  void **vorn_tt_pos;  /**< next free value byte */
  void **vorn_tt_end;  /**< end of the value bytes */
};

/**
 * The implementation in force. A specialised library exports a record of the same layout under the name
 * vorn_global_specialized_ctx. A load copies this record whole over vorn_global_ctx. The record is read-only after
 * vorn_nfy. The slots have the names of their generic implementations.
 */
struct vorn_global_ctx_t {
  /** What a load compares, see frame/vorn_specialized.h. */
  uint64_t vorn_global_ctx_magic;
  const char *vorn_global_ctx_version;
  uint32_t vorn_global_ctx_status;             /**< VORN_STATUS_GENERIC or VORN_STATUS_SPECIALIZED */
  uint32_t vorn_global_ctx_flags;              /**< VORN_REQUIRES_..., VORN_ALLOWS_... */
  const char *vorn_global_ctx_lib_name;        /**< "generic", or the load name of a library */
  uint64_t VORN_MAX_ALIGN;                     /**< largest alignment in bytes */
  uint64_t VORN_DATASTREAM_ALIGN;              /**< of vorn_cv_vals of a source and other data streams */
  uint64_t VORN_BITWVEC_ALIGN;                 /**< of a filter */
  uint64_t VORN_OUTPUT_BITWVEC_ALIGN;          /**< of a result bit vector */
  uint64_t VORN_JOIN_BITWVEC_ALIGN;            /**< of the membership map of a set */
  uint64_t vorn_global_ctx_qpak_in_align;      /**< of the input of the block decoder */
  uint64_t vorn_global_ctx_qpak_out_align;     /**< of the output of the block decoder, without the generic flag */
  uint64_t vorn_global_ctx_pad_output;         /**< padding of a scratch result bit vector in bytes */
  uint64_t vorn_global_ctx_pad_spare;          /**< not read */
  uint32_t vorn_global_ctx_end_cu;             /**< printed by the load report */
  const vorn_kernel *vorn_global_ctx_dispatch; /**< the dispatch table in force */
  /** Hooks: the end of start-up, a change of the trace level. */
  void (*vorn_global_ctx_init_sharedlib)(vorn_ctx *ctx);
  uint32_t (*vorn_global_ctx_set_trace_level)(uint32_t level, void *a, void *b);

  /** Bit vectors that begin at any byte. */
  vorn_lbiv_count_op *vorn_lbivpopcnt_dydi;
  vorn_lbiv_unary_op *vorn_lbivnot_dydi;
  vorn_lbiv_binary_op *vorn_lbivand_dydi;
  vorn_lbiv_binary_op *vorn_lbivor_dydi;
  vorn_lbiv_binary_op *vorn_lbivxor_dydi;
  vorn_lbiv_binary_op *vorn_lbivandnot_dydi;
  vorn_lbiv_ternary_op *vorn_lbivand3_dydi;
  vorn_lbiv_ternary_op *vorn_lbivor3_dydi;
  vorn_lbiv_ternary_op *vorn_lbivxor3_dydi;
  vorn_lbiv_range_op *vorn_lbivset_range_dydi;
  vorn_lbiv_range_op *vorn_lbivclr_range_dydi;
  vorn_lbiv_start_op *vorn_lbiv_ictx_ini2_dydi;
  vorn_lbiv_next_op *vorn_lbiviter_dydi;
  vorn_lbiv_next_op *vorn_lbiviter_clr_dydi;
  vorn_lbiv_list_op *vorn_lbivones_dydi;
  vorn_run_op *vorn_lbivrun_dydi;
  vorn_runs_op *vorn_lbivruns_dydi;

  /** Bit vectors of whole words. */
  vorn_lbiwv_count_op *vorn_lbiwvpopcnt_dydi;
  vorn_lbiwv_unary_op *vorn_lbiwvnot_dydi;
  vorn_lbiwv_binary_op *vorn_lbiwvand_dydi;
  vorn_lbiwv_binary_op *vorn_lbiwvor_dydi;
  vorn_lbiwv_binary_op *vorn_lbiwvxor_dydi;
  vorn_lbiwv_binary_op *vorn_lbiwvandnot_dydi;
  vorn_lbiwv_ternary_op *vorn_lbiwvand3_dydi;
  vorn_lbiwv_ternary_op *vorn_lbiwvor3_dydi;
  vorn_lbiwv_ternary_op *vorn_lbiwvxor3_dydi;
  vorn_lbiwv_range_op *vorn_lbiwvset_range_dydi;
  vorn_lbiwv_range_op *vorn_lbiwvclr_range_dydi;
  vorn_lbiwv_start_op *vorn_lbiwv_ictx_ini2_dydi;
  vorn_lbiwv_next_op *vorn_lbiwviter_dydi;
  vorn_lbiwv_next_op *vorn_lbiwviter_clr_dydi;
  vorn_lbiwv_list_op *vorn_lbiwvones_dydi;
  vorn_run_op *vorn_lbiwvrun_dydi;
  vorn_runs_op *vorn_lbiwvruns_dydi;

  /** The kernels of the entry points with the same names without _dydi. When a slot is null, its entry point returns
   * VORN_RESULT_NO_IMPLEMENTATION and does nothing. Without a block decoder vorn_qpak_decode asks the host. */
  uint32_t (*vorn_bloom_dydi)(vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux);
  uint32_t (*vorn_spatial_pip_dydi)(vorn_cv *res, vorn_cv *xs, vorn_cv *ys, vorn_cv *px, vorn_cv *py, vorn_aux *aux);
  uint32_t (*vorn_groupkey_dydi)(vorn_cv *res, uint32_t *nkeys, vorn_cv *cols, uint32_t ncols, vorn_cv *tmp,
                                 vorn_aux *aux);
  uint32_t (*vorn_gby_sum_dydi)(vorn_cv *res, vorn_cv *src, vorn_cv *grp, vorn_aux *aux);
  vorn_unary_fn vorn_convert_dydi;
  vorn_unary_fn vorn_prefix_decode_dydi;
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
  vorn_decompress_fn vorn_qpak_decode_dydi;

  /** Set-up and tear-down of a thread. May be null. */
  uint32_t (*vorn_thread_ctx_init_dydi)(void *a, void *b, void *c, void *d);
  uint32_t (*vorn_thread_ctx_fini_dydi)(void *a, void *b, void *c, void *d);
};

/** @} */

/**
 * @defgroup forms Stored forms
 *
 * This group says how a host stores columns, row forms and tables. Examples give the bytes in hexadecimal.
 *
 * Packed codes (vorn_build_encoding_type_dict). The codes of w bits are one bit string. Code i takes the bits i * w to
 * i * w + w - 1. Bit 0 is the most significant bit of byte 0. A stream holds fewer than 2^32 bits.
 *
 *     codes 0 1 2 3 4 5 6 7, width 3        05 39 77
 *     codes 0xabc 0x123, width 12           ab c1 23
 *
 * Cumulative length array (CLA) of n items. It has n + 1 numbers of 32 bits. Entry 0 is 0. Entry i + 1 is entry i plus
 * the length of item i. vorn_build_cla_1_ub1 and vorn_build_cla_1_ub2 build a CLA.
 *
 * Dictionary. vorn_enc_ctx_dict_syms has the symbols one after another, the symbol of code 0 first. With
 * VORN_DICT_ONE_LENGTH all symbols have one length, the 16-bit number at vorn_enc_ctx_dict_lens. With VORN_DICT_CLA
 * vorn_enc_ctx_dict_cla is a CLA of the symbols. A symbol of length 0 decodes to NULL. With VORN_NULLS this symbol has
 * the code 0. Symbols are shorter than 2^16 bytes.
 *
 *     ATL ORD DFW, one length               41 54 4c 4f 52 44 44 46 57; length 00 03
 *     NULL ATL Paris, CLA                   41 54 4c 50 61 72 69 73; CLA 00000000 00000000 00000003 00000008
 *
 * Runs (vorn_add_encoding_type_rle). The stream has packed codes, one per run. A second array has the lengths of the
 * runs in rows, 8 or 16 bits each. A CLA of these lengths is optional. vorn_cv_nrows counts rows, and
 * vorn_enc_ctx_rle_nruns counts runs.
 *
 *     2 rows of code 3, 300 of 10, 1 of 1, width 4
 *                                           3a 10; lengths of 16 bits 00 02 01 2c 00 01;
 *                                           CLA 00000000 00000002 0000012e 0000012f
 *
 * Fixed values (vorn_build_encoding_type_fixed). A row has width / 8 bytes. Values are compared as unsigned numbers. A
 * host that stores signed numbers flips the sign bit. The widths fall into four classes with common kernels: 8; 16; 24
 * and 32; 40 to 64.
 *
 *     1 0x10203, width 24                   00 00 01 01 02 03
 *
 * Dynamic-packed values (vorn_build_encoding_type_dynp). A value has 2, 4 or 8 bytes in the class of 16, 32 or 64 bits.
 * It is stored without its last bytes that are zero. The value 0 keeps one byte. The next value follows at once. Every
 * row has a length code in vorn_cv_lens: the number of its stored bytes less 1. A length code takes 1, 2 or 4 bits in
 * the three classes. Length codes are packed like dictionary codes of this width. Without VORN_TZ a zero byte
 * that is stored at the end of a value changes no answer.
 *
 *     0x12000000 0x12340000 0 0x12345678, class 32
 *                                           12 12 34 00 12 34 56 78; length codes 0 1 0 3: 13
 *
 * Second key (VORN_TZ, for the classes 16, 32 and 64; the class 8 has none). Rows are compared by value. Rows with
 * equal values are compared by length code. Zero-padded byte strings then sort as strings. Dynamic-packed values have
 * their length codes already; they keep the zero bytes that belong to the string. Fixed values get length codes of the
 * same form in vorn_cv_lens. A length code of fixed values may be any number of its 1, 2 or 4 bits. With
 * VORN_UNIFORM_LENS vorn_cv_lens is one byte, the length code of all rows.
 *
 *     "ab" "ab\0" "abc", fixed, width 32    61 62 00 00 61 62 00 00 61 62 63 00; length codes 1 2 2: 68
 *     the same, dynamic-packed, class 32    61 62 61 62 00 61 62 63; length codes 1 2 2: 68
 *
 * Prefix groups (vorn_prefix_decode). A record holds 16 values of 1 to 8 bytes. The last record holds the values that
 * are left. A record begins with a byte p and the p bytes that all its values begin with. The rest of each value
 * follows. vorn_cv_lens has the offset of every record in vorn_cv_vals, 32 bits each. vorn_cv_nrows counts records.
 * vorn_enc_ctx_prefix_group is 16, vorn_enc_ctx_prefix_vlen is the number of bytes of a value, and
 * vorn_enc_ctx_prefix_nvals is the number of values. The host stores these three fields; no builder does.
 *
 *     ab01 ab02 ab17                        02 61 62 30 31 30 32 31 37; offset 00000000
 *
 * Block-compressed streams (VORN_STREAM). vorn_cv_vals of any form except prefix groups may be compressed in a format
 * of the host. qpak_decode of the host decompresses it to vorn_cv_stream_len bytes. Length codes, run lengths and
 * dictionaries are not compressed. The first call that reads the stream stores the address of the decompressed stream
 * in *vorn_cv_stream_slot. Later calls use it.
 *
 *     codes 3 10 3 10 3 10, width 4, for a host that writes pairs of a count and a byte
 *                                           03 3a; vorn_cv_stream_len 3
 *
 * Row forms (hash and join kernels). Numbers are in the processor's order and need no alignment. Values have up to
 * 65,535 bytes. The kernels take every row as it is: they know no mask, no NULL and no block compression. VORN_FIXED,
 * VORN_DICT and VORN_DLP have a builder with arguments. The others have a builder that takes only the context.
 *
 *     VORN_FIXED       width / 8 bytes a row, fewer than 2^32 bytes in all
 *     VORN_DICT        packed codes; the value is the symbol, always found by vorn_enc_ctx_dict_cla
 *     VORN_LV_SEP      the values one after another; vorn_cv_lens has a 16-bit length per row
 *     VORN_LV          per row a 16-bit length and the value
 *     VORN_LP_SEP      a 64-bit pointer per row; vorn_cv_lens has a 16-bit length per row
 *     VORN_LP          16 bytes a row: 16-bit length, 6 bytes that are not read, 64-bit pointer
 *     VORN_HASH_VALUES a 64-bit hash value per row, used without change; big-endian for vorn_bloom and vorn_xlate
 *     VORN_GD          a 32-bit code per row; the value is the 4 bytes of the code
 *     VORN_HASHRID     16 bytes a row: 64-bit row identifier, 64-bit hash value
 *     VORN_HASHGDRID   24 bytes a row: 64-bit hash value, 32-bit code, 4 bytes that are not read, 64-bit row identifier
 *     VORN_RIDVALUE    16 bytes a row: 64-bit left value, 64-bit table value
 *     VORN_AUTORID     nothing is stored: row i is vorn_cv_autorid + i
 *     VORN_DLP         a 64-bit word per row: 16 low bits of length, 48 high bits of an offset field; the low
 *                      vorn_enc_ctx_dlp_shift bits of the offset field are an offset; the other bits select a pointer
 *                      in vorn_enc_ctx_dlp_table; the sum of pointer and offset is the address of the value
 *
 *     "ab", "" as VORN_LV                   02 00 61 62 00 00
 *     the same as VORN_LV_SEP               61 62; lengths 02 00 00 00
 *
 * Hash table (vorn_hash_table). The 64-bit hash value h of a row selects tag, bucket and partition. T is the number of
 * bits of a tag, 16 or 32 by the type. The names are the fields of the record without their prefix vorn_ht_.
 *
 *     tag              the low T bits of h; with VORN_HT_GD the code of the key
 *     bucket           (h & (2^(bucket_hi_bit + 1) - 1)) >> T
 *     partition        ((h & (2^(part_hi_bit + 1) - 1)) >> part_shift) << part_low_bits | (h & (2^part_low_bits - 1))
 *
 *     VORN_HT_K2V4, 1,024 buckets in each of 16 partitions
 *                                           bucket_hi_bit 25, part_hi_bit 29, part_shift 26, part_low_bits 0
 *
 * There is only one partition when part_hi_bit equals bucket_hi_bit and part_low_bits is 0. A bucket has 64 bytes.
 * Offsets are in bytes:
 *
 *     VORN_HT_K2V4     header; 9 tags of 16 bits at 2; 9 values of 32 bits at 20; chain at 56
 *     VORN_HT_K2V8     header; 5 tags of 16 bits at 2; 5 values of 64 bits at 16; chain at 56
 *     VORN_HT_K4V4     header; 6 tags of 32 bits at 4; 6 values of 32 bits at 32; chain at 56
 *     VORN_HT_K4V8     header; 4 tags of 32 bits at 4; 4 values of 64 bits at 24; chain at 56
 *
 * The low 4 bits of the header byte count the used slots, from slot 0 on. Bit 0x40 says that no tag of this bucket
 * occurs a second time, in this bucket or later in its chain; a clear bit promises nothing. Bit 0x80 says that the
 * bucket is full and that the chain is a pointer to the next bucket.
 *
 *     VORN_HT_K2V4, tag 0x1234, value 7     41 00 34 12, at 20: 07 00 00 00
 *     and another tag; or the same again    header 42; or 02
 *
 * Records of a partitioning (vorn_partition_buffer), one after another.
 *
 *     VORN_PB_RID      64-bit row identifier, 64-bit hash value
 *     VORN_PB_RID_GD   64-bit hash value, 32-bit code, 4 bytes that are not written, 64-bit row identifier
 *     VORN_PB_LV       16-bit length of what follows, 64-bit hash value, payload of up to 65,527 bytes
 *     VORN_PB_FIXED    64-bit hash value, payload of vorn_pb_fixed_width bytes
 *
 *     "abc" as VORN_PB_LV, hash 1           0b 00 01 00 00 00 00 00 00 00 61 62 63
 *
 * Translate table (vorn_xlate). The table has an entry of 1, 4, 8, 16 or 32 bits for each key, one after another. Entry
 * i of 1 bit is bit i & 7 of byte i >> 3. Entry i of 4 bits is in byte i >> 1: in the low four bits for an even i, in
 * the high four bits for an odd i. Entries of 8 bits are bytes. Entries of 16 and 32 bits are in the processor's order.
 * An entry with all bits set says that the key has no entry. The kind says to which key an entry belongs:
 *
 *     1, sim           entry i belongs to key i
 *     2, off           entry i belongs to the key base + i
 *     3, ind           the table is an array of pointers to pages; each page is a table; a null pointer is a page
 *                      without entries; key >> vorn_enc_ctx_ind_shift is the number of the page, and
 *                      key & vorn_enc_ctx_ind_mask is the number of the entry in the page
 *
 *     keys 0 to 3 have 5, none, 0, 14, 4 bits
 *                                           f5 e0
 *
 * Numbers (vorn_gby_sum, vorn_convert, vorn_arith), by vorn_enc_ctx_num_type. VORN_NUM_FLOAT and VORN_NUM_DOUBLE with
 * VORN_NATIVE are IEEE 754 values in the processor's order. Without VORN_NATIVE they are canonical: the most
 * significant byte is first; the top bit is set when the value is not negative; all bits are inverted when the value is
 * negative. Canonical numbers sort as bytes. VORN_NUM_DSB are signed integers of vorn_enc_ctx_width bits, 8, 16, 32 or
 * 64, most significant byte first.
 *
 *     1.0 -1.0 -0.0, canonical float        bf 80 00 00 40 7f ff ff 7f ff ff ff
 *     5 -2, dsb, width 16                   00 05 ff fe
 *
 * Bloom map (vorn_bloom). The map is an array of bytes. Bit b of the map is bit b & 7 of byte b >> 3. The hash values
 * that are tested have 32 or 64 bits and are big-endian, unlike the result of vorn_hash. The last four bytes of 64 bits
 * count.
 */

/** @defgroup data Data
 *  @{ */

/** The implementation in force. */
extern VORN_API vorn_global_ctx_t vorn_global_ctx;

/** The generic kernels and their names. The index is the dispatch index: low byte of vorn_enc_ctx_type << 5 | opcode.
 * An empty slot is null and has the name "vorn_invalid_dispatch". The generic table remains reachable after a load. */
extern VORN_API const vorn_kernel vorn_dispatch_table[VORN_DISPATCH_SLOTS];
extern VORN_API const char *const vorn_dispatch_func_names[VORN_DISPATCH_SLOTS];

/** Population counts of the 256 byte values. */
extern VORN_API const uint8_t vorn_byte_popc[256];

/** Number of bytes that the values of one byte of dynamic-packed length codes take. The index is this byte. There is an
 * array for each class: values of 2, 4 and 8 bytes. */
extern VORN_API const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth2[256];
extern VORN_API const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth4[256];
extern VORN_API const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth8[256];

/** Relative costs without a unit, for a host that plans scans and projections. The index is the width in bits. */
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

/**
 * Notifies the library of an event of the host.
 *
 * Operands: event is VORN_NFY_LOAD, once, before any other call. Other events do nothing.
 *
 * Writes: vorn_global_ctx, as vorn_init_global_ctx does. A nonzero vorn_ctx_trace_level goes to the trace-level hook.
 *
 * Reports: the messages of vorn_load_global_ctx.
 */
VORN_API void vorn_nfy(uint32_t event, vorn_ctx *ctx);

/**
 * Chooses the implementation.
 *
 * Operands: vorn_ctx_init_flags and vorn_ctx_lib_name of ctx. With VORN_INIT_SPECIALIZED the call loads the library
 * that vorn_ctx_lib_name names. When this name is null, the call loads the best library that the processor can run:
 * svxlavx51219, svxlavx219, svxlavx19 or svxlsse4219. When the processor can run none of them, or without
 * VORN_INIT_SPECIALIZED, the generic kernels remain in force.
 *
 * Writes: vorn_global_ctx.
 *
 * Reports: the messages of vorn_load_global_ctx.
 */
VORN_API void vorn_init_global_ctx(vorn_ctx *ctx);

/**
 * Loads one specialised library and copies its record over vorn_global_ctx. A load cannot be undone.
 *
 * Operands: name is the load name of the library. svorn_dlopen of the host finds the library by this name.
 *
 * Writes: vorn_global_ctx; nothing when the library or its symbol is missing.
 *
 * Reports: a missing library or symbol, and then returns; a wrong version, magic number or status; an alignment word
 * that is not a power of 2. It reports a wrong name softly. If the reporter returns, the load continues.
 *
 * Memory: the library stays loaded for the life of the process.
 */
VORN_API void vorn_load_global_ctx(vorn_ctx *ctx, const char *name);

/** Callback for the trace settings of the host. Passes *level to the trace-level hook and returns the result of the
 * hook. */
VORN_API uint32_t vorn_set_trace_level_callback(void *a, uint32_t *level, void *c);

/** Set-up and tear-down of a thread. Return the result of the implementation in force, or VORN_RESULT_NO_IMPLEMENTATION
 * when it has none. */
VORN_API uint32_t vorn_thread_ctx_init(void *a, void *b, void *c, void *d);
VORN_API uint32_t vorn_thread_ctx_fini(void *a, void *b, void *c, void *d);

/** Requirements of the implementation in force. Return the bit of vorn_global_ctx_flags itself; zero means no. */
VORN_API uint32_t vorn_is_qpak_packed_dict_required(void);
VORN_API uint32_t vorn_is_byte_aligned_widths_required(void);
VORN_API uint32_t vorn_is_byte_aligned_widths_required_over_2bytes(void);
VORN_API uint32_t vorn_is_decode_bitwvec_required(void);
VORN_API uint32_t vorn_is_qpak_datastream_allowed(void);

/** Returns VORN_DISPATCH_SLOTS. */
VORN_API uint32_t vorn_dispatch_table_size(void);

/** Has the arguments of a kernel. Does nothing and returns VORN_RESULT_REFUSED. */
VORN_API uint32_t vorn_null(vorn_cv *res, vorn_cv *src, const vorn_cv *operand, vorn_aux *aux);

/** Names for diagnostics. The texts are static. vorn_overload_opc_name returns "E^R^R^O^R" for an opcode without a
 * name. The others return null for a number without a name. */
VORN_API const char *vorn_overload_opc_name(uint32_t opc, uint32_t enc);
VORN_API const char *vorn_flag_name(uint32_t flag);
VORN_API const char *vorn_enc_name(uint32_t enc);
VORN_API const char *vorn_datawidth_name(uint32_t code);

/** Text of a result code, for messages. The texts are static. A number that is no result code has the text "unknown
 * result code". */
VORN_API const char *vorn_result_text(uint32_t code);

/** Version of the library, as a number like VORN_VERSION_NUMBER. The number of another version shows that the process
 * runs with another library than it was compiled for. */
VORN_API uint32_t vorn_version(void);

/** The records, by number for vorn_record_size. */
enum {
  VORN_RECORD_CV = 0,
  VORN_RECORD_ENC_CTX = 1,
  VORN_RECORD_AUX = 2,
  VORN_RECORD_CTX = 3,
  VORN_RECORD_LBIV_ICTX = 4,
  VORN_RECORD_LBIWV_ICTX = 5,
  VORN_RECORD_QPAK_CTX = 6,
  VORN_RECORD_HASH_TABLE = 7,
  VORN_RECORD_PARTITION_BUFFER = 8,
  VORN_RECORD_TRANSPOSE_TABLE = 9,
  VORN_RECORD_GLOBAL_CTX = 10
};

/** Size of a record in bytes in the library, or 0 for a number without a record. A binding for another language
 * compares it with its own declaration. */
VORN_API uint64_t vorn_record_size(uint32_t record);

/** Prints name, call count and mean rate (Mrows per second) of every slot on standard output. With a nonzero
 * only_called it prints only slots that were called. vorn_ctx_call_counts and vorn_ctx_rates must not be null. */
VORN_API void vorn_stats_dump(const vorn_ctx *ctx, uint32_t only_called);

/** @} */

/** @defgroup builders Builders
 *
 * A builder stores its arguments in a record of the caller. It copies no arrays, so arrays must outlive the record. A
 * builder reports nothing. A value outside its limits is a fatal assertion. The assertion names the value, as in
 * "vorn_convert_width(33)".
 *  @{ */

/** Stores the arguments in the fields of the same names and sets vorn_cv_popc to 0. Does not write vorn_cv_autorid and
 * vorn_cv_size. When vals is null and stream_slot is not, vorn_cv_vals becomes *stream_slot. */
VORN_API void vorn_build_vector(vorn_cv *cv, void *vals, void *lens, void *flgs, vorn_enc_ctx *enc, uint64_t *mask_bv,
                                uint64_t *bv, uint32_t nrows, uint32_t stream_len, void **stream_slot,
                                uint64_t stream_tag);

/** Stores vorn_cv_autorid. */
VORN_API void vorn_add_vector_autorid(vorn_cv *cv, uint64_t first_rid);

/** Stores vorn_cv_size, in bytes. */
VORN_API void vorn_add_vector_size(vorn_cv *cv, uint64_t size);

/**
 * Stored forms of columns. Each clears the whole context and stores its arguments, the flag of its encoding with
 * `flags`, and the type code. Widths are in bits:
 *
 *     dict           1 to 20, 24, 32, 64
 *     fixed          8, 16, or a multiple of 8 up to 64; the kernels of 32 and 64 bits serve the narrower widths
 *     dynp           16, 32, 64
 *
 * Any other width is a fatal assertion or has no kernel.
 */
VORN_API void vorn_build_encoding_type_dict(vorn_enc_ctx *enc, uint32_t width, const void *syms, const void *lens,
                                            const void *cla, uint32_t nsyms, uint32_t layout, uint32_t flags);
VORN_API void vorn_build_encoding_type_fixed(vorn_enc_ctx *enc, uint32_t width, uint32_t flags);
VORN_API void vorn_build_encoding_type_dynp(vorn_enc_ctx *enc, uint32_t width, uint64_t ignored_a, uint64_t ignored_b,
                                            uint32_t flags);

/** Row forms. Each clears the whole context and sets the flag of its form. vorn_build_encoding_type_dlp stores
 * vorn_enc_ctx_dlp_shift and vorn_enc_ctx_dlp_table too. */
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

/** Clears the context and stores VORN_ROW and the arguments. No kernel takes this form. */
VORN_API void vorn_build_encoding_type_row(vorn_enc_ctx *enc, uint16_t a, uint64_t b);

/** Adds runs to a built context. width is 8 or 16 bits for a length. cla may be null. burst_res_bv has room for one bit
 * per run. */
VORN_API void vorn_add_encoding_type_rle(vorn_enc_ctx *enc, const void *lens, const void *cla, uint8_t width,
                                         uint32_t nruns, uint64_t *burst_res_bv);

/** Adds the fields of a bloom map to a built context. */
VORN_API void vorn_add_encoding_type_bloom(vorn_enc_ctx *enc, uint8_t ind, uint32_t mask, uint32_t shift,
                                           uint32_t ind_mask);

/** Makes a built context the context of a translate table. kind is 1 to 3. width is the size of an entry: 1, 2 or 4
 * bytes, -1 for one bit, -4 for four bits. A nonzero c2d asks for the output of entries. */
VORN_API void vorn_add_encoding_type_xlate(vorn_enc_ctx *enc, uint8_t kind, int32_t width, uint32_t c2d, uint32_t shift,
                                           uint32_t mask);

/** Makes a built context the context of a translation that adds to group keys. width as above. */
VORN_API void vorn_add_encoding_type_imca(vorn_enc_ctx *enc, int32_t width);

/** Clear the record and store the arguments. Fields without an argument become 0. The host stores two of them
 * afterwards: vorn_ht_part_low_bits and vorn_pb_fixed_width. */
VORN_API void vorn_build_hash_table(vorn_hash_table *ht, void **tables, void *reserved, void **ovfl_cur,
                                    void **ovfl_end, uint8_t part_hi_bit, uint8_t part_shift, uint8_t bucket_hi_bit,
                                    uint32_t type);
VORN_API void vorn_build_partition_buffer(vorn_partition_buffer *pb, void *reserved, void **cur, void **end,
                                          uint8_t hi_bit, uint8_t shift, uint32_t type);
VORN_API void vorn_build_transpose_table(vorn_transpose_table *tbl, uint8_t ncols, uint16_t width, uint64_t a,
                                         uint8_t hi_bit, uint8_t row_bits, void **in_refs, void **refs, uint64_t b,
                                         void **dlp, uint64_t c, uint64_t d, uint8_t e, void **cla, void **offsets,
                                         uint64_t f, void **data, void **pos, void **end, uint32_t flags);

/** Compute the type codes from the other fields. The builders above call them. */
VORN_API void vorn_build_encoding_type(vorn_enc_ctx *enc);
VORN_API void vorn_build_minor_encoding_type(vorn_enc_ctx *enc);

/** Return the code of a width in bits, of the size of a translate entry, and of a translate kind. A value without a
 * code is a fatal assertion. */
VORN_API uint8_t vorn_convert_width(uint32_t width);
VORN_API uint8_t vorn_xlate_convert_width(int32_t width);
VORN_API uint8_t vorn_xlate_convert_type(uint32_t kind);

/** Build the CLA of src_len lengths in res. The lengths are bytes (ub1) or big-endian 16-bit numbers (ub2). res_len is
 * the number of entries of res, at least src_len + 1; a smaller number is a fatal assertion. */
VORN_API void vorn_build_cla_1_ub1(uint32_t *res, uint32_t res_len, const void *src, uint32_t src_len);
VORN_API void vorn_build_cla_1_ub2(uint32_t *res, uint32_t res_len, const void *src, uint32_t src_len);

/** @} */

/** @defgroup predicates Predicates
 *  @{ */

/**
 * Compares every row of src with a constant.
 *
 * Operands:
 *   - src: vals (aligned), lens where the form has length codes, encoding context, nrows, mask_bv. A block-compressed
 *     source needs its stream fields too.
 *   - cst: vals, and an encoding context with the same vorn_enc_ctx_type and with VORN_CONST. The call does not check
 *     the other properties of a constant:
 *       - dictionary: a uint32_t code that fits the width of the column. A larger number gives a result that depends on
 *         how the rows are visited. For a column of width 8 the number 259 equals the code 3 when all rows are
 *         compared, and equals no code when only the rows of the filter are visited.
 *       - fixed: the bytes of a value, and an encoding context with the width of the column. All widths of a class have
 *         the same type code, but the kernel reads the rows with the width of the constant.
 *       - dynamic-packed: all bytes of the class, with the trailing zeros, and in lens one byte, the length code. A
 *         length code above 2, 4 or 8 in the classes 16, 32 and 64 is reported.
 *       - VORN_TZ: in lens one byte, the length code. Fixed values of width 8 have none.
 *   - aux: null, or a filter. Only rows of the filter are kept. Without VORN_AUX_FORCE_SELECTIVE all rows are compared
 *     and the filter is ANDed in. With it only the rows of the filter are visited; this is faster when they are few.
 *   - opc: VORN_OPC_EQ to VORN_OPC_NE.
 *
 * Writes: bv and popc of res. The host provides bv with (nrows + 63) >> 6 words, aligned, and stores nrows of src in
 * nrows of res.
 *
 * A run-length source is compared once per run. The call needs vorn_enc_ctx_burst_res_bv for one bit per run, and
 * vorn_decode_rle_burst expands these bits to rows. The mask of such a source holds one bit per run. The filter is
 * dropped: vorn_aux_filter_bv is null after the call.
 *
 * Returns: VORN_RESULT_DONE, VORN_RESULT_EMPTY or the result of the burst. VORN_RESULT_REFUSED, with nothing written,
 * for a length code that was reported. VORN_RESULT_NO_IMPLEMENTATION, with nothing written, for a slot without a
 * kernel.
 *
 * Reports: an unaligned res, src or filter; an inverted filter; different types; a constant without VORN_CONST; a
 * run-length source without vorn_enc_ctx_burst_res_bv; a slot without a kernel; a wrong length code; a stream that
 * cannot be decompressed; a failed self-check.
 *
 * Memory: the first call on a block-compressed source stores a buffer of vorn_ctx_alloc in *vorn_cv_stream_slot. The
 * buffer belongs to the host.
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
 * Compares every row of src with two constants. A row matches when it lies between lo and hi. The opcode says whether
 * the bounds match too.
 *
 * Operands: as for vorn_cmp; lo and hi both follow the rules of cst. opc is VORN_OPC_GT_LT to VORN_OPC_GE_LE.
 *
 * Writes, Returns, Memory: as vorn_cmp.
 *
 * Reports: as vorn_cmp. A wrong length code is reported with the length code of lo, also when hi is wrong.
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
 * Selects the rows whose dictionary code is a member of a set.
 *
 * Operands:
 *   - src: as for vorn_cmp, with VORN_DICT. There is no kernel for VORN_NULLS and for the width 64.
 *   - set: only vorn_cv_bv is read. It has one bit per code, is aligned to VORN_JOIN_BITWVEC_ALIGN, and covers every
 *     code that the column can contain. Code 0 counts like any other code.
 *   - aux: as for vorn_cmp.
 *
 * Writes: as vorn_cmp. The mask of src is not applied: vorn_cv_mask_bv of src is null after the call.
 *
 * Returns: VORN_RESULT_DONE, VORN_RESULT_EMPTY or the result of the burst. VORN_RESULT_NO_IMPLEMENTATION, with nothing
 * written, for a slot without a kernel.
 *
 * Reports: an unaligned res, src, set or filter; an inverted filter; a source without VORN_DICT; a run-length source
 * without vorn_enc_ctx_burst_res_bv; a slot without a kernel; a stream that cannot be decompressed; a failed
 * self-check.
 *
 * Memory: as vorn_cmp.
 */
VORN_API uint32_t vorn_in_set(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *set, vorn_aux *aux);

/** Returns the opcode of a predicate code of the sibling module rowz, or VORN_OPC_NONE for any other code. */
VORN_API uint32_t vorn_convert_rowz_pcode(uint8_t code);

/** @} */

/** @defgroup decoders Decoders
 *  @{ */

/**
 * Decodes the dictionary codes of a list of rows to their values, without copying the values.
 *
 * Operands:
 *   - src: vals (aligned), and an encoding context with VORN_DICT and a dictionary. There is no kernel for VORN_NULLS
 *     and for the width 64.
 *   - aux: vorn_aux_ones_vec, n row numbers in any order; vorn_aux_ones_vec_size is n. Over runs they are numbers of
 *     runs. They are not checked. A timed call computes its rate from the last number less the first number, so the
 *     rate means nothing when the list does not ascend.
 *
 * Writes: for row i of the list the entry i of three arrays of res. vals receives n addresses into
 * vorn_enc_ctx_dict_syms, lens receives n uint16_t, flgs receives n uint16_t: 2 for NULL, else 0. A value of length 0
 * is NULL. When the dictionary has one length and the length is 0, all values are NULL and vals is not written.
 * vorn_cv_popc becomes n, and vorn_aux_start_slot becomes the last row.
 *
 * Returns: VORN_RESULT_DONE. VORN_RESULT_NO_IMPLEMENTATION, with nothing written, for a slot without a kernel and for
 * an unknown vorn_enc_ctx_dict_layout.
 *
 * Reports: an unaligned src; a source without VORN_DICT; a null aux; an inverted filter; a slot without a kernel; a
 * stream that cannot be decompressed.
 *
 * Memory: the addresses point into the dictionary of the host. A block-compressed source: as vorn_cmp.
 */
VORN_API uint32_t vorn_decode(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/** Returns 1 for a vorn_enc_ctx_dict_layout that the decoders know, else 0. */
VORN_API uint32_t vorn_decode_is_vorn_dict_type_supported(uint32_t layout);

/**
 * Unpacks dictionary codes to an array of integers in the processor's order, in batches.
 *
 * Operands:
 *   - src: as for vorn_decode; the dictionary is not read.
 *   - res: vals, room for vorn_cv_nrows elements. An element has 1 byte for codes of up to 8 bits, 2 bytes for codes of
 *     up to 16 bits, and 4 bytes for wider codes. With VORN_AUX_UNPACK_UB4 it always has 4 bytes. bv is aligned or
 *     null.
 *   - aux: it says which rows are unpacked:
 *       - with a filter: the rows of the filter from vorn_aux_start_slot on;
 *       - without a filter, with vorn_aux_ones_vec: the rows of this list, whatever the room. Over runs the list
 *         ascends;
 *       - without both: all rows from vorn_aux_start_slot on.
 *
 * Writes: the codes to vals of res, and their number to vorn_cv_popc. vorn_aux_start_slot becomes the last row that was
 * dealt with.
 *
 * To resume, the host adds 1 to vorn_aux_start_slot and calls again. vorn_aux_run_idx and vorn_aux_run_end are the run
 * of the last row and the first row after this run; the host does not change them. A call that starts at row 0 begins a
 * new walk. The walk is complete at the last row of src, or when a call has written nothing.
 *
 * When aux has neither a filter nor a list, every run must have at least one row. An empty run makes wrong codes, or
 * the call writes before vals. With a filter or a list, and in predicates and bursts, a run may be empty.
 *
 * Returns: VORN_RESULT_DONE, or VORN_RESULT_EMPTY when nothing was written. VORN_RESULT_NO_IMPLEMENTATION, with nothing
 * written, for a slot without a kernel.
 *
 * Reports: an unaligned res or src; a source without VORN_DICT; a null aux; an inverted filter; a slot without a
 * kernel; over runs an empty list; a stream that cannot be decompressed.
 *
 * Memory: a block-compressed source: as vorn_cmp.
 */
VORN_API uint32_t vorn_decode_unpack(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/** vorn_decode_unpack by the generic kernel and without the checks. Reports only a slot without a kernel. The host sets
 * vorn_aux_ctx. */
VORN_API uint32_t vorn_dispatch_decode_unpack(vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/**
 * Decodes an array of codes, as vorn_decode_unpack writes it, to the outputs of vorn_decode.
 *
 * Operands:
 *   - src: vals, an array of vorn_cv_nrows codes in the processor's order; an encoding context with the dictionary and
 *     the width 8, 16 or 32.
 *     The elements have this width, or 32 bits with VORN_AUX_UNPACK_UB4. This entry point selects its kernel by the
 *     whole vorn_enc_ctx_type, the others by its low byte. The upper bytes must be zero, as a builder leaves them.
 *   - res: vals, lens and flgs as for vorn_decode; flgs may be null.
 *   - aux: options only.
 *
 * Writes: vals, lens and flgs as vorn_decode, entry i for row i of src. vorn_cv_popc of res becomes vorn_cv_nrows of
 * src. vorn_aux_start_slot is neither read nor written. With VORN_AUX_COPY_VALUES, the width 32 and
 * VORN_DICT_ONE_LENGTH the call copies the values one after another to vals of res, and does not write lens and flgs.
 *
 * Returns: as vorn_decode.
 *
 * Reports: a source without VORN_DICT; a null aux; an inverted filter; a slot without a kernel.
 *
 * Memory: as vorn_decode. The codes are never block-compressed.
 */
VORN_API uint32_t vorn_decode_symbol(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/**
 * Rebuilds prefix-compressed values of vorn_enc_ctx_prefix_vlen bytes.
 *
 * Operands: src has prefix groups and the three prefix fields of the encoding context. aux may be null.
 *
 * Writes: the values to vals of res, one after another. vorn_aux_prefix_out may be null or an array of 16 bytes per
 * value. An element receives the address of the value in vals of res, its length and 0 as uint16_t; its last 4 bytes
 * are not written.
 *
 * Returns: VORN_RESULT_DONE, or VORN_RESULT_NO_IMPLEMENTATION, with nothing written, for groups of other than 16 values
 * or values of other than 1 to 8 bytes.
 */
VORN_API uint32_t vorn_prefix_decode(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/** vorn_prefix_decode by the generic implementation alone. */
VORN_API uint32_t vorn_prefix_decode_dydi(vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/**
 * Expands one bit per run to one bit per row. Predicates call it through vorn_enc_ctx_burst_fn.
 *
 * Operands:
 *   - src: a run-length encoding context. Run lengths and CLA are aligned to VORN_DATASTREAM_ALIGN. The lengths add up
 *     to at most vorn_cv_nrows of res. With a CLA the runs that are not selected cost nothing.
 *   - aux: vorn_aux_filter_bv is the bit vector of the runs. It must not be vorn_cv_bv of res.
 *
 * Writes: bv and popc of res.
 *
 * Returns: VORN_RESULT_DONE or VORN_RESULT_EMPTY. VORN_RESULT_NO_IMPLEMENTATION, with nothing written, for a slot
 * without a kernel; a predicate that called the burst has then written vorn_enc_ctx_burst_res_bv and popc of res.
 *
 * Reports: a source without VORN_RLE; an unaligned res, filter, run lengths or CLA; a slot without a kernel, with the
 * width of the run lengths. If the reporter returns, a source
 * without VORN_RLE is a fatal assertion. A filter that is vorn_cv_bv of res is one too.
 */
VORN_API uint32_t vorn_decode_rle_burst(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/**
 * Decodes a block-compressed stream. A host normally stores this function in vorn_ctx_decompress.
 *
 * Operands: src is the compressed stream. dst has room for dstlen bytes, the length of the decompressed stream.
 *
 * The call runs the decoder in force. When a decoder other than vorn_qpak_decode_dydi fails, the call runs qpak_decode
 * of the host and returns its result.
 *
 * Writes: dst. *outlen is left to the decoder. Where qctx has no scratch allocator, the call stores
 * vornu_stack_alloc_align and vornu_stack_free_align of the host in it.
 *
 * Returns: 0 on success.
 *
 * Reports: an unaligned src or dst.
 */
VORN_API uint32_t vorn_qpak_decode(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen, uint32_t dstlen);

/** vorn_qpak_decode by qpak_decode of the host, without checks. */
VORN_API uint32_t vorn_qpak_decode_dydi(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen,
                                        uint32_t dstlen);

/** @} */

/**
 * @defgroup bit_vectors Bit vectors
 *
 * Two families have the same seventeen operations. They check and report nothing. A host calls them through the slots
 * of vorn_global_ctx, for example vorn_global_ctx.vorn_lbiwvand_dydi. The functions declared here are the generic
 * implementations. The types of the functions (vorn_lbiv_binary_op, ...) name their arguments.
 *
 * A vector of lbiv is (nbits + 7) >> 3 bytes at any address. A vector of lbiwv is (nbits + 63) >> 6 words; operations
 * read and write whole words. Bit i has the same place in both. nbits is at least 1.
 *
 * Counts and combinations. popc receives the number of ones. When popc is null, ones are not counted. A combination
 * writes zeros from nbits to the end of the last byte or word, and nothing after it. Sources may hold any bits there.
 * dst may be one of the sources. It must not overlap a source in another way. andnot complements the first source.
 *
 * Ranges. The bits first to last are set or cleared, both included. first is not above last.
 *
 * Iteration. ini2 prepares ictx to iterate from bit start. This bit must lie in a stored byte or word. mode 1 means
 * over clear bits, any other mode means over set bits. iter returns the next set bit and iter_clr the next clear bit,
 * in ascending order. ones writes up to max next set bits to out and returns their number; a later call resumes. At the
 * end and ever after iter and iter_clr return 0xffffffff in the family lbiv, and 64 ones in the family lbiwv.
 *
 * An iterator that was prepared with mode 1 is used with iter_clr. Any other iterator is used with iter and ones, in
 * any order. An iterator holds nothing to free. Vectors have fewer than 2^31 bits. During an iteration only bits that
 * were delivered may change.
 *  @{ */

/* lbiv: bit vectors that begin at any byte. */
extern VORN_API vorn_lbiv_count_op vorn_lbivpopcnt_dydi;     /**< ones of bv; nothing when popc is null */
extern VORN_API vorn_lbiv_unary_op vorn_lbivnot_dydi;        /**< dst = NOT src */
extern VORN_API vorn_lbiv_binary_op vorn_lbivand_dydi;       /**< dst = a AND b */
extern VORN_API vorn_lbiv_binary_op vorn_lbivor_dydi;        /**< dst = a OR b */
extern VORN_API vorn_lbiv_binary_op vorn_lbivxor_dydi;       /**< dst = a XOR b */
extern VORN_API vorn_lbiv_binary_op vorn_lbivandnot_dydi;    /**< dst = (NOT a) AND b */
extern VORN_API vorn_lbiv_ternary_op vorn_lbivand3_dydi;     /**< dst = a AND b AND c */
extern VORN_API vorn_lbiv_ternary_op vorn_lbivor3_dydi;      /**< dst = a OR b OR c */
extern VORN_API vorn_lbiv_ternary_op vorn_lbivxor3_dydi;     /**< dst = a XOR b XOR c */
extern VORN_API vorn_lbiv_range_op vorn_lbivset_range_dydi;  /**< sets the bits first to last */
extern VORN_API vorn_lbiv_range_op vorn_lbivclr_range_dydi;  /**< clears the bits first to last */
extern VORN_API vorn_lbiv_start_op vorn_lbiv_ictx_ini2_dydi; /**< prepares an iterator */
extern VORN_API vorn_lbiv_next_op vorn_lbiviter_dydi;        /**< the next set bit, or 0xffffffff */
extern VORN_API vorn_lbiv_next_op vorn_lbiviter_clr_dydi;    /**< the next clear bit, or 0xffffffff */
extern VORN_API vorn_lbiv_list_op vorn_lbivones_dydi;        /**< the next set bits, up to max */
extern VORN_API vorn_run_op vorn_lbivrun_dydi;               /**< placeholder: does nothing and returns 0xffffffff */
extern VORN_API vorn_runs_op vorn_lbivruns_dydi;             /**< placeholder: does nothing and returns 0 */

/* lbiwv: bit vectors of whole words. The kernels of the library call these functions directly. */
extern VORN_API vorn_lbiwv_count_op vorn_lbiwvpopcnt_dydi;     /**< ones of bv; nothing when popc is null */
extern VORN_API vorn_lbiwv_unary_op vorn_lbiwvnot_dydi;        /**< dst = NOT src */
extern VORN_API vorn_lbiwv_binary_op vorn_lbiwvand_dydi;       /**< dst = a AND b */
extern VORN_API vorn_lbiwv_binary_op vorn_lbiwvor_dydi;        /**< dst = a OR b */
extern VORN_API vorn_lbiwv_binary_op vorn_lbiwvxor_dydi;       /**< dst = a XOR b */
extern VORN_API vorn_lbiwv_binary_op vorn_lbiwvandnot_dydi;    /**< dst = (NOT a) AND b */
extern VORN_API vorn_lbiwv_ternary_op vorn_lbiwvand3_dydi;     /**< dst = a AND b AND c */
extern VORN_API vorn_lbiwv_ternary_op vorn_lbiwvor3_dydi;      /**< dst = a OR b OR c */
extern VORN_API vorn_lbiwv_ternary_op vorn_lbiwvxor3_dydi;     /**< dst = a XOR b XOR c */
extern VORN_API vorn_lbiwv_range_op vorn_lbiwvset_range_dydi;  /**< sets the bits first to last */
extern VORN_API vorn_lbiwv_range_op vorn_lbiwvclr_range_dydi;  /**< clears the bits first to last */
extern VORN_API vorn_lbiwv_start_op vorn_lbiwv_ictx_ini2_dydi; /**< prepares an iterator */
extern VORN_API vorn_lbiwv_next_op vorn_lbiwviter_dydi;        /**< the next set bit, or 64 ones */
extern VORN_API vorn_lbiwv_next_op vorn_lbiwviter_clr_dydi;    /**< the next clear bit, or 64 ones */
extern VORN_API vorn_lbiwv_list_op vorn_lbiwvones_dydi;        /**< the next set bits, up to max */
extern VORN_API vorn_run_op vorn_lbiwvrun_dydi;                /**< placeholder: does nothing and returns 64 ones */
extern VORN_API vorn_runs_op vorn_lbiwvruns_dydi;              /**< placeholder: does nothing and returns 0 */

/** @} */

/**
 * @defgroup joins Hashing and joins
 *
 * A hash join takes these steps. Only build and probe are needed.
 *
 *     vorn_bloom                            drops probe rows that cannot match
 *     vorn_partition                        splits the rows of a side by bits of their hash values
 *     vorn_ht_build                         inserts the rows of the build side into a hash table
 *     vorn_ht_probe                         writes a pair for each slot with the tag of a probe row
 *     vorn_transpose_...                    prepare a store of values
 *     vorn_gather                           fetches the values of the rows that the pairs name
 *
 * Row forms. The rows of a vector are in one of the row forms. The result of a step is in a row form too. It may be the
 * source of the next step, with one exception: vorn_bloom does not read what vorn_hash writes, because vorn_hash writes
 * numbers in the processor's order and vorn_bloom reads big-endian numbers. vorn_bloom says what a host does about it.
 * When a vector has several of these flags, the first flag in the list of the entry point counts.
 *
 * Hash function. The library has none. The host passes one to every call that hashes keys. It is a pure function of the
 * bytes, their number and the seed. Its values spread over all 64 bits. It may be null where nothing is hashed. Where
 * keys are hashed, a call without a hash function returns VORN_RESULT_NO_IMPLEMENTATION and writes nothing, unless a
 * specialised library has its own hash function.
 *
 * Resuming. A call that runs out of room has done all rows before vorn_aux_start_slot and no later row. The host makes
 * room and calls again with the same arguments and the same aux. For a source in VORN_LV or VORN_LV_SEP
 * vorn_aux_out_pos is the byte position of the row vorn_aux_start_slot in vals. Both fields are 0 in a first call. Only
 * vorn_bloom takes a null aux. A kernel that returns VORN_RESULT_REFUSED has changed nothing.
 *
 * Errors. Only vorn_bloom checks its operands. Every entry point here returns VORN_RESULT_NO_IMPLEMENTATION when its
 * slot of vorn_global_ctx is null.
 *  @{ */

/**
 * Hashes every row of src.
 *
 * Operands:
 *   - src: VORN_FIXED, VORN_DICT, VORN_LV_SEP, VORN_LV, VORN_LP_SEP or VORN_LP. The rows always begin at row 0;
 *     vorn_aux_start_slot is not read.
 *   - seed: a vector with VORN_HASH_VALUES. With one row its value is the seed of all rows. With any other number of
 *     rows it has a seed for each row of src.
 *
 * Writes: one uint64_t per row to vals of res, in the processor's order. No other field of res is read or written.
 * vorn_ht_build, vorn_ht_probe, vorn_partition and the seed of a further vorn_hash read these numbers. vorn_bloom reads
 * big-endian numbers instead.
 *
 * Returns: VORN_RESULT_DONE, or VORN_RESULT_REFUSED for another seed or form.
 */
VORN_API uint32_t vorn_hash(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn,
                            vorn_aux *aux);

/** vorn_hash without a hash function, for a specialised library that has its own. */
VORN_API uint32_t vorn_hash_implicit(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_aux *aux);

/**
 * Inserts rows into a hash table. Rows with equal keys are all kept, in their order. A slot holds a tag and a value,
 * not the key.
 *
 * Operands:
 *   - ht: built by vorn_build_hash_table. A partition has 2^(vorn_ht_bucket_hi_bit + 1 - T) buckets, where T is the
 *     number of bits of a tag. The buckets are zero at first. The room for overflow buckets, 64 bytes each, may hold
 *     any bytes.
 *   - src: the keys, in VORN_HASHRID, VORN_FIXED, VORN_LV_SEP, VORN_LV, VORN_LP_SEP, VORN_LP or VORN_HASH_VALUES. A
 *     table with VORN_HT_GD takes VORN_GD, and for values of 64 bits VORN_HASHGDRID before it. Hash values and codes
 *     are numbers in the processor's order, as vorn_hash and vorn_partition write them.
 *   - values: with VORN_AUTORID the row identifiers, else an array of uint32_t or uint64_t by the type of the table,
 *     one per row of src. Its number of rows is not read. VORN_HASHRID and VORN_HASHGDRID have the values in their
 *     records.
 *   - part: the partition that all rows belong to, or a negative number: the partition of each row follows from its
 *     hash value.
 *
 * Writes: the buckets, and vorn_ht_ovfl_cur when overflow buckets are taken. Several threads may build the same table
 * if each thread builds its own partition.
 *
 * Returns: VORN_RESULT_DONE; VORN_RESULT_REFUSED for another type or form; VORN_RESULT_NO_OVERFLOW when a row needs an
 * overflow bucket and its partition has none left. Then vorn_aux_full_part is the high part of the number of the
 * partition: the bits of the hash value above vorn_ht_bucket_hi_bit, without vorn_ht_part_low_bits. The host stores new
 * room in vorn_ht_ovfl_cur and vorn_ht_ovfl_end and resumes.
 *
 * Memory: buckets point to overflow buckets. All overflow rooms that were used must outlive the table.
 */
VORN_API uint32_t vorn_ht_build(const vorn_ctx *ctx, vorn_hash_table *ht, vorn_cv *src, vorn_cv *values, int32_t part,
                                vorn_hashfn hashfn, vorn_aux *aux);

/**
 * Looks rows up in a hash table. For each row it writes a pair for every slot that has the tag of the row. Rows come in
 * their order, and the slots of a row in the order of insertion. Pairs are candidates, since different keys may have
 * the same tag. Pairs of a table with VORN_HT_GD are exact.
 *
 * Operands:
 *   - src: the keys, in VORN_FIXED, VORN_LV_SEP, VORN_LV, VORN_LP_SEP, VORN_LP or VORN_HASH_VALUES. A table with
 *     VORN_HT_GD takes VORN_GD. Hash values and codes are numbers in the processor's order.
 *   - left: the left values of the pairs. With VORN_AUTORID it gives 64-bit row identifiers, else it is an array of
 *     uint32_t or uint64_t by the type of the table. Its number of rows is not read.
 *   - ht, hashfn: the table and the hash function of the build.
 *   - res: vals has room for vorn_cv_nrows pairs.
 *
 * Writes: pairs in VORN_RIDVALUE from the beginning of vals of res, in every call. vorn_cv_nrows becomes the number of
 * pairs. vorn_gather reads them.
 *
 * Returns: VORN_RESULT_DONE, also without a pair; VORN_RESULT_REFUSED for another type or form; VORN_RESULT_PROBE_FULL
 * when there is a match without room. The host then takes the pairs, sets vorn_cv_nrows of res to its room and resumes.
 * All pairs of a row come in one call. When a row has more matches than res has room for, the call makes no progress.
 */
VORN_API uint32_t vorn_ht_probe(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *left, vorn_hash_table *ht,
                                vorn_hashfn hashfn, vorn_aux *aux);

/**
 * Appends a record for each row to the area of its partition. The partition of the hash value h is
 * (h & (2^(vorn_pb_hi_bit + 1) - 1)) >> vorn_pb_shift. The rows of a partition keep their order.
 *
 * Operands:
 *   - pb: per partition the address of the next record and, unless vorn_pb_end is null, the end of the area.
 *   - src: the keys, in VORN_FIXED, VORN_LV_SEP, VORN_LV, VORN_LP_SEP, VORN_LP or VORN_HASH_VALUES, with these
 *     exceptions by vorn_pb_type:
 *       - VORN_PB_RID: also VORN_HASHRID; its records are copied;
 *       - VORN_PB_RID_GD: only VORN_GD;
 *       - VORN_PB_LV: also VORN_LV with VORN_HASH_VALUES; its records are copied.
 *   - payload, by vorn_pb_type; its number of rows is not read:
 *       - VORN_PB_RID, VORN_PB_RID_GD: VORN_AUTORID, or an array of uint64_t row identifiers;
 *       - VORN_PB_LV: values in VORN_FIXED, VORN_LV_SEP, VORN_LV, VORN_LP_SEP or VORN_LP;
 *       - VORN_PB_FIXED: VORN_FIXED; rows are as far apart as the width of payload says.
 *
 * Writes: the records, and vorn_pb_cur. The hash values of src and of the records are in the processor's order.
 *
 * Returns: VORN_RESULT_DONE; VORN_RESULT_REFUSED for another type or combination; VORN_RESULT_PARTITION_FULL when a
 * record does not fit. Then vorn_aux_full_part is the partition of the record. For a payload in VORN_LV or VORN_LV_SEP
 * vorn_aux_out_pos2 is the byte position of its row. The host makes room, for example by draining the area, and
 * resumes.
 */
VORN_API uint32_t vorn_partition(const vorn_ctx *ctx, vorn_partition_buffer *pb, vorn_cv *src, vorn_cv *payload,
                                 vorn_hashfn hashfn, vorn_aux *aux);

/**
 * Fetches values by row identifiers, or copies values that src refers to.
 *
 * Operands, to fetch values of tbl:
 *   - src: the identifiers, in VORN_FIXED of up to 8 bytes or in VORN_RIDVALUE, in the processor's order. Of a pair
 *     the table value is the identifier, or with VORN_AUX_RID the left value. The low vorn_tt_row_bits of an
 *     identifier are the row. The bits above them, up to vorn_tt_hi_bit, are the partition. Identifiers are not
 *     checked.
 *   - tbl: values by entries of a length and a pointer (VORN_TT_LP), by dlp words (VORN_TT_DLP) or by offsets
 *     (VORN_TT_CLA). Dlp words are relative to entry 0 of vorn_enc_ctx_dlp_table of res and use vorn_enc_ctx_dlp_shift
 *     of res, whatever the form of res.
 *   - res: vals, room for vorn_cv_size bytes.
 *
 * Operands, to copy values: src holds the values in VORN_LP_SEP, VORN_LP or VORN_DLP, and res is in VORN_LV_SEP or
 * VORN_LV. tbl is not read.
 *
 * Writes: the values from the beginning of vals of res, in every call, by the form of res:
 *   - VORN_FIXED: vorn_tt_width / 8 bytes each;
 *   - VORN_LV_SEP, VORN_LV: the values;
 *   - VORN_LP_SEP, VORN_LP: the addresses of the values;
 *   - VORN_DLP: a word for each row of src, at the index of the row. Its offset field is the partition, shifted left by
 *     vorn_enc_ctx_dlp_shift, plus vorn_enc_ctx_dlp_shift low bits of the address. There is no test for room.
 *
 * VORN_LV_SEP and VORN_LP_SEP also write lens. lens must have room for the rows of src. vorn_cv_nrows is not written:
 * the call has done the rows before vorn_aux_start_slot.
 *
 * Returns: VORN_RESULT_DONE; VORN_RESULT_REFUSED for another form or kind; VORN_RESULT_OUTPUT_FULL when a row has no
 * room left. The host then takes the output and resumes.
 *
 * Memory: VORN_LP_SEP, VORN_LP and VORN_DLP refer to the values of the store; they are not copied.
 */
VORN_API uint32_t vorn_gather(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_transpose_table *tbl,
                              vorn_aux *aux);

/**
 * Writes references to the values of a column into one column of a matrix of rows. A reference is a length and a
 * pointer.
 *
 * Operands:
 *   - tbl: VORN_TT_LP. vorn_tt_refs of partition arr is the start of the matrix.
 *   - src: VORN_FIXED, VORN_LV_SEP, VORN_LV, VORN_LP_SEP or VORN_LP.
 *   - col: the column, below vorn_tt_ncols.
 *
 * Writes: entry r * vorn_tt_ncols + col of the matrix for each row r. An entry has 16 bytes like a record of VORN_LP.
 * vorn_tt_refs does not change.
 *
 * Returns: VORN_RESULT_DONE, or VORN_RESULT_REFUSED for another form or table.
 *
 * Memory: the matrix refers to the values of src. These values must outlive the matrix.
 */
VORN_API uint32_t vorn_transpose_reference(const vorn_ctx *ctx, vorn_transpose_table *tbl, vorn_cv *src, uint32_t col,
                                           int32_t arr, vorn_aux *aux);

/**
 * Copies the values of rows of a matrix to one output. When dst has VORN_TT_ROW and src does not, each row becomes one
 * record: its values, each after its 16-bit length. Otherwise the values are copied one by one, without lengths.
 *
 * Operands:
 *   - src: vorn_tt_ncols, and vorn_tt_in_refs of partition src_arr, the matrix.
 *   - dst: vorn_tt_pos of partition dst_arr, where the bytes go, and vorn_tt_end.
 *   - first, last: the rows, both included.
 *
 * Writes: the bytes at vorn_tt_pos, and a description of them by the flags of dst:
 *   - VORN_TT_CLA: at vorn_tt_offsets the 32-bit end of each record or value. A call with first 0 writes a 0 before
 *     them. Other calls continue from the entry before vorn_tt_offsets.
 *   - VORN_TT_LP: at vorn_tt_refs an entry of a length and a pointer for each record or value. The length of a record
 *     does not count the 2 bytes before each value.
 *
 * vorn_tt_pos, vorn_tt_offsets and vorn_tt_refs advance. vorn_aux_start_slot becomes last + 1, or first when first is
 * above last.
 *
 * Returns: VORN_RESULT_DONE; VORN_RESULT_REFUSED when dst is null or has neither flag; VORN_RESULT_TRANSPOSE_FULL when
 * a row does not fit. Then the output has the rows before it, vorn_aux_start_slot is this row, and the host resumes
 * with this row as first. When it is row 0 and dst has VORN_TT_CLA, the leading 0 is written already.
 */
VORN_API uint32_t vorn_transpose_convert(const vorn_ctx *ctx, vorn_transpose_table *dst, vorn_transpose_table *src,
                                         int32_t dst_arr, int32_t src_arr, uint32_t first, uint32_t last,
                                         vorn_aux *aux);

/**
 * Tests hash values against a bit map that the host has made of the other side of a join.
 *
 * Operands:
 *   - src: VORN_HASH_VALUES; big-endian values of 32 bits when the width is 32, else of 64 bits. The result of
 *     vorn_hash is not big-endian, see below.
 *   - filter: vorn_cv_bv, the map, and an encoding context of vorn_add_encoding_type_bloom. A hash value h is cut to 32
 *     bits and tests bit h & vorn_enc_ctx_bloom_mask of the map. With vorn_enc_ctx_bloom_ind vorn_cv_bv is an array of
 *     pointers to maps. Then the masked h, shifted right by vorn_enc_ctx_ind_shift, selects the map, and the masked h,
 *     masked with vorn_enc_ctx_ind_mask, selects the bit in the map.
 *   - res: bv, aligned, of (nrows + 63) >> 6 words for nrows of src, all zero; vals, room for two uint32_t.
 *   - aux: null, or vorn_aux_start_row, the first row to test, and a filter: only its rows are tested. The filter of a
 *     run-length source is dropped: vorn_aux_filter_bv is null after the call.
 *
 * Writes: bv of res, where bits are only set. vorn_cv_popc becomes the number of rows that pass. vals receives the
 * first and the last of these rows, or 0xffffffff twice when there are none.
 *
 * Hash values of vorn_hash. Reversing the 8 bytes of every value makes it big-endian. A host saves this pass when it
 * makes the map for the values as they are. For the uint64_t h of vorn_hash the host then sets the bit
 *
 *     __builtin_bswap32((uint32_t) (h >> 32)) & vorn_enc_ctx_bloom_mask
 *
 * and passes the result of vorn_hash as src. examples/bloom.c does so. A map of vornenc_bloom_add has other bits: its
 * src comes from vornenc_bloom_keys.
 *
 * Returns: VORN_RESULT_DONE, VORN_RESULT_EMPTY, or VORN_RESULT_REFUSED for another form.
 *
 * Reports: an unaligned res or filter of aux; a failed self-check.
 */
VORN_API uint32_t vorn_bloom(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux);

/** vorn_bloom by the generic implementation alone. aux is not null. */
VORN_API uint32_t vorn_bloom_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux);

/** @} */

/** @defgroup expressions Translation, groups and arithmetic
 *  @{ */

/**
 * Looks up the key of every row in a table. The result says which rows have an entry and, with c2d, what the entries
 * are.
 *
 * Operands:
 *   - src: VORN_HASH_VALUES and the width 32, big-endian keys. All keys must lie in the table; this is not checked. The
 *     numbers that vorn_decode_unpack and vorn_groupkey write are not big-endian. The host reverses the 4 bytes of each
 *     number first.
 *   - tbl: vorn_cv_bv, a translate table, and an encoding context of vorn_add_encoding_type_xlate.
 *   - res: bv, aligned, of (nrows + 63) >> 6 words for nrows of src, all zero; vals, room for two uint32_t.
 *   - aux: vorn_aux_start_row, the first row, and a filter: only its rows are looked up. The filter of a run-length
 *     source is dropped: vorn_aux_filter_bv is null after the call. For tables of kind 2 vorn_aux_xlate_enc is the
 *     encoding context that has the base in vorn_enc_ctx_xlate_base. With c2d vorn_aux_xlate_tbl is an array with an
 *     element of the size of an entry for every row.
 *
 * Writes: bv of res, where bits are only set. vorn_cv_popc becomes the number of rows with an entry. vals receives the
 * first and the last of these rows, or 0xffffffff twice when there are none. With c2d vorn_aux_xlate_tbl receives the
 * entry of every row that is looked up, also for keys without an entry. Entries are in the processor's order.
 *
 * With an encoding context of vorn_add_encoding_type_imca the call adds to group keys instead. src then has the width
 * 32 and codes in the processor's order, and vorn_aux_xlate_tbl is the table. Each uint32_t at vals of res grows by the
 * entry of the row times vorn_aux_xlate_n.
 *
 * Returns: VORN_RESULT_DONE, whatever the kernel returns. VORN_RESULT_NO_IMPLEMENTATION, with nothing written, for a
 * slot without a kernel.
 *
 * Reports: an unaligned res or filter; a null aux; a source without the width 32; a slot without a kernel, with the
 * width and flags of the context of tbl; a failed self-check.
 */
VORN_API uint32_t vorn_xlate(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *tbl, vorn_aux *aux);

/**
 * Combines the dictionary codes of several columns into one number per row, less than *nkeys. From column to column the
 * number becomes (key << width) + code, or with VORN_AUX_MULTIPLY key * vorn_enc_ctx_dict_nsyms + code.
 *
 * Operands:
 *   - cols: an array of ncols columns as for vorn_decode_unpack; packed codes are big-endian. There is at least one
 *     column, and over runs there are at most 32. The first column has the number of rows. vorn_enc_ctx_dict_nsyms of
 *     each column is the number of codes; no other field of the dictionary is read.
 *   - res: vals, room for vorn_cv_nrows keys of 32 bits; bv is aligned or null.
 *   - tmp: vals, room for vorn_cv_nrows numbers of 32 bits, scratch for one batch.
 *   - aux: vorn_aux_start_slot, the first row, and a filter.
 *
 * Writes: the keys to vals of res, their number to vorn_cv_popc, and the number of possible keys to *nkeys. Keys are in
 * the processor's order. vorn_gby_sum and a context of vorn_add_encoding_type_imca read them.
 * vorn_aux_start_slot does not change: after VORN_RESULT_OUTPUT_FULL the host finds the next row by the number of keys.
 *
 * Returns: VORN_RESULT_DONE; VORN_RESULT_OUTPUT_FULL when rows remain; with nothing written VORN_RESULT_REFUSED for a
 * column without VORN_DICT, VORN_RESULT_KEY_SPACE when the number of possible keys exceeds 2^32 - 1, and
 * VORN_RESULT_NO_IMPLEMENTATION for a column that vorn_decode_unpack has no kernel for.
 *
 * Reports: an unaligned res; a null aux; an inverted filter; a column without an unpack kernel; a stream that cannot be
 * decompressed.
 *
 * Memory: scratch of vorn_ctx_stack_alloc, freed before the call returns.
 */
VORN_API uint32_t vorn_groupkey(const vorn_ctx *ctx, vorn_cv *res, uint32_t *nkeys, vorn_cv *cols, uint32_t ncols,
                                vorn_cv *tmp, vorn_aux *aux);

/**
 * Adds numbers to accumulators row by row. Without keys all numbers go to the first accumulator.
 *
 * Operands:
 *   - src: numbers.
 *   - grp: null, or vals with a uint32_t key per row of src. The key is the index of the accumulator.
 *
 * Writes: vals of res, an array with an accumulator for each key. Accumulators are float, double or, for VORN_NUM_DSB,
 * int64_t. Sums of int64_t wrap around.
 *
 * Returns: VORN_RESULT_DONE, or VORN_RESULT_NO_IMPLEMENTATION for another kind of numbers.
 */
VORN_API uint32_t vorn_gby_sum(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *grp, vorn_aux *aux);

/**
 * Computes left + right, left - right or left * right row by row.
 *
 * Operands:
 *   - left, right: float or double numbers, each native or canonical. Both have the kind of left. One of them may be a
 *     constant with VORN_CONST: its first number is used for every row. The longer operand has the number of rows.
 *   - aux: null, or options.
 *   - opcode: VORN_OPC_ADD, VORN_OPC_SUB or VORN_OPC_MUL.
 *
 * Writes: a native number per row to vals of res. vals of res may be vals of an operand. With VORN_AUX_SUM vals of res
 * is one accumulator, and the sum of the rows is added to it.
 *
 * Returns: VORN_RESULT_DONE, or VORN_RESULT_NO_IMPLEMENTATION, with nothing written, for a kind or an opcode that was
 * reported.
 *
 * Reports: a kind that is neither float nor double; another opcode, as a slot without a kernel.
 */
VORN_API uint32_t vorn_arith(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux,
                             uint32_t opcode);

/** vorn_arith with the opcode of the name. */
VORN_API uint32_t vorn_add(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux);
VORN_API uint32_t vorn_sub(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux);
VORN_API uint32_t vorn_mul(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux);

/** Returns VORN_RESULT_NO_IMPLEMENTATION: there is no division. */
VORN_API uint32_t vorn_div(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux);

/**
 * Converts canonical numbers to native numbers, or adds numbers up.
 *
 * Operands: src has canonical numbers. With VORN_AUX_SUM it may have any kind and form of numbers. aux may be null.
 *
 * Writes: a native number per row to vals of res. With VORN_AUX_SUM vals of res is one accumulator, and the sum of the
 * numbers is added to it.
 *
 * Returns: VORN_RESULT_DONE, or VORN_RESULT_NO_IMPLEMENTATION when there is nothing to convert: another kind, or
 * without VORN_AUX_SUM native numbers or VORN_NUM_DSB.
 */
VORN_API uint32_t vorn_convert(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux);

/**
 * Counts the edges of a ring that a ray crosses. The ray runs from a point towards growing x. The point is inside when
 * the number is odd.
 *
 * Operands:
 *   - xs, ys: vals, the coordinates of the vertices as native doubles. vorn_cv_nrows of xs is their number. The last
 *     vertex is joined to the first.
 *   - px, py: vals, the coordinates of the point as native doubles.
 *   - aux: may be null.
 *
 * A vertex at the height of the ray counts as below it. A point on an edge does not count this edge. The left and the
 * bottom side of a square are therefore inside.
 *
 * Writes: one uint32_t to vals of res.
 *
 * Returns: VORN_RESULT_DONE, or VORN_RESULT_NO_IMPLEMENTATION when the slot of vorn_global_ctx is null.
 */
VORN_API uint32_t vorn_spatial_pip(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *xs, vorn_cv *ys, vorn_cv *px,
                                   vorn_cv *py, vorn_aux *aux);

/** Operations without an implementation. They return VORN_RESULT_NO_IMPLEMENTATION. They are traced and timed by the
 * rows of src. aux is not null. The other arguments are not read. */
VORN_API uint32_t vorn_dk_create(const vorn_ctx *ctx, const void *a, const void *b, const void *c, const vorn_cv *src,
                                 const void *d, const void *e, vorn_aux *aux);
VORN_API uint32_t vorn_compare(const vorn_ctx *ctx, const void *a, const vorn_cv *src, const void *b, vorn_aux *aux);

/** The entry points of these names by the generic implementations alone. aux is not null. Where an implementation needs
 * the host, the host sets vorn_aux_ctx. */
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
