// Translation: every kernel against a model that translates one key after the other.  Tables end right before
// unreadable memory.
#include "tests/support/guarded.hpp"
#include "tests/support/kernel_test.hpp"
#include "tests/support/slots.hpp"

namespace {

using namespace vorn_test;

constexpr int32_t widths[] = {-1, -4, 1, 2, 4}; // by width code: the arguments of the builders

// Entry i of a table, of an array by rows or of a bit vector.  All have the lowest bits first.
uint32_t get(const void *array, unsigned bits, uint64_t i) {
  uint32_t entry = 0;
  std::memcpy(&entry, static_cast<const uint8_t *>(array) + i * bits / 8, (bits + 7) / 8);
  return entry >> i * bits % 8 & UINT32_MAX >> (32 - bits);
}
void put(std::string &array, unsigned bits, uint64_t i, uint32_t entry) {
  const uint32_t changed = (get(array.data(), bits, i) ^ entry) << i * bits % 8;
  for (uint64_t byte = 0; byte < (bits + 7) / 8; ++byte) {
    char &stored = array[i * bits / 8 + byte];
    stored = static_cast<char>(stored ^ static_cast<char>(changed >> 8 * byte));
  }
}

// The keys are `span` numbers from base on.  A page has mask + 1 entries; only ind has several pages.
enum : unsigned { sim, off, ind, group };
constexpr struct table_form {
  unsigned kind;
  uint32_t base, shift, mask, pages;
  uint64_t span;
} forms[] = {{sim, 0, 3, 299, 1, 300},       {sim, 0, 3, 0, 1, 1},       {off, 0xffffffb0, 3, 299, 1, 300},
             {off, 7, 3, 0, 1, 1},           {ind, 0, 5, 31, 9, 9 * 32}, {ind, 0, 3, 0x17, 6, 6 * 8},
             {ind, 0, 31, 7, 2, 1ULL << 32}, {ind, 0, 0, 7, 5, 5},       {group, 0, 3, 50, 1, 51}};

struct translate_test : kernel_test {
  void check(const slot &s, const table_form &form, uint32_t nrows, uint32_t start, bool filtered) {
    const int32_t width = widths[s.width_code()];
    const auto bits = static_cast<unsigned>(width < 0 ? -width : 8 * width);
    const uint32_t miss = UINT32_MAX >> (32 - bits), nentries = form.pages * (form.mask + 1), misses = below(5);
    std::string table = value((nentries * bits + 7) / 8), pages, keys, sums;
    for (uint32_t i = 0; i < nentries; ++i)
      put(table, bits, i, below(4) < misses ? miss : below(miss)); // some, none or all
    guarded_bytes entries(table);
    for (uint32_t page = 0; page < form.pages; ++page)
      pages += bytes_of(below(3) == 0 ? nullptr : entries.data() + page * (form.mask + 1) * bits / 8);
    guarded_bytes page_array(pages);

    const bool groups = form.kind == group;
    const uint32_t wrong = groups ? 2 : below(16); // 0: no hash values, 1: another width
    const size_t words = (nrows + 63) / 64;
    guarded_bytes filter(below(4) == 0 ? std::string(8 * words, 0) : value(8 * words)); // also bits after the last row
    guarded_bytes bv(value(8 * words)), codes(value((nrows * bits + 7) / 8)), accumulators(value(4 * nrows));
    std::string marked = bv.now(), stored = codes.now();
    uint32_t popc = 0, range[] = {1, 2, 3}, first = UINT32_MAX, last = UINT32_MAX;
    for (uint32_t row = 0; row < nrows; ++row) {
      const auto key = static_cast<uint32_t>(form.base + random.below(form.span));
      const uint32_t page = form.kind == ind ? key >> form.shift : 0;
      const bool missing = form.kind == ind && page_array.as<uint8_t *>()[page] == nullptr;
      const uint32_t index = form.kind == ind ? page * (form.mask + 1) + (key & form.mask) : key - form.base;
      const uint32_t entry = missing ? miss : get(entries.data(), bits, index);
      keys += bytes_of(groups ? key : __builtin_bswap32(key));
      sums += bytes_of(accumulators.as<uint32_t>()[row] + (groups ? entry * ~start : 0));
      if (groups || wrong < 2 || row < start || (filtered && get(filter.data(), 1, row) == 0))
        continue;
      if (s.flag())
        put(stored, bits, row, entry);
      if (entry == miss)
        continue;
      put(marked, 1, row, 1);
      first = popc++ == 0 ? row : first;
      last = row;
    }

    guarded_bytes key_array(keys);
    vorn_enc_ctx src_enc = {}, enc = {}, base_enc = {};
    src_enc.vorn_enc_ctx_flags = groups || wrong == 0 ? ~uint32_t{VORN_HASH_VALUES} : all_flags;
    src_enc.vorn_enc_ctx_width = wrong == 1 ? 64 : 32;
    enc.vorn_enc_ctx_xlate_base = 99;
    base_enc.vorn_enc_ctx_xlate_base = form.base;
    if (groups)
      vorn_add_encoding_type_imca(&enc, width);
    else
      vorn_add_encoding_type_xlate(&enc, static_cast<uint8_t>(form.kind + 1), width, s.flag(), form.shift, form.mask);
    EXPECT_EQ((enc.vorn_enc_ctx_type & 0xff) << 5 | VORN_OPC_XLATE, s.index);
    vorn_cv src = vector_of(key_array.data(), src_enc, nrows), tbl = vector_of(nullptr, enc, 0);
    vorn_cv res = result_of(bv.as<uint64_t>(), 77);
    tbl.vorn_cv_bv = groups ? nullptr : form.kind == ind ? page_array.as<uint64_t>() : entries.as<uint64_t>();
    res.vorn_cv_vals = groups ? accumulators.data() : reinterpret_cast<uint8_t *>(range);
    res.vorn_cv_popc = 99;
    vorn_aux aux = selective_by(filtered ? filter.as<uint64_t>() : nullptr, below(2)), after;
    aux.vorn_aux_flags |= static_cast<uint8_t>(below(2));
    aux.vorn_aux_start_row = start;
    aux.vorn_aux_op_bits[2] = 4;
    aux.vorn_aux_xlate_enc = form.kind == off ? &base_enc : nullptr;
    aux.vorn_aux_xlate_tbl = groups ? entries.data() : s.flag() ? codes.data() : nullptr;
    aux.vorn_aux_xlate_n = ~start;
    std::memcpy(&after, &aux, sizeof aux);
    after.vorn_aux_op_bits[2] = filtered && wrong >= 2 && !groups ? 5 : 4;
    const uint32_t code = s.run(res, src, tbl, tbl, aux);
    EXPECT_TRUE(groups || code == (wrong < 2 ? refused : popc == 0 ? uint32_t{VORN_RESULT_EMPTY} : done)) << code;
    EXPECT_TRUE(same(aux, after) && bv.now() == marked && codes.now() == stored && accumulators.now() == sums);
    EXPECT_EQ(std::tuple(res.vorn_cv_popc, range[0], range[1], range[2]),
              groups || wrong < 2 ? std::tuple(99U, 1U, 2U, 3U) : std::tuple(popc, first, last, 3U));
  }
};

TEST_P(translate_test, marks_the_keys_with_an_entry_and_stores_the_entries) {
  for (const slot &s : each(slots_of(VORN_OPC_XLATE, 31)))
    for (const table_form &form : each(forms))
      for (const uint32_t nrows : each({0U, 1U, 2U, 63U, 64U, 65U, 130U, 257U}))
        for (const uint32_t start : each({0U, 1U, 62U, 63U, 64U, 65U, 127U, nrows - 1, nrows, UINT32_MAX}))
          for (const bool filtered : each({false, true}))
            if (s.encoding() == form.kind && random.takes_case() && !HasFailure()) {
              SCOPED_TRACE(testing::Message() << s.name() << " span " << form.span << " rows " << nrows << " from "
                                              << start << " filtered " << filtered);
              check(s, form, nrows, start, filtered);
            }
}

VORN_TEST_ALL_IMPLEMENTATIONS(translate_test);

} // namespace
