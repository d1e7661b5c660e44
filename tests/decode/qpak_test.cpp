// The entry point of the block decoder.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "frame/host.h"
#include "host/qpak_encoder.hpp"
#include "tests/support/implementation.hpp"

namespace {

int decoder_calls;
uint32_t failing_decoder(vorn_qpak_ctx *qctx, const void *, void *, uint32_t *, uint32_t) {
  ++decoder_calls;
  EXPECT_NE(qctx->vorn_qpak_ctx_stack_alloc, nullptr);
  return 8;
}

uint32_t empty_decoder(vorn_qpak_ctx *, const void *, void *, uint32_t *, uint32_t) { return 0; }

// A call of the host's decoder.
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

// The generic mark of the context chooses the alignment word of the output.
TEST_F(qpak_test, input_and_both_outputs_have_an_alignment_word_each) {
  using record = vorn_global_ctx_t;
  for (const auto word : {&record::vorn_global_ctx_qpak_in_align, &record::vorn_global_ctx_qpak_out_align,
                          &record::VORN_DATASTREAM_ALIGN})
    for (const uint32_t generic : {0U, 1U, 5U}) {
      vorn_global_ctx = vorn_test::initial_global_ctx;
      vorn_global_ctx.*word = 16;
      qctx.vorn_qpak_ctx_generic = generic;
      host_calls.clear();
      env.clear_errors();
      decode(encoded + 8, decoded + 8);
      EXPECT_EQ(host_calls.size(), 1U) << "the call goes on";
      std::string message, found;
      const void *expected = decoded + 8, *value = expected;
      if (word == &record::vorn_global_ctx_qpak_in_align) {
        message = "vorn_qpak_decode: input is not aligned";
        expected = encoded + 8;
      } else if ((word == &record::vorn_global_ctx_qpak_out_align) == (generic == 0)) {
        message = generic == 0 ? "vorn_qpak_decode: output is not aligned"
                               : "vorn_qpak_decode generic: output is not aligned";
      }
      for (const auto &error : env.errors()) {
        found += error.message;
        value = std::get<const void *>(error.values.at(0));
      }
      EXPECT_EQ(found, message);
      EXPECT_TRUE(message.empty() || value == expected);
    }
}

TEST_F(qpak_test, the_host_is_called_once_with_environment_and_heap) {
  const host_call expected = {qctx.vorn_qpak_ctx_env, &heap, encoded, decoded, &outlen, 5000, 0, 0, 0};
  EXPECT_EQ(decode(encoded, decoded), 0U);
  EXPECT_TRUE(host_calls == std::vector{expected});
  encoded[0] ^= 1;
  EXPECT_NE(decode(encoded, decoded), 0U);
  EXPECT_EQ(host_calls.size(), 2U) << "a failure of the host's decoder is not tried again";
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
  host_calls.clear();
  vorn_global_ctx.vorn_qpak_decode_dydi = empty_decoder;
  EXPECT_EQ(decode(encoded, decoded), 0U);
  EXPECT_TRUE(host_calls.empty()) << "no decoder follows one that succeeds";
  vorn_global_ctx.vorn_qpak_decode_dydi = nullptr;
  EXPECT_EQ(decode(encoded, decoded), 0U) << "the host decodes for a library without a decoder";
  vorn_global_ctx.vorn_qpak_decode_dydi = failing_decoder;
  encoded[0] ^= 1;
  EXPECT_NE(decode(encoded, decoded), 0U);
  vorn_global_ctx = vorn_test::initial_global_ctx;
  EXPECT_NE(decode(encoded, decoded), 0U);
}

} // namespace

// Replaces the decoder of the stand-in host, records the call, and calls that decoder.
uint32_t qpak_decode(void *env, void *heap, const void *in, void *out, uint32_t *outlen, uint32_t outsize, uint64_t a,
                     uint64_t b, uint64_t c) {
  host_calls.push_back({env, heap, in, out, outlen, outsize, a, b, c});
  return reinterpret_cast<decltype(&qpak_decode)>(dlsym(RTLD_NEXT, "qpak_decode"))(env, heap, in, out, outlen, outsize,
                                                                                   a, b, c);
}
