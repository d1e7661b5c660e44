// Translation: which keys have an entry in a table, and what it says.  Rows are taken a block at a time: their keys,
// the entries of these, and what follows from the entries.
#pragma once

#include <algorithm>

#include "frame/operations.hpp"
#include "frame/vorn.h"
#include "generic/big_endian.hpp"
#include "generic/bitvec/iterate.hpp"
#include "generic/match_summary.hpp"
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

// What a call does with the rows of a block: their keys are looked up, those with an entry are marked, and with Stores
// the entries are stored by row.
template <class Pass, class Entries, bool Stores>
class translation {
public:
  translation(table_kind kind, vorn_cv &res, const vorn_cv &src, const vorn_cv &table, const vorn_aux &aux)
      : kind_(kind), table_(table),
        base_(kind == table_kind::off ? aux.vorn_aux_xlate_enc->vorn_enc_ctx_xlate_base : 0),
        keys_(static_cast<const uint8_t *>(src.vorn_cv_vals)), bv_(res.vorn_cv_bv),
        codes_(static_cast<uint8_t *>(aux.vorn_aux_xlate_tbl)) {}

  // Rows of one word.
  void add_range(uint32_t first, uint32_t count) {
    look_up(count, [=](uint32_t i) { return uint64_t{first} + i; });
    uint64_t bits = 0;
    for (uint32_t i = 0; i < count; ++i)
      bits |= uint64_t{entries_[i] != Entries::miss} << i;
    passed_.add_word(bv_, first / 64, bits << first % 64);
  }

  void add_rows(const uint32_t *rows, uint32_t count) {
    look_up(count, [=](uint32_t i) { return uint64_t{rows[i]}; });
    for (uint32_t i = 0; i < count; ++i)
      passed_.add_row(bv_, rows[i], entries_[i] != Entries::miss);
  }

  const match_summary &passed() const { return passed_; }

private:
  template <class Row>
  void look_up(uint32_t count, Row row) {
    uint32_t keys[xlate_block];
    for (uint32_t i = 0; i < count; ++i)
      keys[i] = load_big<uint32_t>(keys_ + row(i) * sizeof keys[i]);
    Pass::template look_up<Entries>(kind_, table_, base_, keys, count, entries_);
    if constexpr (Stores)
      for (uint32_t i = 0; i < count; ++i)
        Entries::put(codes_, row(i), entries_[i]);
  }

  table_kind kind_;
  const vorn_cv &table_;
  uint32_t base_;
  const uint8_t *keys_;
  uint64_t *bv_;
  uint8_t *codes_;
  match_summary passed_;
  uint32_t entries_[xlate_block] = {};
};

// All rows from a start on, or those of a filter.
template <class Pass, class Entries, bool Stores>
[[gnu::noinline]] uint32_t translate(table_kind kind, vorn_cv &res, const vorn_cv &src, const vorn_cv &table,
                                     vorn_aux &aux) {
  const vorn_enc_ctx &enc = *src.vorn_cv_encoding_context;
  if (!(enc.vorn_enc_ctx_flags & VORN_HASH_VALUES) || enc.vorn_enc_ctx_width != 32)
    return VORN_RESULT_REFUSED;
  translation<Pass, Entries, Stores> work(kind, res, src, table, aux);
  const uint32_t nrows = src.vorn_cv_nrows;
  if (aux.vorn_aux_filter_bv == nullptr) {
    for (uint32_t row = aux.vorn_aux_start_row; row < nrows;) {
      const uint32_t count = std::min(nrows - row, xlate_block - row % xlate_block);
      work.add_range(row, count);
      row += count;
    }
  } else {
    vorn_lbiwv_ictx filter = iterator_over(aux.vorn_aux_filter_bv, nrows, wanted::set, aux.vorn_aux_start_row);
    uint32_t rows[xlate_block];
    while (const uint32_t count = next_ones(filter, rows, xlate_block))
      work.add_rows(rows, count);
    set(aux, operations::xlate.selective);
  }
  return work.passed().store_in(res);
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
