// Calls whose slot of the dispatch table has no kernel: every operation with every type code.
// Such a call is reported, returns VORN_RESULT_NO_IMPLEMENTATION and writes nothing.
#include "tests/entry/call.hpp"
#include "tests/support/slots.hpp"

namespace vorn_test {

namespace {

// The operands of any entry.  Both encodings have the same type code.
struct operands {
  vorn_enc_ctx enc = {}, constant_enc = {};
  vorn_cv res = {}, src = {}, constant = {};
  vorn_aux aux = {};
  uint64_t out[1] = {0x55}, words[8] = {};
  uint32_t nkeys = 0x55;
};

// An entry, and the opcodes that it takes.  index says which slot a call needs.
struct dispatched {
  const char *name;
  uint32_t first, last;
  uint32_t (*call)(const vorn_ctx &ctx, operands &with, uint32_t opcode);
  uint64_t type_codes = 256;
  bool reads_runs = false;
};

template <auto function>
uint32_t compared(const vorn_ctx &ctx, operands &with, uint32_t opcode) {
  if constexpr (std::is_same_v<decltype(function), decltype(&vorn_range_cmp)>)
    return function(&ctx, &with.res, &with.src, &with.constant, &with.constant, &with.aux, opcode);
  else
    return function(&ctx, &with.res, &with.src, &with.constant, &with.aux, opcode);
}
template <auto function>
uint32_t decoded(const vorn_ctx &ctx, operands &with, uint32_t) {
  return function(&ctx, &with.res, &with.src, &with.aux);
}

const dispatched entries_by_slot[] = {
    {"vorn_cmp", VORN_OPC_EQ, VORN_OPC_NE, compared<&vorn_cmp>},
    {"vorn_range_cmp", VORN_OPC_GT_LT, VORN_OPC_GE_LE, compared<&vorn_range_cmp>},
    {"vorn_in_set", VORN_OPC_SET, VORN_OPC_SET,
     [](const vorn_ctx &ctx, operands &with, uint32_t) {
       return vorn_in_set(&ctx, &with.res, &with.src, &with.constant, &with.aux);
     }},
    {"vorn_decode", VORN_OPC_DECODE, VORN_OPC_DECODE, decoded<vorn_decode>},
    {"vorn_decode_unpack", VORN_OPC_DECODE_UNPACK, VORN_OPC_DECODE_UNPACK, decoded<vorn_decode_unpack>},
    {"vorn_decode_symbol", VORN_OPC_DECODE_SYMBOL, VORN_OPC_DECODE_SYMBOL, decoded<vorn_decode_symbol>, 1024},
    {"vorn_decode_rle_burst", VORN_OPC_BURST, VORN_OPC_BURST, decoded<vorn_decode_rle_burst>, 256, true},
    {"vorn_xlate", VORN_OPC_XLATE, VORN_OPC_XLATE,
     [](const vorn_ctx &ctx, operands &with, uint32_t) {
       return vorn_xlate(&ctx, &with.res, &with.src, &with.constant, &with.aux);
     }},
    {"vorn_groupkey", VORN_OPC_DECODE_UNPACK, VORN_OPC_DECODE_UNPACK,
     [](const vorn_ctx &ctx, operands &with, uint32_t) {
       return vorn_groupkey(&ctx, &with.res, &with.nkeys, &with.src, 1, &with.constant, &with.aux);
     }},
    {"vorn_dispatch_decode_unpack", VORN_OPC_DECODE_UNPACK, VORN_OPC_DECODE_UNPACK,
     [](const vorn_ctx &, operands &with, uint32_t) {
       return vorn_dispatch_decode_unpack(&with.res, &with.src, &with.aux);
     }},
};

struct slots_test : testing::Test {
  // One call without a kernel.  Its report names the operation, the slot, the width and the flags.
  void expect_report(const dispatched &entry, uint32_t opcode, uint64_t type_code, uint32_t flags) {
    operands with;
    with.enc.vorn_enc_ctx_type = with.enc.vorn_enc_ctx_minor_type = type_code;
    with.enc.vorn_enc_ctx_flags = flags;
    with.enc.vorn_enc_ctx_width = 32;
    with.enc.vorn_enc_ctx_rle_width = 33;
    with.enc.vorn_enc_ctx_burst_res_bv = with.words;
    with.enc.vorn_enc_ctx_burst_fn = vorn_decode_rle_burst; // each check of runs stores it
    with.enc.vorn_enc_ctx_num_type = VORN_NUM_DOUBLE;
    with.constant_enc = with.enc;
    with.constant_enc.vorn_enc_ctx_flags |= VORN_CONST;
    with.src = with.constant = vector_of(with.words, with.enc, 64);
    with.constant.vorn_cv_encoding_context = &with.constant_enc;
    with.src.vorn_cv_mask_bv = with.constant.vorn_cv_bv = with.words;
    with.res = result_of(with.out, 64);
    with.aux.vorn_aux_filter_bv = with.words;
    with.aux.vorn_aux_ctx = &ctx;
    // The kernel of group keys makes its own report, after the entry has cleared the diagnostic code.
    with.aux.vorn_aux_diag_code = std::string_view(entry.name) == "vorn_groupkey" ? 0 : 7;
    env.on_error = vorn_host::error_policy::resume;
    const std::string before(bytes_of(with));

    EXPECT_EQ(entry.call(ctx, with, opcode), uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
    EXPECT_TRUE(before == bytes_of(with)) << "something was written";
    const auto errors = env.errors();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].message, std::string(entry.name) + ": slot without a kernel");
    const bool known = opcode <= VORN_OPC_MUL;
    const bool arithmetic = entry.first == VORN_OPC_ADD;
    const uint64_t code = arithmetic ? 0xd << 2 : entry.type_codes == 256 ? type_code & 0xff : type_code;
    const auto slot = static_cast<int32_t>(code << 5 | opcode);
    const vorn_enc_ctx &named = entry.first == VORN_OPC_XLATE ? with.constant_enc : with.enc;
    EXPECT_EQ(errors[0].values,
              (std::vector<vorn_host::value>{std::string(known ? vorn_overload_opc_name(opcode, 0) : "unknown"), slot,
                                             opcode == VORN_OPC_BURST ? 33 : 32,
                                             static_cast<int32_t>(named.vorn_enc_ctx_flags)}));
    env.clear_errors();
  }

