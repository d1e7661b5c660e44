// The entry points of the expressions: their descriptions.
#include "tests/entry/entry.hpp"

namespace {

using namespace vorn_test;
using record = vorn_global_ctx_t;

constexpr auto res = &entry_call::res, src = &entry_call::src, lo = &entry_call::lo, hi = &entry_call::hi;

// Of doubles, canonical on the left and native on the right, where there is one row more.
entry expression(const char *name, const char *source, shape called, unsigned does, std::optional<op_bits> bits = {}) {
  entry e = {.name = name, .source = source, .slot = {}, .called = std::move(called)};
  e.set_up = [](entry_call &c) {
    c.enc.vorn_enc_ctx_num_type = VORN_NUM_DOUBLE;
    c.lo_enc.vorn_enc_ctx_flags |= VORN_NATIVE;
    c.src.vorn_cv_vals = c.hi.vorn_cv_vals = c.vals.data();
    c.lo.vorn_cv_vals = c.rates.data();
    c.lo.vorn_cv_nrows = 65;
  };
  e.trace = {operation_line(name), rows_line(), filter_line()};
  e.does = does;
  e.bits = bits;
  e.generic_popc = 77;
  return e;
}

const entry sum = expression("vorn_gby_sum", "entry/expr/numbers.cpp",
                             in_record<&record::vorn_gby_sum_dydi, vorn_gby_sum, res, src, lo>(), keeps_diagnostic);
const entry convert =
    expression("vorn_convert", "entry/expr/numbers.cpp",
               in_record<&record::vorn_convert_dydi, vorn_convert, res, src>(), takes_null_aux | keeps_diagnostic);

const entry polygon = expression("vorn_spatial_pip", "entry/expr/pip.cpp",
                                 in_record<&record::vorn_spatial_pip_dydi, vorn_spatial_pip, res, src, lo, hi, hi>(),
                                 takes_null_aux | does_without_kernel, bits_kept);

// Its column has no dictionary.
const entry groupkey = [] {
  entry e = expression("vorn_groupkey", "entry/expr/groupkey.cpp",
                       in_record<&record::vorn_groupkey_dydi, vorn_groupkey, res, &entry_call::lo_code, src, 1U, hi>(),
                       traces_nothing, {{{0, 0, 0}, {0xf7, 0xff, 0xff}}});
  e.set_up = [](entry_call &c) { c.enc.vorn_enc_ctx_flags = 0; };
  e.checks = {misaligned("vorn_groupkey: res is not aligned", &record::VORN_OUTPUT_BITWVEC_ALIGN, result),
              no_aux("vorn_groupkey: vorn_aux is NULL"), invert_flag("vorn_groupkey: invert filter not supported")};
  e.checks[0].told = {};
  e.generic_code = VORN_RESULT_REFUSED;
  return e;
}();

// A kernel of group keys runs from the table in force alone, and nothing is compared.
template <bool groups>
entry xlate() {
  entry e = expression("vorn_xlate", "entry/expr/xlate.cpp", in_table<vorn_binary_fn, vorn_xlate, res, src, lo>(),
                       drops_filter, {{{0, 1, 0}, {0xff, 0xff, 0xfe}}});
  e.slot = (groups ? 0x87 << 5 : 0) | VORN_OPC_XLATE;
  e.set_up = [](entry_call &c) {
    hold_hash_values(c);
    c.members.items[0] = ~c.members.items[0];
    c.aux.vorn_aux_xlate_tbl = c.members.data();
    c.src.vorn_cv_vals = groups ? c.vals.data() : c.src.vorn_cv_vals;
    c.lo_enc.vorn_enc_ctx_type = groups ? 0x87 : 0;
  };
  e.checks = {misaligned("vorn_xlate: res is not aligned", &record::VORN_OUTPUT_BITWVEC_ALIGN, result),
              no_aux("vorn_xlate: input is NULL"),
              {"vorn_xlate: 32-bit hash values are required", [](entry_call &c) { c.enc.vorn_enc_ctx_width = 64; }},
              misaligned_filter("vorn_xlate: aux bv is not aligned")};
  e.trace[0] = kernel_alone_line();
  e.counted = {5, 5, {}};
  if (!groups) {
    e.self_check = {"vorn_xlate: res_generic_bv", "vorn_xlate: vxl check popcount", "vorn_xlate: vxl check result", lo};
    e.generic_popc = 3;
  }
  e.typed = {&entry_call::lo_enc};
  e.answer = VORN_RESULT_DONE;
  return e;
}

template <auto function, uint32_t opcode, bool sums>
entry arithmetic() {
  entry e = expression("vorn_arith", "entry/expr/arith.cpp", in_table<vorn_binary_fn, function, res, src, lo>(),
                       leaves_context | keeps_diagnostic | (sums ? 0U : takes_null_aux));
  e.slot = (sums ? 1 << 12 : 0) | 5 << 7 | opcode;
  e.set_up = [](entry_call &c) {
    sum.set_up(c);
    c.aux.vorn_aux_flags = sums ? VORN_AUX_SUM : 0;
  };
  e.trace = {filter_line(),
             {3, "vorn_arith opcode:%d datawidth(overloaded):%x sum:%d\n",
              [](auto &) {
                return values{number(opcode), 5, number(sums)};
              }},
             kernel_line(),
             rows_line(" src: %p res: %p aux: %p", [](const entry_call &c) {
               return values{address(c.vals.data()), address(c.out.items.data()), address(c.given)};
             })};
  e.rate_rows = 65;
  return e;
}

// There is no kernel: a scripted one takes notes behind the call.
template <auto function, auto... operands>
entry nothing(const char *name) {
  entry e = expression(name, "entry/expr/empty.cpp",
                       {[](entry_call &c) {
                          const uint32_t code = call_of<function, operands...>(c);
                          scripted<vorn_binary_fn>::kernel(&c.res, &c.src, &c.lo, &c.aux);
                          return code;
                        },
                        [](entry_call &) {}, words_of<res, src, lo>},
                       keeps_diagnostic | ignores_force, bits_kept);
  e.trace = {kernel_alone_line(), rows_line()};
  e.answer = e.generic_code = VORN_RESULT_NO_IMPLEMENTATION;
  return e;
}

constexpr const void *unread = nullptr;
const entry dense_key = nothing<vorn_dk_create, unread, unread, unread, src, unread, unread>("vorn_dk_create");
const entry compare = nothing<vorn_compare, unread, src, unread>("vorn_compare");
const entry add = arithmetic<vorn_add, VORN_OPC_ADD, false>(), sub = arithmetic<vorn_sub, VORN_OPC_SUB, true>(),
            mul = arithmetic<vorn_mul, VORN_OPC_MUL, false>();

INSTANTIATE_TEST_SUITE_P(expressions, entry_test,
                         testing::Values(sum, convert, polygon, groupkey, xlate<false>(), xlate<true>(), add, sub, mul,
                                         dense_key, compare),
                         [](const auto &each) { return std::get<std::string>(kernel_name(each.param)); });

TEST(xlate, is_compared_unless_both_kernels_refuse) {
  check_refusals(xlate<false>(), {"vorn_xlate: vxl check popcount", "vorn_xlate: vxl check range"});
}

TEST(arithmetic, of_other_numbers_is_reported) {
  entry_call call(add);
  call.enc.vorn_enc_ctx_num_type = VORN_NUM_FLOAT | VORN_NUM_DOUBLE;
  EXPECT_EQ(call.run(), uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
  EXPECT_EQ(call.reports(), (std::vector<report>{{"unsupported dtype", {}}}));
  EXPECT_EQ(script.calls, 0U);
}

} // namespace
