// The load of a specialised library: its checks in their order, what is copied, the report.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <span>

#include "tests/frame/module_test.hpp"

namespace {

using frame_test::scripts;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr size_t first_pad_word = offsetof(vorn_global_ctx_t, VORN_MAX_ALIGN);
using pad_words = std::array<uint64_t, 10>;
constexpr pad_words maximum_pads = {64, 8, 8, 64, 64, 64, 64, 64, 64, 16};

class load_test : public frame_test::module_test {
protected:
  void TearDown() override {
    scripts = {};
    module_test::TearDown();
  }

  const vorn_global_ctx_t *record_of(const char *name) {
    vorn_host::environment silent;
    vorn_ctx with = silent.context();
    void *handle = nullptr;
    svorn_dlopen(&with, name, &handle);
    return static_cast<const vorn_global_ctx_t *>(svorn_dlsym(&with, handle, "vorn_global_specialized_ctx"));
  }

  // Fills the record in force, up to what a load compares, with bytes that no library's record holds.
  void overwrite_record() {
    const vorn_global_ctx_t initial = vorn_test::initial_global_ctx;
    std::memset(&vorn_global_ctx, 0x5a, sizeof vorn_global_ctx);
    vorn_global_ctx.vorn_global_ctx_magic = initial.vorn_global_ctx_magic;
    vorn_global_ctx.vorn_global_ctx_version = initial.vorn_global_ctx_version;
  }

  bool in_force(const vorn_global_ctx_t &record) const { return std::memcmp(&vorn_global_ctx, &record, 536) == 0; }

  pad_words pads_in_force() const {
    pad_words words;
    std::memcpy(words.data(), reinterpret_cast<const char *>(&vorn_global_ctx) + first_pad_word, sizeof words);
    return words;
  }

  // The reports of a load, as the host was given them.
  std::vector<std::string> reports() const {
    std::vector<std::string> lines;
    for (const std::string &line : env.transcript())
      if (line.starts_with("host_raise") || line.starts_with("host_soft"))
        lines.push_back(line);
    return lines;
  }
};

} // namespace

TEST_F(load_test, copies_the_whole_record) {
  const vorn_global_ctx_t *record = record_of("svxlother");
  ASSERT_NE(record, nullptr);
  overwrite_record();
  vorn_load_global_ctx(&ctx, "svxlother");
  EXPECT_TRUE(in_force(*record));
  EXPECT_THAT(env.transcript(),
              ElementsAre("svorn_dlopen \"svxlother\" 1", "svorn_dlsym \"vorn_global_specialized_ctx\" 1"));
  EXPECT_EQ(vorn_thread_ctx_init(nullptr, nullptr, nullptr, nullptr), 10U); // its thread slots are null
  EXPECT_EQ(vorn_thread_ctx_fini(nullptr, nullptr, nullptr, nullptr), 10U);
  EXPECT_EQ(vorn_is_qpak_datastream_allowed(), 0x10U);
}

TEST_F(load_test, nothing_to_load_ends_it_with_nothing_changed) {
  const struct {
    const char *name;
    std::vector<std::string> transcript;
  } cases[] = {{"svxlmissing",
                {"svorn_dlopen \"svxlmissing\" 0",
                 "host_raise_internal_error \"vorn_load_global_ctx: library load failed\" \"svxlmissing\""}},
               {"svxlnorecord",
                {"svorn_dlopen \"svxlnorecord\" 1", "svorn_dlsym \"vorn_global_specialized_ctx\" 0",
                 "host_raise_internal_error \"vorn_load_global_ctx: Cannot load vorn_global_ctx\""}}};
  ctx.vorn_ctx_flags = 0x88;
  for (const auto &[name, transcript] : cases) {
    restart();
    env.on_error = vorn_host::error_policy::resume;
    vorn_load_global_ctx(&ctx, name);
    EXPECT_EQ(env.transcript(), transcript);
    EXPECT_TRUE(in_force(vorn_test::initial_global_ctx)) << name;

    restart();
    env.on_error = vorn_host::error_policy::unwind;
    EXPECT_THROW(vorn_load_global_ctx(&ctx, name), vorn_host::internal_error);
    EXPECT_EQ(env.transcript(), transcript);
    EXPECT_TRUE(in_force(vorn_test::initial_global_ctx)) << name;
    ASSERT_EQ(env.errors().size(), 1U);
    EXPECT_EQ(env.errors()[0].error_arg, env.host_env_error_arg);
  }
}

TEST_F(load_test, a_library_is_open_when_result_and_handle_say_so) {
  for (const frame_test::open_answer &answer :
       {frame_test::open_answer{0, this}, frame_test::open_answer{1, nullptr}}) {
    restart();
    scripts.open = answer;
    vorn_load_global_ctx(&ctx, "svxlother");
    EXPECT_THAT(env.transcript(),
                ElementsAre("host_raise_internal_error \"vorn_load_global_ctx: library load failed\" \"svxlother\""));
    EXPECT_TRUE(in_force(vorn_test::initial_global_ctx));
  }
}

