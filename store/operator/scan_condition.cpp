#include "store/operator/scan_condition.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/chunk/chunk.hpp"
#include "store/error.hpp"
#include "store/evaluate/evaluator.hpp"
#include "store/operator/column_reader.hpp"

namespace store::exec {

namespace {

using logical::expression;
using logical::operation;
using coverage = ordinal_ranges::coverage;

// The ordinals for which a condition is true, and the ordinals for which it is false.  For all other ordinals it is
// NULL.
struct truth_ranges {
  ordinal_ranges when_true;
  ordinal_ranges when_false;
};

ordinal_ranges all_values(const column &on) {
  // The last ordinal of a dictionary without a code is the one before 0.
  const bool has_none = on.rows == 0 || (on.is_dictionary() && on.last_ordinal() + 1 <= on.first_ordinal());
  return has_none ? ordinal_ranges() : ordinal_ranges(on.first_ordinal(), on.last_ordinal());
}
ordinal_ranges other_values(const ordinal_ranges &values, const column &on) {
  return all_values(on).empty() ? values : values.complement(on.first_ordinal(), on.last_ordinal());
}
ordinal_ranges null_code(const column &on) { return on.has_nulls() ? ordinal_ranges(0, 0) : ordinal_ranges(); }

int order_of(double a, double b) {
  if (std::isnan(a) || std::isnan(b))
    return static_cast<int>(std::isnan(a)) - static_cast<int>(std::isnan(b));
  return a < b ? -1 : a > b ? 1 : 0;
}

// Compares values of a column with a constant of its type.  Nothing for NULL and for a constant of another type.
std::optional<value_order> order_to(const expression &constant, const column_type &type) {
  const std::optional<column_type> &other = constant.type.held;
  if (!other || other->kind != type.kind || other->scale != type.scale)
    return std::nullopt;
  if (const auto *text = std::get_if<std::string>(&constant.value); text != nullptr && type.is_bytes())
    return [text](const cell &c) { return std::get<std::string_view>(c).compare(*text); };
  if (const auto *real = std::get_if<double>(&constant.value); real != nullptr && type.is_real())
    return [real = *real](const cell &c) { return order_of(real_of_key(std::get<int64_t>(c)), real); };
  const auto *number = std::get_if<__int128>(&constant.value);
  if (number == nullptr || type.is_bytes() || type.is_real())
    return std::nullopt;
  return [number = *number, is_natural = type.kind == value_kind::natural](const cell &c) {
    const auto *key = std::get_if<int64_t>(&c);
    const __int128 value = key == nullptr ? number_of(std::get<wide_key>(c))
                           : is_natural   ? static_cast<__int128>(natural_of_key(*key))
                                          : *key;
    return value < number ? -1 : value > number ? 1 : 0;
  };
}

ordinal_ranges equal_to(const column::place &found) {
  return found.found() ? ordinal_ranges(found.first, found.last) : ordinal_ranges();
}

ordinal_ranges below(const column::place &found, bool or_equal, const column &on) {
  if (all_values(on).empty() || (or_equal && found.below_all))
    return {};
  if (!or_equal && found.above_all)
    return all_values(on);
  if (or_equal)
    return {on.first_ordinal(), found.last};
  return found.first > on.first_ordinal() ? ordinal_ranges(on.first_ordinal(), found.first - 1) : ordinal_ranges();
}

std::optional<truth_ranges> compared(operation comparison, const expression &constant, const column &on) {
  const bool takes_null = comparison == operation::distinct_from || comparison == operation::not_distinct_from;
  if (is_null(constant.value)) {
    if (!takes_null)
      return truth_ranges{};
    truth_ranges out{all_values(on), null_code(on)};
    if (comparison == operation::not_distinct_from)
      std::swap(out.when_true, out.when_false);
    return out;
  }
  const std::optional<value_order> order = order_to(constant, on.type);
  if (!order)
    return std::nullopt;
  const column::place found = on.find(*order);
  truth_ranges out;
  switch (comparison) {
  case operation::less:
  case operation::greater_equal:
    out.when_true = below(found, false, on);
    break;
  case operation::less_equal:
  case operation::greater:
    out.when_true = below(found, true, on);
    break;
  default:
    out.when_true = equal_to(found);
    break;
  }
  out.when_false = other_values(out.when_true, on);
  if (takes_null)
    out.when_false = out.when_false.united_with(null_code(on));
  if (comparison == operation::greater_equal || comparison == operation::greater ||
      comparison == operation::not_equal || comparison == operation::distinct_from)
    std::swap(out.when_true, out.when_false);
  return out;
}

// The only column that an expression reads; empty if it reads none or several.
std::optional<size_t> only_column(const expression &e) {
  std::optional<size_t> out;
  bool reads_several = false;
  for_each_column(e, [&](size_t column) {
    reads_several = reads_several || out.value_or(column) != column;
    out = column;
  });
  return reads_several ? std::nullopt : out;
}

} // namespace

class condition_reader {
public:
  condition_reader(table &of, std::span<const size_t> columns, scalar_functions &functions, double most_codes)
      : of_(of), columns_(columns), functions_(functions), most_codes_(most_codes) {}

