// The entry points of the joins: their descriptions, and what the bloom test does alone.
#include "tests/entry/entry.hpp"

namespace {

using namespace vorn_test;
using record = vorn_global_ctx_t;

uint64_t hash_nothing(const void *, uint64_t, uint64_t seed) { return seed; }

// They check and count nothing, and leave the bits of operations alone.
entry join(const char *name, shape called, const char *operation = nullptr) {
  return {.name = name,
          .source = "join/join.cpp",
          .slot = {},
          .called = std::move(called),
          .trace = {operation_line(operation == nullptr ? name : operation), rows_line()},
          .bits = {{{0, 0, 0}, {0xff, 0xff, 0xff}}},
          .does = ignores_force,
          .generic_code = 60, // of the kernel in force
          .generic_popc = 77};
}

uint32_t hash_without_function(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn,
                               vorn_aux *aux) {
  return vorn_hash_implicit(ctx, res, src, seed, aux);
}

template <auto function, auto hashfn>
shape hash_shape = in_record<&record::vorn_hash_dydi, function, &entry_call::res, &entry_call::src, &entry_call::lo,
                             vorn_hashfn{hashfn}>();

const entry hash = join("vorn_hash", hash_shape<vorn_hash, hash_nothing>);
const entry hash_implicit = join("vorn_hash", hash_shape<hash_without_function, nullptr>);
const entry build = join("vorn_ht_build",
                         in_record<&record::vorn_ht_build_dydi, vorn_ht_build, &entry_call::hash_table,
                                   &entry_call::src, &entry_call::lo, int32_t{-3}, vorn_hashfn{hash_nothing}>(),
                         "vorn_build");
const entry probe =
    join("vorn_ht_probe", in_record<&record::vorn_ht_probe_dydi, vorn_ht_probe, &entry_call::res, &entry_call::src,
                                    &entry_call::lo, &entry_call::hash_table, vorn_hashfn{hash_nothing}>());
const entry partition =
    join("vorn_partition", in_record<&record::vorn_partition_dydi, vorn_partition, &entry_call::areas, &entry_call::src,
                                     &entry_call::lo, vorn_hashfn{hash_nothing}>());
const entry gather =
    join("vorn_gather",
         in_record<&record::vorn_gather_dydi, vorn_gather, &entry_call::res, &entry_call::src, &entry_call::store>());
const entry reference =
    join("vorn_transpose_reference", in_record<&record::vorn_transpose_reference_dydi, vorn_transpose_reference,
                                               &entry_call::matrix, &entry_call::src, 0x10005U, int32_t{-7}>());

// What it is given has no rows to tell, and the last one is that of the rate.
const entry convert = [] {
  entry described = join("vorn_transpose_convert",
                         in_record<&record::vorn_transpose_convert_dydi, vorn_transpose_convert, &entry_call::store,
                                   &entry_call::matrix, int32_t{-7}, int32_t{-8}, 3U, 500U>());
  described.trace[1] = {3, "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\n", [](const entry_call &call) {
                          values told = rows_line().told(call);
                          told.pop_back();
                          return told;
                        }};
  described.rate_rows = 500;
  return described;
}();

// Hash values 0 to 63, of which the map lets 1, 3 and 5 pass.
const entry bloom = {
    .name = "vorn_bloom",
    .source = "join/bloom.cpp",
    .slot = {},
    .called = in_record<&record::vorn_bloom_dydi, vorn_bloom, &entry_call::res, &entry_call::src, &entry_call::lo>(),
    .set_up =
        [](entry_call &c) {
          static std::array<uint32_t, 64> hashes;
          for (uint32_t row = 0; row < 64; ++row)
            hashes[row] = __builtin_bswap32(row);
          c.src.vorn_cv_vals = hashes.data();
          vorn_build_encoding_type_hash_values(&c.enc);
          c.enc.vorn_enc_ctx_width = 32;
          c.lo.vorn_cv_bv = c.members.data();
          vorn_add_encoding_type_bloom(&c.lo_enc, 0, 63, 0, 0);
          c.vals[0] = uint64_t{5} << 32 | 1;
        },
    .checks = {misaligned("vorn_bloom: res is not aligned", &record::VORN_OUTPUT_BITWVEC_ALIGN,
                          [](entry_call &c) -> void * { return &c.res.vorn_cv_bv; }),
               misaligned_filter("vorn_bloom: aux bv is not aligned")},
    .trace = {operation_line("vorn_bloom"), rows_line(), filter_line()},
    .bits = {{{0x20, 0x20, 0}, {0xf7, 0xff, 0xff}, {0x20, 0, 0}}},
    .counted = {4, 4, {}},
    .self_check = {{"vorn_bloom: res_generic_bv", "vorn_bloom: vxl check popcount", "vorn_bloom: vxl check result",
                    &entry_call::lo}},
    .does = takes_null_aux | drops_filter,
    .generic_popc = 3};

const entry all[] = {hash, hash_implicit, build, probe, partition, gather, reference, convert, bloom};

INSTANTIATE_TEST_SUITE_P(joins, entry_test,
                         testing::Values(hash, build, probe, partition, gather, reference, convert, bloom), entry_name);
INSTANTIATE_TEST_SUITE_P(joins_implicit, entry_test, testing::Values(hash_implicit), entry_name);

TEST(joins, without_a_kernel_do_nothing) {
  for (const entry &which : all) {
    entry_call call(which);
    which.called.empty_slot();
    call.arm();
    call.res.vorn_cv_bv = nullptr;
    const vorn_aux before = call.aux;
    EXPECT_EQ(call.run(), uint32_t{VORN_RESULT_NO_IMPLEMENTATION}) << which;
    EXPECT_TRUE(call.env.calls().empty() && std::memcmp(&call.aux, &before, sizeof before) == 0) << which;
  }
}

// The self-check takes words for the rows of src into clear memory, and tells of the result, then of the number of
// rows, then of the first and the last one.
TEST(joins, of_a_bloom_map_compare_the_range_of_rows_last) {
  for (const uint32_t first : {1U, 2U})
    for (const uint32_t last : {5U, 6U})
      for (const bool more : {false, true}) {
        entry_call call(bloom);
        call.env.scratch_fill = 0xff;
        call.ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
        call.src.vorn_cv_nrows = 33;
        vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN = 32;
        vorn_global_ctx.vorn_global_ctx_pad_output = 48;
        script.generic_first = true;
        script.act = [&](vorn_aux &) {
          call.vals[0] = uint64_t{last} << 32 | first;
          call.res.vorn_cv_popc += more ? 1 : 0;
          call.out.items[0] |= more ? 16 : 0;
        };
        call.res.vorn_cv_nrows = 640;
        call.run();
        std::vector<report> expected;
        if (more)
          expected = {{bloom.self_check->result, {33, address(&call.lo)}}, {bloom.self_check->popcount, {3, 4}}};
        if (first != 1 || last != 5)
          expected.push_back({"vorn_bloom: vxl check range", {1, 5, number(first), number(last)}});
        auto reports = call.reports();
        std::erase_if(reports, [](const report &told) { return told.first.ends_with("is not aligned"); });
        EXPECT_EQ(reports, expected);
        EXPECT_EQ(call.taken()[0].second, (values{uint64_t{8}, uint64_t{32}, uint64_t{48}}));
      }
}

} // namespace
