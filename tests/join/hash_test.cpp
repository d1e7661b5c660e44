// Hashing: the bytes, lengths and seeds that the host's function is given, their order, and where its values go.
#include <set>

#include "generic/join/families.hpp"
#include "generic/join/keys.hpp"
#include "tests/join/rows.hpp"
#include "tests/support/implementation.hpp"

namespace {

using calls = std::vector<std::tuple<const void *, uint64_t, uint64_t>>;
calls made;
uint64_t recording(const void *data, uint64_t length, uint64_t seed) {
  made.emplace_back(data, length, seed);
  return vorn_test::mix(data, length, seed);
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

// Empty values and values of 65,535 bytes among them; of a longer symbol the low 16 bits of the length count.
std::vector<std::string> values_of(uint32_t form, uint32_t width, uint32_t n) {
  std::vector<std::string> values;
  for (uint32_t i = 0, k = 0; i < n; k = ++i * 7 % (form == VORN_DICT && width < 5 ? 1U << width : 30)) {
    const uint32_t longest = form == VORN_DICT && k == 1 ? 0x10003 : 0xffff;
    values.emplace_back(form == VORN_FIXED ? width % 0x10000 / 8 : k % 28 == 1 ? longest : k * 5 % 23, '0' + k);
  }
  return values;
}

using hashing = vorn_test::implementation_test;

TEST_P(hashing, gives_every_row_to_the_function_once) {
  std::set<std::string> visited;
  vorn_test::guarded results(8 * 300), seed_memory(8 * 300), offsets(8 * 301);
  uint32_t weaker = ~0U; // flags that do not count beside that of the form
  for (const hashed_form &form : forms) {
    weaker &= ~form.flag;
    for (const uint32_t width : form.widths)
      for (const uint32_t n : {0U, 1U, 2U, 300U}) {
        const std::vector<std::string> values = values_of(form.flag, width, n);
        vorn_test::stored_rows rows(form.flag, values, width);
        for (const uint32_t nseeds : {0U, 1U, 2U, 300U})
          for (const std::string way : {"slot", "slot, weaker flags", "name", "batch"}) {
            const bool one = nseeds == 1, flags = way == "slot, weaker flags", batch = way == "batch";
            if ((GetParam().capability != 0 && (batch || way == "name")) ||
                (batch && form.flag != VORN_LV_SEP && form.flag != VORN_LV))
              continue;
            uint64_t *out = results.last_words(n), *offs = offsets.last_words(n + 1);
            uint64_t *seeds = one && n != 0 && flags ? out : seed_memory.last_words(one ? 1 : n);
            calls expected;
            std::vector<uint64_t> hashes;
            for (uint32_t i = 0; i < n; ++i) {
              const uint64_t seed = seeds[one ? 0 : i] = batch ? 0 : one ? 9 : i * 0x9e3779b97f4a7c15U;
              expected.emplace_back(rows.places[i], values[i].size() & 0xffff, seed);
              hashes.push_back(vorn_test::mix(values[i].data(), values[i].size() & 0xffff, seed));
            }
            const std::string name = std::string("vorn_hash_hashfn_") + (one ? "const_" : "stream_") + form.name;
            rows.enc.vorn_enc_ctx_flags = form.flag | (flags ? weaker : 0);
            vorn_enc_ctx seed_enc = {};
            seed_enc.vorn_enc_ctx_flags = flags ? ~0U : uint32_t{VORN_HASH_VALUES};
            vorn_cv seed = vorn_test::vector_of(seeds, seed_enc, nseeds), res = vorn_test::vector_of(out, seed_enc, 1);
            made.clear();
            uint32_t code = VORN_RESULT_DONE;
            if (way == "name")
              code = vorn_test::member(vorn::hash_members, name)(&res, &rows.cv, &seed, recording);
            else if (!batch)
              code = vorn_global_ctx.vorn_hash_dydi(&res, &rows.cv, &seed, recording, nullptr);
            else if (form.flag == VORN_LV)
              vorn_hashfn_array_lv(out, offs, rows.cv.vorn_cv_vals, n, recording);
            else
              vorn_hashfn_array_lv_sep(out, offs, rows.cv.vorn_cv_vals,
                                       static_cast<const uint16_t *>(rows.cv.vorn_cv_lens), n, recording);
            ASSERT_TRUE(code == VORN_RESULT_DONE && made == expected && std::equal(hashes.begin(), hashes.end(), out) &&
                        (!batch || std::equal(rows.begins.begin(), rows.begins.end(), offs)) &&
                        results.intact(8 * size_t{n}) && offsets.intact(8 * size_t{n} + 8))
                << way << ' ' << name << " width " << width << " rows " << n << " seeds " << nseeds;
            if (way == "name")
              visited.insert(name);
          }
      }
  }
  EXPECT_EQ(visited.size(), GetParam().capability == 0 ? 12 : 0);
}

VORN_TEST_ALL_IMPLEMENTATIONS(hashing);

} // namespace
