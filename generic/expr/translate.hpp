// Translation: which keys have an entry in a table, and what it says.  Rows are taken a block at a time: their keys,
// the entries of these, and what follows from the entries.
#pragma once

#include <algorithm>

#include "frame/bits.hpp"
#include "frame/operations.hpp"
#include "frame/vorn.h"
#include "generic/big_endian.hpp"
#include "generic/bitvec/iterate.hpp"
#include "generic/native.hpp"

namespace vorn::inline VORN_LEVEL {

// The widths of an entry: how entry i of a table is read and written.  All ones is the miss.
struct bit_entries {
  static constexpr uint32_t miss = 1;
  static uint32_t get(const uint8_t *table, uint64_t i) { return table[i / 8] >> i % 8 & 1U; }
};
struct nib_entries {
  static constexpr uint32_t miss = 0xf;
  static uint32_t get(const uint8_t *table, uint64_t i) { return table[i / 2] >> i % 2 * 4 & 0xfU; }
  static void put(uint8_t *table, uint64_t i, uint32_t entry) {
    const unsigned shift = i % 2 * 4;
    table[i / 2] = static_cast<uint8_t>((table[i / 2] & 0xf0U >> shift) | entry << shift);
  }
};
template <class Element>
struct whole_entries {
  static constexpr uint32_t miss = static_cast<Element>(-1);
  static uint32_t get(const uint8_t *table, uint64_t i) { return load<Element>(table, i); }
  static void put(uint8_t *table, uint64_t i, uint32_t entry) {
    store<Element>(table + i * sizeof(Element), static_cast<Element>(entry));
  }
};
using ub1_entries = whole_entries<uint8_t>;
using ub2_entries = whole_entries<uint16_t>;
using ub4_entries = whole_entries<uint32_t>;

enum class table_kind : uint8_t {
  sim, // an entry for each key
  off, // for each key from a base on
  ind  // pages, some of which are missing
};

inline constexpr uint32_t xlate_block = 64;

// Looks up one key after the other.  An engine of a level may replace it.
struct single_keys {
  template <class Entries>
  static void look_up(table_kind kind, const vorn_cv &table, uint32_t base, const uint32_t *keys, uint32_t count,
                      uint32_t *entries) {
    if (kind == table_kind::ind) {
      const vorn_enc_ctx &enc = *table.vorn_cv_encoding_context;
      for (uint32_t i = 0; i < count; ++i) {
        const auto *page = load<const uint8_t *>(table.vorn_cv_bv, keys[i] >> enc.vorn_enc_ctx_ind_shift % 32);
        entries[i] = page == nullptr ? Entries::miss : Entries::get(page, keys[i] & enc.vorn_enc_ctx_ind_mask);
      }
    } else {
      const auto *flat = reinterpret_cast<const uint8_t *>(table.vorn_cv_bv);
      for (uint32_t i = 0; i < count; ++i)
        entries[i] = Entries::get(flat, keys[i] - base);
    }
  }
};

// The rows of a call, a block at a time: all from a start on, or those of a filter.
class xlate_rows {
public:
  xlate_rows(const vorn_aux &aux, uint32_t nrows)
      : filtered_(aux.vorn_aux_filter_bv != nullptr), next_(aux.vorn_aux_start_row), end_(nrows) {
    if (filtered_)
      iterator_ = iterator_over(aux.vorn_aux_filter_bv, nrows, wanted::set, next_);
  }

  uint32_t take(uint32_t *rows) {
    if (filtered_)
      return next_ones(iterator_, rows, xlate_block);
    const uint32_t count = next_ < end_ ? std::min(end_ - next_, xlate_block) : 0;
    for (uint32_t i = 0; i < count; ++i)
      rows[i] = next_ + i;
    next_ += count;
    return count;
  }

private:
  bool filtered_;
  uint32_t next_;
  uint32_t end_;
  vorn_lbiwv_ictx iterator_ = {};
};

template <class Pass, class Entries, bool Stores>
uint32_t translate(table_kind kind, vorn_cv &res, const vorn_cv &src, const vorn_cv &table, vorn_aux &aux) {
  const vorn_enc_ctx &enc = *src.vorn_cv_encoding_context;
  if (!(enc.vorn_enc_ctx_flags & VORN_HASH_VALUES) || enc.vorn_enc_ctx_width != 32)
    return VORN_RESULT_REFUSED;
  const auto *vals = static_cast<const uint8_t *>(src.vorn_cv_vals);
  const uint32_t base = kind == table_kind::off ? aux.vorn_aux_xlate_enc->vorn_enc_ctx_xlate_base : 0;
  uint32_t passed = 0, first = UINT32_MAX, last = UINT32_MAX;
  xlate_rows rows(aux, src.vorn_cv_nrows);
  for (;;) {
    uint32_t numbers[xlate_block], keys[xlate_block], entries[xlate_block];
    const uint32_t count = rows.take(numbers);
    if (count == 0)
      break;
    for (uint32_t i = 0; i < count; ++i)
      keys[i] = load_big<uint32_t>(vals + uint64_t{numbers[i]} * 4);
    Pass::template look_up<Entries>(kind, table, base, keys, count, entries);
    for (uint32_t i = 0; i < count; ++i) {
      const uint32_t row = numbers[i];
      const bool found = entries[i] != Entries::miss;
      res.vorn_cv_bv[row / 64] |= uint64_t{found} << row % 64;
      passed += found ? 1 : 0;
      first = std::min(first, found ? row : UINT32_MAX);
      last = found ? row : last;
    }
    if constexpr (Stores)
      for (uint32_t i = 0; i < count; ++i)
        Entries::put(static_cast<uint8_t *>(aux.vorn_aux_xlate_tbl), numbers[i], entries[i]);
  }
  if (aux.vorn_aux_filter_bv != nullptr)
    set(aux, operations::xlate.selective);
  res.vorn_cv_popc = passed;
  store<uint32_t>(res.vorn_cv_vals, first);
  store<uint32_t>(static_cast<uint8_t *>(res.vorn_cv_vals) + sizeof first, last);
  return passed == 0 ? VORN_RESULT_EMPTY : VORN_RESULT_DONE;
}

// Adds the entries of dictionary codes, times a constant, to the keys of a grouping.
template <class Entries>
uint32_t add_to_keys(vorn_cv &res, const vorn_cv &src, const vorn_aux &aux) {
  const auto *table = static_cast<const uint8_t *>(aux.vorn_aux_xlate_tbl);
  auto *keys = static_cast<uint8_t *>(res.vorn_cv_vals);
  for (uint32_t row = 0; row < src.vorn_cv_nrows; ++row) {
    const uint32_t entry = Entries::get(table, load<uint32_t>(src.vorn_cv_vals, row));
    store<uint32_t>(keys + uint64_t{row} * 4, load<uint32_t>(keys, row) + entry * aux.vorn_aux_xlate_n);
  }
  return VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL
