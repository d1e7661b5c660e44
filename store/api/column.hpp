// Encoded columns, and vectors of them for the kernels of vorn.
#pragma once

#include <vorn/store/export.hpp>
#include <vorn/vorn.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vorn::store {

struct table_data;

// How the values of a column are stored.
enum class encoding {
  dict,   // a code of the dictionary for each row
  rle,    // a code of the dictionary for each run of equal rows, and the length of the run
  fixed,  // each value minus the smallest value, in whole bytes
  dynp,   // the same, without trailing zero bytes
  prefix, // groups of values that share their first bytes; predicates do not read them
};
VORN_STORE_API const char *name_of(encoding form);

// How a column is to be stored.
struct encoding_choice {
  std::optional<encoding> form = {}; // without a form: rle if the runs are long, otherwise dict
  bool compressed = false;           // the values in compressed blocks; not with prefix
};

// Codes from `first` to `last`, both included.
struct code_range {
  uint64_t first;
  uint64_t last;
};

// A column of a table.  A copy costs no memory, and a column keeps the data of its table alive.  Any number of threads
// may read one column.
//
// Each value has a code.  Codes are numbers in the order of the values.  The code of a dictionary column is its index
// in the sorted dictionary; with NULLs in the column, code 0 is NULL.  The code in fixed and dynp columns is the value
// minus the smallest value.  Kernels compare codes, so a program first turns a constant into a code.
class VORN_STORE_API column {
public:
  const std::string &name() const;
  const std::string &sql_type() const; // such as "INTEGER" or "DECIMAL(9,2)"
  uint64_t rows() const;
  encoding form() const;
  bool is_compressed() const;
  bool has_nulls() const;
  uint32_t width() const;         // bits of a code or value in the stream; dynp: the largest number of bits
  uint64_t encoded_bytes() const; // of all row groups, with the dictionary
  uint64_t plain_bytes() const;   // of the values in a plain array

  // Row groups have `row_group_rows` rows each, the last one perhaps fewer.
  size_t row_groups() const;
  uint32_t rows_of(size_t row_group) const;

  // The codes of the values for which a comparison with a constant is true.  The comparison is VORN_OPC_EQ,
  // VORN_OPC_LT, VORN_OPC_LE, VORN_OPC_GT or VORN_OPC_GE.  The constant has the form that SQL has between quotes.
  // Throws error for another comparison, for a constant that is no value of the column's type, and for a prefix column.
  std::optional<code_range> codes(uint32_t comparison, std::string_view constant) const;

private:
  friend class table;
  friend class source_vector;
  friend class constant_vector;
  column(std::shared_ptr<const table_data> data, size_t index) : data_(std::move(data)), index_(index) {}

  std::shared_ptr<const table_data> data_;
  size_t index_;
};

// What a kernel reads of a source.  Predicates and sets read only codes.  Decoders read the dictionary too.  NULL
// satisfies no predicate.  For a set NULL is a code like any other.
enum class reading { predicate, set, decode };

// The rows of a row group as a source for the entry points of vorn.h.  It owns the records and the working memory of a
// call, and keeps the column alive.  One thread uses it at a time.
//
// The first use of a compressed row group decompresses its blocks.  The memory belongs to the environment of the
// context of this use.  One thread at a time uses such a row group.  All its contexts have the same environment, and
// vorn_qpak_decode in vorn_ctx_decompress.  The environment outlives all uses.
class VORN_STORE_API source_vector {
public:
  // Throws error when the column has no such row group or cannot be read in this way.
  source_vector(const column &of, size_t row_group, reading how = reading::predicate);
  source_vector(source_vector &&) noexcept;
  source_vector &operator=(source_vector &&) noexcept;
  ~source_vector();

  // Valid as long as this object.
  vorn_cv *get();

private:
  struct state;
  std::unique_ptr<state> state_;
};

// A code as a constant for predicates over a column.  One thread uses it at a time.
class VORN_STORE_API constant_vector {
public:
  // Throws error for a code that the column does not have.
  constant_vector(const column &of, uint64_t code);
  constant_vector(constant_vector &&) noexcept;
  constant_vector &operator=(constant_vector &&) noexcept;
  ~constant_vector();

  // Valid as long as this.
  vorn_cv *get();

private:
  struct state;
  std::unique_ptr<state> state_;
};

} // namespace vorn::store
