// The entry points of the decoders: their descriptions, and what each of them does alone.
#include "tests/entry/entry.hpp"

namespace {

using namespace vorn_test;
using record = vorn_global_ctx_t;

trace_point done_line(const char *done) {
  return rows_line(std::string(" ") + done + ": %d", [](const entry_call &) { return values{40}; });
}

trace_point outputs_line() {
  return {3, "vals: %p lens: %p flgs: %p\nfilterbv: %p start_slot: %d ones_vec: %p (%d)\n", [](const entry_call &c) {
            return values{address(c.vals.data()),
                          address(c.lens.data()),
                          address(c.flgs.data()),
                          address(c.aux.vorn_aux_filter_bv),
                          10,
                          address(c.rows.data()),
                          2};
          }};
}

void make_room_for_40(entry_call &call) { call.res.vorn_cv_nrows = 40; }

const entry decode = {.name = "vorn_decode",
                      .source = "entry/decode/decode.cpp",
                      .slot = dict_8bit(VORN_OPC_DECODE),
                      .called = in_table<vorn_unary_fn, vorn_decode, &entry_call::res, &entry_call::src>(),
                      .set_up = make_room_for_40,
                      .checks = {no_dictionary("vorn_decode: src is not DICT"),
                                 misaligned("vorn_decode: src is not aligned", &record::VORN_DATASTREAM_ALIGN, source),
                                 no_aux("vorn_decode: vorn_aux is NULL"),
                                 invert_flag("vorn_decode: invert filter not supported")},
                      .trace = {kernel_line(), done_line("nrows_decoded"), outputs_line()},
                      .rate_rows = 48, // from the first row of the list
                      .bits = {{{0x02, 0, 0}, {0xf7, 0xfb, 0xfb}}},
                      .counted = {1, 1, 1},
                      .typed = {&entry_call::enc},
                      .generic_popc = 2};

const entry unpack = {
    .name = "vorn_decode_unpack",
    .source = "entry/decode/unpack.cpp",
    .slot = dict_8bit(VORN_OPC_DECODE_UNPACK),
    .called = in_table<vorn_unary_fn, vorn_decode_unpack, &entry_call::res, &entry_call::src>(),
    .set_up = make_room_for_40,
    .checks = {misaligned("vorn_decode_unpack: res is not aligned", &record::VORN_OUTPUT_BITWVEC_ALIGN, result),
               no_dictionary("vorn_decode_unpack: src is not DICT"),
               misaligned("vorn_decode_unpack: src is not aligned", &record::VORN_DATASTREAM_ALIGN, source),
               no_aux("vorn_decode_unpack: vorn_aux is NULL"),
               invert_flag("vorn_decode_unpack: invert filter not supported")},
    .trace = {kernel_line(), done_line("nrows_unpacked"), outputs_line()},
    .rate_rows = 41,
    .bits = {{{0x40, 0, 0}, {0xf7, 0xbf, 0xdf}}},
    .counted = {6, 6, 4},
    .typed = {&entry_call::enc},
    .generic_popc = 4}; // of the filter, from row 10 on

const entry symbol = {.name = "vorn_decode_symbol",
                      .source = "entry/decode/symbol.cpp",
                      .slot = dict_8bit(VORN_OPC_DECODE_SYMBOL),
                      .called = in_table<vorn_unary_fn, vorn_decode_symbol, &entry_call::res, &entry_call::src>(),
                      .set_up = make_room_for_40,
                      .checks = {no_dictionary("vorn_decode_symbol: src is not DICT"),
                                 no_aux("vorn_decode_symbol: vorn_aux is NULL"),
                                 invert_flag("vorn_decode_symbol: invert filter not supported")},
                      .trace = {kernel_line(), done_line("nrows_decoded"), outputs_line()},
                      .bits = {{{0x80, 0, 0}, {0xf7, 0x7f, 0xff}}},
                      .counted = {7, 7, {}},
                      .generic_popc = 64};

const entry rle_burst = {
    .name = "vorn_decode_rle_burst",
    .source = "entry/decode/rle_burst.cpp",
    .slot = 27 << 5 | VORN_OPC_BURST,
    .called = in_table<vorn_unary_fn, vorn_decode_rle_burst, &entry_call::res, &entry_call::src>(),
    .set_up =
        [](entry_call &c) {
          c.codes.items = {10, 20, 4, 30};
          vorn_add_encoding_type_rle(&c.enc, c.codes.data(), nullptr, 8, 4, nullptr);
          c.enc.vorn_enc_ctx_rle_cla = c.members.data(); // the kernel without one does not look at it
          c.filter.items[0] = 0xa;
          c.enc.vorn_enc_ctx_flags |= VORN_STREAM;
        },
    .checks = {{"vorn_decode_rle_burst: src is not RLE",
                [](entry_call &c) { c.enc.vorn_enc_ctx_flags &= ~uint32_t{VORN_RLE}; }},
               misaligned("vorn_decode_rle_burst: res is not aligned", &record::VORN_OUTPUT_BITWVEC_ALIGN, result),
               misaligned("vorn_decode_rle_burst: rle vec is not aligned", &record::VORN_DATASTREAM_ALIGN,
                          [](entry_call &c) -> void * { return &c.enc.vorn_enc_ctx_rle_lens; }),
               misaligned("vorn_decode_rle_burst: rle cla is not aligned", &record::VORN_DATASTREAM_ALIGN,
                          [](entry_call &c) -> void * { return &c.enc.vorn_enc_ctx_rle_cla; }),
               misaligned_filter("vorn_decode_rle_burst: aux bv is not aligned")},
    .trace = {kernel_alone_line(), rows_line()},
    .bits = {{{0x04, 0, 0}, {0xf7, 0xf7, 0xf7}}},
    .counted = {2, 2, 2},
    .does = hides_stream,
    .generic_popc = 50};

// It has no checks and no counters, its kernel a slot of its own, and its rate counts groups.
const entry prefix = {
    .name = "vorn_prefix_decode",
    .source = "entry/decode/prefix.cpp",
    .slot = {},
    .called = in_record<&record::vorn_prefix_decode_dydi, vorn_prefix_decode, &entry_call::res, &entry_call::src>(),
    .trace = {operation_line("vorn_prefix_decode"), rows_line(), filter_line()},
    .does = takes_null_aux | keeps_diagnostic,
    .generic_code = VORN_RESULT_NO_IMPLEMENTATION, // the groups of the standard call have no size
    .generic_popc = 77};

INSTANTIATE_TEST_SUITE_P(decoders, entry_test, testing::Values(decode, unpack, symbol, rle_burst, prefix), entry_name);

// The rate of a list without rows is that of no rows.
TEST(decoders, time_an_empty_list) {
  entry_call call(decode);
  call.arm();
  call.ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE | VORN_CTX_FORCE_GENERIC;
  call.aux.vorn_aux_ones_vec_size = 0;
  call.rates[*decode.slot] = 4;
  vorn_host::script_clock({0, 1000});
  EXPECT_EQ(call.run(), uint32_t{VORN_RESULT_DONE});
  EXPECT_EQ(call.rates[*decode.slot], 0);
}

// The index of unpacked codes is that of the whole type word, cut to 32 bits: from bit 27 on it does not matter, and
// bit 8 leads behind the table.
TEST(decoders, of_unpacked_codes_dispatch_by_the_whole_type) {
  for (const uint64_t upper : {uint64_t{0x100}, uint64_t{1} << 27, uint64_t{0x8800} << 48}) {
    entry_call call(symbol);
    if (upper == 0x100) {
      call.table.resize(2 * VORN_DISPATCH_SLOTS, call.table[0]);
      std::swap(call.table[*symbol.slot], call.table[VORN_DISPATCH_SLOTS + *symbol.slot]);
      vorn_global_ctx.vorn_global_ctx_dispatch = call.table.data();
    }
    call.enc.vorn_enc_ctx_type |= upper;
    EXPECT_EQ(call.run(), script.code);
  }
}

TEST(decoders, expand_runs_without_a_look_at_the_stream) {
  entry_call call(rle_burst);
  call.run_generic();
  EXPECT_EQ(call.run(), uint32_t{VORN_RESULT_DONE});
  EXPECT_EQ(call.out.items[0], 0xfffffffc3ffffc00);
  call.filter.items[0] = 0;
  EXPECT_EQ(call.run(), uint32_t{VORN_RESULT_EMPTY});
}

// Compressed streams are decompressed once, whichever decoder comes first, under that kernel's name.
TEST(decoders, keep_a_decompressed_stream) {
  for (const entry *first : {&decode, &unpack}) {
    entry_call call(*first);
    call.run_generic();
    call.ctx.vorn_ctx_decompress = [](vorn_qpak_ctx *, const void *, void *dst, uint32_t *, uint32_t dstlen) {
      std::memset(dst, 0x5a, dstlen);
      return uint32_t{0};
    };
    call.enc.vorn_enc_ctx_flags |= VORN_STREAM;
    call.enc.vorn_enc_ctx_dict_syms = &call;
    call.aux.vorn_aux_filter_bv = nullptr;
    call.kept = nullptr;
    for (const entry *turn : {first, &decode, &unpack}) {
      std::ranges::fill(call.vals, 0);
      EXPECT_EQ(turn->called.call(call), uint32_t{VORN_RESULT_DONE});
      EXPECT_EQ(call.vals[0], turn == &decode ? reinterpret_cast<uintptr_t>(&call) + 0x5a : 0x5a5aU);
    }
    const std::string name = vorn_dispatch_func_names[*first->slot];
    ASSERT_EQ(call.env.calls().size(), 1U);
    EXPECT_EQ(call.env.calls()[0].service, "vorn_ctx_alloc");
    EXPECT_EQ(call.env.calls()[0].text, name + ": vec1_decomp");

    call.kept = nullptr;
    call.ctx.vorn_ctx_decompress = [](vorn_qpak_ctx *, const void *, void *, uint32_t *, uint32_t) { return 1U; };
    first->called.call(call);
    EXPECT_EQ(call.messages(), lines{name + ": vorn_qpak_decode failed"});
  }
}

} // namespace
