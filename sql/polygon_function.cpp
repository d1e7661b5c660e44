#include "sql/polygon_function.hpp"

#include <filesystem>

#include <fmt/format.h>

#include "sql/functions.hpp"
#include "sql/table_file.hpp"
#include "store/error.hpp"
#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"

namespace store::sql {

namespace {

vorn_cv coordinates(const double *first, size_t count) {
  vorn_cv out{};
  out.vorn_cv_vals = only_read(first);
  out.vorn_cv_nrows = static_cast<uint32_t>(count);
  return out;
}

void test_points(duckdb_function_info info, duckdb_data_chunk input, duckdb_vector output) {
  auto &tests = *static_cast<polygon_function *>(duckdb_scalar_function_get_extra_info(info));
  const auto column = [&](idx_t index) {
    duckdb_vector values = duckdb_data_chunk_get_vector(input, index);
    return duckdb::vector(duckdb_vector_get_data(values), duckdb_vector_get_validity(values));
  };
  const duckdb::vector xs = column(0);
  const duckdb::vector ys = column(1);
  const duckdb::vector files = column(2);
  auto *const inside = static_cast<uint8_t *>(duckdb_vector_get_data(output));
  try {
    for (idx_t row = 0; row < duckdb_data_chunk_get_size(input); ++row)
      if (xs.is_null(row) || ys.is_null(row) || files.is_null(row)) {
        duckdb_vector_ensure_validity_writable(output);
        duckdb_vector_get_validity(output)[row / 64] &= ~(uint64_t{1} << (row % 64));
      } else {
        inside[row] = tests.contains(std::string(files.text(row)), xs.number<double>(row), ys.number<double>(row));
      }
  } catch (const std::exception &e) {
    duckdb_scalar_function_set_error(info, e.what());
  }
}

} // namespace

void polygon_function::add_to(duckdb::connection &database) {
  const duckdb::logical_type real = duckdb::type_named(database, "DOUBLE");
  const duckdb::logical_type text = duckdb::type_named(database, "VARCHAR");
  const duckdb::logical_type truth = duckdb::type_named(database, "BOOLEAN");
  duckdb_scalar_function function = duckdb_create_scalar_function();
  duckdb_scalar_function_set_name(function, "vorn_inside");
  duckdb_scalar_function_add_parameter(function, real.get());
  duckdb_scalar_function_add_parameter(function, real.get());
  duckdb_scalar_function_add_parameter(function, text.get());
  duckdb_scalar_function_set_return_type(function, truth.get());
  duckdb_scalar_function_set_extra_info(function, this, nullptr);
  duckdb_scalar_function_set_function(function, test_points);
  const duckdb_state registered = duckdb_register_scalar_function(database.opened(), function);
  duckdb_destroy_scalar_function(&function);
  if (registered != duckdb_success)
    throw error("DuckDB does not take the function vorn_inside");
}

bool polygon_function::contains(const std::string &file, double x, double y) {
  const polygon *area = nullptr;
  {
    const std::lock_guard lock(guard_);
    auto found = polygons_.find(file);
    if (found == polygons_.end())
      found = polygons_.emplace(file, read(file)).first;
    area = &found->second;
  }
  uint32_t crossed = 0;
  vorn_cv result{};
  result.vorn_cv_vals = &crossed;
  vorn_cv xs = coordinates(area->xs.data(), area->xs.size());
  vorn_cv ys = coordinates(area->ys.data(), area->ys.size());
  vorn_cv px = coordinates(&x, 1);
  vorn_cv py = coordinates(&y, 1);
  expect(vorn_spatial_pip(&library_, &result, &xs, &ys, &px, &py, nullptr), VORN_RESULT_DONE, "a point in a polygon");
  return crossed % 2 != 0;
}

polygon_function::polygon polygon_function::read(const std::string &file) {
  const std::filesystem::path path(file);
  const table_file vertices(reader_, path);
  if (vertices.columns().size() != 2)
    throw error(
        fmt::format("{} has {} columns; the points of a polygon have two", shortened(file), vertices.columns().size()));
  polygon out;
  duckdb::result points = reader_.query(fmt::format("SELECT {}::DOUBLE, {}::DOUBLE FROM {}",
                                                    duckdb::quoted_name(vertices.columns()[0].name),
                                                    duckdb::quoted_name(vertices.columns()[1].name), vertices.sql()));
  while (const auto chunk = points.next())
    for (uint64_t row = 0; row < chunk->rows(); ++row) {
      if (chunk->column(0).is_null(row) || chunk->column(1).is_null(row))
        throw error(fmt::format("a point in {} lacks a coordinate", shortened(file)));
      out.xs.push_back(chunk->column(0).number<double>(row));
      out.ys.push_back(chunk->column(1).number<double>(row));
    }
  if (out.xs.size() < 3)
    throw error(fmt::format("{} has fewer points than a polygon", shortened(file)));
  return out;
}

} // namespace store::sql
