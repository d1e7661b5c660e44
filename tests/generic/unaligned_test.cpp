// Bit vectors that are not aligned.  An entry point reports them.  If the reporter returns, the call gives the same
// result as with aligned vectors, and the sanitizer sees no misaligned access.
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "tests/support/implementation.hpp"
#include "tests/support/random.hpp"
#include "tests/support/slots.hpp"

namespace {

using vorn_test::slot;

class unaligned_bit_vectors : public vorn_test::implementation_test {
protected:
  enum part { out, runs, filter, mask, members, parts };
  static constexpr uint32_t nrows = 200;
  static constexpr size_t most_words = 1024, most_bytes = 8 * most_words; // of a set over codes of 16 bits

  void SetUp() override {
    implementation_test::SetUp();
    env.on_error = vorn_host::error_policy::resume;
    ctx = env.context();
    for (auto &words : contents)
      std::ranges::generate(words, random);
    std::ranges::generate(stream, random);
    std::ranges::generate(lens, [&] { return random() & 0x7777777777777777; }); // length codes of 4 bits are legal
  }

  uint64_t *vector(part p) { return reinterpret_cast<uint64_t *>(memory[p].bytes + offsets[p]); }

  // What a call returns and writes.
  template <class Call>
  std::string state_after(Call call) {
    for (size_t p = 0; p < parts; ++p)
      std::memcpy(memory[p].bytes + offsets[p], contents[p].data(), most_bytes);
    std::memset(memory[out].bytes + offsets[out], 0, most_bytes);
    vals = {};
    res = vorn_test::result_of(vector(out), nrows);
    res.vorn_cv_vals = vals.data();
    aux.vorn_aux_filter_bv = vector(filter);
    aux.vorn_aux_start_slot = 0;
    std::string state = std::to_string(call());
    state += " " + std::to_string(res.vorn_cv_popc) + " " + std::to_string(aux.vorn_aux_start_slot) + " ";
    for (const part p : {out, runs})
      state.append(reinterpret_cast<const char *>(vector(p)), most_bytes);
    return state.append(reinterpret_cast<const char *>(vals.data()), sizeof vals);
  }

  // Moves one vector of a call at a time.  A mask is never reported, and the unpackers do not report a filter.
  template <class Call>
  void compare(const std::string &name, std::initializer_list<part> vectors, Call call, bool reported = true) {
    offsets = {};
    const std::string expected = state_after(call);
    ASSERT_TRUE(env.errors().empty()) << name << ": " << env.errors()[0].message;
    for (const part moved : vectors)
      for (const unsigned distance : {1U, 4U}) {
        offsets = {};
        offsets[moved] = distance;
        EXPECT_TRUE(state_after(call) == expected) << name << ", vector " << moved << " moved by " << distance;
        EXPECT_EQ(env.errors().empty(), moved == mask || !reported)
            << name << ", vector " << moved << " moved by " << distance;
        env.clear_errors();
      }
  }

  // Scans of all rows, then visits of the rows of a filter with many rows and of a filter with few rows.
  template <class Call>
  void compare_scans(const std::string &name, std::initializer_list<part> vectors, Call call) {
    for (const unsigned form : {0U, 1U, 2U}) {
      contents[filter] = contents[runs];
      if (form == 2)
        std::ranges::for_each(contents[filter], [](uint64_t &word) { word &= 0x0000100000020000; });
      aux = vorn_test::selective_by(nullptr, form != 0);
      compare(name + ", filter " + std::to_string(form), vectors, call);
    }
  }

