// vornq as a user runs it: what it prints and how it ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/stand_in.hpp"
#include "sql/connection.hpp"
#include "store/library/kernels.hpp"
#include "tests/store/scratch_folder.hpp"
#include "vornq/tables.hpp"

namespace {

using testing::HasSubstr;
using testing::Not;

class vornq_test : public testing::Test {
protected:
  static std::string in_shell(const std::string &word) {
    std::string quoted;
    for (char c : word)
      if (c == '\'')
        quoted += "'\\''";
      else
        quoted += c;
    return fmt::format("'{}'", quoted);
  }

  // Runs vornq, perhaps with its output to something else than `out`, and gives its exit status.
  int run(const std::vector<std::string> &arguments) { return run(arguments, in_shell(folder.path("out"))); }
  int run(const std::vector<std::string> &arguments, const std::string &to) {
    std::string command = VORNQ;
    for (const std::string &argument : arguments)
      command.append(" ").append(in_shell(argument));
    command.append(" >").append(to).append(" 2> ").append(in_shell(folder.path("err")));
    const int ended = std::system(command.c_str());
    out = folder.read("out");
    err = folder.read("err");
    return WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
  }

  // Writes a Parquet file.
  static void make(const std::string &path, const std::string &sql) {
    store::duckdb::connection().query(fmt::format("COPY ({}) TO {}", sql, store::duckdb::quoted_text(path)));
  }