  // The condition that `e` is true, or that it is false.
  std::optional<scan_condition> read(const expression &e, bool wanted) {
    using kind = scan_condition::kind;
    if (e.what == operation::negation)
      return read(e.children.front(), !wanted);
    if (e.what != operation::all_of && e.what != operation::any_of)
      return single(e, wanted);
    std::vector<scan_condition> parts;
    for (const expression &child : e.children) {
      std::optional<scan_condition> part = read(child, wanted);
      if (!part)
        return std::nullopt;
      parts.push_back(std::move(*part));
    }
    // NOT (a AND b) is NOT a OR NOT b, and the reverse.
    return combined((e.what == operation::all_of) == wanted ? kind::all_of : kind::any_of, std::move(parts));
  }

  // Conditions on one column become one scan.
  static std::optional<scan_condition> combined(scan_condition::kind what, std::vector<scan_condition> parts) {
    std::vector<scan_condition> out;
    for (scan_condition &part : parts) {
      const auto same = std::find_if(out.begin(), out.end(), [&](const scan_condition &before) {
        return before.scan_ != nullptr && part.scan_ != nullptr && &before.scan_->on() == &part.scan_->on();
      });
      if (same == out.end()) {
        out.push_back(std::move(part));
        continue;
      }
      const ordinal_ranges &a = same->scan_->accepted();
      const ordinal_ranges &b = part.scan_->accepted();
      std::optional<scan_condition> both =
          scan_of(same->scan_->on(), what == scan_condition::kind::all_of ? a.intersected_with(b) : a.united_with(b));
      if (!both)
        return std::nullopt;
      *same = std::move(*both);
    }
    if (out.size() == 1)
      return std::move(out.front());
    return scan_condition(what, std::move(out));
  }

private:
  static std::optional<scan_condition> scan_of(const column &on, ordinal_ranges accepted) {
    if (!on.is_dictionary() && accepted.ranges().size() > ordinal_scan::most_ranges)
      return std::nullopt;
    return scan_condition(ordinal_scan(on, std::move(accepted)));
  }

  std::optional<scan_condition> single(const expression &e, bool wanted) {
    const std::optional<size_t> index = only_column(e);
    if (!index)
      return std::nullopt;
    const column &on = of_.at(columns_[*index]);
    if (on.form == encoding::prefix)
      return std::nullopt;
    std::optional<truth_ranges> found = simple_truth(e, on);
    if (!found && on.is_dictionary())
      found = truth_by_codes(e, *index, on);
    if (!found)
      return std::nullopt;
    return scan_of(on, wanted ? std::move(found->when_true) : std::move(found->when_false));
  }

  static std::optional<truth_ranges> simple_truth(const expression &e, const column &on) {
    const auto is_column = [](const expression &c) { return c.what == operation::column; };
    const auto is_constant = [](const expression &c) { return c.what == operation::constant; };
    if (is_column(e)) { // a boolean
      expression yes;
      yes.type = e.type;
      yes.value = __int128{1};
      return compared(operation::equal, yes, on);
    }
    if ((e.what == operation::is_null || e.what == operation::is_not_null) && is_column(e.children.front())) {
      truth_ranges out{null_code(on), all_values(on)};
      if (e.what == operation::is_not_null)
        std::swap(out.when_true, out.when_false);
      return out;
    }
    if (is_comparison(e.what)) {
      if (is_column(e.children[0]) && is_constant(e.children[1]))
        return compared(e.what, e.children[1], on);
      if (is_constant(e.children[0]) && is_column(e.children[1]))
        return compared(mirrored(e.what), e.children[0], on);
    }
    if ((e.what == operation::in || e.what == operation::not_in) && is_column(e.children.front()) &&
        std::all_of(e.children.begin() + 1, e.children.end(), is_constant))
      return listed(e, on);
    return std::nullopt;
  }