  struct room {
    alignas(8) uint8_t bytes[most_bytes + 8];
  };
  vorn_ctx ctx = {};
  vorn_cv res = {}, src = {};
  vorn_aux aux = {};
  std::array<std::array<uint64_t, most_words>, parts> contents = {};
  std::array<room, parts> memory = {};
  std::array<unsigned, parts> offsets = {};
  std::array<uint64_t, nrows> stream = {}, lens = {}, vals = {};
  vorn_test::random_source random{20261125};
};

TEST_P(unaligned_bit_vectors, predicates) {
  for (const slot &s : vorn_test::slots_where([](const slot &any) { return any.opcode() == VORN_OPC_LE; })) {
    vorn_enc_ctx enc = s.encoding_context(), cst_enc = s.encoding_context(VORN_CONST);
    const uint64_t low_value = 0x3030303030303030, high_value = 0xa0a0a0a0a0a0a0a0;
    const uint8_t code = 1;
    src = vorn_test::vector_of(stream.data(), enc, nrows, lens.data());
    const vorn_cv low = vorn_test::vector_of(&low_value, cst_enc, 1, &code);
    const vorn_cv high = vorn_test::vector_of(&high_value, cst_enc, 1, &code);
    compare_scans(s.name(), {out, filter, mask}, [&] {
      src.vorn_cv_mask_bv = vector(mask);
      return vorn_le(&ctx, &res, &src, &high, &aux);
    });
    compare_scans(std::string(s.name()) + " as a range", {out, filter, mask}, [&] {
      src.vorn_cv_mask_bv = vector(mask);
      return vorn_ge_lt(&ctx, &res, &src, &low, &high, &aux);
    });
  }
}

TEST_P(unaligned_bit_vectors, sets) {
  for (const slot &s : vorn_test::slots_of(VORN_OPC_SET, 22)) {
    if (s.width() > 16)
      continue;
    vorn_enc_ctx enc = s.encoding_context();
    vorn_cv set = {};
    src = vorn_test::vector_of(stream.data(), enc, nrows);
    compare_scans(s.name(), {out, filter, members}, [&] {
      set.vorn_cv_bv = vector(members);
      return vorn_in_set(&ctx, &res, &src, &set, &aux);
    });
  }
}

// A predicate over runs, and the burst of a vector of runs.
TEST_P(unaligned_bit_vectors, runs_of_rows) {
  constexpr uint32_t nruns = nrows / 2;
  std::vector<uint8_t> lengths(nruns, 2);
  vorn_enc_ctx enc, cst_enc;
  vorn_build_encoding_type_dict(&cst_enc, 8, nullptr, nullptr, nullptr, 0, 0, VORN_CONST);
  const uint32_t value = 0x80;
  const vorn_cv cst = vorn_test::vector_of(&value, cst_enc, 1);
  const auto make_runs = [&] {
    vorn_build_encoding_type_dict(&enc, 8, nullptr, nullptr, nullptr, 0, 0, 0);
    vorn_add_encoding_type_rle(&enc, lengths.data(), nullptr, 8, nruns, vector(runs));
    src = vorn_test::vector_of(stream.data(), enc, nrows);
  };
  compare("vorn_le over runs", {out, runs}, [&] {
    make_runs();
    return vorn_le(&ctx, &res, &src, &cst, nullptr);
  });
  compare("vorn_decode_rle_burst", {out, filter}, [&] {
    make_runs();
    return vorn_decode_rle_burst(&ctx, &res, &src, &aux);
  });
}

TEST_P(unaligned_bit_vectors, unpackers) {
  for (const slot &s : vorn_test::slots_of(VORN_OPC_DECODE_UNPACK, 22)) {
    vorn_enc_ctx enc = s.encoding_context();
    src = vorn_test::vector_of(stream.data(), enc, nrows);
    compare(
        s.name(), {filter}, [&] { return vorn_decode_unpack(&ctx, &res, &src, &aux); }, false);
  }
}

TEST_P(unaligned_bit_vectors, bloom_tests_and_translations) {
  vorn_enc_ctx enc, map_enc = {}, table_enc;
  vorn_build_encoding_type_fixed(&enc, 32, VORN_HASH_VALUES);
  vorn_add_encoding_type_bloom(&map_enc, 0, 8 * most_bytes - 1, 0, 0);
  vorn_build_encoding_type_fixed(&table_enc, 8, 0);
  vorn_add_encoding_type_xlate(&table_enc, 1, 1, 0, 0, 0);
  for (uint64_t &keys : stream) // two big-endian keys, each below 8192
    keys &= 0x1f1f00001f1f0000;
  src = vorn_test::vector_of(stream.data(), enc, nrows);
  vorn_cv map = vorn_test::vector_of(nullptr, map_enc, 0), table = vorn_test::vector_of(nullptr, table_enc, 0);
  map.vorn_cv_bv = table.vorn_cv_bv = contents[members].data();
  for (const bool all_rows : {false, true}) {
    const auto given = [&] {
      aux.vorn_aux_filter_bv = all_rows ? nullptr : aux.vorn_aux_filter_bv;
      return &aux;
    };
    const auto check = [&](const char *name, auto call) {
      all_rows ? compare(name, {out}, call) : compare(name, {out, filter}, call);
    };
    check("vorn_bloom", [&] { return vorn_bloom(&ctx, &res, &src, &map, given()); });
    check("vorn_xlate", [&] { return vorn_xlate(&ctx, &res, &src, &table, given()); });
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(unaligned_bit_vectors);

} // namespace
