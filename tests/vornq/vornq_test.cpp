// vornq as a user runs it: what it prints and how it ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "sql/connection.hpp"
#include "store/library/kernels.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/implementation.hpp"
#include "vornq/interruption.hpp"

namespace {

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

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
    std::string command = "cd " + in_shell(folder.path()) + " && " VORNQ;
    for (const std::string &argument : arguments)
      command.append(" ").append(in_shell(argument));
    command.append(" >").append(to).append(" 2> ").append(in_shell(folder.path("err")));
    const int ended = std::system(command.c_str());
    out = folder.read("out");
    err = folder.read("err");
    return WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
  }

  // What a query prints as CSV, without its heading; what went wrong otherwise.
  std::string csv(const std::string &query, std::vector<std::string> more = {}) {
    more.insert(more.end(), {"towns.csv", query, "--format", "csv", "--check"});
    if (run(more) != 0)
      return "failed: " + err;
    EXPECT_THAT(err, ContainsRegex(" agrees? with DuckDB's")) << query;
    return out.substr(out.find('\n') + 1);
  }

  // Writes a Parquet file.
  void make(const std::string &name, const std::string &sql) {
    store::duckdb::connection().query(
        fmt::format("COPY ({}) TO {}", sql, store::duckdb::quoted_text(folder.path(name))));
  }

  vorn_test::scratch_folder folder;
  std::string table = folder.write("towns.csv", "town,people,price\nAdorf,120,1.50\nBdorf,,2.50\nCdorf,7000,\n");
  std::string out;
  std::string err;
};

TEST_F(vornq_test, answers_and_describes) {
  ASSERT_EQ(run({"select town, people from 'towns.csv' where people > 100"}), 0) << err;
  EXPECT_EQ(err, "");
  EXPECT_EQ(out, "town   people\nAdorf     120\nCdorf    7000\n2 rows\n");

  ASSERT_EQ(run({"towns.csv"}), 0) << err;
  EXPECT_THAT(out, StartsWith("towns: 3 rows\n"));
  EXPECT_THAT(out, HasSubstr("people  BIGINT"));

  EXPECT_EQ(run({"--version"}), 0);
  EXPECT_THAT(out, HasSubstr("vornq "));
  EXPECT_EQ(run({}), 0);
  EXPECT_THAT(out, HasSubstr("--help lists"));
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 9);
}

TEST_F(vornq_test, takes_queries_from_everywhere) {
  folder.write("q.sql", "select 1 as a; -- a comment; no query\nselect ';' as b;");
  ASSERT_EQ(run({"--format", "csv", "--file", "q.sql", "select 2 as c; select 3 as d"}), 0) << err;
  EXPECT_EQ(out, "a\n1\nb\n;\nc\n2\nd\n3\n");
  const std::string piped = fmt::format("{} </dev/null; echo 'select 4 as e' | {} --format csv - >>{}",
                                        in_shell(folder.path("out")), VORNQ, in_shell(folder.path("out")));
  ASSERT_EQ(run({"--format", "csv", "select 0 as z"}, piped), 0) << err;
  EXPECT_EQ(out, "z\n0\ne\n4\n");
  ASSERT_EQ(run({"--tables", ".", "select count(*) as n from towns t1, Towns t2", "--format", "jsonl"}), 0) << err;
  EXPECT_EQ(out, "{\"n\":9}\n");
}

TEST_F(vornq_test, stores_columns_as_it_is_told) {
  std::string runs = "n,m\n";
  for (int i = 0; i < 1000; ++i)
    runs += fmt::format("{},{}\n", i / 100, i);
  folder.write("runs.csv", runs);
  const std::string query = "select count(*) from runs where n between 2 and 5 and m >= 250 and m < 300";
  const struct {
    std::vector<std::string> choices;
    const char *listed;
  } cases[] = {{{"--encode", "n=rle", "--encode", "m=dict"}, "n +BIGINT +rle +10 .*\nm +BIGINT +dict +1,000 "},
               {{"--encode", "n=fixed+qpak", "--encode", "m=dynp"}, "n +BIGINT +fixed\\+qpak .*\nm +BIGINT +dynp "}};
  for (const auto &[choices, listed] : cases) {
    std::vector<std::string> arguments = {"runs.csv", query, "--columns"};
    arguments.insert(arguments.end(), choices.begin(), choices.end());
    ASSERT_EQ(run(arguments), 0) << err;
    EXPECT_THAT(out, StartsWith("count_star()\n          50\n1 row\n\nruns: 1,000 rows\n"));
    EXPECT_THAT(out, ContainsRegex(listed));
  }
}

