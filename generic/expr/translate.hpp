// Translation: which keys have an entry in a table, and the entries.  Each step is a loop over a block of rows: keys
// are loaded, entries are looked up, entries are stored, rows are marked.
#pragma once

#include "generic/big_endian.hpp"
#include "generic/native.hpp"
#include "generic/row_test.hpp"

namespace vorn::inline VORN_LEVEL::expr {

// The widths of an entry: how entry i of a table is read and written.  An entry of all ones is a miss.  The entries of
// some rows are numbers, each with the least size that holds an entry.
struct bit_entries {
  using number = uint8_t;
  static constexpr unsigned bits = 1;
  static constexpr number miss = 1;
  static number get(const uint8_t *table, uint64_t i) { return table[i / 8] >> i % 8 & 1U; }
};
struct nib_entries {
  using number = uint8_t;
  static constexpr unsigned bits = 4;
  static constexpr number miss = 0xf;
  static number get(const uint8_t *table, uint64_t i) { return table[i / 2] >> i % 2 * 4 & 0xfU; }
  static void put(uint8_t *table, uint64_t i, number entry) {
    const unsigned shift = i % 2 * 4;
    table[i / 2] = static_cast<uint8_t>((table[i / 2] & 0xf0U >> shift) | uint32_t{entry} << shift);
  }
  static number *block_at(uint8_t *, uint64_t, number *block) { return block; }
  static void put_block(uint8_t *table, uint64_t first, const number *entries) {
    for (unsigned i = 0; i < test_block / 2; ++i)
      table[first / 2 + i] = static_cast<uint8_t>(entries[2 * i] | entries[2 * i + 1] << 4);
  }
};
template <class Element>
struct whole_entries {
  using number = Element;
  static constexpr unsigned bits = 8 * sizeof(Element);
  static constexpr number miss = static_cast<Element>(-1);
  static number get(const uint8_t *table, uint64_t i) { return load<Element>(table, i); }
  static void put(uint8_t *table, uint64_t i, number entry) { store<Element>(table + i * sizeof(Element), entry); }
  // Where the entries of 64 rows from a row on can be stored at once: the place itself if it is aligned.
  static number *block_at(uint8_t *table, uint64_t first, number *block) {
    uint8_t *at = table + first * sizeof(Element);
    return reinterpret_cast<uintptr_t>(at) % alignof(Element) == 0 ? reinterpret_cast<number *>(at) : block;
  }
  static void put_block(uint8_t *table, uint64_t first, const number *entries) {
    uint8_t *at = table + first * sizeof(Element);
    if (at != reinterpret_cast<const uint8_t *>(entries))
      std::memcpy(at, entries, test_block * sizeof(Element));
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

struct key_table {
  table_kind kind;
  const uint8_t *entries; // or the array of pages
  uint32_t base = 0;
  uint32_t page_shift = 0;
  uint32_t page_mask = 0;
};

// Looks up one key after the other.  An engine of a level may replace it.
struct single_keys {
  // Looks up the keys of the rows row(0) to row(count - 1).
  template <class Entries, class Row>
  [[gnu::always_inline]] static void look_up(const key_table &from, const uint8_t *stored_keys, uint32_t count, Row row,
                                             typename Entries::number *entries) {
    using number = typename Entries::number;
    const key_table table = from; // a copy is not read again after each entry
    const auto each_key = [&](auto entry_of) {
#pragma GCC unroll 8
      for (uint32_t i = 0; i < count; ++i)
        entries[i] = entry_of(load_big<uint32_t>(stored_keys + row(i) * sizeof(uint32_t)));
    };
    if (table.kind != table_kind::ind)
      return each_key([&](uint32_t key) { return Entries::get(table.entries, key - table.base); });
    each_key([&](uint32_t key) -> number {
      const auto *page = load<const uint8_t *>(table.entries, key >> table.page_shift);
      return page == nullptr ? Entries::miss : Entries::get(page, key & table.page_mask);
    });
  }

  // Looks up the 64 keys of whole rows.  The result has a bit for each key with an entry.
  template <class Entries>
  static uint64_t look_up_word(const key_table &table, const uint8_t *stored_keys, typename Entries::number *entries) {
    look_up<Entries>(
        table, stored_keys, test_block, [](uint64_t i) { return i; }, entries);
    return found_in_word<Entries>(entries);
  }

protected:
  template <class Entries>
  static uint64_t found_in_word(const typename Entries::number *entries) {
    uint8_t passes[test_block];
    for (uint32_t i = 0; i < test_block; ++i)
      passes[i] = entries[i] != Entries::miss;
    return bits_of(passes);
  }
};

// Marks the rows whose keys have an entry.  With Stores, each entry is stored at the index of its row.
template <class Loop, class Entries, bool Stores>
[[gnu::noinline]] uint32_t translate(table_kind kind, vorn_cv &res, const vorn_cv &src, const vorn_cv &tbl,
                                     vorn_aux &aux) {
  const vorn_enc_ctx &enc = *src.vorn_cv_encoding_context;
  if (!(enc.vorn_enc_ctx_flags & VORN_HASH_VALUES) || enc.vorn_enc_ctx_width != 32)
    return VORN_RESULT_REFUSED;
  key_table table = {kind, reinterpret_cast<const uint8_t *>(tbl.vorn_cv_bv)};
  if (kind == table_kind::off)
    table.base = aux.vorn_aux_xlate_enc->vorn_enc_ctx_xlate_base;
  if (kind == table_kind::ind) {
    table.page_shift = tbl.vorn_cv_encoding_context->vorn_enc_ctx_ind_shift % 32;
    table.page_mask = tbl.vorn_cv_encoding_context->vorn_enc_ctx_ind_mask;
  }
  const auto *keys = static_cast<const uint8_t *>(src.vorn_cv_vals);
  auto *codes = static_cast<uint8_t *>(aux.vorn_aux_xlate_tbl);
  const auto test = [&](uint8_t *passes, uint32_t count, auto row) {
    typename Entries::number entries[test_block];
    single_keys::look_up<Entries>(table, keys, count, row, entries);
    if constexpr (Stores)
      for (uint32_t i = 0; i < count; ++i)
        Entries::put(codes, row(i), entries[i]);
    for (uint32_t i = 0; i < count; ++i)
      passes[i] = entries[i] != Entries::miss;
  };
  const auto test_word = [&](uint64_t first, uint64_t &found) {
    typename Entries::number block[test_block];
    typename Entries::number *entries = block;
    if constexpr (Stores)
      entries = Entries::block_at(codes, first, block);
    found = Loop::template look_up_word<Entries>(table, keys + first * sizeof(uint32_t), entries);
    if constexpr (Stores)
      Entries::put_block(codes, first, entries);
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
