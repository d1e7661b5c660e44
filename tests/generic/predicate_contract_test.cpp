// The work of every predicate and set kernel besides its comparison: the target of a run-length source, the stream of a
// block-compressed source, and the names that kernels report.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/host.h"
#include "tests/model/predicate.hpp"
#include "tests/support/kernel_test.hpp"
#include "tests/support/slots.hpp"

namespace {

using vorn_test::slot;

std::vector<slot> kernels() {
  return vorn_test::slots_where([](const slot &s) { return s.predicate() || s.opcode() == VORN_OPC_SET; });
}

// The arguments of the burst and of the decoder in a call.  Both are plain functions, so they write to a global.
struct observed {
  const vorn_ctx *ctx = nullptr;
  vorn_cv *res = nullptr, *src = nullptr;
  vorn_aux aux = {};
  uint32_t popc_at_burst = 0;
  vorn_qpak_ctx qctx = {};
  uint32_t outlen = 99, dstlen = 0, decoder_result = 0;
  unsigned decodes = 0;
};
observed seen;

uint32_t burst(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  seen.ctx = ctx;
  seen.res = res;
  seen.src = src;
  seen.aux = *aux;
  seen.popc_at_burst = res->vorn_cv_popc;
  return 77;
}

// The "compressed" stream is the plain one with every bit flipped.
uint32_t decompress(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen, uint32_t dstlen) {
  seen.qctx = *qctx;
  seen.outlen = *outlen;
  seen.dstlen = dstlen;
  ++seen.decodes;
  for (uint32_t i = 0; i < dstlen; ++i)
    static_cast<uint8_t *>(dst)[i] = static_cast<uint8_t>(~static_cast<const uint8_t *>(src)[i]);
  *outlen = dstlen;
  return seen.decoder_result;
}

class predicate_contract_test : public vorn_test::implementation_test {
protected:
  void SetUp() override {
    vorn_test::implementation_test::SetUp();
    env.on_error = vorn_host::error_policy::resume;
    ctx = env.context();
    ctx.vorn_ctx_heap = &heap;
    env.record = true;
    ctx.vorn_ctx_decompress = decompress;
    seen = {};
  }

  // 100 rows alternate between the numbers 0 and 1 and share a length code.  The constants, or the set, are the
  // number 1.
  void build(const slot &s, uint32_t flags) {
    const unsigned width = s.width();
    stream.assign(100 * width / 8 + 16, 0);
    for (uint32_t row = 0; row < 100; ++row)
      vorn_model::put_code(stream.data(), width, row, row & 1); // fixed values are codes of whole bytes
    length_code = static_cast<uint8_t>(width / 8 - 1);
    lens.assign(100, 0);
    for (uint32_t row = 0; row < 100; ++row)
      if (width >= 16 && s.encoding() != VORN_ENC_DICT)
        vorn_model::put_length_code(lens.data(), vorn_model::length_code_bits(width), row, length_code);
    enc = s.encoding_context(flags);
    res = vorn_test::result_of(out, 100);
    src = vorn_test::vector_of(stream.data(), enc, 100, lens.data());
    // The number 1 as a code in the byte order of the processor, as a big-endian value, and as a set.
    one = s.encoding() == VORN_ENC_DICT ? 1 : uint64_t{1} << (width - 8);
    cst = vorn_test::vector_of(&one, enc, 1, &length_code);
    cst.vorn_cv_bv = set;
    aux = {};
    aux.vorn_aux_ctx = &ctx;
  }

  uint32_t run(const slot &s) { return s.run(res, src, cst, cst, aux); }

  static vorn_model::result expected(const slot &s, uint32_t nrows, const uint64_t *mask) {
    const bool of_a_set = s.opcode() == VORN_OPC_SET;
    return vorn_model::select(nrows, of_a_set ? nullptr : mask, nullptr, [&](uint32_t row) {
      const uint32_t number = row & 1;
      const bool null = s.encoding() == VORN_ENC_DICT && s.flag() && number == 0;
      return of_a_set ? number == 1 : vorn_model::satisfies(number, s.opcode(), 1U, 1U) && !null;
    });
  }