TEST_F(vornq_test, shows_rows_and_groups) {
  folder.write("legs.csv", "a,n,x\nB,1,0.5\n,2,\nA,3,0.25\nB,,1\nC,,\n");
  folder.write("area.csv", "x,y\n0,0\n1,0\n0,4\n");
  folder.write("lands.csv", "people,land\n120,A\n120,\n,C\n7000,D\n");
  const struct {
    const char *query;
    const char *rows;
  } cases[] = {
      {"select price, town from towns where people > 100", "1.5,Adorf\n,Cdorf\n"},
      {"select people, town from towns limit 2", "120,Adorf\n,Bdorf\n"},
      {"select town from towns where people > 7000", ""},
      {"select town from towns limit 9223372036854775808 offset 2", "Cdorf\n"},
      {"select town from towns limit all offset 99999999999999999999", ""},
      {"select a, sum(n), count(*), avg(x), sum(x) from 'legs.csv' group by a order by a",
       "A,3,1,0.25,0.25\nB,1,2,0.75,1.5\nC,,1,,\n,2,1,,\n"},
      {"select avg(n), count(*) from 'legs.csv' where n > 1", "2.5,2\n"},
      {"select a, sum(x) from 'legs.csv' group by a order by sum(x) desc nulls last limit 2", "B,1.5\nA,0.25\n"},
      {"select n from 'legs.csv' order by a desc, n", "\n1\n\n3\n2\n"},
      {"select a, sum(n * 0.5) from 'legs.csv' where vorn_inside(x, n, 'area.csv') group by a", "B,0.5\n"},
      {"select town, l.people, land from towns t join 'lands.csv' l on t.people = l.people where town = 'Adorf' or "
       "t.people > 1 and land <> 'D' order by land",
       "Adorf,120,A\nAdorf,120,\n"},
      {"select town, land from towns t left join 'lands.csv' l on t.people = l.people order by all",
       "Adorf,A\nAdorf,\nBdorf,\nCdorf,D\n"},
      {"select a.town, b.town from towns a join towns b on a.people < b.people", "Adorf,Cdorf\n"},
      {"select min(town), max(price), count(people), count(distinct price) from towns having count(*) > 2",
       "Adorf,2.5,2,2\n"},
  };
  for (const auto &[query, rows] : cases)
    EXPECT_EQ(csv(query), rows) << query;
  EXPECT_EQ(csv("select count(*) from towns where people = 120", {"--engine", "vorn", "--threads", "3"}), "1\n");

  ASSERT_EQ(run({"select i from range(100) r(i)", "--rows", "4", "--engine", "duckdb"}), 0) << err;
  EXPECT_EQ(out, "  i\n  0\n  1\n...\n 98\n 99\n100 rows, 4 of them shown\n");
}

