#include <vorn/store/column.hpp>

#include <fmt/format.h>

#include "store/api/access.hpp"
#include "store/library/source_vector.hpp"
#include "store/value/constant.hpp"

namespace vorn::store {

namespace {

// Throws for a column that predicates cannot read.
const ::store::column &searchable(const ::store::column &of) {
  if (of.form == ::store::encoding::prefix)
    throw error(
        fmt::format("column '{}' is stored as prefix, which kernels do not search", ::store::shortened(of.name)));
  return of;
}

std::optional<code_range> range(bool has_any, uint64_t first, uint64_t last) {
  return has_any ? std::optional(code_range{first, last}) : std::nullopt;
}

} // namespace

error::~error() = default;

const char *name_of(encoding form) { return ::store::encoding_name(static_cast<::store::encoding>(form)).data(); }

const std::string &column::name() const { return data_->infos[index_].name; }
const std::string &column::sql_type() const { return data_->infos[index_].sql_type; }
uint64_t column::rows() const { return data_->rows; }
encoding column::form() const { return static_cast<encoding>(data_->at(index_).form); }
bool column::is_compressed() const { return data_->at(index_).compressed; }
bool column::has_nulls() const { return data_->at(index_).has_nulls(); }
uint32_t column::width() const { return data_->at(index_).width; }
uint64_t column::encoded_bytes() const { return data_->at(index_).encoded_bytes(); }
uint64_t column::plain_bytes() const { return data_->at(index_).plain_bytes; }
size_t column::row_groups() const { return data_->at(index_).segments.size(); }

uint32_t column::rows_of(size_t row_group) const {
  if (row_group >= row_groups())
    throw error(fmt::format("column '{}' has {} row groups", ::store::shortened(name()), row_groups()));
  return data_->at(index_).segments[row_group].rows;
}

std::optional<code_range> column::codes(uint32_t comparison, std::string_view constant) const {
  const ::store::column &of = searchable(data_->at(index_));
  const ::store::constant written{::store::constant::form::text, std::string(constant)};
  const auto [above_all, below_all, first, last] = checked([&] {
    return of.find(::store::orders_of({&written, 1}, of.type).front());
  });
  const uint64_t smallest = of.first_ordinal();
  const uint64_t largest = of.last_ordinal();
  if (above_all && below_all) // there is no value
    return std::nullopt;
  switch (comparison) {
  case VORN_OPC_EQ:
    return range(!above_all && !below_all && first <= last, first, last);
  case VORN_OPC_LT:
    return above_all ? range(true, smallest, largest) : range(!below_all && first > smallest, smallest, first - 1);
  case VORN_OPC_LE:
    return range(!below_all, smallest, above_all ? largest : last);
  case VORN_OPC_GT:
    return below_all ? range(true, smallest, largest) : range(!above_all && last < largest, last + 1, largest);
  case VORN_OPC_GE:
    return range(!above_all, below_all ? smallest : first, largest);
  default:
    throw error(fmt::format("{} is no comparison of a column with a constant", comparison));
  }
}

struct source_vector::state {
  std::shared_ptr<const table_data> data;
  vorn_enc_ctx encoding{};
  vorn_host::aligned_vector<uint64_t> run_bits;
  vorn_cv vector{};
};

source_vector::source_vector(const column &of, size_t row_group, reading how) : state_(std::make_unique<state>()) {
  of.rows_of(row_group);
  const ::store::column &stored = searchable(of.data_->at(of.index_));
  const auto *entries = std::get_if<::store::dictionary>(&stored.values);
  if (how != reading::predicate && entries == nullptr)
    throw error(fmt::format("column '{}' has no dictionary", ::store::shortened(stored.name)));
  const ::store::column_segment &rows = stored.segments[row_group];
  state_->data = of.data_;
  state_->encoding = how == reading::decode ? entries->encoding(stored.width, stored.compressed ? VORN_STREAM : 0)
                                            : ::store::predicate_encoding(stored, how == reading::predicate);
  if (how != reading::decode)
    state_->run_bits.resize((rows.runs + 63) / 64);
  state_->vector = ::store::source_vector(stored, rows, state_->encoding,
                                          how == reading::decode ? nullptr : state_->run_bits.data());
}

source_vector::source_vector(source_vector &&) noexcept = default;
source_vector &source_vector::operator=(source_vector &&) noexcept = default;
source_vector::~source_vector() = default;
vorn_cv *source_vector::get() { return &state_->vector; }

struct constant_vector::state {
  ::store::constant_vector vector;
};

constant_vector::constant_vector(const column &of, uint64_t code) {
  const ::store::column &stored = searchable(of.data_->at(of.index_));
  if (stored.rows == 0 || code > stored.last_ordinal())
    throw error(fmt::format("column '{}' has no code {}", ::store::shortened(stored.name), code));
  constexpr bool knows_nulls = true;
  state_.reset(new state{{stored, knows_nulls, code}});
}

constant_vector::constant_vector(constant_vector &&) noexcept = default;
constant_vector &constant_vector::operator=(constant_vector &&) noexcept = default;
constant_vector::~constant_vector() = default;
vorn_cv *constant_vector::get() { return state_->vector.get(); }

} // namespace vorn::store