  static std::optional<truth_ranges> listed(const expression &e, const column &on) {
    std::vector<ordinal_range> members;
    bool lists_null = false;
    for (const expression &constant : std::span(e.children).subspan(1)) {
      lists_null = lists_null || is_null(constant.value);
      const std::optional<truth_ranges> one = compared(operation::equal, constant, on);
      if (!one)
        return std::nullopt;
      members.insert(members.end(), one->when_true.ranges().begin(), one->when_true.ranges().end());
    }
    truth_ranges out;
    out.when_true = ordinal_ranges::united(std::move(members));
    if (!lists_null) // a value that is not in the list may equal its NULL
      out.when_false = other_values(out.when_true, on);
    if (e.what == operation::not_in)
      std::swap(out.when_true, out.when_false);
    return out;
  }

  std::optional<truth_ranges> truth_by_codes(const expression &e, size_t index, const column &on) {
    const std::shared_ptr<const coded_values> entries = of_.values_of(columns_[index]);
    if (static_cast<double>(entries->codes()) > most_codes_ || e.is_volatile)
      return std::nullopt;
    std::vector<layout> layouts; // the columns before it are absent
    for (const size_t before : columns_.first(index))
      layouts.push_back({.type = logical::sql_type(of_.columns()[before].sql_type)});
    layout plain = layout_of(of_, columns_[index]);
    plain.form = plain_representation(on.type);
    plain.entries = nullptr;
    layouts.push_back(plain);
    try {
      const std::shared_ptr<const bound_expression> bound =
          exec::bind(e, layouts, functions_, static_cast<double>(entries->codes()));
      return evaluated(*bound, index, plain, *entries);
    } catch (const error &) {
      // Rows with the value on which it fails may not be selected, so each row must be tested.
      return std::nullopt;
    }
  }

  static truth_ranges evaluated(const bound_expression &bound, size_t index, const layout &plain,
                                const coded_values &entries) {
    const std::unique_ptr<evaluator> evaluation = bound.begin();
    arena memory;
    truth_ranges out;
    for (uint64_t first = 0; first < entries.codes(); first += chunk_rows) {
      const auto rows = static_cast<uint32_t>(std::min<uint64_t>(chunk_rows, entries.codes() - first));
      chunk values(memory, rows);
      for (size_t before = 0; before < index; ++before)
        values.add_missing_column();
      values.add_column(values_of(entries, plain, first, rows, memory));
      const vector result = plain_values(evaluation->run(values), bound.result(), memory);
      for (uint32_t row = 0; row < rows; ++row)
        if (!result.is_null(row))
          (result.int64s()[row] != 0 ? out.when_true : out.when_false).add(first + row, first + row);
      memory.rewind({});
    }
    return out;
  }

  static vector values_of(const coded_values &entries, const layout &plain, uint64_t first, uint32_t rows,
                          arena &memory) {
    const std::span<uint32_t> codes = memory.take<uint32_t>(rows);
    for (uint32_t row = 0; row < rows; ++row)
      codes[row] = static_cast<uint32_t>(first) + row;
    layout coded = plain;
    coded.form = representation::codes;
    coded.entries = std::shared_ptr<const coded_values>(std::shared_ptr<void>(), &entries);
    vector made(codes);
    if (first == 0 && entries.has_null()) {
      const std::span<uint64_t> valid = all_valid(memory, rows);
      set_null(valid, 0);
      made.validity = valid.data();
    }
    return plain_values(made, coded, memory);
  }