TEST_F(vornq_test, reads_back_what_it_writes) {
  make("all.parquet",
       "SELECT * FROM (VALUES (1.50, 'a,\"b', TRUE, 'nan'::DOUBLE, 'x'::BLOB), (NULL, '', NULL, '-0.0'::DOUBLE, "
       "''::BLOB), "
       "(-2.25, NULL, FALSE, 'inf'::DOUBLE, '\\xFF\\x0A'::BLOB), (0, E' l\\r\\n\\x01#', NULL, 1e-7, NULL)) "
       "t(\"the \"\"n\"\"\", s, b, r, z)");
  const std::string query = "select *, s as S, s from 'all.parquet'";
  ASSERT_EQ(run({query, "--format", "csv"}), 0) << err;
  EXPECT_THAT(out, StartsWith("\"the \"\"n\"\"\",s,b,r,z,S_1,s_2\n1.50,\"a,\"\"b\",true,nan,x,\"a,\"\"b\",\"a,\"\"b\"\n"
                              ",\"\",,-0.0,\"\",\"\",\"\"\n-2.25,,false,inf,\\xFF\\x0A,,\n"));
  for (const char *ending : {"csv", "json", "jsonl", "parquet", "vorn"}) {
    SCOPED_TRACE(ending);
    const std::string file = fmt::format("again.{}", ending);
    ASSERT_EQ(run({query, "--output", file}), 0) << err;
    EXPECT_THAT(out, HasSubstr("4 rows "));
    std::string read = fmt::format("'{}'", file);
    const std::string types = "{'the \"n\"': 'DECIMAL(3,2)', s: 'VARCHAR', b: 'BOOLEAN', r: 'DOUBLE', z: 'VARCHAR', "
                              "S_1: 'VARCHAR', s_2: 'VARCHAR'}";
    if (ending == std::string("csv"))
      read = fmt::format("read_csv({}, columns = {}, allow_quoted_nulls = false)", read, types);
    else if (*ending == 'j')
      read = fmt::format("read_json({}, columns = {})", read, types);
    ASSERT_EQ(run({fmt::format("select * replace (z::BLOB as z) from {}", read), "--engine",
                   *ending == 'v' ? "vorn" : "duckdb", "--format", "json"}),
              0)
        << err;
    const std::string again = out;
    ASSERT_EQ(run({query, "--format", "json"}), 0) << err;
    EXPECT_EQ(again, out);
  }
  ASSERT_EQ(run({query, "--output", "rows.arrow"}), 0) << err;
  const std::string bytes = folder.read("rows.arrow");
  EXPECT_THAT(bytes, StartsWith("ARROW1"));
  EXPECT_THAT(bytes, EndsWith("ARROW1"));
}

TEST_F(vornq_test, shows_texts_that_are_not_taken_for_others) {
  make("shown.parquet", "SELECT * FROM (VALUES ('NULL', 'a', DATE '12345-01-01', -0.0::DOUBLE), (NULL, E'x\\ny', "
                        "'infinity', 1), ('', 'x', '0044-03-15 (BC)', 2)) t(s, c, d, z)");
  ASSERT_EQ(run({"select * from 'shown.parquet'"}), 0) << err;
  EXPECT_EQ(out, "s       c     d                   z\n"
                 "'NULL'  a     12345-01-01      -0.0\n"
                 "NULL    x\\ny  infinity          1.0\n"
                 "''      x     0044-03-15 (BC)   2.0\n3 rows\n");
  ASSERT_EQ(run({"select s from 'shown.parquet' where false", "--format", "json"}), 0) << err;
  EXPECT_EQ(out, "[]\n");
}

TEST_F(vornq_test, answers_from_a_saved_table_as_from_the_file) {
  folder.write("other.csv", "name,x\nAdorf,1\nCdorf,2\n");
  ASSERT_EQ(run({"towns.csv", "--save", "saved.vorn", "--encode", "town=prefix"}), 0) << err;
  EXPECT_THAT(out, testing::MatchesRegex("3 rows saved in saved.vorn, [0-9,]+ bytes\n"));
  ASSERT_EQ(run({"select * from 'other.csv'", "--save", "other.vorn"}), 0) << err;
  ASSERT_EQ(run({"saved.vorn", "--save", "again.vorn"}), 0) << err;
  for (const char *first : {"towns.csv", "saved.vorn", "again.vorn"})
    for (const char *second : {"other.csv", "other.vorn"})
      EXPECT_EQ(csv(fmt::format("select town, sum(people * x) from '{}' join '{}' on town = name where x > 1 or "
                                "people < 200 group by town order by town desc",
                                first, second)),
                "Cdorf,14000\nAdorf,120\n");
}

