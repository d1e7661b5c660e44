#include "vornq/options.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string_view>
#include <thread>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "store/error.hpp"
#include "store/saved/saved_table.hpp"
#include "vornq/output_file.hpp"

namespace store {

namespace {

constexpr const char *examples = R"(vornq answers SQL on compressed columns.  Some examples:

  vornq "select origin, count(*), avg(delay) from 'flights.parquet' group by origin"
  vornq flights.parquet airports.csv \
    "select name, max(delay) from flights join airports on origin = iata group by name"
  vornq --tables tpch/ -f query.sql --threads 0 --check
  vornq flights.parquet --save flights.vorn

vornq --help lists the options.
)";

std::string content_of(std::istream &file, std::string_view name) {
  std::string out{std::istreambuf_iterator<char>(file), {}};
  if (!file)
    throw error(fmt::format("cannot read {}", shortened(name)));
  return out;
}

bool has_table_ending(std::string_view name) {
  constexpr std::array endings = {".parquet", ".csv", ".tsv", ".csv.gz", ".tsv.gz", ".vorn"};
  return std::any_of(endings.begin(), endings.end(), [&](std::string_view ending) { return name.ends_with(ending); });
}

// An argument with blanks is a query, unless a file of this name exists.
bool is_file(const std::string &argument) {
  std::error_code ignored;
  return has_table_ending(argument) &&
         (argument.find_first_of(" \n\t") == argument.npos || std::filesystem::exists(argument, ignored));
}

void sort_out(const std::vector<std::string> &arguments, options &out) {
  for (const std::string &argument : arguments)
    if (argument == "-")
      out.queries.push_back(content_of(std::cin, "standard input"));
    else if (is_file(argument))
      out.files.emplace_back(argument);
    else
      out.queries.push_back(argument);
}

choice_map read_encodings(const std::vector<std::string> &given) {
  choice_map out;
  for (const std::string &text : given) {
    const size_t at = text.rfind('=');
    if (at == text.npos)
      throw error(fmt::format("'{}' is not of the form column=encoding", shortened(text)));
    out[text.substr(0, at)] = parse_encoding(std::string_view(text).substr(at + 1));
  }
  return out;
}

void check_together(const options &of) {
  const bool has_table_ending_vorn = of.saved_file && of.saved_file->extension() == saved_table::ending;
  if (of.saved_file && !has_table_ending_vorn)
    throw error(fmt::format("a saved table has a name that ends in .vorn, not {}", shortened(of.saved_file->string())));
  if (of.queries.empty() && of.files.empty())
    throw error("there is no query; vornq --help lists the options");
  if (of.saved_file && of.queries.empty() && of.files.size() != 1)
    throw error("--save takes one table, or the rows of a query");
  if (of.output)
    check_ending(*of.output);
  if (of.saved_file && of.output)
    throw error("--save and --output both take the rows; give one of them");
  if (of.queries.empty() && (of.output || of.check || of.by_duckdb || of.explain != explaining::nothing))
    throw error("there is no query; vornq --help lists the options");
  if (of.by_duckdb && (of.check || of.time || of.explain != explaining::nothing || of.saved_file))
    throw error("--engine duckdb does not go with --check, --time, --summary, --record, --explain or --save");
  if (of.threads != 1 && of.more.rates)
    throw error("--stats keeps the rates of one thread; it goes with --threads 1");
}

// Texts of arguments that become options after all of them are read.
struct given_texts {
  std::vector<std::string> arguments;
  std::vector<std::string> encodings;
  std::vector<std::string> files_of_queries;
  std::string format = "table";
  std::string engine = "vorn";
  std::string explain;
};

// The name of an option has a line of its own.  The lines below it are indented and end before column 80.
void add_query_options(CLI::App &app, options &out, given_texts &given) {
  app.add_option("query", given.arguments,
                 "Queries, each of which may hold several with ; between them, and files\n"
                 "whose names end in .parquet, .csv, .tsv, .csv.gz or .vorn.  Each file is\n"
                 "a table by its name without the ending.  - reads queries from standard\n"
                 "input.  Without a query the columns of the files are described");

  app.option_defaults()->group("Queries");
  app.add_option("-f,--file", given.files_of_queries, "Read queries from a file.  Can be given several times")
      ->type_name("FILE")
      ->allow_extra_args(false);
  app.add_option("--tables", out.folders, "Each file of a table in this folder is a table by its name")
      ->type_name("FOLDER")
      ->allow_extra_args(false);
  app.add_option("--engine", given.engine,
                 "Which engine answers: vorn, or duckdb, which then plans and executes\n"
                 "the query alone")
      ->type_name("NAME")
      ->check(CLI::IsMember({"vorn", "duckdb"}))
      ->capture_default_str();
  app.add_flag("--check", out.check, "Compare all rows with DuckDB's, and end with status 1 if they differ");
  app.add_option("--explain", given.explain,
                 "Show the plan and run nothing.  --explain analyze runs the query and\n"
                 "shows what each operator did: rows, row groups that were read and\n"
                 "skipped, bytes, the time of all threads, and kernels")
      ->type_name("[analyze]")
      ->expected(0, 1);
}

void add_output_options(CLI::App &app, options &out, given_texts &given) {
  app.option_defaults()->group("Output");
  app.add_option("--format", given.format, "How to show rows: table, csv, json or jsonl")
      ->type_name("FORMAT")
      ->capture_default_str();
  app.add_option("--rows", out.shown_rows,
                 "Show at most this many rows of a table, the first and the last ones;\n"
                 "0 for all.  The other formats always show all rows")
      ->type_name("NUMBER")
      ->capture_default_str();
  app.add_option("-o,--output", out.output,
                 "Write the rows to a file.  The ending says how: .csv, .json, .jsonl,\n"
                 ".parquet, .arrow or .vorn")
      ->type_name("FILE");
  app.add_option("--save", out.saved_file,
                 "Save a table, or the rows of a query, in a .vorn file.  It is mapped in\n"
                 "some milliseconds when a query names it")
      ->type_name("FILE");
  app.add_flag("--columns", out.list_columns,
               "List the columns that the queries have read, with their encodings and\n"
               "sizes");
}

void add_storage_options(CLI::App &app, options &out, given_texts &given) {
  app.option_defaults()->group("Storage, kernels and threads");
  app.add_option("--encode", given.encodings,
                 "How to store a column: dict, rle, fixed or dynp, with +qpak to compress\n"
                 "the stream in blocks, or prefix, for values of one short length.\n"
                 "Otherwise the store chooses.  Can be given several times")
      ->type_name("COLUMN=ENCODING")
      ->allow_extra_args(false);
  app.add_option("--threads", out.threads,
                 "How many threads run a query, 0 for the number of processors.  Rows are\n"
                 "the same for each number.  Loading takes one thread")
      ->type_name("NUMBER")
      ->check(CLI::Range(0, 1024))
      ->capture_default_str();
  app.add_option("--isa", out.isa,
                 "The kernels to use: generic, sse42, avx, avx2 or avx512.  Otherwise the\n"
                 "best ones for this processor")
      ->type_name("NAME");
  app.add_option("--libraries", out.library_folder,
                 "The folder of the specialised libraries.  Otherwise the folder of this\n"
                 "program, and the one where they were installed")
      ->type_name("FOLDER");
}

void add_measurement_options(CLI::App &app, options &out) {
  app.option_defaults()->group("Measurements");
  app.add_flag("--time", out.time,
               "Then run each query again with the generic kernels, with those in force\n"
               "and with DuckDB, and show the times.  DuckDB has plain tables and\n"
               "compressed tables in memory, and the faster ones are shown");
  app.add_option("--repeat", out.repetitions,
                 "How many times --time runs a query with each engine, after a run that\n"
                 "does not count.  The median and the least time are shown")
      ->type_name("TIMES")
      ->check(CLI::Range(1, 1'000'000))
      ->capture_default_str();
  app.add_flag("--summary", out.summary,
               "End with the sizes of the columns as stored, in the files and plain, and\n"
               "with the times of all queries.  Includes --time");
  app.add_option("--record", out.record,
                 "Write the sizes of the columns and the times of all queries to a JSON\n"
                 "file.  Includes --time")
      ->type_name("FILE");
  app.add_flag("--self-check", out.more.self_check,
               "Run each specialised kernel and the generic kernel in every call, and\n"
               "end with status 1 if they differ");
  app.add_flag("--trace", out.more.trace, "Print the trace lines of the library on standard error");
  app.add_flag("--stats", out.more.rates,
               "Measure every call of the library and print the mean rates at the end.\n"
               "A rate is inf or nan if a call takes less than the microsecond that the\n"
               "clock measures");
}

} // namespace