  vorn_test::scratch_folder folder;
  std::string table = folder.write("towns.csv", "town,people,price\nAdorf,120,1.50\nBdorf,,2.50\nCdorf,7000,\n");
  std::string out;
  std::string err;
};

TEST_F(vornq_test, answers_and_lists) {
  ASSERT_EQ(run({table, "--where", "people > 100", "--where", "town <> Zdorf"}), 0) << err;
  EXPECT_EQ(err, "");
  EXPECT_THAT(out, HasSubstr("people > 100"));
  EXPECT_THAT(out, HasSubstr("generic"));
  EXPECT_THAT(out, HasSubstr("DuckDB v"));
  EXPECT_THAT(out, HasSubstr("the counts agree"));

  ASSERT_EQ(run({table}), 0) << err;
  EXPECT_THAT(out, HasSubstr("3 rows"));
  EXPECT_THAT(out, HasSubstr("people  BIGINT"));
  EXPECT_THAT(out, Not(HasSubstr("DuckDB")));

  EXPECT_EQ(run({"--version"}), 0);
  EXPECT_THAT(out, HasSubstr("vornq "));
}

TEST_F(vornq_test, stores_columns_as_it_is_told) {
  std::string runs = "n,m\n";
  for (int i = 0; i < 1000; ++i)
    runs += fmt::format("{},{}\n", i / 100, i);
  const std::string file = folder.write("runs.csv", runs);
  const std::string question = "n between 2 and 5 and m in [250, 300)";
  ASSERT_EQ(run({file, "--columns", "--where", question}), 0) << err;
  EXPECT_THAT(out, testing::ContainsRegex("n +BIGINT +rle +10 "));
  EXPECT_THAT(out, testing::ContainsRegex("m +BIGINT +dict +1,000 "));
  EXPECT_THAT(out, HasSubstr(question));
  EXPECT_THAT(out, testing::ContainsRegex("generic +1,000 +50 "));
  ASSERT_EQ(run({file, "--columns", "--encode", "n=fixed+qpak", "--encode", "m=dynp", "--where", question}), 0) << err;
  EXPECT_THAT(out, testing::ContainsRegex("n +BIGINT +fixed\\+qpak .*\nm +BIGINT +dynp "));
  EXPECT_THAT(out, testing::ContainsRegex("generic +1,000 +50 "));
}

TEST_F(vornq_test, shows_selected_rows) {
  ASSERT_EQ(run({table, "--select", "price, town", "--where", "people > 100"}), 0) << err;
  EXPECT_THAT(out,
              HasSubstr("the counts agree\n\nprice  town\n  1.5  Adorf\n NULL  Cdorf\n2 of 2 rows\nthe rows agree\n"));

  ASSERT_EQ(run({table, "--select", "\"people\",town", "--limit", "2"}), 0) << err;
  EXPECT_THAT(out, testing::EndsWith(
                       "\npeople  town\n   120  Adorf\n  NULL  Bdorf\n2 rows, which is the limit\nthe rows agree\n"));
  EXPECT_THAT(out, Not(HasSubstr("distinct"))) << "no list of the columns";

  ASSERT_EQ(run({table, "--select", "town", "--encode", "town=prefix", "--columns", "--where", "people > 7000"}), 0)
      << err;
  EXPECT_THAT(out, testing::ContainsRegex("town +VARCHAR +prefix +- +no +40 "));
  EXPECT_THAT(out, testing::EndsWith("\ntown\n0 of 0 rows\nthe rows agree\n"));
}

TEST_F(vornq_test, shows_groups_and_orders_rows) {
  const std::string file = folder.write("legs.csv", "a,n,x\nB,1,0.5\n,2,\nA,3,0.25\nB,,1\nC,,\n");
  ASSERT_EQ(run({file, "--group-by", "a", "--sum", "n", "--count", "--avg", "x", "--sum", "x"}), 0) << err;
  EXPECT_THAT(out,
              testing::ContainsRegex("\nsum\\(n\\), count\\(\\*\\), avg\\(x\\), sum\\(x\\) by a\nengine .*groups"));
  EXPECT_THAT(out, testing::ContainsRegex("generic +5 +4 .*\n(.*\n)*DuckDB, [a-z]+ table +5 +4 "));
  EXPECT_THAT(out,
              testing::EndsWith("\n\na     sum(n)  count(*)  avg(x)  sum(x)\nA          3         1    0.25    0.25\n"
                                "B          1         2    0.75     1.5\nC       NULL         1    NULL    NULL\n"
                                "NULL       2         1    NULL    NULL\n4 of 4 groups\nthe groups agree\n"));
  ASSERT_EQ(run({file, "--avg", "n", "--count", "--where", "n > 1", "--format", "json"}), 0) << err;
  EXPECT_EQ(out, "[{\"avg(n)\":2.5,\"count(*)\":2}]\n");
  ASSERT_EQ(
      run({file, "--group-by", "a", "--sum", "x", "--order-by", "SUM(x) desc", "--limit", "2", "--format", "csv"}), 0);
  EXPECT_EQ(out, "a,sum(x)\nB,1.5\nA,0.25\n");
  ASSERT_EQ(run({file, "--select", "n", "--order-by", "\"a\" desc, N", "--format", "csv"}), 0) << err;
  EXPECT_EQ(out, "n\n\n1\n\n3\n2\n");
  const std::string area = folder.write("area.csv", "x,N\n0,0\n1,0\n0,4\n");
  ASSERT_EQ(run({file, "--inside", area, "--group-by", "a", "--sum", "n * 0.5", "--format", "csv"}), 0) << err;
  EXPECT_EQ(out, "a,sum(n * 0.5)\nB,0.5\n"); // the point of A lies on the slope
}

TEST_F(vornq_test, takes_back_what_it_shows) {
  const std::string path = folder.path("shown.parquet");
  make(path, "SELECT * FROM (VALUES ('NULL', 'a', DATE '12345-01-01', -0.0::DOUBLE), (NULL, E'x\\ny', 'infinity', 1), "
             "('', 'x\\ny', '0044-03-15 (BC)', 2)) t(s, c, d, z)");
  ASSERT_EQ(run({path, "--select", "*"}), 0) << err;
  EXPECT_THAT(out, HasSubstr("s       c        d                   z\n"
                             "'NULL'  a        12345-01-01      -0.0\n"
                             "NULL    E'x\\ny'  infinity          1.0\n"
                             "''      x\\ny     0044-03-15 (BC)   2.0\n3 of 3 rows\n"));
  for (const char *condition :
       {"s = 'NULL' and c = a and d = 12345-01-01 and z = -0.0", "s is NULL and c = E'x\\ny' and d = infinity",
        "s = '' and c = x\\ny and d = '0044-03-15 (BC)'"}) {
    ASSERT_EQ(run({path, "--where", condition}), 0) << err;
    EXPECT_THAT(out, testing::ContainsRegex("DuckDB, [a-z]+ table +3 +1 ")) << condition;
  }
}

TEST_F(vornq_test, answers_from_a_saved_table_as_from_the_file) {
  const std::string saved = folder.path("saved.vorn"), again = folder.path("again.vorn");
  const std::string other = folder.write("other.csv", "name,x\nAdorf,1\nCdorf,2\n"), others = folder.path("other.vorn");
  ASSERT_EQ(run({table, "--save", saved, "--encode", "town=prefix"}), 0) << err;
  EXPECT_THAT(out, testing::MatchesRegex("3 rows in 3 of 3 columns saved in .*saved.vorn, [0-9,]+ bytes\n"));
  ASSERT_EQ(run({other, "--save", others}), 0) << err;
  ASSERT_EQ(run({saved, "--save", again, "--count", "--format", "csv"}), 0) << err;
  EXPECT_EQ(out, "count(*)\n3\n");
  for (const std::string &first : {table, saved, again})
    for (const std::string &second : {other, others}) {
      ASSERT_EQ(run({first, "--join", second + ":town=name", "--where", "x > 1 or people < 200", "--group-by", "town",
                     "--sum", "people * x", "--order-by", "town desc", "--limit", "2", "--format", "csv"}),
                0)
          << err;
      EXPECT_EQ(out, "town,sum(people * x)\nCdorf,14000.0\nAdorf,120.0\n");
    }
  ASSERT_EQ(run({saved, "--columns", "--summary", "--stats", "--where", "people > 100"}), 0) << err;
  EXPECT_THAT(
      out, testing::ContainsRegex("town +VARCHAR +prefix .*\n(.*\n)*kernels in force: [a-z0-9]+; one thread each\n"));
  EXPECT_THAT(out, testing::ContainsRegex("generic +3 +2 .*\n(.*\n)*not compared with DuckDB"));
  EXPECT_THAT(out, Not(HasSubstr("agree")));
}

TEST_F(vornq_test, writes_rows_for_programs) {
  const std::string path = folder.path("rows.parquet");
  make(path,
       "SELECT * FROM (VALUES (1.50, 'a,\"b', TRUE, 'nan'::DOUBLE), (NULL, '', NULL, 1), (-2.25, NULL, FALSE, 2)) "
       "t(\"the \"\"n\"\"\", s, b, r)");
  ASSERT_EQ(run({path, "--select", "*", "--format", "csv"}), 0) << err;
  EXPECT_EQ(out, "\"the \"\"n\"\"\",s,b,r\n1.50,\"a,\"\"b\",true,nan\n,\"\",,1.0\n-2.25,,false,2.0\n");
  ASSERT_EQ(run({path, "--select", "s,b", "--format", "json", "--where", "b or_not"}), 2);
  ASSERT_EQ(run({path, "--select", "*", "--format", "json", "--where", "b = true"}), 0) << err;
  EXPECT_EQ(out, "[{\"the \\\"n\\\"\":1.50,\"s\":\"a,\\\"b\",\"b\":true,\"r\":\"nan\"}]\n");
  ASSERT_EQ(run({path, "--select", "s,b", "--format", "jsonl", "--limit", "2"}), 0) << err;
  EXPECT_EQ(out, "{\"s\":\"a,\\\"b\",\"b\":true}\n{\"s\":\"\",\"b\":null}\n");
  ASSERT_EQ(run({path, "--select", "s", "--format", "json", "--where", "r > nan"}), 0) << err;
  EXPECT_EQ(out, "[]\n");
}

TEST_F(vornq_test, lists_what_it_does_not_store) {
  const std::string path = folder.path("nested.parquet");
  make(path, "SELECT [1, 2] AS l, repeat('x', 70000) AS long, 5 AS \"a\nb\", uuid() AS u, TIME '10:30' AS at");
  ASSERT_EQ(run({path}), 0) << err;
  EXPECT_THAT(out, testing::ContainsRegex("l +INTEGER\\[\\] +not stored +the store does not encode"));
  EXPECT_THAT(out, testing::ContainsRegex("long +VARCHAR +not stored +column 'long' has a value of 70000 bytes"));
  EXPECT_THAT(out, testing::ContainsRegex("\na\\\\nb +INTEGER +dict"));
  EXPECT_THAT(out, testing::ContainsRegex("u +UUID +dict +1 .*\nat +TIME +dict +1 "));
  EXPECT_EQ(run({path, "--where", "long = x"}), 2);
}

TEST_F(vornq_test, takes_the_names_of_files_literally) {
  const std::string star = folder.path("p*.parquet");
  const std::string two = folder.path("p2.parquet");
  make(two, "SELECT 2 AS n");
  make(folder.path("x.parquet"), "SELECT 1 AS n");
  std::filesystem::rename(folder.path("x.parquet"), star);
  ASSERT_EQ(run({star, "--select", "n", "--format", "csv"}), 0) << err;
  EXPECT_EQ(out, "n\n1\n");
  ASSERT_EQ(run({two, star, "--select", "n", "--format", "csv", "--where", "n > 0"}), 0) << err;
  EXPECT_EQ(out, "n\n2\n1\n");
}

TEST_F(vornq_test, joins_two_files) {
  const std::string lands = folder.write("lands.csv", "people,land\n120,A\n120,\n,C\n7000,D\n");
  const std::string where = "town = Adorf or towns.people > 1 and land <> D";
  const std::string on = lands + ":people=people";
  ASSERT_EQ(
      run({table, "--join", on, "--select", "town,Lands.people,land", "--where", where, "--columns", "--summary"}), 0);
  EXPECT_THAT(out, testing::StartsWith("towns: 3 rows\n"));
  EXPECT_THAT(out, HasSubstr("\n3 rows with 2 keys in 1 buckets of k2v4 in 1 part"));
  EXPECT_THAT(out,
              HasSubstr("\ntown   lands.people  land\nAdorf           120  A\nAdorf           120  NULL\n2 of 2 rows"));
  ASSERT_EQ(run({table, "--join", on, "--format", "csv", "--select", "*"}), 0) << err;
  EXPECT_EQ(out, "town,towns.people,price,lands.people,land\nAdorf,120,1.5,120,A\nAdorf,120,1.5,120,\n"
                 "Cdorf,7000,,7000,D\n");
  ASSERT_EQ(run({table, "--join", lands + ":towns.people = \"people\""}), 0) << err;
  EXPECT_THAT(out, testing::ContainsRegex("DuckDB, [a-z]+ table +3 +3 "));
  EXPECT_EQ(std::system(JOIN_SCALE " --keys 300000 --rows 1 400000 --isa generic >/dev/null"), 0);
}

TEST_F(vornq_test, ends_with_status_2_when_it_cannot_write) {
  for (const std::vector<std::string> &arguments : {std::vector<std::string>{table},
                                                    {"--help"},
                                                    {"--version"},
                                                    {table, "--where", "people > 100", "--stats"},
                                                    {table, "--select", "*", "--format", "csv"},
                                                    {table, "--select", "*"}})
    for (const char *to : {"/dev/full", "&-"}) {
      SCOPED_TRACE(fmt::format("{} {}", arguments.back(), to));
      EXPECT_EQ(run(arguments, to), 2);
      EXPECT_THAT(err, testing::StartsWith("vornq: cannot write to standard output"));
      EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    }
}

TEST_F(vornq_test, ends_with_what_was_gained) {
  const std::string path = folder.path("gain.parquet");
  make(path, "SELECT i % 10 AS n FROM range(100000) t(i)");
  ASSERT_EQ(run({path, "--where", "n = 5", "--where", "n < 3", "--summary"}), 0) << err;
  EXPECT_THAT(out, testing::ContainsRegex("\nsummary\n100,000 rows in 1 column, [0-9,]+ bytes as stored\n"
                                          "[0-9,]+ bytes in the file, [0-9.]+ times as many\n"
                                          "800,000 bytes plain, [0-9.]+ times as many\n"
                                          "2 of 2 answers are equal to DuckDB's; times of one thread each\n"));
  EXPECT_THAT(out, testing::ContainsRegex("\nn < 3 +30,000( +[0-9.]+){3,5}  [a-z]+ table *\n$"));
}

// A rate says how fast rows are read.  The smallest and largest value of a row group can spare the reading.
TEST_F(vornq_test, shows_no_rate_where_rows_are_not_read) {
  const std::string path = folder.path("zones.parquet"), record = folder.path("record.json");
  make(path, "SELECT i AS n, 'text ' || i % 7 AS t FROM range(200000) t(i)");
  const auto answer = [&](const std::vector<std::string> &asked) {
    std::vector<std::string> arguments = {path, "--isa", "generic", "--repeat", "2", "--record", record};
    arguments.insert(arguments.end(), asked.begin(), asked.end());
    EXPECT_EQ(run(arguments), 0) << err;
  };
  answer({"--where", "t = 'text 3'"});
  EXPECT_THAT(out, testing::ContainsRegex("\ngeneric +200,000 +28,571( +[0-9.]+){3}\nDuckDB, [a-z]+ table"));
  answer({"--where", "n < 10"});
  EXPECT_THAT(out, testing::ContainsRegex("\ngeneric +200,000 +10( +[0-9.]+){2} *\nDuckDB, [a-z]+ table"));
  EXPECT_THAT(out, HasSubstr("\n3 of 4 row groups, counted for each step, needed no kernel"));
  EXPECT_THAT(folder.read("record.json"), HasSubstr("\"row_groups\": 4, \"settled_by_statistics\": 3"));
  for (const std::vector<std::string> &settled :
       {std::vector<std::string>{"--where", "t <> 'text 9'"}, {"--where", "n < 0 and t = 'text 3'"}, {"--count"}}) {
    answer(settled);
    EXPECT_THAT(out,
                testing::ContainsRegex("\ngeneric .*settled by statistics\nDuckDB, [a-z]+ table( +[0-9.,]+){4} *\n"));
  }
}

// DuckDB answers from a plain and from a compressed table, and the two give the same.
TEST_F(vornq_test, compares_with_a_table_that_is_really_compressed) {
  const std::filesystem::path path = folder.path("compressed.parquet");
  const std::string other = folder.write("other.csv", "k,name\n3,C\n5,E\n5,F\n");
  make(path, "SELECT i % 100 AS n, 'text ' || i % 7 AS t FROM range(300000) t(i)");
  vorn_host::environment env;
  const vorn_ctx ctx = env.context();
  for (const bool joined : {false, true}) {
    store::duckdb::connection db;
    const store::tables from(ctx, db, std::span(&path, 1), joined ? std::optional(other + ":n=k") : std::nullopt);
    std::vector<std::string> names = {"n", "t"};
    if (joined)
      names.insert(names.end(), {"k", "name"});
    const store::reference plain = from.made_reference(db, names, true);
    const store::reference compressed = plain.compressed();
    for (const char *condition : {"", "t = 'text 3'", "n > 3 AND t <> 'text 5'"}) {
      store::duckdb::statement asked[] = {plain.counting(condition), compressed.counting(condition)};
      EXPECT_EQ(store::reference::count(asked[0]), store::reference::count(asked[1])) << condition;
    }
    const auto uncompressed = [&](const char *of) {
      return db
          .query(fmt::format("SELECT count(*) FROM pragma_storage_info('{}') WHERE segment_type != 'VALIDITY' AND "
                             "compression = 'Uncompressed'",
                             of))
          .next()
          ->column(0)
          .number<int64_t>(0);
    };
    EXPECT_NE(uncompressed("reference"), 0);
    EXPECT_EQ(uncompressed("compressed.reference"), 0);
  }
}

TEST_F(vornq_test, prints_what_the_library_tells) {
  ASSERT_EQ(run({table, "--where", "people > 120", "--trace"}), 0) << err;
  EXPECT_THAT(err, HasSubstr("vorn_gt_dict_2bit_null force_generic: 1"));
  EXPECT_THAT(err, HasSubstr("Runtime "));
  EXPECT_THAT(out, Not(HasSubstr("Runtime ")));

  ASSERT_EQ(run({table, "--where", "people > 120", "--isa", "generic", "--stats"}), 0) << err;
  EXPECT_EQ(err, "");
  EXPECT_THAT(out, testing::ContainsRegex("rates of generic\nvorn_gt_dict_2bit_null +Call Freq: 10\t"));
  EXPECT_EQ(std::count(out.begin(), out.end(), '\t'), 1) << "slots that were not called are left out";

  ASSERT_EQ(run({table, "--where", "people = 120 or people is null", "--isa", "generic", "--stats"}), 0) << err;
  EXPECT_THAT(out, testing::ContainsRegex("rates of generic\nvorn_set_dict_2bit +Call Freq: 10\t"));
  EXPECT_EQ(std::count(out.begin(), out.end(), '\t'), 1) << "alternatives of one column are one set";

  EXPECT_EQ(run({table, "--where", "people > 100", "--isa", "generic", "--self-check"}), 2);
  EXPECT_EQ(err, "vornq: there is nothing to check the generic kernels against; a self-check needs a specialised "
                 "library\n");
}

TEST_F(vornq_test, explains_its_steps_on_any_number_of_threads) {
  ASSERT_EQ(run({table, "--where", "people > 120", "--threads", "3", "--explain", "--repeat", "1"}), 0) << err;
  EXPECT_THAT(out, HasSubstr("; 3 threads each\n"));
  EXPECT_THAT(out, testing::ContainsRegex("\n1  scan people +1 +3 +1 +1 +[0-9.]+ +100 % +[0-9.]+\n"
                                          " 1 calls vorn_cmp with vorn_gt_dict_2bit_null\n"));
  for (const char *option : {"--select", "--group-by"}) {
    ASSERT_EQ(run({table, option, "town", "--order-by", "town desc", "--limit", "2", "--explain", "--threads", "2"}),
              0);
    EXPECT_THAT(out, testing::ContainsRegex("\n2  sort +3 +3 +[0-9.]+ +[0-9]+ %\n3  limit +3 +2 +"));
  }
  ASSERT_EQ(run({table, "--count", "--where", "people > 120", "--stats", "--isa", "generic", "--repeat", "2"}), 0);
  EXPECT_THAT(out, testing::ContainsRegex("vorn_gt_dict_2bit_null +Call Freq: 3\t")) << "one of them is not timed";
}

TEST_F(vornq_test, has_a_manual_of_all_options) {
  ASSERT_EQ(run({"--help"}), 0);
  for (size_t at = 0, end = 0; (end = out.find('\n', at)) != std::string::npos; at = end + 1)
    EXPECT_LE(end - at, 80U) << out.substr(at, end - at);
  std::ifstream file(MANUAL);
  const std::string manual(std::istreambuf_iterator<char>(file), {});
  std::set<std::string> options;
  for (size_t at = 0; (at = out.find("--", at)) != std::string::npos;) {
    const size_t end = out.find_first_not_of("-abcdefghijklmnopqrstuvwxyz", at);
    options.insert(out.substr(at, end - at));
    at = end;
  }
  EXPECT_GT(options.size(), 20U);
  for (const std::string &name : options)
    EXPECT_THAT(manual, HasSubstr("\n#### **" + name + "**"));
}

TEST_F(vornq_test, runs_the_instruction_set_that_it_is_told) {
  ASSERT_EQ(run({table, "--where", "people > 100", "--isa", "generic"}), 0) << err;
  EXPECT_THAT(out, HasSubstr("kernels in force: generic"));
  for (const store::instruction_set &isa : store::instruction_sets()) {
    SCOPED_TRACE(isa.name);
    const int status = run({table, "--where", "people > 100", "--isa", std::string(isa.name)});
    if (store::processor_runs(isa)) {
      EXPECT_EQ(status, 0) << err;
      EXPECT_THAT(out, HasSubstr("kernels in force: " + std::string(isa.name)));
    } else {
      EXPECT_EQ(status, 2);
      EXPECT_EQ(err, "vornq: this processor cannot run " + std::string(isa.name) + "\n");
    }
  }
}

TEST_F(vornq_test, ends_with_one_line_and_status_2_when_it_cannot_do_what_it_was_asked) {
  const std::string broken = folder.write("broken.parquet", "not a table");
  const std::string other = folder.write("towns.txt", "town\nAdorf\n");
  const std::string lengths = folder.write("lengths.csv", "short,long\na,nine char\nab,nine char\n");
  const std::string points = folder.write("points.csv", "people,price\n1,2\n3,4\n");
  const std::string same = folder.write("same.csv", "Town\nAdorf\n");
  const std::string saved = folder.path("saved.vorn"), changed = folder.path("changed.vorn");
  ASSERT_EQ(run({table, "--save", saved}), 0) << err;
  std::string bytes = folder.read("saved.vorn");
  bytes[bytes.find("dorf")] = 'D';
  folder.write("changed.vorn", bytes);
  struct bad_call {
    std::vector<std::string> arguments;
    const char *message;
  };
  const bad_call calls[] = {
      {{}, "file is required"},
      {{table, "--frobnicate"}, "--frobnicate"},
      {{table, "--threads", "5000"}, "--threads"},
      {{table, "--where", "people > 1", "--threads", "2", "--stats"}, "--stats keeps the rates of one thread"},
      {{table, "--select", "town", "--format", "csv", "--explain"}, "rows are all that is printed"},
      {{table, "--where"}, "--where"},
      {{folder.path("missing.csv")}, "no such file"},
      {{folder.path()}, "neither a .parquet nor a .csv file"},
      {{other}, "neither a .parquet nor a .csv file"},
      {{broken}, "broken.parquet"},
      {{table, "--where", "city = Adorf"}, "no column 'city'; the columns are town, people, price"},
      {{table, "--encode", "town"}, "'town' is not of the form column=encoding"},
      {{table, "--encode", "town=zip"}, "unknown encoding 'zip'"},
      {{table, "--encode", "city=dict"}, "no column 'city'"},
      {{table, "--encode", "town=fixed"}, "column 'town' is of type VARCHAR, which fixed does not store"},
      {{table, "--encode", "people=dynp"}, "column 'people' has NULLs, which dynp does not store"},
      {{table, "--where", "price > 1,5"}, "unexpected ',' at character 10"},
      {{table, "--select", "town,city"}, "no column 'city'; the columns are town, people, price"},
      {{table, "--select", "town,"}, "a column without a name at character 6 of 'town,'"},
      {{table, "--select", "\"town\" people"}, "unexpected 'people'"},
      {{table, "--select", "town", "--where", "people = 1", "--where", "people = 2"},
       "--select shows the rows of one --where; 2 are given"},
      {{table, "--limit", "5"}, "--limit requires --select, or --group-by, --count, --sum or --avg"},
      {{table, "--order-by", "town"}, "--order-by requires --select"},
      {{table, "--select", "town", "--count"}, "--select shows rows, and --group-by, --count, --sum and --avg show gr"},
      {{table, "--group-by", "town", "--where", "people = 1", "--where", "people = 2"},
       "groups are made of one --where"},
      {{table, "--group-by", "city"}, "no column 'city'"},
      {{table, "--sum", "town"}, "column 'town' is of type VARCHAR, which has no numbers"},
      {{table, "--avg", "people,price"}, "numbers are those of one column, not of 'people,price'"},
      {{table, "--group-by", "town", "--order-by", "price"},
       "groups are not ordered by 'price', which they do not have"},
      {{table, "--count", "--order-by", "sum(people)"}, "no column 'sum(people)'"},
      {{table, "--sum", "2 * 3"}, "there is no column in '2 * 3'"},
      {{table, "--sum", "people * 1e400"}, "cannot read '1e400' as a double"},
      {{table, "--sum", "people * town"}, "column 'town' is of type VARCHAR"},
      {{table, "--inside", lengths}, "--inside requires --select"},
      {{table, "--count", "--inside", table}, "towns.csv has 3 columns; the points of a polygon have two"},
      {{table, "--count", "--inside", points}, "points.csv has fewer points than a polygon"},
      {{table, "--count", "--inside", lengths}, "no column 'short'"},
      {{table, "--select", "town", "--order-by", "town desc,"}, "a column without a name at character 11"},
      {{table, "--select", "town", "--order-by", "\"town\" up"}, "unexpected 'up'"},
      {{table, "--select", "town", "--limit", "-1"}, "--limit takes a number of rows, not '-1'"},
      {{table, "--select", "town", "--format", "xml"}, "unknown format 'xml'"},
      {{table, "--select", "town", "--format", "csv", "--columns"}, "rows are all that is printed"},
      {{table, other}, "neither a .parquet nor a .csv file"},
      {{table, lengths}, "lengths.csv are not those of"},
      {{table, "--encode", "town=prefix+qpak"}, "prefix is not stored with +qpak"},
      {{table, "--encode", "people=prefix"}, "column 'people' has NULLs, which prefix does not store"},
      {{lengths, "--encode", "short=prefix"}, "column 'short' has texts of 1 and of 2 bytes; prefix stores one length"},
      {{lengths, "--encode", "long=prefix"}, "column 'long' has a text of 9 bytes; prefix stores 1 to 8"},
      {{table, "--encode", "town=prefix", "--where", "town = Adorf"},
       "column 'town' is stored as prefix, which no condition can be put to"},
      {{changed}, "changed.vorn is damaged: column 'town': a section has changed"},
      {{saved, "--encode", "town=dict"}, "column 'town' is that of a saved table, which stays as it was encoded"},
      {{saved, changed}, "a saved table is not one with other files"},
      {{table, "--save", "towns.csv"}, "a saved table has a name that ends in .vorn, not towns.csv"},
      {{table, "--join", lengths + ":town=long", "--save", saved}, "--save takes one table"},
      {{table, "--isa", "mmx"}, "unknown instruction set 'mmx'"},
      {{table, "--join", other + ":town=town"}, "is not of the form file:column=column"},
      {{table, "--join", lengths + ":town"}, "'town' is not of the form column=column"},
      {{table, "--join", lengths + ":city=long"}, "no column 'city'; the columns are town, people, price"},
      {{table, "--join", lengths + ":people=long"}, "column 'people' of type BIGINT cannot be joined with 'long'"},
      {{table, "--join", table + ":town=town"}, "two tables are called 'towns'"},
      {{table, "--join", lengths + ":town=long", "--where", "lengths.town = A"}, "no column 'lengths.town'; the"},
      {{table, "--join", same + ":town=town", "--where", "TOWN = A"}, "column 'TOWN' may be any of towns.town, same.T"},
  };
  for (const bad_call &call : calls) {
    SCOPED_TRACE(call.message);
    EXPECT_EQ(run(call.arguments), 2);
    EXPECT_EQ(out, "");
    EXPECT_THAT(err, testing::StartsWith("vornq: "));
    EXPECT_THAT(err, HasSubstr(call.message));
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  }
}

// The tests below need a processor that runs one of the libraries; sse42 is the least of them.
class vornq_library_test : public vornq_test {
protected:
  void SetUp() override {
    const auto isas = store::instruction_sets();
    if (std::none_of(isas.begin(), isas.end(), store::processor_runs))
      GTEST_SKIP() << "this processor runs none of the specialised libraries";
  }
};

TEST_F(vornq_library_test, reports_a_missing_library) {
  EXPECT_EQ(run({table, "--where", "people > 100", "--libraries", folder.path(), "--isa", "sse42"}), 2);
  EXPECT_EQ(out, "");
  EXPECT_THAT(err, testing::StartsWith("vornq: cannot load svxlsse4219"));
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;

  EXPECT_EQ(run({table, "--where", "people > 100", "--libraries", folder.path()}), 0);
  EXPECT_THAT(out, HasSubstr("kernels in force: generic"));
  EXPECT_THAT(err, testing::MatchesRegex(
                       "vornq: svxl[a-z0-9]*.so is not in [^\n]*, and no library of a lower level is there\n"));

  // A library that is there and broken is no reason to go on.
  for (const store::instruction_set &isa : store::instruction_sets())
    folder.write(std::string(isa.library) + ".so", "no library");
  EXPECT_EQ(run({table, "--where", "people > 100", "--libraries", folder.path()}), 2);
}

TEST_F(vornq_library_test, ends_with_status_1_when_answers_differ) {
  EXPECT_EQ(run({table, "--where", "people > 100", "--isa", "sse42", "--libraries", WRONG_LIBRARIES}), 1);
  EXPECT_THAT(out, HasSubstr("the counts DISAGREE"));
  EXPECT_EQ(run({table, "--where", "people > 7000", "--isa", "sse42", "--libraries", WRONG_LIBRARIES}), 0)
      << "no row is the right answer here";
}

TEST_F(vornq_library_test, ends_with_status_1_when_rows_differ) {
  EXPECT_EQ(
      run({table, "--select", "town", "--where", "people > 100", "--isa", "sse42", "--libraries", WRONG_LIBRARIES}), 1);
  EXPECT_THAT(out, testing::EndsWith("0 of 0 rows\nthe rows DISAGREE\n"));
}

TEST_F(vornq_library_test, checks_itself) {
  ASSERT_EQ(run({table, "--where", "people > 100", "--self-check"}), 0) << err;
  EXPECT_THAT(out, HasSubstr("the counts agree"));

  EXPECT_EQ(run({table, "--where", "people > 100", "--isa", "sse42", "--libraries", WRONG_LIBRARIES, "--self-check"}),
            1);
  EXPECT_THAT(err, testing::StartsWith("vornq: self-check: kernels differ: vorn_cmp: vxl check popcount"));
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
}

} // namespace