TEST_F(vornq_test, describes_what_it_does_not_store) {
  make("nested.parquet",
       "SELECT [1, 2] AS l, repeat('x', 70000) AS long, 5 AS \"a\nb\", uuid() AS u, TIME '10:30' AS at");
  ASSERT_EQ(run({"nested.parquet"}), 0) << err;
  EXPECT_THAT(out, ContainsRegex("l +INTEGER\\[\\] +not stored +the store does not encode"));
  EXPECT_THAT(out, ContainsRegex("long +VARCHAR +not stored +column 'long' has a value of 70000 bytes"));
  EXPECT_THAT(out, ContainsRegex("\na\\\\nb +INTEGER +[a-z]+"));
  EXPECT_THAT(out, ContainsRegex("u +UUID +dict +1 .*\nat +TIME "));
  for (const auto &[column, reason] :
       {std::pair{"long", "'long' has a value of 70000 bytes"}, {"l", "INTEGER[] (l, "}}) {
    EXPECT_EQ(run({fmt::format("select {} from 'nested.parquet'", column)}), 2);
    EXPECT_THAT(err, HasSubstr(reason));
  }
  EXPECT_EQ(run({"select l from 'nested.parquet'", "--engine", "duckdb", "--format", "csv"}), 0);
  EXPECT_EQ(out, "l\n\"[1, 2]\"\n");
}

TEST_F(vornq_test, takes_the_names_of_files_literally) {
  make("p2.parquet", "SELECT 2 AS n");
  make("x.parquet", "SELECT 1 AS n");
  std::filesystem::rename(folder.path("x.parquet"), folder.path("p*.parquet"));
  ASSERT_EQ(run({"p*.parquet", "p2.parquet", "select * from \"p*\" union all select * from p2", "--format", "csv"}), 0)
      << err;
  EXPECT_EQ(out, "n\n1\n2\n");
}

TEST_F(vornq_test, ends_with_status_2_when_it_cannot_write) {
  const std::string query = "select * from towns";
  for (const std::vector<std::string> &arguments : {std::vector<std::string>{"towns.csv"},
                                                    {"--help"},
                                                    {"--version"},
                                                    {},
                                                    {"towns.csv", query, "--stats"},
                                                    {"towns.csv", query, "--format", "csv"}})
    for (const char *to : {"/dev/full", "&-"}) {
      SCOPED_TRACE(fmt::format("{} {}", arguments.size(), to));
      EXPECT_EQ(run(arguments, to), 2);
      EXPECT_THAT(err, StartsWith("vornq: cannot write to standard output"));
      EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    }
}

TEST_F(vornq_test, leaves_the_place_and_the_rights_of_a_file_that_it_replaces) {
  folder.write("old.csv", "old");
  ASSERT_EQ(chmod(folder.path("old.csv").c_str(), 0640), 0);
  std::filesystem::create_symlink("old.csv", folder.path("link.csv"));
  std::filesystem::create_symlink("new.csv", folder.path("nowhere.csv"));
  ASSERT_EQ(mkfifo(folder.path("pipe.csv").c_str(), 0600), 0);
  for (const auto &[target, written] : {std::pair{"link.csv", "old.csv"}, {"nowhere.csv", "new.csv"}}) {
    ASSERT_EQ(run({"select 1 as a", "--output", target}), 0) << err;
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path(target)));
    EXPECT_EQ(folder.read(written), "a\n1\n");
  }
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(folder.path("old.csv")).permissions(),
            perms::owner_read | perms::owner_write | perms::group_read);
  EXPECT_EQ(run({"select 1 as a", "--output", "pipe.csv"}), 2);
  EXPECT_EQ(err, "vornq: cannot write pipe.csv: it is not a regular file\n");
}

TEST_F(vornq_test, leaves_nothing_of_a_file_that_may_not_grow) {
  make("long.parquet", "SELECT i * 7919 AS n FROM range(60000) t(i)");
  for (const char *name : {"x.csv", "x.parquet", "x.arrow", "x.vorn"}) {
    const std::string command =
        fmt::format("ulimit -f 8; cd {} && {} \"select n * n from 'long.parquet'\" -o {} 2> err",
                    in_shell(folder.path()), VORNQ, name);
    const int ended = std::system(command.c_str());
    EXPECT_TRUE(WIFEXITED(ended) && WEXITSTATUS(ended) == 2) << name << ended;
    EXPECT_THAT(folder.read("err"), EndsWith("File too large\n"));
    for (const auto &file : std::filesystem::directory_iterator(folder.path()))
      EXPECT_THAT(file.path().filename().string(), Not(HasSubstr("x."))) << name;
  }
}

