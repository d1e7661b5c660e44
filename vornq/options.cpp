#include "vornq/options.hpp"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <map>
#include <thread>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "store/error.hpp"
#include "store/saved/saved_table.hpp"

namespace store {

namespace {

uint64_t parse_limit(const std::string &text) {
  uint64_t limit = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), limit);
  if (failure != std::errc{} || end != text.data() + text.size())
    throw error(fmt::format("--limit takes a number of rows, not '{}'", shortened(text)));
  return limit;
}

// The aggregates as they follow each other, whichever options they are.
std::vector<std::pair<function, std::string>> in_order(const CLI::App &app) {
  std::vector<std::pair<function, std::string>> out;
  std::map<const CLI::Option *, size_t> taken;
  for (const CLI::Option *given : app.parse_order())
    for (const auto &[name, what] : {std::pair{"--count", function::count}, std::pair{"--sum", function::sum},
                                     std::pair{"--avg", function::average}})
      if (given->check_name(name))
        out.emplace_back(what, what == function::count ? "" : given->results().at(taken[given]++));
  return out;
}

} // namespace

std::optional<options> read_options(int argc, char **argv) {
  options out;
  std::string format = "table";
  std::optional<std::string> limit;
  CLI::App app(
      "Counts, shows and groups the rows of a table or a join that satisfy a condition, on compressed columns.",
      "vornq");
  auto *version = app.set_version_flag("--version", "vornq " VORN_VERSION);
  app.add_option("file", out.files,
                 "A .parquet or .csv file, or several with the same columns as one table; or a saved .vorn file")
      ->required();
  app.add_option("--join", out.join,
                 "Join each row with those of another file whose column, the second one, equals its own, the first.\n"
                 "Conditions and --select may name columns of both files: behind the name of the file without its\n"
                 "ending and a dot, as in airports.name, or alone where no other has the name")
      ->type_name("FILE:COLUMN=COLUMN");
  app.add_option("--where", out.conditions,
                 "A condition; can be given several times.  It is one of\n"
                 "  column = value             or one of <> != < <= > >=\n"
                 "  column between low and high\n"
                 "  column between [low, high) a square bracket includes its bound, a round one does not\n"
                 "  column in [low, high)      the same, but two round brackets hold a list:\n"
                 "  column in (value, ...)\n"
                 "  column like pattern        % is any text, _ any character\n"
                 "  column is null\n"
                 "with \"not\" before the word, or several of these with \"and\", \"or\", \"not\" and brackets.\n"
                 "Put a value of several words in single quotes, a column in double ones where its name needs it;\n"
                 "E'...' takes \\n and \\xHH.  A number without quotes means what it does in SQL")
      ->type_name("CONDITION")
      ->allow_extra_args(false);
  app.add_option("--select", out.selected_columns,
                 "Show these columns of the rows that the condition selects, of all rows without one;\n"
                 "* is all columns")
      ->type_name("COLUMN,...");
  app.add_option("--group-by", out.group_columns,
                 "Show a line for each group of these rows that have equal values in these columns")
      ->type_name("COLUMN,...");
  bool counts = false; // as the operands below, found by its option again
  app.add_flag("--count", counts, "The number of rows of each group, of all rows without --group-by");
  std::vector<std::string> operands[2];
  app.add_option(
         "--sum", operands[0],
         "The sum of a column in each group, or of an expression of two operands, such as \"delay * distance\",\n"
         "with *, + or - between blanks, where one may be a number; they are taken as doubles, integers too.\n"
         "NULL is not added")
      ->type_name("NUMBERS")
      ->allow_extra_args(false);
  app.add_option("--avg", operands[1],
                 "The sum divided by the number of values.  These three can be given several times and are shown in\n"
                 "the order that they are given in")
      ->type_name("NUMBERS")
      ->allow_extra_args(false);
  app.add_option(
         "--inside", out.polygon_file,
         "Only rows whose point lies in a polygon.  The file has its vertices in two columns, x and y, named as\n"
         "the columns of the rows, as in \"longitude,latitude\"")
      ->type_name("FILE");
  app.add_option(
         "--order-by", out.order,
         "Show rows or groups in the order of columns, or of aggregates as they are headed, as in\n"
         "\"sum(delay) desc, origin\"; NULL comes last.  Without it rows come in the order of the file, groups\n"
         "in that of their columns")
      ->type_name("COLUMN[ desc],...");
  app.add_option("--limit", limit,
                 "Show so many rows or groups and end there; without it a table shows 20, the other formats all, and\n"
                 "all of them are checked")
      ->type_name("ROWS");
  auto *shown_as = app.add_option("--format", format,
                                  "How to show them: table, csv, json or jsonl; the last three print nothing else")
                       ->type_name("FORMAT")
                       ->capture_default_str();
  app.add_option("--encode", out.encodings,
                 "How to store a column: dict, rle, fixed or dynp, with +qpak to compress the stream in blocks, or\n"
                 "prefix, which holds values of one short length and no condition can be put to; otherwise dict, or\n"
                 "rle where equal values follow each other; can be given several times")
      ->type_name("COLUMN=ENCODING")
      ->allow_extra_args(false);
  app.add_option(
         "--save", out.saved_file,
         "Save the columns, as they are encoded, in a .vorn file, which later stands in place of the table and\n"
         "is mapped in some milliseconds; an answer of a saved table is not compared with DuckDB's")
      ->type_name("FILE");
  app.add_flag("--columns", out.list_columns,
               "List the columns with their encoded sizes; so does a call without a condition");
  app.add_flag("--summary", out.summary,
               "End with the sizes of the columns as stored, in the files and plain, and the times of all conditions");
  app.add_option("--record", out.record,
                 "Write the sizes of the columns as stored and plain, and the least times of all conditions, as JSON")
      ->type_name("FILE");
  app.add_option("--isa", out.isa,
                 "The kernels to use: generic, sse42, avx, avx2 or avx512; otherwise the best for this processor")
      ->type_name("NAME");
  app.add_option("--libraries", out.library_folder,
                 "The folder of the specialised libraries; otherwise that of this program")
      ->type_name("FOLDER");
  app.add_option(
         "--threads", out.threads,
         "Spread the batches of rows over so many threads, 0 for as many as there are processors, of the\n"
         "kernels and of DuckDB; the answers of the kernels are the same to the bit.  Loading, the build of a\n"
         "hash table, the reading of the rows of one table, sorting and checks stay on one thread, and doubles\n"
         "are added by one at a time, in the order of the rows")
      ->type_name("NUMBER")
      ->check(CLI::Range(0, 1024))
      ->capture_default_str();
  app.add_option("--repeat", out.repetitions,
                 "Time each question so many times, after a run that does not count unless it is the only one, and\n"
                 "show the median and the least")
      ->type_name("TIMES")
      ->check(CLI::Range(1, 1'000'000))
      ->capture_default_str();
  app.add_flag("--explain", out.explain,
               "Show the steps of the plan in their order, as the kernels in force do them: batches that the library\n"
               "is called for and batches that are skipped, rows in and out, bytes of columns and tables as stored,\n"
               "the time of all threads, its share and the rate, and the entry points with their kernels");
  app.add_flag("--self-check", out.more.self_check,
               "Run every specialised kernel against the generic one; ends with status 1 when they differ");
  app.add_flag("--trace", out.more.trace, "Print the library's trace lines on standard error");
  app.add_flag("--stats", out.more.rates,
               "Time every call of the library and print the mean rates at the end; a rate is inf or nan when a call\n"
               "took less than the microsecond of the clock");
  app.footer(
      "Ends with status 0 when all answers agree with DuckDB's; 1 when one does not, or a self-check finds kernels\n"
      "that differ; 2, with one line on standard error, when it cannot do what it is asked.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &) {
    // Whether it could be written is asked at the end of all output.
    std::fputs((version->count() != 0 ? "vornq " VORN_VERSION "\n" : app.help()).c_str(), stdout);
    return std::nullopt;
  }
  if (out.threads == 0)
    out.threads = std::max(1U, std::thread::hardware_concurrency());
  if (out.threads != 1 && out.more.rates)
    throw error("--stats keeps the rates of one thread; it goes with --threads 1");
  out.format = parse_row_format(format);
  out.aggregates = in_order(app);
  if (limit)
    out.limit = parse_limit(*limit);
  if (out.saved_file && out.saved_file->extension() != saved_table::ending)
    throw error(
        fmt::format("a saved table has a name that ends in .vorn, not {}", shortened(out.saved_file->string())));
  if (out.saved_file && out.join)
    throw error("--save takes one table, not two that are joined");
  if (out.selected_columns && out.asks_for_groups())
    throw error("--select shows rows, and --group-by, --count, --sum and --avg show groups of them");
  if (!out.selected_columns && !out.asks_for_groups())
    for (const auto &[name, is_given] :
         {std::pair{"--limit", limit.has_value()}, std::pair{"--inside", out.polygon_file.has_value()},
          std::pair{"--order-by", out.order.has_value()}, std::pair{"--format", shown_as->count() != 0}})
      if (is_given)
        throw error(fmt::format("{} requires --select, or --group-by, --count, --sum or --avg", name));
  if (out.format != row_format::table && (out.list_columns || out.summary || out.more.rates || out.explain))
    throw error(fmt::format("with --format {} rows are all that is printed", format));
  return out;
}

} // namespace store
