// What the entry points of the decoders do around their kernels: checks, trace, timing, statistics.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/implementation.hpp"

namespace {

using lines = std::vector<std::string>;
using vorn_host::value;

using entry_fn = uint32_t (*)(const vorn_ctx *, vorn_cv *, vorn_cv *, vorn_aux *);

// One of the three entries that decode dictionary codes.
struct entry {
  const char *name;
  entry_fn call;
  const char *kernel;
  const char *done;              // what it calls the rows of its result
  uint8_t bits[3], all_clear[3]; // op bits after a call: set from clear ones; left of all set ones
  unsigned counter, third_counter;
  uint32_t rows; // of the rate, when the kernel goes from row 100 to row 163
};

std::ostream &operator<<(std::ostream &out, const entry &which) { return out << which.name; }

constexpr unsigned no_counter = 99;
constexpr entry entries[] = {{"vorn_decode",
                              vorn_decode,
                              "vorn_decode_dict_16bit",
                              "nrows_decoded",
                              {0x02, 0, 0},
                              {0xf7, 0xfb, 0xfb},
                              1,
                              1,
                              153},
                             {"vorn_decode_unpack",
                              vorn_decode_unpack,
                              "vorn_decode_unpack_dict_16bit",
                              "nrows_unpacked",
                              {0x40, 0, 0},
                              {0xf7, 0xbf, 0xdf},
                              6,
                              4,
                              64},
                             {"vorn_decode_symbol",
                              vorn_decode_symbol,
                              "vorn_decode_symbol_dict_16bit",
                              "nrows_decoded",
                              {0x80, 0, 0},
                              {0xf7, 0x7f, 0xff},
                              7,
                              no_counter,
                              200}};

uint32_t moving_kernel(vorn_cv *, vorn_cv *, vorn_aux *aux) {
  aux->vorn_aux_start_slot = 163;
  aux->vorn_aux_diag_code = 3;
  return 1;
}

uint32_t counting_kernel(vorn_cv *, vorn_cv *, vorn_aux *aux) {
  std::fill_n(aux->vorn_aux_op_bits, 3, uint8_t{0xff});
  return 0;
}

class decode_entries : public testing::TestWithParam<entry> {
protected:
  void SetUp() override {
    env.on_error = vorn_host::error_policy::resume;
    env.record = true;
    ctx = env.context();
    vorn_build_encoding_type_dict(&enc, 16, nullptr, nullptr, nullptr, 0, 0, 0);
    vorn_build_vector(&res, vals, lens, flgs, nullptr, nullptr, nullptr, 150, 0, nullptr, 0);
    vorn_build_vector(&src, codes, nullptr, nullptr, &enc, nullptr, nullptr, 200, 0, nullptr, 0);
    aux.vorn_aux_ones_vec = rows;
    aux.vorn_aux_ones_vec_size = 2;
    aux.vorn_aux_start_slot = 100;
    env.name_pointer(vals, "vals");
    env.name_pointer(lens, "lens");
    env.name_pointer(flgs, "flgs");
    env.name_pointer(rows, "rows");
    env.name_pointer(filter, "filter");
  }
  void TearDown() override {
    vorn_global_ctx = vorn_test::initial_global_ctx;
    vorn_host::script_clock({});
  }

  void put_in_force(vorn_unary_fn kernel) {
    table.assign(VORN_DISPATCH_SLOTS, vorn_kernel{.unary = kernel});
    vorn_global_ctx.vorn_global_ctx_dispatch = table.data();
    env.name_pointer(table.data(), "table");
  }

