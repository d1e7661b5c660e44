// Rows of constants.  If the planner has not folded a constant expression, the expression is evaluated when the
// operator is made.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/operator/kept_stream.hpp"
#include "store/operator/operators.hpp"

namespace store::exec {

namespace {

vector null_of(representation form, arena &memory) {
  return with_type(form, [&]<class T>(T) {
    const std::span<T> value = memory.take<T>(1);
    value[0] = T{};
    const std::span<uint64_t> valid = all_valid(memory, 1);
    set_null(valid, 0);
    return vector(value, valid.data());
  });
}

template <class T>
vector single(T value, arena &memory) {
  const std::span<T> out = memory.take<T>(1);
  out[0] = value;
  return vector(out);
}

vector value_of(const logical::expression &e, representation form, scalar_functions &functions, arena &memory) {
  if (e.what != logical::operation::constant)
    return functions.bind(e, {})->run({}, 1, memory);
  if (is_null(e.value))
    return null_of(form, memory);
  if (const auto *text = std::get_if<std::string>(&e.value))
    return single(std::string_view(*text), memory);
  if (const auto *real = std::get_if<double>(&e.value))
    return single(*real, memory);
  const __int128 number = std::get<__int128>(e.value);
  return form == representation::int128 ? single(number, memory) : single(static_cast<int64_t>(number), memory);
}

class values final : public relation {
public:
  values(std::span<const logical::sql_type> types, std::span<const std::vector<logical::expression>> rows,
         scalar_functions &functions)
      : relation("values"), rows_(made_layouts(types)) {
    columns_ = made_layouts(types);
    arena memory;
    for (size_t c = 0; c < columns_.size(); ++c) {
      columns_[c].has_nulls = false;
      for (const std::vector<logical::expression> &row : rows) {
        const vector value = value_of(row[c], columns_[c].form, functions, memory);
        columns_[c].has_nulls = columns_[c].has_nulls || value.is_null(0);
        rows_.column(c).append(value);
      }
      columns_[c].distinct = rows.size();
    }
    rows_.set_rows(rows.size());
  }

  double estimated_rows() const override { return static_cast<double>(rows_.rows()); }
  std::string description() const override { return fmt::format("{} rows", rows_.rows()); }
  size_t morsels() const override { return kept_stream::morsels(rows_.rows()); }

private:
  static std::vector<layout> made_layouts(std::span<const logical::sql_type> types) {
    std::vector<layout> out;
    for (const logical::sql_type &type : types) {
      if (!type.held)
        throw error(fmt::format("a constant of type {} is not supported", type.name));
      out.push_back({.type = type, .form = plain_representation(*type.held)});
    }
    return out;
  }

  void prepare(const query_run &) override {}
  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<kept_stream>(rows_, counted(run), memory);
  }

  kept_rows rows_;
};

} // namespace

relation_ptr make_values(std::span<const logical::sql_type> types,
                         std::span<const std::vector<logical::expression>> rows, scalar_functions &functions) {
  return std::make_unique<values>(types, rows, functions);
}

} // namespace store::exec