TEST_F(vornq_test, ends_when_a_mapped_file_is_cut) {
  EXPECT_EXIT((store::end_cleanly_at_signals(), std::raise(SIGBUS)), testing::ExitedWithCode(2),
              "^vornq: a saved table was cut");
}

TEST_F(vornq_test, ends_with_what_was_gained) {
  make("gain.parquet", "SELECT i % 10 AS n FROM range(100000) t(i)");
  ASSERT_EQ(run({"gain.parquet", "select count(*) from gain where n = 5; select n from gain where n < 3", "--check",
                 "--summary", "--repeat", "1", "--rows", "2", "--record", "record.json"}),
            0)
      << err;
  EXPECT_THAT(out, HasSubstr("\n30,000 rows agree with DuckDB's\n"));
  EXPECT_THAT(out, ContainsRegex("\ngeneric( +[0-9.]+){3}\n(.*\n)*DuckDB, [a-z]+ tables( +[0-9.]+){3}\n"));
  EXPECT_THAT(out, ContainsRegex("\nsummary\ngain: 100,000 rows, 1 column read, [0-9,]+ bytes as stored, [0-9,]+ bytes "
                                 "in the file \\([0-9.]+ times as many\\), 800,000 bytes plain"));
  EXPECT_THAT(out, HasSubstr("2 of 2 answers agree with DuckDB's\n"));
  EXPECT_THAT(out, ContainsRegex("\nselect n from gain where n < 3 +30,000( +[0-9.]+){3,5}  DuckDB, [a-z]+ tables\n$"));
  const std::string record = folder.read("record.json");
  EXPECT_THAT(record, HasSubstr("\"table\": \"gain\", \"rows\": 100000, \"file_bytes\": "));
  EXPECT_THAT(record, HasSubstr("\"rows\": 30000, \"agree\": true, \"engines\": [{\"engine\": \"generic\""));
}

TEST_F(vornq_test, prints_what_the_library_tells) {
  const std::string query = "select count(*) from towns where people > 120";
  ASSERT_EQ(run({"towns.csv", query, "--trace", "--encode", "people=dict"}), 0) << err;
  EXPECT_THAT(err, HasSubstr("vorn_eq_dict_2bit force_generic: "));
  EXPECT_THAT(out, Not(HasSubstr("Runtime ")));

  ASSERT_EQ(run({"towns.csv", query, "--isa", "generic", "--stats", "--encode", "people=dict"}), 0) << err;
  EXPECT_EQ(err, "");
  EXPECT_THAT(out, ContainsRegex("rates of generic\nvorn_eq_dict_2bit +Call Freq: 1\t"));

  EXPECT_EQ(run({"towns.csv", query, "--isa", "generic", "--self-check"}), 2);
  EXPECT_EQ(err, "vornq: there is nothing to check the generic kernels against; a self-check needs a specialised "
                 "library\n");
}

TEST_F(vornq_test, explains) {
  const std::string query = "select town from towns where people > 120 order by town limit 2";
  ASSERT_EQ(run({"towns.csv", "--explain", query}), 0) << err;
  EXPECT_THAT(out, ContainsRegex("order.*\n +.*scan|limit.*\n.*order"));
  ASSERT_EQ(run({"towns.csv", "--encode", "people=dict", "--threads", "3", "--explain", "analyze", query}), 0) << err;
  EXPECT_THAT(out, ContainsRegex("\n[0-9]+ +scan +1 +1 +[0-9,]+ +[0-9.]+ +[0-9]+ %"));
  EXPECT_THAT(out, ContainsRegex("\n [0-9]+ calls vorn_cmp with vorn_eq_dict_2bit\n"));
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
  const auto status_with = [&](std::string_view isa) {
    return run({"select 1", "--time", "--repeat", "1", "--isa", std::string(isa)});
  };
  ASSERT_EQ(status_with("generic"), 0) << err;
  EXPECT_THAT(out, HasSubstr("kernels in force: generic"));
  for (const store::instruction_set &isa : store::instruction_sets()) {
    SCOPED_TRACE(isa.name);
    if (store::processor_runs(isa) && !vorn_test::is_built(isa.library))
      continue;
    const int status = status_with(isa.name);
    if (store::processor_runs(isa)) {
      EXPECT_EQ(status, 0) << err;
      EXPECT_THAT(out, HasSubstr("kernels in force: " + std::string(isa.name)));
    } else {
      EXPECT_EQ(status, 2);
      EXPECT_EQ(err, "vornq: this processor cannot run " + std::string(isa.name) + "\n");
    }
  }
}

