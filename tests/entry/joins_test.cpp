// The entry points of the joins: their descriptions.
#include "tests/entry/entry.hpp"

namespace {

using namespace vorn_test;
using record = vorn_global_ctx_t;

uint64_t hash_nothing(const void *, uint64_t, uint64_t seed) { return seed; }

// They check and count nothing, and leave the bits of operations alone.
entry join(const char *name, shape called, const char *operation = nullptr) {
  return {.name = name,
          .source = "entry/join/join.cpp",
          .slot = {},
          .called = std::move(called),
          .trace = {operation_line(operation == nullptr ? name : operation), rows_line()},
          .bits = bits_kept,
          .does = ignores_force | does_without_kernel,
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
    .source = "entry/join/bloom.cpp",
    .slot = {},
    .called = in_record<&record::vorn_bloom_dydi, vorn_bloom, &entry_call::res, &entry_call::src, &entry_call::lo>(),
    .set_up =
        [](entry_call &c) {
          hold_hash_values(c);
          vorn_add_encoding_type_bloom(&c.lo_enc, 0, 63, 0, 0);
        },
    .checks = {misaligned("vorn_bloom: res is not aligned", &record::VORN_OUTPUT_BITWVEC_ALIGN, result),
               misaligned_filter("vorn_bloom: aux bv is not aligned")},
    .trace = {operation_line("vorn_bloom"), rows_line(), filter_line()},
    .bits = {{{0x20, 0x20, 0}, {0xf7, 0xff, 0xff}, {0x20, 0, 0}}},
    .counted = {4, 4, {}},
    .self_check = {{"vorn_bloom: res_generic_bv", "vorn_bloom: vxl check popcount", "vorn_bloom: vxl check result",
                    &entry_call::lo}},
    .does = takes_null_aux | drops_filter | does_without_kernel,
    .generic_popc = 3};

TEST(bloom, is_compared_unless_both_kernels_refuse) {
  check_refusals(bloom, {"vorn_bloom: vxl check popcount", "vorn_bloom: vxl check range"});
}

INSTANTIATE_TEST_SUITE_P(joins, entry_test,
                         testing::Values(hash, build, probe, partition, gather, reference, convert, bloom), entry_name);
INSTANTIATE_TEST_SUITE_P(joins_implicit, entry_test, testing::Values(hash_implicit), entry_name);

} // namespace