TEST_F(load_test, a_failed_load_does_not_fall_back_but_the_hook_runs) {
  static unsigned hook_runs;
  hook_runs = 0;
  vorn_global_ctx.vorn_global_ctx_init_sharedlib = [](vorn_ctx *) { ++hook_runs; };
  ctx.vorn_ctx_init_flags = 1;
  ctx.vorn_ctx_lib_name = "svxlmissing";
  vorn_nfy(3, &ctx);
  EXPECT_EQ(hook_runs, 1U);
  EXPECT_THAT(reports(), testing::SizeIs(1));
  env.on_error = vorn_host::error_policy::unwind;
  EXPECT_THROW(vorn_nfy(3, &ctx), vorn_host::internal_error);
  EXPECT_EQ(hook_runs, 1U);
}

// A library that is wrong in one point: one report.  A reporter that comes back lets the load run on; one that unwinds
// leaves the record as it was, or loaded when the fault is one of the alignments, which are looked at after the copy.
TEST_F(load_test, every_check_reports_once_and_goes_on) {
  const struct {
    const char *name;
    const char *report;
    bool after_the_copy;
  } cases[] = {
      {"svxlbadversion", "host_raise_internal_error \"Unexpected VXL library version\" \"19.1-10\" \"19.1-1\"", false},
      {"svxlbadmagic", "host_raise_internal_error \"VXL Library on-load check failed\" 305419896 -1191083496", false},
      {"svxlbadmagichigh", "host_raise_internal_error \"VXL Library on-load check failed\" -1191083496 -1191083496",
       false},
      {"svxlbadstatus", "host_raise_internal_error \"Loaded VXL context status is not SPECIALIZED\"", false},
      {"svxlbadstatus4", "host_raise_internal_error \"Loaded VXL context status is not SPECIALIZED\"", false},
      {"svxlbadalign0", "host_raise_internal_error \"vorn_load_global_ctx: VORN_MAX_ALIGN is not power of 2\"", true},
      {"svxlbadalign1", "host_raise_internal_error \"vorn_load_global_ctx: VORN_DATASTREAM_ALIGN is not power of 2\"",
       true},
      {"svxlbadalign2", "host_raise_internal_error \"vorn_load_global_ctx: VORN_BITWVEC_ALIGN is not power of 2\"",
       true},
      {"svxlbadalign3",
       "host_raise_internal_error \"vorn_load_global_ctx: VORN_OUTPUT_BITWVEC_ALIGN is not power of 2\"", true},
      {"svxlbadalign4", "host_raise_internal_error \"vorn_load_global_ctx: VORN_JOIN_BITWVEC_ALIGN is not power of 2\"",
       true}};
  for (const auto &[name, report, after_the_copy] : cases) {
    const vorn_global_ctx_t *record = record_of(name);
    ASSERT_NE(record, nullptr) << name;

    restart();
    env.on_error = vorn_host::error_policy::resume;
    vorn_load_global_ctx(&ctx, name);
    EXPECT_THAT(reports(), ElementsAre(report));
    EXPECT_TRUE(in_force(*record)) << name;

    restart();
    env.on_error = vorn_host::error_policy::unwind;
    EXPECT_THROW(vorn_load_global_ctx(&ctx, name), vorn_host::internal_error);
    EXPECT_THAT(reports(), ElementsAre(report));
    EXPECT_TRUE(in_force(after_the_copy ? *record : vorn_test::initial_global_ctx)) << name;
  }
}

TEST_F(load_test, a_wrong_name_is_reported_softly_and_loaded) {
  const vorn_global_ctx_t *record = record_of("svxlbadname");
  ASSERT_NE(record, nullptr);
  for (const auto policy : {vorn_host::error_policy::resume, vorn_host::error_policy::unwind}) {
    restart();
    env.on_error = policy;
    vorn_load_global_ctx(&ctx, "svxlbadname");
    EXPECT_THAT(reports(), ElementsAre("host_soft_internal_error \"Wrong library name in loaded VXL\" \"svxlbadname\" "
                                       "\"svxlbadnam\""));
    EXPECT_TRUE(in_force(*record));
  }
}

