// Hashing: the bytes, lengths and seeds that the host's function is given, their order, and where its values go.
#include <set>

#include "generic/join/families.hpp"
#include "generic/join/keys.hpp"
#include "tests/join/rows.hpp"
#include "tests/support/implementation.hpp"

namespace {

using vorn_test::mix, vorn_test::stored_rows;

struct call {
  const void *data;
  uint64_t length, seed;
  bool operator==(const call &) const = default;
};
std::vector<call> calls;
uint64_t recording(const void *data, uint64_t length, uint64_t seed) {
  calls.push_back({data, length, seed});
  return mix(data, length, seed);
}

struct hashed_form {
  const char *name;
  uint32_t flag;
  std::vector<uint32_t> widths;
};
const hashed_form forms[] = { // in the order in which their flags count
    {"fixed", VORN_FIXED, {0, 7, 8, 12, 64, 0x10018, 0xfff8}},
    {"dict", VORN_DICT, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 24, 32}},
    {"lv_sep", VORN_LV_SEP, {0}},
    {"lv", VORN_LV, {0}},
    {"lp_sep", VORN_LP_SEP, {0}},
    {"lp", VORN_LP, {0}}};

// Up to 40 values of up to 65,535 bytes; a longer symbol is one of its length's low 16 bits.
std::vector<std::string> values_of(const hashed_form &form, uint32_t width, uint32_t n) {
  const uint32_t distinct = form.flag == VORN_DICT && width < 6 ? 1U << width : 40;
  std::vector<std::string> values;
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t k = i * 7 % distinct;
    const uint32_t longest = form.flag == VORN_DICT && k % 2 == 0 ? 0x10003 : 0xffff;
    const uint32_t size = form.flag == VORN_FIXED ? width % 0x10000 / 8 : k % 39 == 7 ? longest : k * 5 % 23;
    values.emplace_back(size, static_cast<char>('0' + k));
  }
  return values;
}

using hashing = vorn_test::implementation_test;

TEST_P(hashing, gives_every_row_to_the_function_once) {
  std::set<std::string> visited;
  vorn_test::guarded results(8 * 300), seed_memory(8 * 300);
  uint32_t weaker = ~0U; // flags that do not count beside that of the form
  for (const hashed_form &form : forms) {
    weaker &= ~form.flag;
    for (const uint32_t width : form.widths)
      for (const uint32_t n : {0U, 1U, 2U, 300U}) {
        const std::vector<std::string> values = values_of(form, width, n);
        stored_rows rows(form.flag, values, width);
        for (const uint32_t nseeds : {0U, 1U, 2U, 300U})
          for (const uint32_t flags : {form.flag, form.flag | weaker})
            for (const bool by_name : {false, true}) {
              const bool one = nseeds == 1, in_place = one && n != 0 && flags == form.flag;
              const std::string name = std::string("vorn_hash_hashfn_") + (one ? "const_" : "stream_") + form.name;
              const auto *member = vorn_test::member(vorn::hash_members, name);
              if (by_name && GetParam().capability != 0)
                continue;
              uint64_t *out = results.last_words(n), *seeds = in_place ? out : seed_memory.last_words(one ? 1 : n);
              std::vector<call> expected_calls;
              std::vector<uint64_t> expected;
              for (uint32_t i = 0; i < n; ++i) {
                const uint64_t seed = seeds[one ? 0 : i] = one ? 9 : i * 0x9e3779b97f4a7c15U;
                expected_calls.push_back({rows.places[i], values[i].size() & 0xffff, seed});
                expected.push_back(mix(values[i].data(), values[i].size() & 0xffff, seed));
              }
              rows.enc.vorn_enc_ctx_flags = flags;
              vorn_enc_ctx seed_enc = {};
              seed_enc.vorn_enc_ctx_flags = VORN_HASH_VALUES | (flags & weaker);
              vorn_cv seed = vorn_test::vector_of(seeds, seed_enc, nseeds),
                      res = vorn_test::vector_of(out, seed_enc, 1);
              calls.clear();
              const uint32_t code = by_name ? member->function(&res, &rows.cv, &seed, recording)
                                            : vorn_global_ctx.vorn_hash_dydi(&res, &rows.cv, &seed, recording, nullptr);
              const bool good = code == VORN_RESULT_DONE && calls == expected_calls && results.intact(8 * size_t{n});
              ASSERT_TRUE(good && std::equal(expected.begin(), expected.end(), out))
                  << name << " width " << width << " rows " << n << " seeds " << nseeds << " by name " << by_name;
              visited.insert(by_name ? name : "selected");
            }
      }
  }
  EXPECT_EQ(visited.size(), GetParam().capability == 0 ? 13 : 1);
}

