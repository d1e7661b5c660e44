#include "adbc/encoded_result.hpp"

#include <utility>

#include <fmt/format.h>

#include "adbc/failure.hpp"
#include "store/operator/row_partitions.hpp"
#include "store/run/worker_pool.hpp"
#include "store/saved/save_rows.hpp"

namespace store::adbc {

namespace {

template <class... Elements>
arrow_buffer buffer_of(Elements... elements) {
  return arrow_buffer(vorn_host::aligned_vector<std::common_type_t<Elements...>>{elements...});
}

class encoded_result final : public result {
public:
  encoded_result(std::shared_ptr<execution> run, exec::answer rows, std::vector<std::vector<uint32_t>> partitions,
                 table_form form)
      : run_(std::move(run)), rows_(std::move(rows)), partitions_(std::move(partitions)), form_(form) {}

  ArrowSchema schema() override {
    return exported(schema_parts{"+s", "", {}, false, {{"i", "partition"}, {"l", "rows"}, {"Z", "table"}}});
  }

  ArrowArray next() override {
    while (next_ < partitions_.size() && partitions_[next_].empty())
      ++next_;
    if (run_->is_cancelled)
      throw exec::interrupted();
    if (next_ == partitions_.size())
      return {};
    const std::vector<uint32_t> numbers = std::exchange(partitions_[next_], {});
    vorn_host::aligned_vector<uint8_t> bytes =
        form_ == table_form::file ? saved_row_bytes(rows_, numbers) : sent_row_bytes(rows_, numbers);
    array_parts out{1, 0, {{}}};
    out.children.push_back({1, 0, {{}, buffer_of(static_cast<int32_t>(next_++))}});
    out.children.push_back({1, 0, {{}, buffer_of(static_cast<int64_t>(numbers.size()))}});
    arrow_buffer ends = buffer_of(int64_t{0}, static_cast<int64_t>(bytes.size()));
    out.children.push_back({1, 0, {{}, std::move(ends), arrow_buffer(std::move(bytes))}});
    return exported(std::move(out));
  }

private:
  std::shared_ptr<execution> run_;
  exec::answer rows_;
  std::vector<std::vector<uint32_t>> partitions_; // row numbers
  table_form form_;
  size_t next_ = 0;
};

} // namespace

std::unique_ptr<result> encoded_rows(connection &on, std::shared_ptr<execution> run, logical::query query,
                                     partitioning split, table_form form) {
  for (const size_t column : split.by)
    if (column >= query.root.types.size())
      throw invalid_argument(
          fmt::format("rows are split by column {}, and there are {}", column, query.root.types.size()));
  if (split.partitions > 1 && split.by.empty())
    throw invalid_argument("several partitions need a column by which rows are split");
  const connection::turn now(on, *run);
  const exec::relation_ptr rows = now.session.operators(query.root);
  worker_pool threads(on.of().threads());
  std::vector<exec::arena> memory(threads.threads());
  exec::kept_rows kept = exec::all_rows_as_they_are(*rows, {on.of().library(), threads, run->is_cancelled, memory});
  exec::answer answer{std::move(query.names), rows->columns(), std::move(kept)};
  auto partitions = exec::row_partitions(on.of().library(), answer, split.by, split.partitions);
  return std::make_unique<encoded_result>(std::move(run), std::move(answer), std::move(partitions), form);
}

} // namespace store::adbc
