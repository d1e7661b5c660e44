#include "vornq/measure.hpp"

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>

#include <fmt/format.h>

namespace store {

namespace {

measurement measured(std::string engine, uint32_t repetitions, const std::function<void()> &work) {
  using clock = std::chrono::steady_clock;
  work();
  std::vector<double> times(repetitions);
  for (double &time : times) {
    const auto start = clock::now();
    work();
    time = std::chrono::duration<double, std::milli>(clock::now() - start).count();
  }
  const auto middle = times.begin() + repetitions / 2;
  std::nth_element(times.begin(), middle, times.end());
  return {std::move(engine), *middle, *std::min_element(times.begin(), times.end())};
}

} // namespace

std::vector<measurement> measure(session &with, const std::string &text, const logical::query &planned,
                                 uint32_t repetitions) {
  std::vector<measurement> out;
  const auto by_kernels = [&](const vorn_ctx &library, std::string_view name) {
    const exec::relation_ptr rows = with.operators(planned);
    out.push_back(measured(std::string(name), repetitions, [&] { with.run(*rows, library); }));
  };
  by_kernels(with.library().generic(), "generic");
  if (with.library().is_specialised())
    by_kernels(with.library().chosen(), with.library().name());

  using engine = sql::duckdb_engine;
  std::optional<measurement> best;
  for (const engine::storage form : {engine::storage::plain, engine::storage::compressed}) {
    engine &duckdb = with.duckdb(form, with.threads());
    duckdb.prepare(text);
    measurement took =
        measured(fmt::format("DuckDB, {}", engine::name_of(form)), repetitions, [&] { duckdb.count_rows(text); });
    if (!best || took.least < best->least)
      best = std::move(took);
  }
  out.push_back(std::move(*best));
  return out;
}

} // namespace store
