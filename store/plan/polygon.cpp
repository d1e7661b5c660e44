#include "store/plan/polygon.hpp"

#include <memory>

#include <fmt/format.h>

#include "store/decode/row_cursor.hpp"
#include "store/decode/row_reader.hpp"
#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"
#include "store/library/source_vector.hpp"
#include "store/plan/numbers.hpp"

namespace store {

namespace {

vorn_cv coordinates(const double *first, size_t count) {
  vorn_cv out{};
  out.vorn_cv_vals = only_read(first);
  out.vorn_cv_nrows = static_cast<uint32_t>(count);
  return out;
}

class point_test {
public:
  point_test(const vorn_ctx &ctx, const polygon &area)
      : ctx_(ctx), xs_(coordinates(area.xs.data(), area.xs.size())), ys_(coordinates(area.ys.data(), area.ys.size())) {}

  bool contains(double x, double y) {
    uint32_t crossed = 0;
    vorn_cv result{};
    result.vorn_cv_vals = &crossed;
    vorn_cv px = coordinates(&x, 1);
    vorn_cv py = coordinates(&y, 1);
    expect(vorn_spatial_pip(&ctx_, &result, &xs_, &ys_, &px, &py, nullptr), VORN_RESULT_DONE, "a point in a polygon");
    return crossed % 2 != 0;
  }

private:
  const vorn_ctx &ctx_;
  vorn_cv xs_;
  vorn_cv ys_;
};

} // namespace

selection inside(const execution &run, const polygon &area, const column &x, const column &y, const selection *among) {
  selection out;
  out.resize(x.rows);
  struct reader {
    point_test test;
    row_reader xs, ys;
    row_steps steps;
    row_cursor cursor = {};
  };
  plan_step *const told = run.begin_step(fmt::format("points of {}, {}", x.name, y.name), {&x, &y});
  per_thread<reader> readers(run);
  run.each(x.batches.size(), [&](size_t thread, size_t batch) {
    auto &[test, xs, ys, steps, cursor] = readers.of(thread, [&] {
      const vorn_ctx &ctx = run.context();
      return std::unique_ptr<reader>(new reader{{ctx, area}, {ctx, x, among}, {ctx, y, among}, {x, among}});
    });
    const step_timer timer(told);
    xs.go_to(batch);
    ys.go_to(batch);
    steps.go_to(batch);
    for (row_steps::step step = steps.next(); step.rows != 0; step = steps.next()) {
      if (step.opens_batch)
        cursor.open(steps.rows(), steps.filter());
      const std::span<const uint32_t> rows = cursor.next(step.rows);
      if (told != nullptr) {
        if (step.opens_batch)
          told->count_batch(batch);
        told->rows_in += step.rows;
      }
      const std::span<const cell> x_cells = xs.next();
      const std::span<const cell> y_cells = ys.next();
      for (size_t i = 0; i < rows.size(); ++i) {
        if (std::holds_alternative<std::monostate>(x_cells[i]) || std::holds_alternative<std::monostate>(y_cells[i]) ||
            !test.contains(real_of(x_cells[i], x.type), real_of(y_cells[i], y.type)))
          continue;
        out.batch_words(batch)[rows[i] / 64] |= uint64_t{1} << (rows[i] % 64);
        ++out.batch_counts[batch];
      }
    }
  });
  out.count_rows();
  if (told != nullptr)
    told->rows_out = out.count;
  return out;
}

} // namespace store
