// The entry points of the joins: their descriptions, and what the bloom test does alone.
#include "tests/entry/entry.hpp"

namespace {

using namespace vorn_test;
using record = vorn_global_ctx_t;
using call = entry_call;

constexpr vorn_hashfn hashfn = [](const void *, uint64_t, uint64_t seed) { return seed; };
uint32_t hash_implicit(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn, vorn_aux *aux) {
  return vorn_hash_implicit(ctx, res, src, seed, aux);
}

// They check and count nothing, leave the bits of operations alone and tell an operation of its own.  The last row of a
// conversion is that of its rate, and there are none to be told.
entry join(const char *name, shape called, uint32_t last_row = 0, const char *operation = nullptr) {
  trace_point implementation_line = rows_line();
  if (last_row != 0)
    implementation_line = {3, "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\n", [](const call &made) {
                             values told = rows_line().told(made);
                             told.pop_back();
                             return told;
                           }};
  return {.name = name,
          .source = "join/join.cpp",
          .slot = {},
          .called = called,
          .trace = {operation_line(operation == nullptr ? name : operation), implementation_line},
          .rate_rows = last_row != 0 ? last_row : 64,
          .bits = {{{0, 0, 0}, {0xff, 0xff, 0xff}}},
          .does = ignores_force,
          .generic_code = 60, // of the kernel in force
          .generic_popc = 77};
}

// Hash values 0 to 63, of which the map lets 1, 3 and 5 pass.
const entry bloom = {.name = "vorn_bloom",
                     .source = "join/bloom.cpp",
                     .slot = {},
                     .called = in_record<&record::vorn_bloom_dydi, vorn_bloom, &call::res, &call::src, &call::lo>(),
                     .set_up =
                         [](call &c) {
                           static std::array<uint32_t, 64> hashes;
                           std::ranges::generate(hashes, [h = 0U]() mutable { return __builtin_bswap32(h++); });
                           c.src.vorn_cv_vals = hashes.data();
                           vorn_build_encoding_type_hash_values(&c.enc);
                           c.enc.vorn_enc_ctx_width = 32;
                           c.lo.vorn_cv_bv = c.members.data();
                           vorn_add_encoding_type_bloom(&c.lo_enc, 0, 63, 0, 0);
                         },
                     .checks = {misaligned("vorn_bloom: res is not aligned", &record::VORN_OUTPUT_BITWVEC_ALIGN,
                                           [](call &c) -> void * { return &c.res.vorn_cv_bv; }),
                                misaligned_filter("vorn_bloom: aux bv is not aligned")},
                     .trace = {operation_line("vorn_bloom"), rows_line(), filter_line()},
                     .bits = {{{0x20, 0x20, 0}, {0xf7, 0xff, 0xff}, {0x20, 0, 0}}},
                     .counted = {4, 4, {}},
                     .does = takes_null_aux | drops_filter | checks_itself,
                     .generic_popc = 3};

const entry all[] = {
    join("vorn_hash", in_record<&record::vorn_hash_dydi, vorn_hash, &call::res, &call::src, &call::lo, hashfn>()),
    join("vorn_hash",
         in_record<&record::vorn_hash_dydi, hash_implicit, &call::res, &call::src, &call::lo, vorn_hashfn{}>()),
    join("vorn_ht_build",
         in_record<&record::vorn_ht_build_dydi, vorn_ht_build, &call::hash_table, &call::src, &call::lo, -3, hashfn>(),
         0, "vorn_build"),
    join("vorn_ht_probe", in_record<&record::vorn_ht_probe_dydi, vorn_ht_probe, &call::res, &call::src, &call::lo,
                                    &call::hash_table, hashfn>()),
    join("vorn_partition",
         in_record<&record::vorn_partition_dydi, vorn_partition, &call::areas, &call::src, &call::lo, hashfn>()),
    join("vorn_gather", in_record<&record::vorn_gather_dydi, vorn_gather, &call::res, &call::src, &call::store>()),
    join("vorn_transpose_reference", in_record<&record::vorn_transpose_reference_dydi, vorn_transpose_reference,
                                               &call::store, &call::src, 0x10005U, -7>()),
    join("vorn_transpose_convert",
         in_record<&record::vorn_transpose_convert_dydi, vorn_transpose_convert, &call::store, &call::matrix, -7, -8,
                   3U, 500U>(),
         500),
    bloom};

INSTANTIATE_TEST_SUITE_P(joins, entry_test, testing::ValuesIn(all),
                         [](const auto &made) { return made.param.name + std::to_string(made.index); });

TEST(joins, without_a_kernel_do_nothing) {
  for (const entry &which : all) {
    call made(which);
    which.called.empty_slot();
    made.arm();
    made.res.vorn_cv_bv = nullptr;
    const vorn_aux before = made.aux;
    EXPECT_EQ(made.run(), uint32_t{VORN_RESULT_NO_IMPLEMENTATION}) << which;
    EXPECT_TRUE(made.env.calls().empty() && std::memcmp(&made.aux, &before, sizeof before) == 0) << which;
  }
}

// In clear words for the rows of src; told are the bits, then the number of rows, then the first and the last one.
TEST(bloom, compares_both_kernels_under_the_self_check) {
  for (const uint64_t range : {0x500000001U, 0x500000002U, 0x600000001U})
    for (const uint64_t more : {0U, 16U}) {
      call made(bloom);
      made.env.scratch_fill = 0xff;
      made.ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
      made.src.vorn_cv_nrows = 33;
      vorn_global_ctx.vorn_global_ctx_pad_output = 48;
      script.generic_first = true;
      script.act = [&](vorn_aux &) {
        made.vals[0] = range;
        made.res.vorn_cv_popc += more != 0 ? 1 : 0;
        made.out.items[0] |= more;
      };
      EXPECT_EQ(made.run(), script.code);
      std::vector<report> expected;
      if (more != 0)
        expected = {{"vorn_bloom: vxl check result", {33, address(&made.lo)}},
                    {"vorn_bloom: vxl check popcount", {3, 4}}};
      if (range != 0x500000001)
        expected.push_back({"vorn_bloom: vxl check range", {1, 5, number(range), number(range >> 32)}});
      EXPECT_EQ(made.reports(), expected);
      const auto services = made.taken();
      ASSERT_EQ(services.size(), 3U);
      EXPECT_EQ(services[0], (report{"vornu_stack_alloc_align vorn_bloom: res_generic_bv",
                                     {uint64_t{8}, uint64_t{8}, uint64_t{48}}}));
      EXPECT_EQ(services[1].second[2], number(33));
      EXPECT_EQ(made.env.outstanding_scratch(), 0U);
    }
}

} // namespace
