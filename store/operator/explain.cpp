#include "store/operator/explain.hpp"

#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/operator/metrics.hpp"
#include "store/value/text_table.hpp"

namespace store::exec {

namespace {

void add_operators(const relation &of, size_t depth, std::vector<std::pair<const relation *, size_t>> &to) {
  for (const auto &[known, at] : to)
    if (known == &of)
      return; // rows that are kept for several operators
  to.emplace_back(&of, depth);
  for (const relation *below : of.children())
    add_operators(*below, depth + 1, to);
}

} // namespace

std::string explained(const relation &ran, const relation &observed) {
  std::vector<std::pair<const relation *, size_t>> operators, named;
  add_operators(ran, 0, operators);
  add_operators(observed, 0, named);
  double whole = 0;
  for (const auto &[of, depth] : operators)
    whole += static_cast<double>(of->metrics().nanoseconds);
  std::vector<std::vector<std::string>> lines;
  std::string calls;
  for (size_t i = 0; i < operators.size(); ++i) {
    const auto &[of, depth] = operators[i];
    const operator_metrics &did = of->metrics();
    const auto time = static_cast<double>(did.nanoseconds);
    const auto unless_zero = [](uint64_t number) { return number == 0 ? "" : grouped(number); };
    lines.push_back({std::to_string(i + 1), std::string(2 * depth, ' ') + did.name(), grouped(did.rows),
                     unless_zero(did.row_groups), unless_zero(did.skipped), unless_zero(did.bytes),
                     fmt::format("{:.3f}", time / 1e6), fmt::format("{:.0f} %", whole == 0 ? 0 : 100 * time / whole),
                     of->description()});
    for (const auto &[entry, kernel] : named[i].first->metrics().calls())
      calls += fmt::format("{:>2} calls {}{}\n", i + 1, entry, kernel == entry ? "" : " with " + kernel);
  }
  return text_table({{"", true},
                     {"operator", false},
                     {"rows", true},
                     {"row groups", true},
                     {"skipped", true},
                     {"bytes", true},
                     {"ms", true},
                     {"share", true},
                     {"", false}},
                    lines) +
         calls;
}

} // namespace store::exec
