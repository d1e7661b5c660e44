// Plans of rows and groups against DuckDB: every query on every kind of storage, with the generic and the best kernels,
// and with hardly any room, so that keys come in many calls and most groups take the longer ways.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "sql/request.hpp"
#include "sql/verify_rows.hpp"
#include "store/plan/limit.hpp"
#include "store/plan/plan.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/implementation.hpp"
#include "vornq/tables.hpp"

namespace {

using namespace store;

// Of the second table only k, u and w are named alone.
constexpr const char *first_sql =
    "SELECT ['', 'a', 'a longer text than others', NULL, 'ab', '\xC3\xA9'][(r % 6)::INT + 1] AS t, "
    "i // 40 % 9 AS runs, (r % 300)::INT - 150 AS n, nullif((r % 50)::SMALLINT, 7) AS small, "
    "CASE WHEN r % 3 = 0 THEN 9223372036854775807 ELSE -9223372036854775807 + (r % 5)::BIGINT END AS big, "
    "18446744073709551615 - (r % 4)::UBIGINT AS nat, ((r % 9)::HUGEINT - 4) * 100000000000000000000000000 AS huge, "
    "((r % 1000)::INT - 500)::DECIMAL(9, 2) / 8 AS price, nullif((r % 100)::DOUBLE / 7, 2) - 5 AS d, "
    "(r % 64)::FLOAT / 10 AS f, ['-0', '0', 'nan', '1', '-inf'][(r % 5)::INT + 1]::DOUBLE AS odd, "
    "DATE '2000-01-01' + (r % 20)::INT AS day, 'k' || (r % 40) AS key, NULL::INTEGER AS none, r % 2 = 0 AS flag";
constexpr const char *second_sql =
    "SELECT 'k' || (i + 5) AS k, nullif((r % 4)::INT, 2) AS u, (r % 90)::DOUBLE / 9 AS w";

struct query {
  const char *columns = nullptr;    // that are shown, or grouped by where something is asked of groups
  const char *aggregates = nullptr; // letters c, s and a before the column
  const char *order = "";
  const char *where = "";
  std::optional<uint64_t> limit = {};
  const char *area_x = nullptr; // the columns of the two coordinates of points
  const char *area_y = nullptr;
};
constexpr const char *no_groups = nullptr;

constexpr query single_queries[] = {
    {"", "c"},
    {"", "s n,a n,s big,s nat,s huge,s price,a price,s d,a d,s f,a small,s odd,s none,a none,c"},
    {"", "s n,c,a d", "", "n > 1000"},
    {"t", "c,s small,a small,s none,a none"},
    {"t,runs", "s big,s nat,s huge,a huge", "", "n > 0 and t like 'a%'"},
    {"runs,day", "s d,a d,s f,s odd,c", "", "runs <> 3"},
    {"small,flag", "a price,s price", "avg(price) desc,flag"},
    {"t,small,n,runs", "s n,c", "count(*) desc,n desc,t", "small < 20", 50},
    {"odd", "c,s n", "odd desc"},
    {"d,f,huge", "c,s d", "", "", 30},
    {"day,day", "", "day desc"},
    {"none,t", "s nat", "t,none desc", "n > 1000"},
    {"t", "s n * d,s 2 - small,a small + price,s f * 0.1,a huge * none,s odd * d"},
    {"n,t,d", no_groups, "t desc,d,runs desc", "n between -9 and 90"},
    {"day,huge,t", no_groups, "huge,odd desc,small desc,key", "", 300},
    {"f", no_groups, "", "runs = 2", 5000},
    {"big", no_groups, "", "", 0},
    {"n,d,key", no_groups, "", "", 2000, "n", "d"},
    {"t", "c,s n", "", "runs > 4", {}, "n", "d"},
};
constexpr query joined_queries[] = {
    {"u", "c,s n,a w,s w"},
    {"u,runs", "s w,a d,s huge", "sum(huge) desc", "n > 0 and w < 9"},
    {"t,w", "c", "count(*),w desc", "n > 100 or w < 3", 40},
    {"", "c,s w", "", "u = 1 or runs = 2"},
    {"u", "s w * n,a small - w,s n"},
    {"runs,u", "s w * n,a u + price", "", "u = 1 or w > 3"},
    {"", "s n,c", "", "n > 1000"},
    {"key,u,small", no_groups, "u desc,small", "n < 0", 500},
    {"w,n", no_groups, "", "small is null", 33},
    {"u", "c,s w", "", "w > 1", {}, "u", "w"},
    {"n,u", no_groups, "n,d", "runs = 1 or u = 0", 77, "n", "d"},
};

request requested(const query &q, const column_names &names) {
  request out;
  if (*q.where != '\0')
    out.set_where(parse_condition(q.where, names));
  if (*q.columns != '\0')
    out.columns = parse_columns(q.columns, names);
  out.is_grouped = q.aggregates != no_groups;
  if (out.is_grouped && *q.aggregates != '\0')
    for (const directed_name &a : parse_directions(q.aggregates))
      out.aggregates.push_back(a.name == "c" ? asked_aggregate()
                                             : parse_aggregate(a.name[0] == 's' ? function::sum : function::average,
                                                               a.name.substr(2), names));
  if (*q.order != '\0')
    out.order = parse_order(q.order, out, names);
  out.limit = q.limit;
  if (q.area_x != nullptr) // a star with points at the height of its vertices
    out.area = polygon{q.area_x, q.area_y, {-100, 0, 100, 150, -150, 20}, {-5, 9, -5, 2, 1, 9}};
  return out;
}

struct storage {
  uint64_t rows;
  choice_map choices;
};

TEST(plan, answers_as_duckdb_does) {
  const vorn_test::scratch_folder folder;
  const std::filesystem::path first = folder.path("one.parquet");
  vorn_host::environment env;
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = vorn_qpak_decode;
  const encoding_choice fixed{encoding::fixed, false}, dynp{encoding::dynp, true}, prefix{encoding::prefix, false};
  const encoding_choice runs{encoding::rle, false}, packed{encoding::dict, true};
  const storage stored[] = {
      {batch_rows + 900, {}},
      {3000,
       {{"t", runs}, {"n", fixed}, {"big", dynp}, {"f", fixed}, {"day", prefix}, {"key", packed}, {"runs", dynp}}},
      {2000,
       {{"t", packed}, {"n", runs}, {"nat", dynp}, {"price", prefix}, {"day", runs}, {"d", runs}, {"odd", fixed}}},
      {0, {}},
  };
  plan_settings hardly_any;
  hardly_any.dense = {30, 7};
  hardly_any.join = {{}, 2, VORN_HT_K4V8, 1, 2, 1, 8, 40};
  const std::string rows_sql = "FROM (SELECT i, hash(i) // 64 AS r FROM range({}) made(i))";
  const std::string second = folder.path("other.parquet");
  for (const storage &s : stored)
    for (const uint32_t copies : {0U, 1U, 2U}) { // of each row of the second table; without them nothing is joined
      duckdb::connection db;
      db.query(
          fmt::format("COPY ({} {}) TO '{}'", first_sql, fmt::format(fmt::runtime(rows_sql), s.rows), first.string()));
      db.query(fmt::format("COPY (SELECT t.* FROM ({} {}) t, range({})) TO '{}'", second_sql,
                           fmt::format(fmt::runtime(rows_sql), 30), copies, second));
      tables all(ctx, db, std::span(&first, 1), copies != 0 ? std::optional(second + ":key=k") : std::nullopt);
      std::vector<std::string> names;
      for (const column_info *info : all.names().columns())
        names.push_back(info->name);
      all.load(names, names, s.choices);
      const reference checker = all.made_reference(db, names, true);
      bool has_best = false;
      for (const auto &implementation : vorn_test::implementations) {
        const bool is_generic = implementation.capability == 0;
        if (!is_generic && (!vorn_test::runs_here(implementation) || std::exchange(has_best, true)))
          continue;
        ASSERT_NO_FATAL_FAILURE(vorn_test::put_in_force(implementation, env));
        for (const query &q : copies != 0 ? std::span<const query>(joined_queries) : single_queries)
          for (const plan_settings &settings : {plan_settings(), hardly_any}) {
            SCOPED_TRACE(fmt::format("{} rows, {} of {} by '{}' where '{}', {}, room for {} keys", s.rows,
                                     q.aggregates == no_groups ? "rows" : q.aggregates, q.columns, q.order, q.where,
                                     implementation.name, settings.dense.room));
            const request asked = requested(q, all.names()).comparable(all.names());
            const verification found =
                verify_rows(*planned(ctx, all.plan(), asked, settings), asked.headings(all.names()),
                            checker.answer(asked.sql(all.names(), true)), 0, [](row_block) {});
            EXPECT_TRUE(found.agree);
            EXPECT_TRUE(copies != 0 || found.rounded == 0) << found.rounded << " sums are of another order";
          }
      }
    }
  vorn_global_ctx = vorn_test::initial_global_ctx;
}

// Gives the same rows over and over.
struct endless_rows final : row_source {
  uint64_t next() override { return ++steps, cells.size(); }
  row_block rows() const override { return {&block, 1}; }

  uint64_t &steps;
  std::vector<cell> cells = std::vector<cell>(10);
  std::span<const cell> block = cells;
  explicit endless_rows(uint64_t &counted) : steps(counted) {}
};

TEST(plan, ends_at_its_limit) {
  for (const auto &[limit, steps] : {std::pair{0, 0}, std::pair{1, 1}, std::pair{10, 1}, std::pair{11, 2}}) {
    uint64_t taken = 0;
    uint64_t rows = 0;
    limited_rows source(std::make_unique<endless_rows>(taken), static_cast<uint64_t>(limit));
    while (const uint64_t count = source.next())
      rows += source.rows().front().size() == count ? count : 100;
    EXPECT_EQ(std::pair(rows, taken), std::pair(uint64_t(limit), uint64_t(steps)));
  }
}

} // namespace
