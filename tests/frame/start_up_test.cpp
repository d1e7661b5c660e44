// Start-up: which library is chosen, how it is loaded and checked, the hooks of the record, queries.  The test brings
// the services that ask for capabilities and open libraries; the library that they open is a record that the test
// fills.  golden/start_up.txt has what happens.
#include <array>
#include <cstddef>
#include <cstring>
#include <span>

#include "tests/support/bytes.hpp"
#include "tests/support/golden.hpp"
#include "tests/support/implementation.hpp"

namespace {

using vorn_test::lines;
using pad_words = std::array<uint64_t, 10>;
constexpr size_t first_pad_word = offsetof(vorn_global_ctx_t, VORN_MAX_ALIGN);
constexpr uint32_t capabilities[] = {269, 267, 259, 258};

struct capability_answer {
  uint32_t result;
  std::array<uint32_t, 3> words;
};
constexpr capability_answer present = {0, {0, 0xdead, 1}}, absent = {0, {1, 0, 1}};

void set_pads(vorn_global_ctx_t &record, const pad_words &words) {
  std::memcpy(reinterpret_cast<char *>(&record) + first_pad_word, words.data(), sizeof words);
}

// A process that is about to start up, with a good library to load, and what happens in it.
struct start_up {
  start_up();
  ~start_up() { vorn_global_ctx = vorn_test::initial_global_ctx; }
  start_up(const start_up &) = delete;
  start_up &operator=(const start_up &) = delete;

  // One capability is present, and the flag for a specialised library is set.
  void offer(uint32_t capability, const char *library) {
    answers[capability] = present;
    ctx.vorn_ctx_init_flags = 1;
    record.vorn_global_ctx_lib_name = library;
  }
  void answer(uint32_t result, std::array<uint32_t, 3> words) {
    ctx.vorn_ctx_init_flags = 1;
    answers[267] = {result, words};
  }
  void name_library() {
    ctx.vorn_ctx_init_flags = 0xffffffff;
    ctx.vorn_ctx_lib_name = "svxlother";
  }
  // Queries, hooks, reports and prints, then the record in force.
  std::string events();

