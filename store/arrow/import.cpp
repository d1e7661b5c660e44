#include "store/arrow/import.hpp"

#include <cerrno>
#include <cstring>
#include <new>
#include <set>
#include <string_view>

#include <fmt/format.h>

#include "store/arrow/array_reader.hpp"
#include "store/arrow/array_values.hpp"
#include "store/arrow/owner.hpp"
#include "store/error.hpp"

namespace store {

namespace {

// Throws unless a call of the stream succeeded.
void check(int code, ArrowArrayStream &stream) {
  if (code == 0)
    return;
  if (code == ENOMEM)
    throw std::bad_alloc();
  const char *reason = stream.get_last_error != nullptr ? stream.get_last_error(&stream) : nullptr;
  throw error(fmt::format("the Arrow stream fails: {}", reason != nullptr ? reason : std::strerror(code)));
}

} // namespace

arrow_importer::arrow_importer(const ArrowSchema &schema, const choice_map &choices) {
  if (schema.release == nullptr || schema.format == nullptr || std::string_view(schema.format) != "+s" ||
      schema.dictionary != nullptr || schema.n_children < 0 || (schema.n_children > 0 && schema.children == nullptr))
    throw error("the Arrow schema is not a schema of record batches");
  std::set<std::string_view> names;
  fields_.reserve(static_cast<size_t>(schema.n_children)); // names are views of the fields
  for (int64_t i = 0; i < schema.n_children; ++i) {
    if (schema.children[i] == nullptr)
      throw error("the Arrow schema lacks a column");
    const arrow_field &field = fields_.emplace_back(field_of(*schema.children[i]));
    if (!names.insert(field.name).second)
      throw error(fmt::format("two columns are called '{}'", shortened(field.name)));
    const auto chosen = choices.find(field.name);
    made_.columns.push_back({field.name, field.values.sql_type, type_of(field.values.sql_type)});
    builders_.emplace_back(made_.columns.back(), chosen == choices.end() ? encoding_choice{} : chosen->second);
  }
  for (const auto &[name, choice] : choices)
    if (!names.contains(name))
      throw error(fmt::format("no column '{}'", shortened(name)));
}

void arrow_importer::add(const ArrowArray &batch) {
  const array_faults faults("a record batch");
  check_shape(&batch, {1, false, static_cast<int64_t>(fields_.size()), false}, faults);
  faults.unless(validity(batch, faults).is_whole(), "has a row that is NULL as a whole");
  for (size_t i = 0; i < fields_.size(); ++i)
    append_rows(builders_[i], fields_[i], batch.children[i], {batch.offset, batch.length});
  made_.rows += static_cast<uint64_t>(batch.length);
}

arrow_table arrow_importer::finish() {
  for (size_t i = 0; i < fields_.size(); ++i)
    made_.encoded.emplace(fields_[i].name, builders_[i].finish());
  return std::move(made_);
}

arrow_table import_arrow(ArrowArrayStream &stream, const choice_map &choices) {
  arrow_owner<ArrowArrayStream> source(stream);
  if (source->release == nullptr || source->get_schema == nullptr || source->get_next == nullptr)
    throw error("the Arrow stream was released");
  ArrowSchema schema{};
  check(source->get_schema(&*source, &schema), *source);
  arrow_owner<ArrowSchema> owned_schema(schema);
  arrow_importer importer(*owned_schema, choices);
  for (;;) {
    ArrowArray batch{};
    check(source->get_next(&*source, &batch), *source);
    if (batch.release == nullptr)
      return importer.finish();
    arrow_owner<ArrowArray> owned_batch(batch);
    importer.add(*owned_batch);
  }
}

arrow_table import_arrow(ArrowSchema &schema, ArrowArray &batch, const choice_map &choices) {
  arrow_owner<ArrowSchema> owned_schema(schema);
  arrow_owner<ArrowArray> owned_batch(batch);
  arrow_importer importer(*owned_schema, choices);
  importer.add(*owned_batch);
  return importer.finish();
}

} // namespace store
