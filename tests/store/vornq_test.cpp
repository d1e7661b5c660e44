// vornq as a user runs it: what it prints and how it ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/vornq/kernels.hpp"
#include "tests/store/scratch_folder.hpp"

namespace {

using testing::HasSubstr;
using testing::Not;

class vornq_test : public testing::Test {
protected:
  // Runs vornq and gives its exit status.
  int run(const std::vector<std::string> &arguments) {
    std::string command = VORNQ;
    for (const std::string &argument : arguments)
      command += " '" + argument + "'";
    command += " > '" + folder.path("out") + "' 2> '" + folder.path("err") + "'";
    const int ended = std::system(command.c_str());
    out = folder.read("out");
    err = folder.read("err");
    return WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
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

  EXPECT_EQ(run({"--help"}), 0);
  EXPECT_THAT(out, HasSubstr("--where"));
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
  for (const char *encoding : {"dict", "rle", "fixed", "dynp", "dict+qpak", "rle+qpak", "fixed+qpak", "dynp+qpak"}) {
    SCOPED_TRACE(encoding);
    ASSERT_EQ(run({file, "--columns", "--encode", fmt::format("n={}", encoding), "--encode",
                   fmt::format("m={}", encoding), "--where", question}),
              0)
        << err;
    EXPECT_THAT(out, HasSubstr(fmt::format("{} ", encoding)));
    EXPECT_THAT(out, testing::ContainsRegex("generic +1,000 +50 "));
  }
}

TEST_F(vornq_test, shows_selected_rows) {
  ASSERT_EQ(run({table, "--select", "price, town", "--where", "people > 100"}), 0) << err;
  EXPECT_THAT(out,
              HasSubstr("the counts agree\n\nprice  town\n  1.5  Adorf\n NULL  Cdorf\n2 of 2 rows\nthe rows agree\n"));

  ASSERT_EQ(run({table, "--select", "\"people\",town", "--limit", "2"}), 0) << err;
  EXPECT_THAT(out, testing::EndsWith("\npeople  town\n   120  Adorf\n  NULL  Bdorf\n2 of 3 rows\nthe rows agree\n"));
  EXPECT_THAT(out, Not(HasSubstr("distinct"))) << "no list of the columns";

  ASSERT_EQ(run({table, "--select", "town", "--encode", "town=prefix", "--columns", "--where", "people > 7000"}), 0)
      << err;
  EXPECT_THAT(out, testing::ContainsRegex("town +VARCHAR +prefix +- +no +40 "));
  EXPECT_THAT(out, testing::EndsWith("\ntown\n0 of 0 rows\nthe rows agree\n"));
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

  EXPECT_EQ(run({table, "--where", "people > 100", "--isa", "generic", "--self-check"}), 2);
  EXPECT_EQ(err, "vornq: there is nothing to check the generic kernels against; a self-check needs a specialised "
                 "library\n");
}

TEST_F(vornq_test, runs_the_instruction_set_that_it_is_told) {
  ASSERT_EQ(run({table, "--where", "people > 100", "--isa", "generic"}), 0) << err;
  EXPECT_THAT(out, HasSubstr("kernels in force: generic"));
  for (const store::instruction_set &isa : store::instruction_sets()) {
    SCOPED_TRACE(isa.name);
    const int status = run({table, "--where", "people > 100", "--isa", std::string(isa.name)});
    if (store::processor_runs(isa)) {
      EXPECT_EQ(status, 0) << err;
      EXPECT_THAT(out, HasSubstr("kernels in force: " + std::string(isa.library)));
    } else {
      EXPECT_EQ(status, 2);
      EXPECT_EQ(err, "vornq: this processor cannot run " + std::string(isa.name) + "\n");
    }
  }
}

TEST_F(vornq_test, ends_with_one_line_and_status_2_when_it_cannot_do_what_it_was_asked) {
  const std::string broken = folder.write("broken.parquet", "not a table");
  const std::string other = folder.write("towns.txt", "town\nAdorf\n");
  const std::string times = folder.write("times.csv", "at\n10:30:00\n");
  const std::string lengths = folder.write("lengths.csv", "short,long\na,nine char\nab,nine char\n");
  struct bad_call {
    std::vector<std::string> arguments;
    const char *message;
  };
  const bad_call calls[] = {
      {{}, "file is required"},
      {{table, "--frobnicate"}, "--frobnicate"},
      {{table, "--where"}, "--where"},
      {{folder.path("missing.csv")}, "no such file"},
      {{folder.path()}, "neither a .parquet nor a .csv file"},
      {{other}, "neither a .parquet nor a .csv file"},
      {{broken}, "broken.parquet"},
      {{table, "--where", "city = Adorf"}, "no column 'city'; the columns are town, people, price"},
      {{table, "--where", "town == Adorf"}, "unknown operator '=='"},
      {{table, "--where", "town LIKE Adorf"}, "no operator"},
      {{table, "--where", "town ="}, "no value"},
      {{table, "--where", "people in [1, 2, 3]"}, "an interval of 3 bounds"},
      {{table, "--where", "people in (1, few)"}, "cannot read 'few' as a value of type integer"},
      {{table, "--where", "town = Adorf and city = Adorf"}, "no column 'city'"},
      {{table, "--encode", "town"}, "'town' is not of the form column=encoding"},
      {{table, "--encode", "town=zip"}, "unknown encoding 'zip'"},
      {{table, "--encode", "city=dict"}, "no column 'city'"},
      {{table, "--encode", "town=fixed"}, "column 'town' is of type text, which fixed does not store"},
      {{table, "--encode", "people=dynp"}, "column 'people' has NULLs, which dynp does not store"},
      {{table, "--where", "people > many"}, "cannot read 'many' as a value of type integer"},
      {{table, "--where", "price > 1,5"}, "cannot read '1,5' as a value of type real"},
      {{times, "--where", "at > 10:00:00"}, "column 'at' has type TIME, which the store does not encode"},
      {{table, "--select", "town,city"}, "no column 'city'; the columns are town, people, price"},
      {{table, "--select", "town,"}, "a column without a name in 'town,'"},
      {{table, "--select", "\"town"}, "a quote is not closed"},
      {{table, "--select", "\"town\" people"}, "unexpected 'people'"},
      {{table, "--select", "town", "--where", "people = 1", "--where", "people = 2"},
       "--select shows the rows of one --where; 2 are given"},
      {{table, "--limit", "5"}, "--limit requires --select"},
      {{table, "--select", "town", "--limit", "-1"}, "--limit"},
      {{table, "--encode", "town=prefix+qpak"}, "prefix is not stored with +qpak"},
      {{table, "--encode", "people=prefix"}, "column 'people' has NULLs, which prefix does not store"},
      {{lengths, "--encode", "short=prefix"}, "column 'short' has texts of 1 and of 2 bytes; prefix stores one length"},
      {{lengths, "--encode", "long=prefix"}, "column 'long' has a text of 9 bytes; prefix stores 1 to 8"},
      {{table, "--encode", "town=prefix", "--where", "town = Adorf"},
       "column 'town' is stored as prefix, which no condition can be put to"},
      {{table, "--isa", "mmx"}, "unknown instruction set 'mmx'"},
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
  for (const std::vector<std::string> &choice : {std::vector<std::string>{}, {"--isa", "sse42"}}) {
    std::vector<std::string> arguments = {table, "--where", "people > 100", "--libraries", folder.path()};
    arguments.insert(arguments.end(), choice.begin(), choice.end());
    EXPECT_EQ(run(arguments), 2);
    EXPECT_EQ(out, "");
    EXPECT_THAT(err, testing::StartsWith("vornq: cannot load svxl"));
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  }
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
