// Batches that are settled by their zones: the same answers, and the library is called for the others only.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sql/condition.hpp"
#include "store/encode/column_builder.hpp"
#include "store/encode/encoder.hpp"
#include "store/query/filter.hpp"
#include "tests/support/implementation.hpp"

namespace {

using namespace store;

using row = std::optional<int64_t>;

// Four whole batches and a part of one: ascending values, a batch of one value, NULLs alone, NULLs beside one value.
// Every number from the smallest to the largest of a batch occurs in it.
std::vector<row> ascending_rows(bool nulls) {
  std::vector<row> rows;
  for (uint32_t i = 0; i < 2 * batch_rows; ++i)
    rows.emplace_back(i / 1000);
  rows.insert(rows.end(), batch_rows, row(200));
  rows.insert(rows.end(), batch_rows, nulls ? row() : row(201));
  for (uint32_t i = 0; i < 100; ++i)
    rows.push_back(nulls && i % 3 == 0 ? row() : row(250));
  return rows;
}

column stored(const std::vector<row> &rows, encoding form) {
  column out;
  out.type.kind = value_kind::integer;
  if (form == encoding::fixed || form == encoding::dynp) {
    std::vector<int64_t> keys;
    keys.reserve(rows.size());
    for (const row &r : rows)
      keys.push_back(r.value());
    store_keys(out, keys, form);
    return out;
  }
  code_builder<int64_t> builder("");
  for (const row &r : rows)
    builder.append(r ? builder.row_of(*r) : builder.null_row());
  builder.finish(out, form);
  return out;
}

using zone_test = vorn_test::implementation_test;
VORN_TEST_ALL_IMPLEMENTATIONS(zone_test);

TEST_P(zone_test, calls_the_library_for_mixed_batches_alone) {
  std::vector<uint32_t> calls(VORN_DISPATCH_SLOTS);
  std::vector<double> rates(VORN_DISPATCH_SLOTS);
  vorn_ctx ctx = env.context();
  env.trace_control().trace_on = 1;
  ctx.vorn_ctx_trace = 4; // calls are counted when they are timed
  ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE;
  ctx.vorn_ctx_call_counts = calls.data();
  ctx.vorn_ctx_rates = rates.data();

  constexpr int64_t borders[] = {-1, 0, 64, 65, 66, 131, 132, 200, 201, 250, 251};
  std::vector<std::pair<std::string, bool (*)(int64_t, int64_t)>> comparisons = {
      {"=", [](int64_t v, int64_t c) { return v == c; }},
      {"<>", [](int64_t v, int64_t c) { return v != c; }},
      {"<", [](int64_t v, int64_t c) { return v < c; }},
      {"<=", [](int64_t v, int64_t c) { return v <= c; }},
      {">", [](int64_t v, int64_t c) { return v > c; }},
      {">=", [](int64_t v, int64_t c) { return v >= c; }},
      {"in", [](int64_t v, int64_t c) { return v == c || v == 131; }},
      {"between", [](int64_t v, int64_t c) { return v > c && v <= 200; }}};
  uint32_t settled = 0;
  for (bool nulls : {false, true}) {
    const std::vector<row> rows = ascending_rows(nulls);
    for (encoding form : {encoding::dict, encoding::rle, encoding::fixed, encoding::dynp}) {
      if (nulls && (form == encoding::fixed || form == encoding::dynp))
        continue;
      const column on = stored(rows, form);
      selection odd_rows;
      odd_rows.resize(rows.size());
      for (size_t i = 1; i < rows.size(); i += 2) {
        odd_rows.words[i / 64] |= uint64_t{1} << (i % 64);
        ++odd_rows.batch_counts[i / batch_rows];
        ++odd_rows.count;
      }
      for (int64_t border : borders)
        for (const auto &[name, holds] : comparisons) {
          const std::string text = name == "in"        ? fmt::format("n in ({}, 131)", border)
                                   : name == "between" ? fmt::format("n in ({}, 200]", border)
                                                       : fmt::format("n {} {}", name, border);
          SCOPED_TRACE(fmt::format("{} as {}{}", text, encoding_name(form), nulls ? " with NULLs" : ""));
          const std::vector<column_info> columns = {{"n", "BIGINT", type_of("BIGINT")}};
          const auto tests = to_ordinals(parse_condition(text, columns).asked, false, on);
          if (tests.size() > 1)
            continue; // a list over keys
          const ordinal_test &test = tests.front();
          for (const selection *among : {static_cast<const selection *>(nullptr), &std::as_const(odd_rows)}) {
            std::fill(calls.begin(), calls.end(), 0);
            selection out;
            filter(ctx, on, test, among, out);
            uint32_t mixed = 0;
            for (size_t b = 0; b < on.batches.size(); ++b) {
              uint32_t matches = 0;
              uint32_t wrong = 0;
              for (uint32_t i = 0; i < on.batches[b].rows; ++i) {
                const size_t at = b * batch_rows + i;
                const bool match = rows[at] && holds(*rows[at], border);
                matches += match ? 1 : 0;
                wrong += out.contains(at) != (match && (among == nullptr || i % 2 == 1)) ? 1 : 0;
              }
              EXPECT_EQ(wrong, 0U) << "rows of batch " << b;
              mixed += matches != 0 && matches != on.batches[b].rows ? 1 : 0;
            }
            uint32_t called = 0;
            for (uint32_t slot = 0; slot < VORN_DISPATCH_SLOTS; ++slot)
              called += slot % 32 == VORN_OPC_BURST ? 0 : calls[slot]; // a scan of runs has a burst in it
            EXPECT_EQ(called, mixed);
            settled += static_cast<uint32_t>(on.batches.size()) - mixed;
          }
        }
    }
  }
  EXPECT_GT(settled, 0U);
}

} // namespace