  int heap = 0;
  uint64_t one = 0;
  uint64_t set[1] = {2};
  uint8_t length_code = 0;
  std::vector<uint8_t> stream, lens;
  uint64_t out[2] = {};
  vorn_ctx ctx = {};
  vorn_enc_ctx enc = {};
  vorn_cv res = {}, src = {}, cst = {};
  vorn_aux aux = {};
};

TEST_P(predicate_contract_test, runs_are_evaluated_once_and_passed_to_the_burst) {
  for (const slot &s : kernels()) {
    SCOPED_TRACE(s.name());
    build(s, 0);
    // There are 70 runs with 700 rows.  The mask drops every third run.
    uint64_t per_run[2] = {~uint64_t{0}, ~uint64_t{0}};
    uint64_t mask[2] = {0xdb6db6db6db6db6d, ~uint64_t{0}};
    std::vector<uint8_t> run_lens(70, 10);
    vorn_add_encoding_type_rle(&enc, run_lens.data(), nullptr, 8, 70, per_run);
    enc.vorn_enc_ctx_burst_fn = burst;
    src.vorn_cv_mask_bv = mask;
    src.vorn_cv_nrows = res.vorn_cv_nrows = 700;
    out[0] = out[1] = 0x5555;
    seen = {};
    EXPECT_EQ(run(s), 77U);

    const auto runs = expected(s, 70, mask);
    EXPECT_EQ(std::vector<uint64_t>(per_run, per_run + 2), runs.words);
    EXPECT_EQ(seen.popc_at_burst, runs.count);
    EXPECT_EQ(seen.ctx, &ctx);
    EXPECT_EQ(seen.res, &res);
    EXPECT_EQ(seen.src, &src);
    // The burst gets its own record with only the per-run vector and its number of ones.
    vorn_aux cleared = {};
    cleared.vorn_aux_filter_bv = per_run;
    cleared.vorn_aux_popc = runs.count;
    EXPECT_TRUE(vorn_test::bytes_of(seen.aux) == vorn_test::bytes_of(cleared));
    EXPECT_EQ(out[0], 0x5555U);
    EXPECT_EQ(aux.vorn_aux_op_bits[1], 0);
  }
}

TEST_P(predicate_contract_test, a_compressed_stream_is_decoded_once_and_stays_in_the_slot) {
  const std::vector<slot> slots = kernels();
  for (const bool selective : {false, true})
    for (const slot &s : slots) {
      SCOPED_TRACE(s.name());
      build(s, VORN_STREAM);
      std::vector<uint8_t> compressed = stream;
      for (uint8_t &byte : compressed)
        byte = static_cast<uint8_t>(~byte);
      uint64_t all[2] = {~uint64_t{0}, ~uint64_t{0}};
      void *decompressed = nullptr;
      src.vorn_cv_vals = compressed.data();
      src.vorn_cv_stream_len = static_cast<uint32_t>(stream.size());
      src.vorn_cv_stream_slot = &decompressed;
      src.vorn_cv_stream_tag = 0x123456789abcdef0;
      aux = vorn_test::selective_by(selective ? all : nullptr);
      aux.vorn_aux_ctx = &ctx;
      ctx.vorn_ctx_flags = selective ? VORN_CTX_SELF_CHECK : 0;
      seen = {};
      env.clear_calls();
      run(s);
      // A range reports under the name of the one-sided kernel of its first bound.  A twin reports under its main
      // kernel.
      std::string reported = s.name();
      if (s.range())
        reported.erase(7, 3);
      ASSERT_EQ(env.calls().size(), 1U);
      EXPECT_EQ(env.calls()[0].text, reported + ": vec1_decomp");
      EXPECT_EQ(env.calls()[0].values, (std::vector<vorn_host::value>{static_cast<const void *>(&heap), stream.size(),
                                                                      8, 16, uint64_t{0x123456789abcdef0}}));
      EXPECT_EQ(seen.qctx.vorn_qpak_ctx_env, ctx.vorn_ctx_env);
      EXPECT_EQ(seen.qctx.vorn_qpak_ctx_heap, &heap);
      EXPECT_EQ(seen.qctx.vorn_qpak_ctx_stack_alloc, ctx.vorn_ctx_stack_alloc);
      EXPECT_EQ(seen.qctx.vorn_qpak_ctx_stack_free, ctx.vorn_ctx_stack_free);
      EXPECT_EQ(seen.qctx.vorn_qpak_ctx_generic, selective ? 1U : 0U);
      EXPECT_EQ(seen.outlen, 0U);
      EXPECT_EQ(seen.dstlen, stream.size());
      const auto rows = expected(s, 100, nullptr);
      EXPECT_EQ(std::vector<uint64_t>(out, out + 2), rows.words);

      run(s);
      EXPECT_EQ(env.calls().size(), 1U);
      EXPECT_EQ(seen.decodes, 1U);
      EXPECT_EQ(std::vector<uint64_t>(out, out + 2), rows.words);
      EXPECT_TRUE(env.errors().empty());

      // A failed decoder is reported, and the call goes on with the bytes that it wrote.
      decompressed = nullptr;
      seen.decoder_result = 5;
      run(s);
      ASSERT_EQ(env.errors().size(), 1U);
      EXPECT_EQ(env.errors()[0].message, reported + ": vorn_qpak_decode failed");
      EXPECT_TRUE(env.errors()[0].values.empty());
      EXPECT_EQ(std::vector<uint64_t>(out, out + 2), rows.words);
      env.clear_errors();
    }
}

VORN_TEST_ALL_IMPLEMENTATIONS(predicate_contract_test);

} // namespace
