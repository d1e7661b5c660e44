#include "store/plan/number_reader.hpp"

#include <utility>

namespace store {

number_reader::number_reader(const vorn_ctx &ctx, const number_column &read, const selection *selected)
    : rows(read), steps(*read.of, selected), of_codes(read) {
  const column &of = *read.of;
  if (!of.is_dictionary()) {
    values.emplace(ctx, of, selected);
    return;
  }
  unpacker.emplace(ctx, of, code_unpacker::element::four_bytes);
  const auto &entries = std::get<dictionary>(of.values);
  if (of.type.kind == value_kind::single || of.type.kind == value_kind::real) {
    of_codes.assign_reals(ctx, entries);
    return;
  }
  std::vector<cell> cells(entries.codes());
  for (uint64_t code = entries.first_code(); code < cells.size(); ++code)
    cells[code] = of.value_of(code);
  of_codes.assign(cells);
}

void number_reader::next() {
  if (values) {
    rows.assign(values->next());
    return;
  }
  const row_steps::step step = steps.next();
  if (step.opens_batch)
    unpacker->open(steps.rows(), steps.filter());
  unpacker->next(step.rows);
  rows.assign(of_codes, {unpacker->codes_of_four_bytes(), step.rows});
}

} // namespace store
