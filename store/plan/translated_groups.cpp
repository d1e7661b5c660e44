#include "store/plan/translated_groups.hpp"

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "store/decode/row_reader.hpp"
#include "store/join/value_bytes.hpp"
#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"
#include "store/library/source_vector.hpp"
#include "store/query/filter.hpp"

namespace store {

namespace {

constexpr uint32_t none = UINT32_MAX;

kept_rows all_of(const vorn_ctx &ctx, const column &of, const selection *rows) {
  kept_rows out(1);
  row_reader reader(ctx, of, rows);
  for (std::span<const cell> some; !(some = reader.next()).empty();)
    out.add(row_block(&some, 1));
  return out;
}

// The number of the second table's selected row for each code of the first table's key, or none.  Nothing when one of
// these rows has the key of another.
std::optional<std::vector<uint32_t>> matches(const column &first_key, const kept_rows &second_keys) {
  value_bytes symbols;
  symbols.assign_keys(second_keys.column(0), first_key.type.kind);
  std::unordered_map<std::string_view, uint32_t> row_of_key;
  for (uint32_t row = 0; row < symbols.size(); ++row)
    if (!row_of_key.emplace(symbols[row], row).second)
      return std::nullopt;
  const auto &entries = std::get<dictionary>(first_key.values);
  std::vector<uint32_t> out(entries.codes(), none);
  for (uint64_t code = entries.first_code(); code < entries.codes(); ++code)
    if (const auto found = row_of_key.find(key_bytes(entries.symbol(code), first_key.type.kind));
        found != row_of_key.end())
      out[code] = found->second;
  return out;
}

// The values of a column of the second table by code, NULL where there is no row.
std::vector<cell> by_code(const kept_rows &values, const std::vector<uint32_t> &row_of_code) {
  std::vector<cell> out;
  out.reserve(row_of_code.size());
  for (const uint32_t row : row_of_code)
    out.push_back(row == none ? cell() : values.column(0)[row]);
  return out;
}

// Numbers different values, and collects them.
std::vector<uint32_t> numbered(const std::vector<cell> &cells, value_kind kind, kept_rows &values) {
  value_bytes bytes;
  bytes.assign_keys(cells, kind);
  std::unordered_map<std::string_view, uint32_t> number_of_value;
  uint32_t number_of_null = none;
  std::vector<uint32_t> out;
  for (size_t i = 0; i < cells.size(); ++i) {
    const bool is_null = std::holds_alternative<std::monostate>(cells[i]);
    uint32_t &number = is_null ? number_of_null : number_of_value.emplace(bytes[i], none).first->second;
    if (number == none) {
      number = static_cast<uint32_t>(values.count());
      values.add(std::span(&cells[i], 1));
    }
    out.push_back(number);
  }
  return out;
}

} // namespace

std::unique_ptr<translated_groups> translated_groups::made(const execution &run, const join_query &asked,
                                                           std::span<const output_column> columns,
                                                           std::span<const number_column> added,
                                                           const dense_settings &settings) {
  const vorn_ctx &ctx_ = run.context();
  const column &key = asked.key(false);
  if (asked.asks_both() || !key.is_dictionary())
    return nullptr;
  const std::optional<selection> second_rows = asked.filtered(run, true);
  const auto read = [&](const column &of) { return all_of(ctx_, of, second_rows ? &*second_rows : nullptr); };
  const auto row_of_code = matches(key, read(asked.key(true)));
  if (!row_of_code)
    return nullptr;

  translation out{key};
  std::vector<const column *> direct_;
  for (size_t place = 0; place < columns.size(); ++place)
    if (const auto &[of, of_second] = columns[place]; of_second) {
      out.tables.push_back({place, {}});
      auto &[at, entries, values, factor] = out.tables.back();
      entries = numbered(by_code(read(*of), *row_of_code), of->type.kind, values);
    } else {
      direct_.push_back(of);
      out.direct_places.push_back(place);
    }
  if (!dense_groups::serves(ctx_, direct_, settings))
    return nullptr;
  std::vector<number_column> direct_added;
  for (const number_column &c : added) {
    out.added.push_back({c.of_second ? out.numbers_of_codes.size() : direct_added.size(), c.of_second});
    if (!c.of_second) {
      direct_added.push_back(c);
      continue;
    }
    out.numbers_of_codes.emplace_back(c).assign(by_code(read(*c.of), *row_of_code));
  }

  // The rows of the first table that have one in the second.
  ordinal_set matched;
  for (uint64_t code = 0; code < row_of_code->size(); ++code)
    if ((*row_of_code)[code] != none)
      matched.members.push_back(code);
  const std::optional<selection> first_rows = asked.filtered(run, false);
  const auto joined = std::make_shared<selection>();
  filter(run, key, matched, first_rows ? &*first_rows : nullptr, *joined);

  auto direct_groups = std::make_unique<dense_groups>(ctx_, key, direct_, direct_added, joined, settings);
  uint64_t space = direct_groups->group_count();
  for (translate_table &table : out.tables) {
    table.factor = static_cast<uint32_t>(space);
    space *= table.values.count();
    if (space > settings.most_groups)
      return nullptr;
  }
  out.count = static_cast<uint32_t>(space);
  return std::unique_ptr<translated_groups>(
      new translated_groups(ctx_, std::move(direct_groups), std::make_shared<translation>(std::move(out))));
}

translated_groups::translated_groups(const vorn_ctx &ctx, std::unique_ptr<dense_groups> direct,
                                     std::shared_ptr<const translation> shared)
    : ctx_(ctx), direct_(std::move(direct)), shared_(std::move(shared)),
      codes_(ctx_, shared_->key, direct_->rows().get()) {
  for (const numbers &of_codes : shared_->numbers_of_codes)
    second_numbers_.emplace_back(of_codes.stored_as());
}

std::unique_ptr<group_input> translated_groups::another() const {
  return std::unique_ptr<group_input>(new translated_groups(ctx_, direct_->copy(), shared_));
}

std::vector<const column *> translated_groups::read() const {
  std::vector<const column *> out = direct_->read();
  out.push_back(&shared_->key);
  return out;
}

void translated_groups::go_to(size_t batch) {
  direct_->go_to(batch);
  codes_.go_to(batch);
}

uint32_t translated_groups::next() {
  const uint32_t rows = direct_->next();
  if (rows == 0)
    return 0;
  const std::span<const uint32_t> codes = codes_.next();
  if (const uint32_t *direct_keys = direct_->groups(); direct_keys != nullptr)
    keys_.assign(direct_keys, direct_keys + rows);
  else
    keys_.assign(rows, 0);
  for (const translate_table &table : shared_->tables)
    add_keys(table, codes);
  for (size_t n = 0; n < second_numbers_.size(); ++n)
    second_numbers_[n].assign(shared_->numbers_of_codes[n], codes);
  return rows;
}

void translated_groups::add_keys(const translate_table &table, std::span<const uint32_t> codes) {
  vorn_enc_ctx code_form{};
  code_form.vorn_enc_ctx_width = 32;
  vorn_enc_ctx table_form{};
  vorn_add_encoding_type_imca(&table_form, sizeof(uint32_t));
  vorn_cv source{};
  vorn_cv entries{};
  vorn_cv result{};
  vorn_build_vector(&source, only_read(codes.data()), nullptr, nullptr, &code_form, nullptr, nullptr,
                    static_cast<uint32_t>(codes.size()), 0, nullptr, 0);
  entries.vorn_cv_encoding_context = &table_form;
  result.vorn_cv_vals = keys_.data();
  vorn_aux aux{};
  aux.vorn_aux_xlate_tbl = only_read(table.entries.data());
  aux.vorn_aux_xlate_n = table.factor;
  expect(vorn_xlate(&ctx_, &result, &source, &entries, &aux), VORN_RESULT_DONE, "translating group keys");
}

const numbers &translated_groups::operator[](size_t column) const {
  const auto &[index, of_second] = shared_->added[column];
  return of_second ? second_numbers_[index] : (*direct_)[index];
}

void translated_groups::show(uint32_t group, std::span<cell> out) const {
  const uint32_t direct_groups = direct_->group_count();
  std::vector<cell> cells(shared_->direct_places.size());
  direct_->show(group % direct_groups, cells);
  for (size_t c = 0; c < cells.size(); ++c)
    out[shared_->direct_places[c]] = cells[c];
  for (const translate_table &table : shared_->tables) {
    const std::vector<cell> &values = table.values.column(0);
    out[table.place] = values[group / table.factor % values.size()];
  }
}

} // namespace store
