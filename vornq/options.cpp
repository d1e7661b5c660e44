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
  // The name of an option has a line of its own.  The lines below it are indented and end before column 80.
  CLI::App app("Counts, shows and groups the rows of a table or a join that satisfy a\n"
               "condition, on compressed columns.  DuckDB checks every answer.",
               "vornq");
  app.get_formatter()->column_width(6);
  auto *version = app.set_version_flag("--version", "vornq " VORNQ_VERSION, "Print the version");
  app.set_help_flag("-h,--help", "Print this text");
  app.add_option("file", out.files,
                 "A .parquet or .csv file, or several files with the same columns as one\n"
                 "table; or one saved .vorn file")
      ->required();

  app.option_defaults()->group("Queries");
  app.add_option("--where", out.conditions,
                 "Count the rows for which a condition is true.  Can be given several\n"
                 "times.  A condition is one of\n"
                 "  column = value              or one of <> != < <= > >=\n"
                 "  column between low and high\n"
                 "  column between [low, high)  [ ] include the bound, ( ) do not\n"
                 "  column in [low, high)       the same\n"
                 "  column in (value, ...)      two round brackets hold a list\n"
                 "  column like pattern         % is any text, _ is any character\n"
                 "  column is null\n"
                 "with \"not\" before the word, or several of these with \"and\", \"or\", \"not\"\n"
                 "and brackets.  A value of several words stands in single quotes.  A\n"
                 "column stands in double quotes if its name is not a plain word.  E'...'\n"
                 "takes \\n and \\xHH.  A number without quotes means what it does in SQL")
      ->type_name("CONDITION")
      ->allow_extra_args(false);
  app.add_option("--join", out.join,
                 "Join each row with the rows of a second file.  The first column is of\n"
                 "the table, the second one of the file, and the two are equal.  Other\n"
                 "options may name columns of both files: alone, or after the name of the\n"
                 "file without its ending and a dot, as in airports.name")
      ->type_name("FILE:COLUMN=COLUMN");
  app.add_option("--select", out.selected_columns,
                 "Show these columns of the rows that the condition selects, of all rows\n"
                 "without a condition.  * is all columns")
      ->type_name("COLUMN,...");
  app.add_option("--group-by", out.group_columns,
                 "Show a line for each group of these rows with equal values in these\n"
                 "columns")
      ->type_name("COLUMN,...");
  bool counts = false; // as the operands below, found by its option again
  app.add_flag("--count", counts, "Show the number of rows of each group, of all rows without --group-by");
  std::vector<std::string> operands[2];
  app.add_option("--sum", operands[0],
                 "Show the sum of a column in each group, or of an expression of two\n"
                 "operands with *, + or - between blanks, such as \"delay * distance\".  One\n"
                 "operand may be a number.  Operands are converted to doubles, integers\n"
                 "too.  NULL is not added")
      ->type_name("NUMBERS")
      ->allow_extra_args(false);
  app.add_option("--avg", operands[1],
                 "Show the sum divided by the number of values.  --count, --sum and --avg\n"
                 "can be given several times and are shown in the order of the command\n"
                 "line")
      ->type_name("NUMBERS")
      ->allow_extra_args(false);
  app.add_option("--inside", out.polygon_file,
                 "Keep only rows whose point lies in a polygon.  The file has the vertices\n"
                 "in two columns, x and y.  They have the names of the columns of the rows\n"
                 "that hold the points, as in \"longitude,latitude\"")
      ->type_name("FILE");
  app.add_option("--order-by", out.order,
                 "Sort rows or groups by columns, or by aggregates with the names of their\n"
                 "heads, as in \"sum(delay) desc, origin\".  NULL comes last.  Otherwise\n"
                 "rows have the order of the file, and groups that of their columns")
      ->type_name("COLUMN[ desc],...");
  app.add_option("--limit", limit,
                 "Show at most this many rows or groups, then end.  Otherwise a table\n"
                 "shows 20, the other formats show all, and all are checked")
      ->type_name("ROWS");
  auto *shown_as = app.add_option("--format", format,
                                  "How to show them: table, csv, json or jsonl.  The last three print\n"
                                  "nothing else")
                       ->type_name("FORMAT")
                       ->capture_default_str();

  app.option_defaults()->group("Storage");
  app.add_option("--encode", out.encodings,
                 "How to store a column: dict, rle, fixed or dynp, with +qpak to compress\n"
                 "the stream in blocks, or prefix, for values of one short length; no\n"
                 "condition can name a column with prefix.  Otherwise dict, or rle where\n"
                 "equal values follow each other.  Can be given several times")
      ->type_name("COLUMN=ENCODING")
      ->allow_extra_args(false);
  app.add_option("--save", out.saved_file,
                 "Save the columns, as they are encoded, in a .vorn file.  The file can\n"
                 "replace the table later and is mapped in some milliseconds.  Answers of\n"
                 "a saved table are not compared with DuckDB")
      ->type_name("FILE");
  app.add_flag("--columns", out.list_columns,
               "List the columns with their encodings and sizes, as a call without a\n"
               "query does");

  app.option_defaults()->group("Kernels and threads");
  app.add_option("--isa", out.isa,
                 "The kernels to use: generic, sse42, avx, avx2 or avx512.  Otherwise the\n"
                 "best ones for this processor")
      ->type_name("NAME");
  app.add_option("--libraries", out.library_folder,
                 "The folder of the specialised libraries.  Otherwise the folder of this\n"
                 "program, and the one where they were installed")
      ->type_name("FOLDER");
  app.add_option("--threads", out.threads,
                 "Distribute the row groups over this many threads, 0 for the number of\n"
                 "processors.  DuckDB uses the same number.  Answers of the kernels stay\n"
                 "the same to the bit.  Loading, the build of a hash table, decoding the\n"
                 "rows of one table, sorting and checks use one thread.  Doubles are added\n"
                 "by one thread at a time, in the order of the rows")
      ->type_name("NUMBER")
      ->check(CLI::Range(0, 1024))
      ->capture_default_str();

  app.option_defaults()->group("Measurements");
  app.add_option("--repeat", out.repetitions,
                 "Time each query this many times, and show the median and the least.\n"
                 "One more run before them does not count, except with 1.  DuckDB is\n"
                 "timed with a plain and a compressed table, and the faster one is shown")
      ->type_name("TIMES")
      ->check(CLI::Range(1, 1'000'000))
      ->capture_default_str();
  app.add_flag("--explain", out.explain,
               "Show the steps of the plan for the kernels in force: row groups with and\n"
               "without a call, rows in and out, bytes, the time of all threads, its\n"
               "share, the rate, and the entry points with their kernels");
  app.add_flag("--summary", out.summary,
               "End with the sizes of the columns as stored, in the files and plain, and\n"
               "the times of all queries");
  app.add_option("--record", out.record,
                 "Write the sizes of the columns, and the median and least times of all\n"
                 "queries, to a JSON file")
      ->type_name("FILE");
  app.add_flag("--self-check", out.more.self_check,
               "Run each specialised kernel and the generic kernel in every call, and\n"
               "end with status 1 if they differ");
  app.add_flag("--trace", out.more.trace, "Print the trace lines of the library on standard error");
  app.add_flag("--stats", out.more.rates,
               "Measure every call of the library and print the mean rates at the end.\n"
               "A rate is inf or nan if a call takes less than the microsecond that the\n"
               "clock measures");
  app.footer("Ends with status 0 if all answers agree with DuckDB's; with 1 if one does not,\n"
             "or a self-check finds kernels that differ; with 2, and one line on standard\n"
             "error, if the query could not be run.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &) {
    // Whether it could be written is asked at the end of all output.
    std::fputs((version->count() != 0 ? "vornq " VORNQ_VERSION "\n" : app.help()).c_str(), stdout);
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