  vorn_host::environment env;
  vorn_ctx ctx = {};
  vorn_enc_ctx enc = {};
  vorn_cv res = {}, src = {};
  vorn_aux aux = {};
  uint64_t vals[1] = {};
  alignas(8) uint64_t codes[8] = {};
  uint16_t lens[1] = {}, flgs[1] = {};
  uint32_t rows[2] = {10, 20};
  uint64_t filter[1] = {};
  std::vector<vorn_kernel> table;
};

TEST_P(decode_entries, run_the_table_in_force_and_trace) {
  const entry &which = GetParam();
  put_in_force(moving_kernel);
  env.trace_control().trace_on = 1;
  ctx.vorn_ctx_trace = 4;
  ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK | VORN_CTX_ACCUMULATE; // there is no self-check
  std::vector<uint32_t> counts(VORN_DISPATCH_SLOTS);
  std::vector<double> rates(VORN_DISPATCH_SLOTS);
  ctx.vorn_ctx_call_counts = counts.data();
  ctx.vorn_ctx_rates = rates.data();
  aux.vorn_aux_filter_bv = filter;
  enc.vorn_enc_ctx_flags |= VORN_STREAM;
  vorn_host::script_clock({0, 250000});
  EXPECT_EQ(which.call(&ctx, &res, &src, &aux), 1U);
  const auto with_entry = [&](const std::string &format, const std::string &values) {
    return "host_trace_record \"" + format + "\" \"" + which.name + "\" 0x12050004 0x402 " + values;
  };
  const lines expected = {"host_trace_eval_flags 0x12050004 4 0x400 0x4",
                          "host_trace_eval_flags 0x12050004 2 0x400 0x4",
                          with_entry(R"(%s force_generic: %d qpak: %d\n)", '"' + std::string(which.kernel) + "\" 0 1"),
                          "host_trace_eval_flags 0x12050004 3 0x400 0x4",
                          with_entry(R"(loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d )" +
                                         std::string(which.done) + R"(: %d\n)",
                                     "\"generic\" 2 table 200 150"),
                          "host_trace_eval_flags 0x12050004 3 0x400 0x4",
                          with_entry(R"(vals: %p lens: %p flgs: %p\nfilterbv: %p start_slot: %d ones_vec: %p (%d)\n)",
                                     "vals lens flgs filter 100 rows 2"),
                          "host_clock_time64 0x0",
                          "host_trace_eval_flags 0x12050004 3 0x400 0x4",
                          with_entry(R"(diag_code: %d\n)", "3"),
                          "host_clock_time64 0x3d090",
                          "host_trace_eval_flags 0x12050004 4 0x400 0x4"};
  lines found = env.transcript();
  ASSERT_EQ(found.size(), expected.size() + 1);
  EXPECT_TRUE(found.back().starts_with(with_entry(R"(Runtime %.0f us (%.0f Mrows/sec)\n)", "250000 ")));
  found.pop_back();
  EXPECT_EQ(found, expected);
  const auto slot = static_cast<uint32_t>(
      std::find_if(rates.begin(), rates.end(), [](double rate) { return rate != 0; }) - rates.begin());
  ASSERT_LT(slot, uint32_t{VORN_DISPATCH_SLOTS});
  EXPECT_STREQ(vorn_dispatch_func_names[slot], which.kernel);
  EXPECT_EQ(counts[slot], 1U);
  EXPECT_DOUBLE_EQ(rates[slot], which.rows / 1048576.0 / 0.25);
}

TEST_P(decode_entries, report_every_wrong_argument) {
  const entry &which = GetParam();
  put_in_force(moving_kernel);
  const auto prefixed = [&](const char *text) { return std::string(which.name) + ": " + text; };
  enc.vorn_enc_ctx_flags = 0;
  src.vorn_cv_vals = reinterpret_cast<char *>(codes) + 4;
  res.vorn_cv_bv = reinterpret_cast<uint64_t *>(reinterpret_cast<char *>(filter) + 4);
  aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER; // with or without a filter
  std::vector<std::pair<std::string, std::vector<value>>> expected = {{prefixed("src is not DICT"), {}}};
  if (which.call == vorn_decode_unpack)
    expected.insert(expected.begin(), {prefixed("res is not aligned"), {static_cast<const void *>(res.vorn_cv_bv)}});
  if (which.call != vorn_decode_symbol)
    expected.push_back({prefixed("src is not aligned"), {static_cast<const void *>(src.vorn_cv_vals)}});
  auto without_aux = expected;
  expected.push_back({prefixed("invert filter not supported"), {static_cast<const void *>(&aux)}});
  without_aux.push_back({prefixed("vorn_aux is NULL"), {}});
  for (vorn_aux *given : {&aux, static_cast<vorn_aux *>(nullptr)}) {
    const size_t before = env.errors().size();
    which.call(&ctx, &res, &src, given); // a reporter that returns lets the call run on
    std::vector<std::pair<std::string, std::vector<value>>> found;
    for (size_t i = before; i < env.errors().size(); ++i)
      found.emplace_back(env.errors()[i].message, env.errors()[i].values);
    EXPECT_EQ(found, given == nullptr ? without_aux : expected);
  }
}

TEST_P(decode_entries, give_every_vector_its_alignment_word) {
  const entry &which = GetParam();
  alignas(16) uint64_t memory[2][2] = {};
  res.vorn_cv_bv = &memory[0][1];
  src.vorn_cv_vals = &memory[1][1];
  put_in_force(moving_kernel);
  const vorn_global_ctx_t in_force = vorn_global_ctx;
  for (const auto word : {&vorn_global_ctx_t::VORN_OUTPUT_BITWVEC_ALIGN, &vorn_global_ctx_t::VORN_DATASTREAM_ALIGN,
                          &vorn_global_ctx_t::VORN_BITWVEC_ALIGN, &vorn_global_ctx_t::VORN_JOIN_BITWVEC_ALIGN}) {
    vorn_global_ctx = in_force;
    vorn_global_ctx.*word = 16;
    lines expected, found;
    if (word == &vorn_global_ctx_t::VORN_OUTPUT_BITWVEC_ALIGN && which.call == vorn_decode_unpack)
      expected = {"vorn_decode_unpack: res is not aligned"};
    if (word == &vorn_global_ctx_t::VORN_DATASTREAM_ALIGN && which.call != vorn_decode_symbol)
      expected = {std::string(which.name) + ": src is not aligned"};
    env.clear_errors();
    which.call(&ctx, &res, &src, &aux);
    for (const auto &error : env.errors())
      found.push_back(error.message);
    EXPECT_EQ(found, expected);
  }
}

TEST_P(decode_entries, run_the_generic_kernel_when_forced) {
  put_in_force(moving_kernel);
  ctx.vorn_ctx_flags = VORN_CTX_FORCE_GENERIC;
  enc.vorn_enc_ctx_dict_layout = 2; // which the generic decoders refuse
  const uint32_t code = GetParam().call(&ctx, &res, &src, &aux);
  EXPECT_EQ(code, GetParam().call == vorn_decode_unpack ? uint32_t{VORN_RESULT_DONE}
                                                        : uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
}

TEST_P(decode_entries, prepare_the_bits_and_count_them) {
  const entry &which = GetParam();
  put_in_force([](vorn_cv *, vorn_cv *, vorn_aux *) { return uint32_t{0}; });
  aux.vorn_aux_diag_code = 5;
  which.call(&ctx, &res, &src, &aux);
  EXPECT_EQ(aux.vorn_aux_ctx, &ctx);
  EXPECT_EQ(aux.vorn_aux_diag_code, 0U);
  EXPECT_TRUE(std::equal(which.bits, which.bits + 3, aux.vorn_aux_op_bits));
  std::fill_n(aux.vorn_aux_op_bits, 3, uint8_t{0xff});
  which.call(&ctx, &res, &src, &aux);
  EXPECT_TRUE(std::equal(which.all_clear, which.all_clear + 3, aux.vorn_aux_op_bits));
  EXPECT_EQ(env.transcript(), lines{}) << "nothing armed, no service";

  put_in_force(counting_kernel);
  std::vector<uint64_t> stats(80, 7), expected(80, 7);
  ctx.vorn_ctx_stats = stats.data();
  which.call(&ctx, &res, &src, &aux);
  ++expected[48 + which.counter];
  ++expected[56 + which.counter];
  if (which.third_counter != no_counter)
    ++expected[64 + which.third_counter];
  EXPECT_EQ(stats, expected);
}

std::string entry_name(const testing::TestParamInfo<entry> &info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(each, decode_entries, testing::ValuesIn(entries), entry_name);

// The rate of a list without rows is that of no rows.
TEST(decode_entry, times_an_empty_list) {
  vorn_host::environment env;
  env.trace_control().trace_on = 1;
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_trace = 4;
  ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE;
  std::vector<uint32_t> counts(VORN_DISPATCH_SLOTS);
  std::vector<double> rates(VORN_DISPATCH_SLOTS, 4);
  ctx.vorn_ctx_call_counts = counts.data();
  ctx.vorn_ctx_rates = rates.data();
  vorn_host::script_clock({0, 1000});
  uint8_t length[2] = {0, 1};
  vorn_enc_ctx enc;
  vorn_build_encoding_type_dict(&enc, 8, length, length, nullptr, 0, VORN_DICT_ONE_LENGTH, 0);
  vorn_cv res = {}, src = {};
  src.vorn_cv_encoding_context = &enc;
  vorn_aux aux = {};
  aux.vorn_aux_start_slot = 50;
  EXPECT_EQ(vorn_decode(&ctx, &res, &src, &aux), uint32_t{VORN_RESULT_DONE});
  vorn_host::script_clock({});
  EXPECT_EQ(rates[7 << 7 | VORN_ENC_DICT << 5 | VORN_OPC_DECODE], 0);
}

// Compressed streams are decompressed once, whichever decoder comes first, under that kernel's name.
TEST(decode_entry, keeps_a_decompressed_stream) {
  for (const bool unpack_first : {false, true}) {
    vorn_host::environment env;
    env.record = true;
    vorn_ctx ctx = env.context();
    ctx.vorn_ctx_decompress = [](vorn_qpak_ctx *, const void *, void *dst, uint32_t *, uint32_t dstlen) {
      std::memset(dst, 0x5a, dstlen);
      return uint32_t{0};
    };
    alignas(8) uint8_t packed[8] = {};
    uint8_t length[2] = {0, 1}, symbols[256] = {};
    uint64_t vals[2] = {};
    uint16_t lens[2], flgs[2];
    uint32_t rows[2] = {3, 1};
    uint8_t codes[4] = {};
    void *kept = nullptr;
    vorn_enc_ctx enc;
    vorn_build_encoding_type_dict(&enc, 8, symbols, length, nullptr, 0, VORN_DICT_ONE_LENGTH, VORN_STREAM);
    vorn_cv decoded = {}, unpacked = {}, src = {};
    vorn_build_vector(&decoded, vals, lens, flgs, nullptr, nullptr, nullptr, 2, 0, nullptr, 0);
    vorn_build_vector(&unpacked, codes, nullptr, nullptr, nullptr, nullptr, nullptr, 4, 0, nullptr, 0);
    vorn_build_vector(&src, packed, nullptr, nullptr, &enc, nullptr, nullptr, 4, 4, &kept, 9);
    for (unsigned turn = 0; turn < 4; ++turn) {
      vorn_aux aux = {};
      if ((turn % 2 == 0) == unpack_first) {
        EXPECT_EQ(vorn_decode_unpack(&ctx, &unpacked, &src, &aux), uint32_t{VORN_RESULT_DONE});
      } else {
        aux.vorn_aux_ones_vec = rows;
        aux.vorn_aux_ones_vec_size = 2;
        EXPECT_EQ(vorn_decode(&ctx, &decoded, &src, &aux), uint32_t{VORN_RESULT_DONE});
      }
    }
    EXPECT_TRUE(std::all_of(codes, codes + 4, [](uint8_t code) { return code == 0x5a; }));
    EXPECT_EQ(vals[1], reinterpret_cast<uintptr_t>(symbols + 0x5a));
    const std::string kernel = unpack_first ? "vorn_decode_unpack_dict_8bit" : "vorn_decode_dict_8bit";
    ASSERT_EQ(env.calls().size(), 1U);
    EXPECT_EQ(env.calls()[0].service, "vorn_ctx_alloc");
    EXPECT_EQ(env.calls()[0].text, kernel + ": vec1_decomp");

    env.on_error = vorn_host::error_policy::resume;
    kept = nullptr;
    ctx.vorn_ctx_decompress = [](vorn_qpak_ctx *, const void *, void *, uint32_t *, uint32_t) { return uint32_t{1}; };
    vorn_aux aux = {};
    aux.vorn_aux_ones_vec = rows;
    aux.vorn_aux_ones_vec_size = 2;
    (unpack_first ? vorn_decode_unpack : vorn_decode)(&ctx, unpack_first ? &unpacked : &decoded, &src, &aux);
    ASSERT_EQ(env.errors().size(), 1U);
    EXPECT_EQ(env.errors()[0].message, kernel + ": vorn_qpak_decode failed");
  }
}

// This entry has no checks and no counters, its kernel a slot of its own, and its rate counts groups.
TEST(prefix_entry, traces_and_leaves_counters_alone) {
  vorn_host::environment env;
  env.record = true;
  env.trace_control().trace_on = 1;
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_trace = 4;
  ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE; // without arrays to accumulate in
  std::vector<uint64_t> stats(80, 7);
  ctx.vorn_ctx_stats = stats.data();
  vorn_global_ctx.vorn_prefix_decode_dydi = [](vorn_cv *, vorn_cv *, vorn_aux *aux) {
    aux->vorn_aux_diag_code = 3;
    return uint32_t{7};
  };
  vorn_enc_ctx enc = {};
  vorn_cv res = {}, src = {};
  src.vorn_cv_encoding_context = &enc;
  src.vorn_cv_nrows = 1 << 20;
  vorn_aux aux = {};
  aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER;
  aux.vorn_aux_popc = 4;
  std::fill_n(aux.vorn_aux_op_bits, 3, uint8_t{0xff});
  vorn_host::script_clock({0, 15625});
  env.name_pointer(vorn_dispatch_table, "table");
  EXPECT_EQ(vorn_prefix_decode(&ctx, &res, &src, &aux), 7U);
  EXPECT_EQ(aux.vorn_aux_ctx, &ctx);
  EXPECT_TRUE(std::all_of(aux.vorn_aux_op_bits, aux.vorn_aux_op_bits + 3, [](uint8_t byte) { return byte == 0xff; }));
  EXPECT_EQ(stats, std::vector<uint64_t>(80, 7));
  const lines expected = {
      R"(host_trace_eval_flags 0x12050004 4 0x400 0x4)",
      R"(host_trace_eval_flags 0x12050004 2 0x400 0x4)",
      R"(host_trace_record "vorn_prefix_decode force_generic: %d\n" "vorn_prefix_decode" 0x12050004 0x402 0)",
      R"(host_trace_eval_flags 0x12050004 3 0x400 0x4)",
      R"(host_trace_record "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d\n" )"
      R"("vorn_prefix_decode" 0x12050004 0x402 "generic" 2 table 1048576)",
      R"(host_trace_eval_flags 0x12050004 3 0x400 0x4)",
      R"(host_trace_record "filter_bv: %p popc: %d invert_filter: %d force_selective: %d\n" "vorn_prefix_decode" )"
      R"(0x12050004 0x402 null 4 1 0)",
      R"(host_clock_time64 0x0)",
      R"(host_clock_time64 0x3d09)",
      R"(host_trace_eval_flags 0x12050004 4 0x400 0x4)",
      R"(host_trace_record "Runtime %.0f us (%.0f Mrows/sec)\n" "vorn_prefix_decode" 0x12050004 0x402 15625 64)"};
  EXPECT_EQ(env.transcript(), expected);

  // Without an aux the kernel gets one of the entry's own, and no filter is told.
  env.clear_calls();
  EXPECT_EQ(vorn_prefix_decode(&ctx, &res, &src, nullptr), 7U);
  EXPECT_EQ(env.transcript().size(), expected.size() - 2);
  ctx.vorn_ctx_flags = VORN_CTX_FORCE_GENERIC;
  EXPECT_EQ(vorn_prefix_decode(&ctx, &res, &src, nullptr), uint32_t{VORN_RESULT_NO_IMPLEMENTATION})
      << "the generic kernel, which no slot names, refuses";
  vorn_host::script_clock({});
  vorn_global_ctx = vorn_test::initial_global_ctx;
}

} // namespace