TEST_F(load_test, all_faults_at_once_are_reported_in_order) {
  const vorn_global_ctx_t *record = record_of("svxlallbad");
  ASSERT_NE(record, nullptr);
  ctx.vorn_ctx_flags = 0x08;
  vorn_load_global_ctx(&ctx, "svxlallbad");
  EXPECT_THAT(
      env.transcript(),
      ElementsAre("svorn_dlopen \"svxlallbad\" 1", "svorn_dlsym \"vorn_global_specialized_ctx\" 1",
                  "host_raise_internal_error \"Unexpected VXL library version\" \"\" \"19.1-1\"",
                  "host_raise_internal_error \"VXL Library on-load check failed\" 0 -1191083496",
                  "host_soft_internal_error \"Wrong library name in loaded VXL\" \"svxlallbad\" \"generic\"",
                  "host_raise_internal_error \"Loaded VXL context status is not SPECIALIZED\"",
                  "host_raise_internal_error \"vorn_load_global_ctx: VORN_MAX_ALIGN is not power of 2\"",
                  "host_raise_internal_error \"vorn_load_global_ctx: VORN_DATASTREAM_ALIGN is not power of 2\"",
                  "host_raise_internal_error \"vorn_load_global_ctx: VORN_BITWVEC_ALIGN is not power of 2\"",
                  "host_raise_internal_error \"vorn_load_global_ctx: VORN_OUTPUT_BITWVEC_ALIGN is not power of 2\"",
                  "host_raise_internal_error \"vorn_load_global_ctx: VORN_JOIN_BITWVEC_ALIGN is not power of 2\"",
                  testing::StartsWith("host_env_print \"vorn_load_global_ctx dispatch_table: "),
                  "host_env_print \"align max: 3 datastream: 6 bv: 12 output: 4294967297 join: -1\\n\"",
                  "host_env_print \"pad output: 1024 end_cu: 4096 \\n\""));
  EXPECT_TRUE(in_force(*record));

  restart();
  env.on_error = vorn_host::error_policy::unwind;
  EXPECT_THROW(vorn_load_global_ctx(&ctx, "svxlallbad"), vorn_host::internal_error);
  EXPECT_THAT(reports(), ElementsAre("host_raise_internal_error \"Unexpected VXL library version\" \"\" \"19.1-1\""));
  EXPECT_TRUE(in_force(vorn_test::initial_global_ctx));
}

TEST_F(load_test, an_alignment_of_0_or_1_or_the_top_bit_passes) {
  for (const char *const name : {"svxlalign0", "svxlalign1"}) {
    restart();
    vorn_load_global_ctx(&ctx, name);
    EXPECT_THAT(reports(), IsEmpty());
    EXPECT_STREQ(vorn_global_ctx.vorn_global_ctx_lib_name, name);
  }
}

TEST_F(load_test, maximum_pads_replace_ten_words_before_they_are_checked) {
  const vorn_global_ctx_t *record = record_of("svxlbadalign2");
  ASSERT_NE(record, nullptr);
  overwrite_record();
  ctx.vorn_ctx_flags = 0x80;
  vorn_load_global_ctx(&ctx, "svxlbadalign2");
  EXPECT_THAT(reports(), IsEmpty());
  EXPECT_EQ(pads_in_force(), maximum_pads); // the padding behind the last one, a 32-bit number, included
  EXPECT_EQ(vorn_global_ctx.vorn_global_ctx_pad_output, 64U);
  EXPECT_EQ(vorn_global_ctx.vorn_global_ctx_end_cu, 16U);

  // And nothing else.
  vorn_global_ctx_t expected = *record;
  std::memcpy(reinterpret_cast<char *>(&expected) + first_pad_word, maximum_pads.data(), sizeof maximum_pads);
  EXPECT_TRUE(in_force(expected));

  restart();
  ctx.vorn_ctx_flags = 0x7f;
  vorn_load_global_ctx(&ctx, "svxlother");
  EXPECT_EQ(pads_in_force(), (pad_words{64, 8, 16, 32, 128, 256, 512, 1024, 2048,
                                        UINT64_C(0xeeeeeeee00001000)})); // the module's padding
}

TEST_F(load_test, prints_its_report_on_demand) {
  const vorn_global_ctx_t *record = record_of("svxlother");
  ASSERT_NE(record, nullptr);
  char first_line[200];
  std::snprintf(first_line, sizeof first_line, "vorn_load_global_ctx dispatch_table: %p status: 3 lib: svxlother\n",
                static_cast<const void *>(record->vorn_global_ctx_dispatch));
  ctx.vorn_ctx_flags = 0x08;
  vorn_load_global_ctx(&ctx, "svxlother");
  EXPECT_EQ(env.printed(), first_line + std::string("align max: 64 datastream: 8 bv: 16 output: 32 join: 128\n"
                                                    "pad output: 1024 end_cu: 4096 \n"));
  restart();
  ctx.vorn_ctx_flags = 0x88;
  vorn_load_global_ctx(&ctx, "svxlother");
  EXPECT_THAT(env.printed(), testing::EndsWith("align max: 64 datastream: 8 bv: 8 output: 64 join: 64\n"
                                               "pad output: 64 end_cu: 16 \n"));
  const size_t printed = env.printed().size();
  restart();
  ctx.vorn_ctx_flags = 0xf7;
  vorn_load_global_ctx(&ctx, "svxlother");
  EXPECT_EQ(env.printed().size(), printed);
}
