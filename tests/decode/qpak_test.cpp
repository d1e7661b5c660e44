// The layer in front of the block decoder, and a predicate on a block-compressed column from end to end.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <random>

#include "frame/host.h"
#include "host/qpak_encoder.hpp"
#include "tests/support/implementation.hpp"

namespace {

using vorn_host::value;

int decoder_calls;
uint32_t failing_decoder(vorn_qpak_ctx *qctx, const void *, void *, uint32_t *, uint32_t) {
  ++decoder_calls;
  EXPECT_NE(qctx->vorn_qpak_ctx_stack_alloc, nullptr);
  return 8;
}

// What the decoder of the host was asked, before it answers.
struct host_call {
  void *env, *heap;
  const void *in;
  void *out;
  uint32_t *outlen;
  uint32_t outsize;
  uint64_t a, b, c;
  bool operator==(const host_call &) const = default;
};
std::vector<host_call> host_calls;

class qpak_test : public testing::Test {
protected:
  void SetUp() override {
    env.on_error = vorn_host::error_policy::resume;
    for (size_t i = 0; i < plain.size(); ++i)
      plain[i] = static_cast<uint8_t>(i / 7);
    const std::vector<uint8_t> stream = vorn_host::qpak_encode(plain.data(), plain.size());
    ASSERT_LE(stream.size(), sizeof encoded);
    std::copy(stream.begin(), stream.end(), encoded);
    qctx.vorn_qpak_ctx_env = env.context().vorn_ctx_env;
    qctx.vorn_qpak_ctx_heap = &heap;
    decoder_calls = 0;
    host_calls.clear();
  }
  void TearDown() override { vorn_global_ctx = vorn_test::initial_global_ctx; }

  uint32_t decode(const void *src, void *dst) {
    outlen = 0;
    return vorn_qpak_decode(&qctx, src, dst, &outlen, static_cast<uint32_t>(plain.size()));
  }