  ~slots_test() override { vorn_global_ctx = initial_global_ctx; }

  vorn_host::environment env;
  vorn_ctx ctx = env.context();
};

} // namespace

TEST_F(slots_test, without_a_kernel_are_reported_and_never_called) {
  for (const dispatched &entry : entries_by_slot)
    for (uint32_t opcode = entry.first; opcode <= entry.last; ++opcode)
      for (uint64_t code = 0; code < entry.type_codes; ++code)
        if (code > 0xff || !filled(vorn_dispatch_table[code << 5 | opcode]))
          for (const uint8_t mode : std::initializer_list<uint8_t>{0, VORN_CTX_FORCE_GENERIC, VORN_CTX_SELF_CHECK})
            for (const uint32_t flags : {uint32_t{VORN_DICT}, uint32_t{VORN_DICT | VORN_RLE}}) {
              if (entry.reads_runs && !(flags & VORN_RLE))
                continue;
              SCOPED_TRACE(testing::Message() << entry.name << " opcode " << opcode << " type " << code << " mode "
                                              << int{mode} << " flags " << flags);
              ctx.vorn_ctx_flags = mode;
              ASSERT_NO_FATAL_FAILURE(expect_report(entry, opcode, code, flags));
            }
}

// A kernel of another operation has other operands.
TEST_F(slots_test, of_other_operations_are_never_called) {
  const dispatched arith = {"vorn_arith", VORN_OPC_ADD, VORN_OPC_MUL, compared<&vorn_arith>};
  for (const dispatched &entry : {entries_by_slot[0], entries_by_slot[1], arith})
    for (const uint32_t opcode :
         {0U, 1U, 5U, 6U, 9U, 10U, 11U, 12U, 13U, 14U, 15U, 16U, 17U, 18U, 19U, 21U, 22U, 31U, 32U, 1U << 20, ~31U}) {
      if (opcode >= entry.first && opcode <= entry.last)
        continue;
      SCOPED_TRACE(testing::Message() << entry.name << " opcode " << opcode);
      expect_report(entry, opcode, 0, VORN_DICT);
    }
}

// The self-check needs a generic kernel, also when the library in force has one of its own.
TEST_F(slots_test, of_the_generic_table_are_needed_by_the_self_check) {
  const uint32_t set_with_null = 0x9d; // 8 bits
  std::vector<vorn_kernel> table(vorn_dispatch_table, vorn_dispatch_table + VORN_DISPATCH_SLOTS);
  table[set_with_null << 5 | VORN_OPC_SET].binary = [](auto...) { return 60U; };
  vorn_global_ctx.vorn_global_ctx_dispatch = table.data();
  ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
  expect_report(entries_by_slot[2], VORN_OPC_SET, set_with_null, VORN_DICT);
}

} // namespace vorn_test