  vorn_host::environment env;
  vorn_ctx ctx = env.context();
  vorn_global_ctx_t record = {}, initial = {};
  const vorn_kernel kernels[1] = {};
  std::map<uint32_t, capability_answer> answers;
  uint32_t open_result = 1;
  bool opens = true, has_symbol = true;
  lines log;
};
start_up *process = nullptr;

std::string name_of(const void *pointer) {
  return pointer == nullptr ? "null" : pointer == &process->ctx ? "ctx" : "other";
}

template <unsigned implementation> // 0: the generic one
void init_hook(vorn_ctx *ctx) {
  process->log.push_back("init " + std::to_string(implementation) + " " + name_of(ctx));
}
template <unsigned implementation>
uint32_t level_hook(uint32_t level, void *a, void *b) {
  process->log.push_back("level " + std::to_string(implementation) + " " + std::to_string(level) + " " + name_of(a) +
                         " " + name_of(b));
  return 77;
}

start_up::start_up() {
  process = this;
  env.record = true;
  env.on_error = vorn_host::error_policy::resume;
  vorn_global_ctx = vorn_test::initial_global_ctx;
  vorn_global_ctx.vorn_global_ctx_init_sharedlib = init_hook<0>;
  vorn_global_ctx.vorn_global_ctx_set_trace_level = level_hook<0>;
  vorn_global_ctx.vorn_global_ctx_status = 9;
  initial = vorn_global_ctx;
  std::memset(&record, 0, sizeof record);
  record.vorn_global_ctx_magic = 0xb9018218;
  record.vorn_global_ctx_version = "19.1-1";
  record.vorn_global_ctx_status = 3;
  record.vorn_global_ctx_flags = 0x1f;
  record.vorn_global_ctx_lib_name = "svxlother";
  set_pads(record, {64, 8, 16, 32, 128, 256, 512, 1024, 2048, 0xeeeeeeee00001000}); // with the padding of the last word
  record.vorn_global_ctx_dispatch = kernels;
  record.vorn_global_ctx_init_sharedlib = init_hook<1>;
  record.vorn_global_ctx_set_trace_level = level_hook<1>;
  for (const uint32_t code : capabilities)
    answers[code] = absent;
}

std::string start_up::events() {
  lines all = log;
  env.name_pointer(kernels, "kernels");
  for (std::string line : env.transcript()) {
    char address[32];
    std::snprintf(address, sizeof address, "%p", static_cast<const void *>(kernels));
    if (const size_t at = line.find(address); at != std::string::npos)
      line.replace(at, std::strlen(address), "kernels");
    all.push_back(line);
  }
  vorn_global_ctx_t generic = initial, padded = record;
  generic.vorn_global_ctx_status = 2;
  set_pads(padded, {64, 8, 8, 64, 64, 64, 64, 64, 64, 16});
  const auto in_force = [](const vorn_global_ctx_t &which) {
    return vorn_test::bytes_of(vorn_global_ctx) == vorn_test::bytes_of(which);
  };
  all.emplace_back(in_force(record)    ? "loaded"
                   : in_force(initial) ? "unchanged"
                   : in_force(generic) ? "generic"
                   : in_force(padded)  ? "loaded with maximum pads"
                                       : "another record");
  std::string text;
  for (const std::string &line : all)
    text += (text.empty() ? "" : ", ") + line;
  return text;
}

// A change of a process, and its text.
struct scenario {
  const char *name;
  void (*set)(start_up &process);
};
#define WITH(...)                                                                                                      \
  {                                                                                                                    \
    #__VA_ARGS__, []([[maybe_unused]] start_up & p) { __VA_ARGS__; }                                                   \
  }

// Starts up.
const scenario start_ups[] = {
    // Without the flag for a specialised library nothing is looked up; maximum pads and the report belong to the load.
    WITH(p.offer(269, "svxlother"), p.name_library(), p.ctx.vorn_ctx_init_flags = 0xfffffffe,
         p.ctx.vorn_ctx_flags = 0x88),
    // The first present capability chooses.  A name replaces the choice, but the capabilities are queried all the same.
    WITH(p.offer(269, "svxlavx51219")),
    WITH(p.offer(267, "svxlavx219")),
    WITH(p.offer(259, "svxlavx19")),
    WITH(p.offer(258, "svxlsse4219")),
    WITH(p.ctx.vorn_ctx_init_flags = 1),
    WITH(p.offer(267, "svxlother"), p.name_library()),
    WITH(p.name_library()),
    // The trace level goes to the hook of the implementation in force.
    WITH(p.ctx.vorn_ctx_trace_level = 0x80000005),
    WITH(p.name_library(), p.ctx.vorn_ctx_trace_level = 5),
    // Without a library to load nothing changes and no other library is tried, but the hook of start-up runs.
    WITH(p.name_library(), p.open_result = 0),
    WITH(p.name_library(), p.opens = false, p.ctx.vorn_ctx_flags = 0x88),
    WITH(p.name_library(), p.has_symbol = false, p.ctx.vorn_ctx_flags = 0x88),
    // A capability is present when the result and two words say so.
    WITH(p.answer(1, {0, 1, 1})),
    WITH(p.answer(0, {1, 1, 1})),
    WITH(p.answer(0, {0, 1, 0})),
    WITH(p.answer(0, {0, 1, 2})),
    WITH(p.answer(0, {0x100, 0, 1})),
    WITH(p.answer(0x100, {0, 0, 1})),
};

// Loads "svxlother".  The faults come in the order of the checks.
const scenario loads[] = {
    WITH(),
    WITH(p.record.vorn_global_ctx_version = "19.1-10"),
    WITH(p.record.vorn_global_ctx_magic = 0x1b9018218), // reported by its low half
    WITH(p.record.vorn_global_ctx_magic = 0xb9018219),
    WITH(p.record.vorn_global_ctx_lib_name = "svxlothe"),
    WITH(p.record.vorn_global_ctx_status = 4),
    WITH(p.record.vorn_global_ctx_status = 2),
    WITH(p.record.VORN_MAX_ALIGN = 3),
    WITH(p.record.VORN_DATASTREAM_ALIGN = 6),
    WITH(p.record.VORN_BITWVEC_ALIGN = 12),
    WITH(p.record.VORN_OUTPUT_BITWVEC_ALIGN = 0x100000001),
    WITH(p.record.VORN_JOIN_BITWVEC_ALIGN = UINT64_MAX),
    // 0, 1 and the top bit pass as powers of 2.
    WITH(set_pads(p.record, {})),
    WITH(set_pads(p.record, {1, 2, 4, uint64_t{1} << 63, uint64_t{1} << 32})),
    // Maximum pads replace ten words before they are checked.
    WITH(p.ctx.vorn_ctx_flags = 0x80, p.record.VORN_BITWVEC_ALIGN = 3),
    WITH(p.ctx.vorn_ctx_flags = 0x77),
    WITH(p.ctx.vorn_ctx_flags = 0x08),
    WITH(p.ctx.vorn_ctx_flags = 0x88),
};

} // namespace