  vorn_host::environment env;
  std::array<uint8_t, 5000> plain{};
  alignas(64) uint8_t encoded[6000] = {};
  alignas(64) uint8_t decoded[5064] = {};
  vorn_qpak_ctx qctx = {};
  int heap = 0;
  uint32_t outlen = 0;
};

TEST_F(qpak_test, decodes_and_fills_in_both_allocators) {
  qctx.vorn_qpak_ctx_stack_free = [](void *, void *, void *) {};
  EXPECT_EQ(decode(encoded, decoded), 0U);
  EXPECT_TRUE(std::equal(plain.begin(), plain.end(), decoded));
  EXPECT_EQ(qctx.vorn_qpak_ctx_stack_alloc, vornu_stack_alloc_align);
  EXPECT_EQ(qctx.vorn_qpak_ctx_stack_free, vornu_stack_free_align);
  EXPECT_TRUE(env.errors().empty());
}

TEST_F(qpak_test, alignment_depends_on_the_generic_mark) {
  vorn_global_ctx.vorn_global_ctx_qpak_in_align = 64;
  vorn_global_ctx.vorn_global_ctx_qpak_out_align = 64;
  std::copy_backward(encoded, encoded + 5990, encoded + 5998);
  qctx.vorn_qpak_ctx_generic = 1;
  EXPECT_EQ(decode(encoded + 8, decoded + 8), 0U);
  qctx.vorn_qpak_ctx_generic = 0;
  EXPECT_EQ(decode(encoded + 8, decoded + 8), 0U) << "the call goes on";
  qctx.vorn_qpak_ctx_generic = 5;
  decode(encoded + 8, decoded + 4);
  const std::pair<const char *, const void *> expected[] = {
      {"vorn_qpak_decode: input is not aligned", encoded + 8},
      {"vorn_qpak_decode: input is not aligned", encoded + 8},
      {"vorn_qpak_decode: output is not aligned", decoded + 8},
      {"vorn_qpak_decode: input is not aligned", encoded + 8},
      {"vorn_qpak_decode generic: output is not aligned", decoded + 4}};
  const auto errors = env.errors();
  ASSERT_EQ(errors.size(), std::size(expected));
  for (size_t i = 0; i < errors.size(); ++i) {
    EXPECT_EQ(errors[i].message, expected[i].first);
    EXPECT_EQ(errors[i].values, std::vector<value>{expected[i].second});
  }
}

TEST_F(qpak_test, input_and_both_outputs_have_an_alignment_word_each) {
  using lines = std::vector<std::string>;
  const struct {
    uint64_t vorn_global_ctx_t::*word;
    lines specialized, generic;
  } cases[] = {{&vorn_global_ctx_t::vorn_global_ctx_qpak_in_align,
                {"vorn_qpak_decode: input is not aligned"},
                {"vorn_qpak_decode: input is not aligned"}},
               {&vorn_global_ctx_t::vorn_global_ctx_qpak_out_align, {"vorn_qpak_decode: output is not aligned"}, {}},
               {&vorn_global_ctx_t::VORN_DATASTREAM_ALIGN, {}, {"vorn_qpak_decode generic: output is not aligned"}}};
  for (const auto &wider : cases)
    for (const uint32_t generic : {0U, 1U}) {
      vorn_global_ctx = vorn_test::initial_global_ctx;
      vorn_global_ctx.*wider.word = 16;
      qctx.vorn_qpak_ctx_generic = generic;
      env.clear_errors();
      decode(encoded + 8, decoded + 8);
      lines messages;
      for (const auto &error : env.errors())
        messages.push_back(error.message);
      EXPECT_EQ(messages, generic == 0 ? wider.specialized : wider.generic);
    }
}

TEST_F(qpak_test, the_host_is_asked_once_and_told_environment_and_heap) {
  const host_call expected = {qctx.vorn_qpak_ctx_env, &heap, encoded, decoded, &outlen, 5000, 0, 0, 0};
  EXPECT_EQ(decode(encoded, decoded), 0U);
  EXPECT_TRUE(host_calls == std::vector{expected});
  encoded[0] ^= 1;
  EXPECT_NE(decode(encoded, decoded), 0U);
  EXPECT_EQ(host_calls.size(), 2U) << "a failure of its own is not tried again";
}

TEST_F(qpak_test, only_the_failure_of_the_hosts_decoder_is_final) {
  vorn_global_ctx.vorn_qpak_decode_dydi = failing_decoder;
  for (const uint32_t generic : {0U, 1U}) { // the mark does not choose the decoder
    qctx.vorn_qpak_ctx_generic = generic;
    std::fill(std::begin(decoded), std::end(decoded), uint8_t{0});
    EXPECT_EQ(decode(encoded, decoded), 0U);
    EXPECT_TRUE(std::equal(plain.begin(), plain.end(), decoded));
  }
  EXPECT_EQ(decoder_calls, 2);
  encoded[0] ^= 1;
  EXPECT_NE(decode(encoded, decoded), 0U);
  vorn_global_ctx = vorn_test::initial_global_ctx;
  EXPECT_NE(decode(encoded, decoded), 0U);
}

class compressed_columns : public vorn_test::implementation_test {};

TEST_P(compressed_columns, are_decoded_by_the_first_predicate) {
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = vorn_qpak_decode;
  alignas(8) std::array<uint8_t, 1000> codes{};
  std::mt19937 random(3);
  std::vector<uint64_t> expected(16), out(16);
  for (size_t row = 0; row < codes.size(); ++row) {
    codes[row] = static_cast<uint8_t>(random() % 4);
    expected[row / 64] |= uint64_t{codes[row] == 2} << row % 64;
  }
  const std::vector<uint8_t> stream = vorn_host::qpak_encode(codes.data(), codes.size());
  std::vector<uint64_t> aligned((stream.size() + 7) / 8);
  std::copy(stream.begin(), stream.end(), reinterpret_cast<uint8_t *>(aligned.data()));
  vorn_enc_ctx enc, cst_enc;
  vorn_build_encoding_type_dict(&enc, 8, nullptr, nullptr, nullptr, 0, 0, VORN_STREAM);
  vorn_build_encoding_type_dict(&cst_enc, 8, nullptr, nullptr, nullptr, 0, 0, VORN_CONST);
  uint32_t constant = 2;
  void *kept = nullptr;
  vorn_cv res = {}, src = {}, cst = {};
  vorn_build_vector(&res, nullptr, nullptr, nullptr, nullptr, nullptr, out.data(), 1000, 0, nullptr, 0);
  vorn_build_vector(&src, aligned.data(), nullptr, nullptr, &enc, nullptr, nullptr, 1000, 1000, &kept, 0);
  vorn_build_vector(&cst, &constant, nullptr, nullptr, &cst_enc, nullptr, nullptr, 1, 0, nullptr, 0);
  for (const uint8_t flags : std::initializer_list<uint8_t>{0, VORN_CTX_SELF_CHECK, VORN_CTX_FORCE_GENERIC}) {
    ctx.vorn_ctx_flags = flags;
    EXPECT_EQ(vorn_eq(&ctx, &res, &src, &cst, nullptr), uint32_t{VORN_RESULT_DONE});
    EXPECT_EQ(out, expected);
  }
  EXPECT_TRUE(std::equal(codes.begin(), codes.end(), static_cast<const uint8_t *>(kept)));
}

VORN_TEST_ALL_IMPLEMENTATIONS(compressed_columns);

} // namespace

// Goes before the one of the stand-in host, to which it hands on.
uint32_t qpak_decode(void *env, void *heap, const void *in, void *out, uint32_t *outlen, uint32_t outsize, uint64_t a,
                     uint64_t b, uint64_t c) {
  host_calls.push_back({env, heap, in, out, outlen, outsize, a, b, c});
  return reinterpret_cast<decltype(&qpak_decode)>(dlsym(RTLD_NEXT, "qpak_decode"))(env, heap, in, out, outlen, outsize,
                                                                                   a, b, c);
}