TEST_P(hashing, writes_nothing_for_what_it_does_not_know) {
  uint64_t memory[] = {77, 1};
  vorn_enc_ctx seed_enc = {};
  vorn_cv seed = vorn_test::vector_of(&memory[1], seed_enc, 1), res = vorn_test::vector_of(memory, seed_enc, 1);
  uint32_t forms_known = 0;
  for (const hashed_form &form : forms)
    forms_known |= form.flag;
  for (const uint32_t n : {0U, 1U})
    for (const hashed_form &form : forms) {
      stored_rows rows(form.flag, std::vector<std::string>(n, "a value"), 8);
      const auto hash = [&](uint32_t flags, uint32_t seed_flags, vorn_hashfn hashfn) {
        rows.enc.vorn_enc_ctx_flags = flags;
        seed_enc.vorn_enc_ctx_flags = seed_flags;
        calls.clear();
        const uint32_t code = vorn_global_ctx.vorn_hash_dydi(&res, &rows.cv, &seed, hashfn, nullptr);
        EXPECT_TRUE(calls.empty() && memory[0] == 77);
        return code;
      };
      EXPECT_EQ(hash(form.flag, ~uint32_t{VORN_HASH_VALUES}, recording), uint32_t{VORN_RESULT_REFUSED});
      EXPECT_EQ(hash(~forms_known, VORN_HASH_VALUES, recording), uint32_t{VORN_RESULT_REFUSED});
      EXPECT_EQ(hash(form.flag, VORN_HASH_VALUES, nullptr), uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
    }
}

VORN_TEST_ALL_IMPLEMENTATIONS(hashing);

TEST(hash_arrays, begin_anywhere_and_tell_where_rows_begin) {
  vorn_test::guarded out_memory(8 * 300), offs_memory(8 * 301);
  for (const hashed_form &form : forms)
    for (const uint32_t first : {0U, 7U})
      for (const uint32_t n : {0U, 1U, 293U}) {
        if (form.flag == VORN_DICT)
          continue;
        const std::vector<std::string> values = values_of(form, 40, first + n);
        const stored_rows rows(form.flag, values, 40);
        const auto *vals = static_cast<const uint8_t *>(rows.cv.vorn_cv_vals), *walked = vals + rows.begins[first];
        const auto *lens = static_cast<const uint16_t *>(rows.cv.vorn_cv_lens) + first;
        uint64_t *out = out_memory.last_words(n), *offs = offs_memory.last_words(n + 1);
        calls.clear();
        form.flag == VORN_FIXED    ? vorn_hashfn_array_fixed(out, vals + 5 * first, 5, n, recording)
        : form.flag == VORN_LV_SEP ? vorn_hashfn_array_lv_sep(out, offs, walked, lens, n, recording)
        : form.flag == VORN_LV     ? vorn_hashfn_array_lv(out, offs, walked, n, recording)
        : form.flag == VORN_LP_SEP ? vorn_hashfn_array_lp_sep(out, vals + 8 * first, lens, n, recording)
                                   : vorn_hashfn_array_lp(out, vals + 16 * first, n, recording);
        ASSERT_EQ(calls.size(), n);
        for (uint32_t i = 0; i < n; ++i) {
          const std::string &value = values[first + i];
          ASSERT_TRUE((calls[i] == call{rows.places[first + i], value.size(), 0})) << form.name << ' ' << i;
          ASSERT_EQ(out[i], mix(value.data(), value.size(), 0)) << form.name << ' ' << i;
        }
        for (uint32_t i = 0; i <= n && (form.flag == VORN_LV_SEP || form.flag == VORN_LV); ++i)
          ASSERT_EQ(offs[i], rows.begins[first + i] - rows.begins[first]) << form.name << ' ' << i;
        EXPECT_TRUE(out_memory.intact(8 * size_t{n}) && offs_memory.intact(8 * size_t{n} + 8));
      }
}

} // namespace
