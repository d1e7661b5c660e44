#include "store/plan/coded_groups.hpp"

#include <algorithm>

namespace store {

coded_groups::coded_groups(const vorn_ctx &context, const column &any, std::span<const column *const> columns,
                           std::span<const number_column> added_columns, std::shared_ptr<const selection> chosen)
    : ctx(context), walked(any), key(columns), added(added_columns.begin(), added_columns.end()),
      selected(std::move(chosen)), steps(walked, selected.get()) {
  for (const column *c : columns)
    unpackers.emplace_back(ctx, *c, code_unpacker::element::four_bytes);
  for (const number_column &c : added)
    readers_.emplace_back(ctx, c, selected.get());
}

std::vector<const column *> coded_groups::read() const {
  std::vector<const column *> out(key.columns().begin(), key.columns().end());
  for (const number_column &c : added)
    out.push_back(c.of);
  return out;
}

void coded_groups::go_to(size_t batch) {
  steps.go_to(batch);
  for (number_reader &reader : readers_)
    reader.go_to(batch);
}

uint32_t coded_groups::next() {
  const row_steps::step step = steps.next();
  if (step.rows == 0)
    return 0;
  find_groups(step);
  for (number_reader &reader : readers_)
    reader.next();
  return step.rows;
}

std::vector<uint32_t> coded_groups::in_order() const {
  std::vector<std::pair<uint64_t, uint32_t>> places;
  places.reserve(group_count());
  for (uint32_t group = 0; group < group_count(); ++group)
    places.emplace_back(key.place(key_of(group)), group);
  std::sort(places.begin(), places.end());
  std::vector<uint32_t> out(places.size());
  std::transform(places.begin(), places.end(), out.begin(), [](const auto &placed) { return placed.second; });
  return out;
}

} // namespace store
