// The SQL function vorn_inside(x, y, 'area.csv'): does a point lie in a polygon?
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sql/connection.hpp"
#include <vorn/vorn.h>

namespace store::sql {

// The file, .csv or .parquet, has two columns, the coordinates of a vertex.  It is read once.
class polygon_function {
public:
  // The kernel of the library tests points.  The library outlives this object.  This object outlives the databases with
  // the function.
  explicit polygon_function(const vorn_ctx &library) : library_(library) {}
  polygon_function(const polygon_function &) = delete;

  void add_to(duckdb::connection &database);

  // Several threads may call this at once.  Throws store::error for a file that is not a polygon.
  bool contains(const std::string &file, double x, double y);

private:
  struct polygon {
    std::vector<double> xs;
    std::vector<double> ys;
  };
  polygon read(const std::string &file);

  const vorn_ctx &library_;
  std::mutex guard_; // of the polygons and the reader
  duckdb::connection reader_{1};
  std::map<std::string, polygon> polygons_;
};

} // namespace store::sql
