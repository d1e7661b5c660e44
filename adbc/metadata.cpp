#include "adbc/metadata.hpp"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "adbc/failure.hpp"
#include "adbc/nested_array.hpp"
#include "sql/connection.hpp"
#include "store/arrow/arrow_type.hpp"
#include "store/error.hpp"

namespace store::adbc {

namespace {

constexpr const char *table_type = "table";
constexpr size_t none = 0;

// The rows of a struct without NULL as a record batch.
std::unique_ptr<result> batch_of(const nested_column &rows) {
  schema_parts schema = rows.schema();
  schema.is_nullable = false;
  return one_batch(std::move(schema), rows.rows() == none ? std::nullopt : std::optional(rows.finish()));
}

bool is_wanted(const std::optional<std::string> &pattern, std::string_view name) {
  return !pattern || matches(name, *pattern);
}

// The tables that are wanted.
std::vector<std::string> tables_of(database &of, const object_filter &wanted) {
  std::vector<std::string> out;
  const bool has_type = !wanted.table_types || std::find(wanted.table_types->begin(), wanted.table_types->end(),
                                                         table_type) != wanted.table_types->end();
  if (has_type)
    for (const std::string &name : of.tables().names())
      if (is_wanted(wanted.table, name))
        out.push_back(name);
  return out;
}

// A value of the union of infos, by the number of its child.
enum class info_form : int8_t { text = 0, truth = 1, number = 2 };
struct info_value {
  uint32_t code;
  info_form form;
  std::string text;
  int64_t number = 0;
};

nested_column column_fields() {
  return {"+s",
          "item",
          true,
          {{"u", "column_name", false},
           {"i", "ordinal_position", true},
           {"u", "remarks", true},
           {"s", "xdbc_data_type", true},
           {"u", "xdbc_type_name", true},
           {"i", "xdbc_column_size", true},
           {"s", "xdbc_decimal_digits", true},
           {"s", "xdbc_num_prec_radix", true},
           {"s", "xdbc_nullable", true},
           {"u", "xdbc_column_def", true},
           {"s", "xdbc_sql_data_type", true},
           {"s", "xdbc_datetime_sub", true},
           {"i", "xdbc_char_octet_length", true},
           {"u", "xdbc_is_nullable", true},
           {"u", "xdbc_scope_catalog", true},
           {"u", "xdbc_scope_schema", true},
           {"u", "xdbc_scope_table", true},
           {"b", "xdbc_is_autoincrement", true},
           {"b", "xdbc_is_generatedcolumn", true}}};
}

nested_column constraint_fields() {
  nested_column usage("+s", "item", true,
                      {{"u", "fk_catalog", true},
                       {"u", "fk_db_schema", true},
                       {"u", "fk_table", false},
                       {"u", "fk_column_name", false}});
  return {"+s",
          "item",
          true,
          {{"u", "constraint_name", true},
           {"u", "constraint_type", false},
           {"+l", "constraint_column_names", false, {{"u", "item", true}}},
           {"+l", "constraint_column_usage", true, {std::move(usage)}}}};
}

// Appends the columns of a table, of which the other values are not known.
void append_columns(nested_column &to, const exec::table &of, const object_filter &wanted) {
  constexpr int16_t may_be_null = 1;
  nested_column &column = to.children.front();
  for (size_t c = 0; c < of.columns().size(); ++c) {
    const column_info &info = of.columns()[c];
    if (!is_wanted(wanted.column, info.name))
      continue;
    std::vector<nested_column> &fields = column.children;
    fields[0].append(info.name);
    fields[1].append_number(static_cast<int32_t>(c + 1));
    for (size_t f = 2; f < fields.size(); ++f)
      if (f == 4)
        fields[f].append(info.sql_type);
      else if (f == 8)
        fields[f].append_number(may_be_null);
      else if (f == 13)
        fields[f].append("YES");
      else
        fields[f].append_null();
    column.append_nested();
  }
  to.append_nested();
}

} // namespace

bool matches(std::string_view text, std::string_view pattern) {
  if (pattern.empty())
    return text.empty();
  if (pattern[0] == '%') {
    for (size_t skipped = 0; skipped <= text.size(); ++skipped)
      if (matches(text.substr(skipped), pattern.substr(1)))
        return true;
    return false;
  }
  return !text.empty() && (pattern[0] == '_' || pattern[0] == text[0]) && matches(text.substr(1), pattern.substr(1));
}

std::unique_ptr<result> info(database &of, std::optional<std::span<const uint32_t>> codes) {
  using form = info_form;
  const std::string version = fmt::format("{}.{}.{}", VORN_VERSION_MAJOR, VORN_VERSION_MINOR, VORN_VERSION_PATCH);
  const info_value known[] = {
      {ADBC_INFO_VENDOR_NAME, form::text, "vorn"},
      {ADBC_INFO_VENDOR_VERSION, form::text, fmt::format("{} ({}, DuckDB {})", version, of.isa(), duckdb::version())},
      {ADBC_INFO_VENDOR_SQL, form::truth, {}, 1},
      {ADBC_INFO_VENDOR_SUBSTRAIT, form::truth, {}, 0},
      {ADBC_INFO_DRIVER_NAME, form::text, "ADBC driver of vorn"},
      {ADBC_INFO_DRIVER_VERSION, form::text, version},
      {ADBC_INFO_DRIVER_ADBC_VERSION, form::number, {}, ADBC_VERSION_1_1_0}};
  nested_column entries("+s", "entries", false, {{"i", "key", false}, {"+l", "value", true, {{"i", "item", true}}}});
  nested_column value("+ud:0,1,2,3,4,5", "info_value", true,
                      {{"u", "string_value", true},
                       {"b", "bool_value", true},
                       {"l", "int64_value", true},
                       {"i", "int32_bitmask", true},
                       {"+l", "string_list", true, {{"u", "item", true}}},
                       {"+m", "int32_to_int32_list_map", true, {std::move(entries)}}});
  nested_column out("+s", "", false, {{"I", "info_name", false}, std::move(value)});
  const auto append = [&](const info_value &one) {
    nested_column &values = out.children[1];
    out.children[0].append_number(one.code);
    nested_column &child = values.children[static_cast<size_t>(one.form)];
    if (one.form == form::text)
      child.append(one.text);
    else if (one.form == form::truth)
      child.append_bit(one.number != 0);
    else
      child.append_number(one.number);
    values.append_of(static_cast<int8_t>(one.form));
    out.append_nested();
  };
  for (const info_value &one : known)
    if (!codes || std::find(codes->begin(), codes->end(), one.code) != codes->end())
      append(one);
  return batch_of(out);
}

std::unique_ptr<result> objects(database &of, int depth, const object_filter &wanted) {
  if (depth < ADBC_OBJECT_DEPTH_ALL || depth > ADBC_OBJECT_DEPTH_TABLES)
    throw invalid_argument(fmt::format("there is no depth {} of objects", depth));
  nested_column table("+s", "item", true,
                      {{"u", "table_name", false},
                       {"u", "table_type", false},
                       {"+l", "table_columns", true, {column_fields()}},
                       {"+l", "table_constraints", true, {constraint_fields()}}});
  nested_column schema("+s", "item", true,
                       {{"u", "db_schema_name", true}, {"+l", "db_schema_tables", true, {std::move(table)}}});
  nested_column out("+s", "", false,
                    {{"u", "catalog_name", true}, {"+l", "catalog_db_schemas", true, {std::move(schema)}}});
  if (!is_wanted(wanted.catalog, catalog_name))
    return batch_of(out);

  nested_column &schemas = out.children[1];
  nested_column &tables = schemas.children[0].children[1];
  const bool has_schemas = depth != ADBC_OBJECT_DEPTH_CATALOGS;
  if (has_schemas && is_wanted(wanted.schema, schema_name)) {
    if (depth != ADBC_OBJECT_DEPTH_DB_SCHEMAS) {
      for (const std::string &name : tables_of(of, wanted)) {
        nested_column &one = tables.children[0];
        one.children[0].append(name);
        one.children[1].append(table_type);
        if (depth == ADBC_OBJECT_DEPTH_COLUMNS) {
          append_columns(one.children[2], *of.tables().find(name), wanted);
          one.children[3].append_nested(); // no constraints
        } else {
          one.children[2].append_null();
          one.children[3].append_null();
        }
        one.append_nested();
      }
      tables.append_nested();
    } else {
      tables.append_null();
    }
    schemas.children[0].children[0].append(schema_name);
    schemas.children[0].append_nested();
  }
  if (has_schemas)
    schemas.append_nested();
  else
    schemas.append_null();
  out.children[0].append(catalog_name);
  out.append_nested();
  return batch_of(out);
}

std::unique_ptr<result> table_types() {
  nested_column out("+s", "", false, {{"u", "table_type", false}});
  out.children[0].append(table_type);
  out.append_nested();
  return batch_of(out);
}

ArrowSchema table_schema(database &of, const std::string &name) {
  if (!of.tables().knows(name))
    throw not_found(fmt::format("no such table: {}", shortened(name)));
  schema_parts out{"+s"};
  for (const column_info &column : of.tables().find(name)->columns())
    out.children.push_back(column.type
                               ? schema_parts{format_of(*column.type), column.name, metadata_of(*column.type), true}
                               : schema_parts{"n", column.name, {}, true});
  return exported(std::move(out));
}

std::unique_ptr<result> statistics(database &of, const object_filter &wanted, bool only_cheap) {
  nested_column value("+ud:0,1,2,3", "statistic_value", false,
                      {{"l", "int64", true}, {"L", "uint64", true}, {"g", "float64", true}, {"z", "binary", true}});
  nested_column statistic("+s", "item", true,
                          {{"u", "table_name", false},
                           {"u", "column_name", true},
                           {"s", "statistic_key", false},
                           std::move(value),
                           {"b", "statistic_is_approximate", false}});
  nested_column schema("+s", "item", true,
                       {{"u", "db_schema_name", true}, {"+l", "db_schema_statistics", false, {std::move(statistic)}}});
  nested_column out("+s", "", false,
                    {{"u", "catalog_name", true}, {"+l", "catalog_db_schemas", false, {std::move(schema)}}});
  if (!is_wanted(wanted.catalog, catalog_name))
    return batch_of(out);

  nested_column &schemas = out.children[1];
  nested_column &statistics = schemas.children[0].children[1];
  const auto append = [&](const std::string &table, const std::string *column, int16_t key, uint64_t number) {
    nested_column &one = statistics.children[0];
    one.children[0].append(table);
    if (column != nullptr)
      one.children[1].append(*column);
    else
      one.children[1].append_null();
    one.children[2].append_number(key);
    one.children[3].children[0].append_number(static_cast<int64_t>(number));
    one.children[3].append_of(0);
    one.children[4].append_bit(false);
    one.append_nested();
  };
  if (is_wanted(wanted.schema, schema_name)) {
    for (const std::string &name : tables_of(of, wanted)) {
      const std::shared_ptr<exec::table> found = of.tables().find(name);
      exec::table &table = *found;
      append(name, nullptr, ADBC_STATISTIC_ROW_COUNT_KEY, table.rows());
      for (size_t c = 0; c < table.columns().size(); ++c) {
        const column_info &info = table.columns()[c];
        if (!info.type || (only_cheap && !table.is_loaded(c)))
          continue;
        const column &stored = table.at(c);
        const auto *entries = std::get_if<dictionary>(&stored.values);
        uint64_t nulls = 0;
        for (const column_segment &rows : stored.segments)
          nulls += rows.held.nulls;
        if (entries != nullptr)
          append(name, &info.name, ADBC_STATISTIC_DISTINCT_COUNT_KEY, entries->size());
        append(name, &info.name, ADBC_STATISTIC_NULL_COUNT_KEY, nulls);
      }
    }
    statistics.append_nested();
    schemas.children[0].children[0].append(schema_name);
    schemas.children[0].append_nested();
  }
  schemas.append_nested();
  out.children[0].append(catalog_name);
  out.append_nested();
  return batch_of(out);
}

std::unique_ptr<result> statistic_names() {
  return batch_of({"+s", "", false, {{"u", "statistic_name", false}, {"s", "statistic_key", false}}});
}

} // namespace store::adbc