uint32_t cpucap_query(uint32_t code, void *answer) {
  process->log.push_back(std::to_string(code));
  std::ranges::copy(process->answers[code].words, static_cast<uint32_t *>(answer));
  return process->answers[code].result;
}

uint32_t svorn_dlopen(vorn_ctx *, const char *name, void **handle) {
  process->log.emplace_back(name);
  *handle = process->opens ? process : nullptr;
  return process->open_result;
}

void *svorn_dlsym(vorn_ctx *, void *handle, const char *name) {
  EXPECT_EQ(handle, process);
  process->log.emplace_back(name);
  return process->has_symbol ? &process->record : nullptr;
}

// With a reporter that returns, and with one that unwinds.  A load that ends early leaves the record as it was, or
// loaded when an alignment is wrong, since the alignments are checked after the copy.  A soft report returns.
TEST(start_up, chooses_loads_and_checks_a_library) {
  vorn_test::lines found;
  const auto add = [&](const std::string &name, const scenario &which, auto run) {
    for (const auto policy : {vorn_host::error_policy::resume, vorn_host::error_policy::unwind}) {
      start_up process;
      which.set(process);
      process.env.on_error = policy;
      std::string end;
      try {
        run(process.ctx);
      } catch (const vorn_host::internal_error &error) {
        EXPECT_EQ(error.error_arg, process.env.host_env_error_arg);
        end = ", unwinds";
      }
      const std::string events = process.events() + end;
      if (policy == vorn_host::error_policy::resume)
        found.push_back(std::string(name).append(which.name).append(": ").append(events));
      else if (!found.back().ends_with(": " + events))
        found.push_back("  the reporter unwinds: " + events);
    }
  };
  for (const scenario &each : start_ups)
    add("start up, ", each, [](vorn_ctx &ctx) { vorn_nfy(3, &ctx); });
  const auto load = [](vorn_ctx &ctx) { vorn_load_global_ctx(&ctx, "svxlother"); };
  for (const scenario &each : loads)
    add("load, ", each, load);
  const auto break_all = [](start_up &p) {
    for (const scenario &fault : std::span(loads).first<12>())
      fault.set(p);
  };
  add("load, ", {"all of the faults", break_all}, load);
  for (const uint32_t event : {0U, 1U, 2U, 4U, 0x103U, UINT32_MAX}) // other events do nothing
    add("event " + std::to_string(event) + ", ", start_ups[9], [=](vorn_ctx &ctx) { vorn_nfy(event, &ctx); });
  vorn_test::expect_golden(VORN_GOLDEN "/start_up.txt", found);
}