  table &of_;
  std::span<const size_t> columns_;
  scalar_functions &functions_;
  double most_codes_;
};

std::optional<scan_condition> scan_condition::read(const logical::expression &e, table &of,
                                                   std::span<const size_t> columns, scalar_functions &functions,
                                                   double most_codes) {
  return condition_reader(of, columns, functions, most_codes).read(e, true);
}

scan_condition scan_condition::all_of(std::vector<scan_condition> parts) {
  std::optional<scan_condition> out = condition_reader::combined(kind::all_of, parts);
  return out ? std::move(*out) : scan_condition(kind::all_of, std::move(parts));
}

scan_condition::scan_condition(ordinal_scan scan)
    : what_(kind::single), scan_(std::make_shared<const ordinal_scan>(std::move(scan))),
      selectivity_(scan_->selectivity()), cost_(scan_->cost()) {}

scan_condition::scan_condition(kind what, std::vector<scan_condition> parts) : what_(what), parts_(std::move(parts)) {
  // Each part drops rows for the parts after it.  A part of AND drops the rows for which it is not true.
  const auto rank = [&](const scan_condition &part) {
    const double dropped = what_ == kind::all_of ? 1 - part.selectivity_ : part.selectivity_;
    return part.cost_ / std::max(dropped, 1e-6);
  };
  std::stable_sort(parts_.begin(), parts_.end(),
                   [&](const scan_condition &a, const scan_condition &b) { return rank(a) < rank(b); });
  double left = 1;
  for (const scan_condition &part : parts_) {
    left *= what_ == kind::all_of ? part.selectivity_ : 1 - part.selectivity_;
    cost_ += part.cost_;
  }
  selectivity_ = what_ == kind::all_of ? left : 1 - left;
}

coverage scan_condition::covers(size_t row_group) const {
  if (what_ == kind::single)
    return scan_->covers(scan_->on().segments[row_group]);
  // One part without a row decides AND, one part with all rows decides OR.
  const coverage decides = what_ == kind::all_of ? coverage::none : coverage::all;
  const coverage otherwise = what_ == kind::all_of ? coverage::all : coverage::none;
  coverage out = otherwise;
  for (const scan_condition &part : parts_) {
    const coverage of_part = part.covers(row_group);
    if (of_part == decides)
      return decides;
    if (of_part != otherwise)
      out = coverage::some;
  }
  return out;
}

scan_condition::selected scan_condition::select(const vorn_ctx &library, size_t row_group, selected among,
                                                arena &memory) const {
  const coverage covered = among.count == 0 ? coverage::none : covers(row_group);
  if (covered == coverage::none)
    return {nullptr, 0};
  if (covered == coverage::all)
    return among;
  if (what_ == kind::single) {
    const column_segment &rows = scan_->on().segments[row_group];
    uint64_t *const out = memory.take<uint64_t>(words_of(rows.rows)).data();
    return {out, scan_->run(library, rows, among.words, among.count, out, memory)};
  }
  if (what_ == kind::all_of) {
    for (const scan_condition &part : parts_)
      among = part.select(library, row_group, among, memory);
    return among;
  }
  selected out{nullptr, 0};
  for (const scan_condition &part : parts_) {
    const selected more = part.select(library, row_group, among, memory);
    if (more.count == among.count)
      return among;
    if (out.count == 0 || more.count == 0) {
      out = out.count == 0 ? more : out;
      continue;
    }
    const uint32_t rows = part.rows_of(row_group);
    uint64_t *const both = memory.take<uint64_t>(words_of(rows)).data();
    vorn_global_ctx.vorn_lbiwvor_dydi(both, &out.count, out.words, more.words, rows);
    out.words = both;
  }
  return out;
}

const ordinal_ranges *scan_condition::accepted_of(const column &of) const {
  if (what_ == kind::single)
    return &scan_->on() == &of ? &scan_->accepted() : nullptr;
  if (what_ == kind::all_of)
    for (const scan_condition &part : parts_)
      if (const ordinal_ranges *accepted = part.accepted_of(of))
        return accepted;
  return nullptr;
}

uint32_t scan_condition::rows_of(size_t row_group) const {
  return what_ == kind::single ? scan_->on().segments[row_group].rows : parts_.front().rows_of(row_group);
}

std::string scan_condition::description() const {
  if (what_ == kind::single)
    return fmt::format("{} is {}", scan_->on().name, scan_->description());
  std::vector<std::string> parts;
  for (const scan_condition &part : parts_)
    parts.push_back(part.description());
  return fmt::format("({})", fmt::join(parts, what_ == kind::all_of ? " and " : " or "));
}

} // namespace store::exec