// A query that takes long, and one that writes a file, end at once and leave nothing.
TEST_F(vornq_test, ends_at_once_when_the_user_says_so) {
  const std::string count = "select count(*) from range(100000) a(i), range(1000000) b(j) where i * j % 7 = 3";
  for (const std::vector<const char *> &more : {std::vector<const char *>{}, {"--output", "x.csv"}}) {
    const pid_t child = fork();
    if (child == 0) {
      std::vector<const char *> arguments = {VORNQ, count.c_str(), "--engine", "duckdb"};
      arguments.insert(arguments.end(), more.begin(), more.end());
      arguments.push_back(nullptr);
      if (chdir(folder.path().c_str()) != 0)
        _exit(1);
      execv(VORNQ, const_cast<char **>(arguments.data()));
      _exit(1);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    kill(child, SIGINT);
    int ended = 0;
    ASSERT_EQ(waitpid(child, &ended, 0), child);
    EXPECT_TRUE(WIFEXITED(ended) && WEXITSTATUS(ended) == 130) << ended;
  }
  for (const auto &file : std::filesystem::directory_iterator(folder.path()))
    EXPECT_THAT(file.path().filename().string(), Not(HasSubstr("x.csv")));
}

TEST_F(vornq_test, shows_the_place_of_an_error) {
  EXPECT_EQ(run({"towns.csv", "select town from towns\nwhere peopel > 1"}), 2);
  EXPECT_EQ(out, "");
  EXPECT_THAT(
      err, ContainsRegex("^vornq: Binder Error: .*\"peopel\".*\n.*\"people\".*\nLINE 2: where peopel > 1\n +\\^\n$"));
}

TEST_F(vornq_test, ends_with_one_line_and_status_2_when_it_cannot_do_what_it_was_asked) {
  folder.write("broken.parquet", "not a table");
  folder.write("towns.txt", "town\nAdorf\n");
  ASSERT_EQ(mkfifo(folder.path("pipe.csv").c_str(), 0600), 0);
  folder.write("lengths.csv", "short,long\na,nine char\nab,nine char\n");
  ASSERT_EQ(run({"towns.csv", "--save", "saved.vorn", "--encode", "town=dict"}), 0) << err;
  std::string bytes = folder.read("saved.vorn");
  bytes[bytes.find("dorf")] = 'D';
  folder.write("changed.vorn", bytes);
  const std::string query = "select * from towns";
  struct bad_call {
    std::vector<std::string> arguments;
    const char *message;
  };
  const bad_call calls[] = {
      {{"--threads", "2"}, "there is no query"},
      {{"towns.csv", "--frobnicate"}, "--frobnicate"},
      {{"towns.csv", "--threads", "5000"}, "--threads"},
      {{"towns.csv", query, "--threads", "2", "--stats"}, "--stats keeps the rates of one thread"},
      {{"towns.csv", query, "--format", "xml"}, "unknown format 'xml'"},
      {{"towns.csv", query, "--engine", "duckdb", "--check"}, "--engine duckdb does not go with"},
      {{"towns.csv", query, "--output", "x.xml"}, "x.xml ends in none of"},
      {{"towns.csv", query, "--output", "no/x.csv"}, "cannot write no/x.csv"},
      {{"towns.csv", "--check"}, "there is no query"},
      {{"missing.csv"}, "no such file: missing.csv"},
      {{"--tables", "missing", query}, "missing"},
      {{"--file", "missing.sql"}, "cannot read missing.sql"},
      {{"broken.parquet"}, "broken.parquet"},
      {{"towns.csv", "--encode", "town"}, "'town' is not of the form column=encoding"},
      {{"towns.csv", "--encode", "town=zip"}, "unknown encoding 'zip'"},
      {{"towns.csv", query, "--encode", "town=fixed"}, "column 'town' is of type VARCHAR, which fixed does not store"},
      {{"towns.csv", query, "--encode", "people=dynp"}, "column 'people' has NULLs, which dynp does not store"},
      {{"towns.csv", query, "--encode", "town=prefix+qpak"}, "prefix is not stored with +qpak"},
      {{"select * from 'lengths.csv'", "--encode", "short=prefix"},
       "column 'short' has texts of 1 and of 2 bytes; prefix stores one length"},
      {{"select * from 'lengths.csv'", "--encode", "long=prefix"},
       "column 'long' has a text of 9 bytes; prefix stores 1 to 8"},
      {{"select town from 'changed.vorn'"}, "changed.vorn is damaged: column 'town': a section has changed"},
      {{"towns.csv", "--save", "towns.csv"}, "a saved table has a name that ends in .vorn, not towns.csv"},
      {{"towns.csv", "lengths.csv", "--save", "x.vorn"}, "--save takes one table"},
      {{"towns.csv", query, "--isa", "mmx"}, "unknown instruction set 'mmx'"},
      {{"towns.csv", "select row_number() over () from towns"}, "window"},
      {{"towns.csv", "drop table towns"}, "only queries are answered"},
      {{"towns.csv", "select median(people) from towns"}, "(median, line 1, column 8); --engine duckdb may answer it"},
      {{"pipe.csv"}, "not a file: pipe.csv"},
      {{"towns.csv", "select town from towns where people::uinteger > '-1'"},
       "the text '-1' is not a value of UINTEGER"},
      {{"towns.csv", "select sum(people::tinyint) from towns"}, "7000"},
  };
  for (const bad_call &call : calls) {
    SCOPED_TRACE(call.message);
    EXPECT_EQ(run(call.arguments), 2);
    EXPECT_EQ(out, "");
    EXPECT_THAT(err, StartsWith("vornq: "));
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

  int run_with(const std::string &libraries, const std::vector<std::string> &more) {
    std::vector<std::string> arguments = {
        "towns.csv", "select town from towns where people > 100", "--encode", "people=dict", "--check", "--libraries",
        libraries};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run(arguments);
  }
};

TEST_F(vornq_library_test, reports_a_missing_library) {
  EXPECT_EQ(run_with(folder.path(), {"--isa", "sse42"}), 2);
  EXPECT_EQ(out, "");
  EXPECT_THAT(err, StartsWith("vornq: cannot load svxlsse4219"));
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;

  EXPECT_EQ(run_with(folder.path(), {}), 0);
  EXPECT_THAT(err, testing::MatchesRegex(
                       "vornq: svxl[a-z0-9]*.so is not in [^\n]*, and no library of a lower level is there\n"));

  // A library that is there and broken is no reason to go on.
  for (const store::instruction_set &isa : store::instruction_sets())
    folder.write(std::string(isa.library) + ".so", "no library");
  EXPECT_EQ(run_with(folder.path(), {}), 2);
}

TEST_F(vornq_library_test, ends_with_status_1_when_answers_differ) {
  EXPECT_EQ(run_with(WRONG_LIBRARIES, {"--isa", "sse42"}), 1);
  EXPECT_THAT(out, HasSubstr("0 rows\n0 rows DISAGREE with DuckDB's: 0 rows instead of 2\n"));
}

TEST_F(vornq_library_test, checks_itself) {
  ASSERT_EQ(run({"towns.csv", "select town from towns where people > 100", "--self-check"}), 0) << err;
  EXPECT_EQ(run_with(WRONG_LIBRARIES, {"--isa", "sse42", "--self-check"}), 1);
  EXPECT_THAT(err, StartsWith("vornq: self-check: kernels differ: vorn_cmp: vxl check popcount"));
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
}

} // namespace
