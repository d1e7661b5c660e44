// Translation: which keys have an entry in a table, and the entries.  Each step is a loop over a block of rows: keys
// are loaded, entries are looked up, entries are stored, rows are marked.
#pragma once

#include "generic/big_endian.hpp"
#include "generic/native.hpp"
#include "generic/row_test.hpp"

namespace vorn::inline VORN_LEVEL::expr {

// The widths of an entry: how entry i of a table is read and written.  An entry of all ones is a miss.
struct bit_entries {
  static constexpr unsigned bits = 1;
  static constexpr uint32_t miss = 1;
  static uint32_t get(const uint8_t *table, uint64_t i) { return table[i / 8] >> i % 8 & 1U; }
};
struct nib_entries {
  static constexpr unsigned bits = 4;
  static constexpr uint32_t miss = 0xf;
  static uint32_t get(const uint8_t *table, uint64_t i) { return table[i / 2] >> i % 2 * 4 & 0xfU; }
  static void put(uint8_t *table, uint64_t i, uint32_t entry) {
    const unsigned shift = i % 2 * 4;
    table[i / 2] = static_cast<uint8_t>((table[i / 2] & 0xf0U >> shift) | entry << shift);
  }
};
template <class Element>
struct whole_entries {
  static constexpr unsigned bits = 8 * sizeof(Element);
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
  off, // an entry for each key from a base on
  ind  // pages of entries; pages may be missing
};

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

  // Looks up the 64 keys of whole rows, if there is a faster way.  `found` has a bit for each key with an entry.
  template <class Entries>
  static bool look_up_word(table_kind, const vorn_cv &, uint32_t, const uint8_t *, uint32_t *, uint64_t &) {
    return false;
  }
};

// Marks the rows whose keys have an entry.  With Stores, each entry is stored at the index of its row.
template <class Loop, class Entries, bool Stores>
[[gnu::noinline]] uint32_t translate(table_kind kind, vorn_cv &res, const vorn_cv &src, const vorn_cv &table,
                                     vorn_aux &aux) {
  const vorn_enc_ctx &enc = *src.vorn_cv_encoding_context;
  if (!(enc.vorn_enc_ctx_flags & VORN_HASH_VALUES) || enc.vorn_enc_ctx_width != 32)
    return VORN_RESULT_REFUSED;
  const uint32_t base = kind == table_kind::off ? aux.vorn_aux_xlate_enc->vorn_enc_ctx_xlate_base : 0;
  const auto *stored_keys = static_cast<const uint8_t *>(src.vorn_cv_vals);
  auto *codes = static_cast<uint8_t *>(aux.vorn_aux_xlate_tbl);
  const auto test = [&](uint8_t *passes, uint32_t count, auto row) {
    uint32_t keys[test_block], entries[test_block];
    for (uint32_t i = 0; i < count; ++i)
      keys[i] = load_big<uint32_t>(stored_keys + row(i) * sizeof keys[i]);
    Loop::template look_up<Entries>(kind, table, base, keys, count, entries);
    if constexpr (Stores)
      for (uint32_t i = 0; i < count; ++i)
        Entries::put(codes, row(i), entries[i]);
    for (uint32_t i = 0; i < count; ++i)
      passes[i] = entries[i] != Entries::miss;
  };
  const auto test_word = [&](uint64_t first, uint64_t &found) {
    uint32_t entries[test_block];
    if (!Loop::template look_up_word<Entries>(kind, table, base, stored_keys + first * sizeof *entries, entries, found))
      return false;
    if constexpr (Stores)
      for (uint32_t i = 0; i < test_block; ++i)
        Entries::put(codes, first + i, entries[i]);
    return true;
  };
  return test_rows(res, src.vorn_cv_nrows, aux, operations::xlate, test, test_word);
}

// Looks up the entries of dictionary codes and adds them, times a constant, to group keys.
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

} // namespace vorn::inline VORN_LEVEL::expr