std::optional<options> read_options(int argc, char **argv) {
  if (argc <= 1) {
    std::fputs(examples, stdout);
    return std::nullopt;
  }
  options out;
  given_texts given;
  CLI::App app("Answers SQL on compressed columns.  DuckDB plans the queries, and the kernels of\n"
               "vorn execute them.",
               "vornq");
  app.get_formatter()->column_width(6);
  app.set_version_flag("--version", "vornq " VORNQ_VERSION, "Print the version");
  app.set_help_flag("-h,--help", "Print this text");
  add_query_options(app, out, given);
  add_output_options(app, out, given);
  add_storage_options(app, out, given);
  add_measurement_options(app, out);
  app.footer("Ends with status 0 if all is well; with 1 if an answer differs from DuckDB's, or\n"
             "a self-check finds kernels that differ; with 2, and a message on standard error,\n"
             "if a query could not be run; with 130 after Ctrl-C.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &) {
    // The program tests at the end of all output whether it was written.
    std::fputs((app.count("--version") != 0 ? "vornq " VORNQ_VERSION "\n" : app.help()).c_str(), stdout);
    return std::nullopt;
  }
  if (app.count("--explain") != 0) {
    out.explain = given.explain == "analyze" ? explaining::run : explaining::plan;
    if (out.explain == explaining::plan && !given.explain.empty())
      given.arguments.insert(given.arguments.begin(), given.explain); // the query after the option
  }
  for (const std::string &name : given.files_of_queries) {
    std::ifstream file(name);
    if (!file)
      throw error(fmt::format("cannot read {}", shortened(name)));
    out.queries.push_back(content_of(file, name));
  }
  sort_out(given.arguments, out);
  if (out.threads == 0)
    out.threads = std::max(1U, std::thread::hardware_concurrency());
  out.format = parse_row_format(given.format);
  out.by_duckdb = given.engine == "duckdb";
  out.encodings = read_encodings(given.encodings);
  out.time = out.time || out.summary || out.record;
  if (out.output && out.output->extension() == saved_table::ending && !out.saved_file)
    out.saved_file = std::exchange(out.output, std::nullopt);
  check_together(out);
  return out;
}

} // namespace store