TEST(start_up, hooks_of_the_record) {
  start_up run;
  uint32_t level = 0x90000001;
  int a = 0;
  EXPECT_EQ(vorn_set_trace_level_callback(&a, &level, nullptr), 77U);
  vorn_set_trace_level_callback(&a, &level, &run.ctx);
  run.ctx.vorn_ctx_trace_level = 5; // which is not looked at here
  vorn_init_global_ctx(&run.ctx);
  EXPECT_EQ(run.log, (lines{"level 0 2415919105 other null", "level 0 2415919105 other ctx", "init 0 ctx"}));

  const auto thread_hook = [](void *first, void *second, void *third, void *fourth) -> uint32_t {
    return first == &process->env && second == &process->ctx && third == &process->record && fourth == process;
  };
  const auto call = [&](decltype(&vorn_thread_ctx_init) function) {
    return function(&run.env, &run.ctx, &run.record, &run);
  };
  EXPECT_EQ(vorn_test::initial_global_ctx.vorn_thread_ctx_init_dydi(nullptr, nullptr, nullptr, nullptr), 0U);
  EXPECT_EQ(vorn_test::initial_global_ctx.vorn_thread_ctx_fini_dydi(nullptr, nullptr, nullptr, nullptr), 0U);
  for (const bool init : {true, false}) {
    vorn_global_ctx.vorn_thread_ctx_init_dydi = init ? +thread_hook : nullptr;
    vorn_global_ctx.vorn_thread_ctx_fini_dydi = init ? nullptr : +thread_hook;
    EXPECT_EQ(call(vorn_thread_ctx_init), init ? 1U : 10U);
    EXPECT_EQ(call(vorn_thread_ctx_fini), init ? 10U : 1U);
  }
}

TEST(start_up, queries_return_their_own_bit) {
  const std::pair<uint32_t (*)(), uint32_t> queries[] = {{vorn_is_qpak_packed_dict_required, 0x1},
                                                         {vorn_is_byte_aligned_widths_required, 0x2},
                                                         {vorn_is_byte_aligned_widths_required_over_2bytes, 0x4},
                                                         {vorn_is_decode_bitwvec_required, 0x8},
                                                         {vorn_is_qpak_datastream_allowed, 0x10}};
  for (const auto &[query, bit] : queries) {
    vorn_global_ctx.vorn_global_ctx_flags = UINT32_MAX;
    EXPECT_EQ(query(), bit);
    vorn_global_ctx.vorn_global_ctx_flags = ~bit;
    EXPECT_EQ(query(), 0U) << bit;
  }
  vorn_global_ctx = vorn_test::initial_global_ctx;
}

// The record before any load.
TEST(start_up, begins_with_the_generic_record) {
  vorn_global_ctx_t expected = vorn_test::initial_global_ctx;
  expected.vorn_global_ctx_magic = 0xb9018218;
  expected.vorn_global_ctx_status = 2;
  expected.vorn_global_ctx_flags = 0;
  constexpr pad_words words = {8, 8, 8, 8, 8, 8, 8, 16, 0, 16};
  set_pads(expected, words);
  expected.vorn_global_ctx_dispatch = vorn_dispatch_table;
  EXPECT_EQ(vorn_test::bytes_of(vorn_global_ctx), vorn_test::bytes_of(expected));
  EXPECT_STREQ(expected.vorn_global_ctx_version, "19.1-1");
  EXPECT_STREQ(expected.vorn_global_ctx_lib_name, "generic");

  // Every slot is a function.
  constexpr size_t slots = 2 + 17 + 17 + 14 + 2;
  uintptr_t functions[slots];
  static_assert(offsetof(vorn_global_ctx_t, vorn_global_ctx_init_sharedlib) + sizeof functions == sizeof expected);
  std::memcpy(functions, &expected.vorn_global_ctx_init_sharedlib, sizeof functions);
  EXPECT_EQ(std::ranges::count(functions, uintptr_t{0}), 0);
  vorn_ctx ctx = {};
  expected.vorn_global_ctx_init_sharedlib(&ctx);
  EXPECT_EQ(expected.vorn_global_ctx_set_trace_level(5, nullptr, nullptr), 0U);
  vorn_enc_ctx enc = {};
  enc.vorn_enc_ctx_num_type = VORN_NUM_DSB;
  uint64_t number = 5;
  vorn_cv cv = {};
  cv.vorn_cv_vals = &number;
  cv.vorn_cv_encoding_context = &enc;
  vorn_aux aux = {};
  aux.vorn_aux_flags = VORN_AUX_SUM;
  EXPECT_EQ(expected.vorn_groupkey_dydi(&cv, nullptr, &cv, 1, &cv, &aux), 2U);
  EXPECT_EQ(expected.vorn_gby_sum_dydi(&cv, &cv, nullptr, &aux), 0U);
  EXPECT_EQ(expected.vorn_convert_dydi(&cv, &cv, &aux), 0U);
  EXPECT_EQ(expected.vorn_spatial_pip_dydi(&cv, &cv, &cv, &cv, &cv, &aux), 0U);
}
