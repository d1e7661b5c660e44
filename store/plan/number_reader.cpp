#include "store/plan/number_reader.hpp"

#include <utility>

namespace store {

number_reader::number_reader(const vorn_ctx &ctx, const number_column &read, const selection *rows)
    : rows_(read), of_codes_(read) {
  const column &of = *read.of;
  if (!of.is_dictionary()) {
    values_.emplace(ctx, of, rows);
    return;
  }
  codes_.emplace(ctx, of, rows);
  const auto &entries = std::get<dictionary>(of.values);
  if (of.type.kind == value_kind::single || of.type.kind == value_kind::real) {
    of_codes_.assign_reals(ctx, entries);
    return;
  }
  std::vector<cell> cells(entries.codes());
  for (uint64_t code = entries.first_code(); code < cells.size(); ++code)
    cells[code] = of.value_of(code);
  of_codes_.assign(cells);
}

void number_reader::next() {
  if (values_)
    rows_.assign(values_->next());
  else
    rows_.assign(of_codes_, codes_->next());
}

} // namespace store
