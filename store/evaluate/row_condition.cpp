#include "store/evaluate/evaluator.hpp"

namespace store::exec {

row_condition::row_condition(std::vector<std::shared_ptr<const bound_expression>> all_of) {
  for (std::shared_ptr<const bound_expression> &condition : all_of) {
    std::unique_ptr<evaluator> begun = condition->begin();
    conditions_.emplace_back(std::move(condition), std::move(begun));
  }
}

bool row_condition::keep(chunk &rows) {
  for (const auto &[condition, evaluator] : conditions_) {
    if (rows.rows() == 0)
      return false;
    const vector truth = plain_values(evaluator->run(rows), condition->result(), rows.memory());
    const std::span<const int64_t> is_true = truth.int64s();
    const std::span<uint32_t> left = rows.memory().take<uint32_t>(is_true.size());
    size_t count = 0;
    if (truth.validity == nullptr)
      for (uint32_t row = 0; row < is_true.size(); ++row) {
        left[count] = row;
        count += is_true[row] != 0 ? 1 : 0;
      }
    else
      for (uint32_t row = 0; row < is_true.size(); ++row) {
        left[count] = row;
        count += is_true[row] != 0 && !truth.is_null(row) ? 1 : 0;
      }
    if (count != is_true.size())
      rows.keep(left.first(count));
  }
  return rows.rows() != 0;
}

} // namespace store::exec
