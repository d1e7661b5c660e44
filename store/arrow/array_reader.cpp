#include "store/arrow/array_reader.hpp"

#include <algorithm>
#include <optional>

namespace store {

namespace {

template <class Builder>
std::vector<typename Builder::row> plain_rows(Builder &out, const arrow_type &type, const ArrowArray &array,
                                              row_range rows, const array_faults &faults) {
  if (type.layout == arrow_layout::nulls) {
    std::vector<typename Builder::row> none;
    for (int64_t row = 0; row < rows.count; ++row)
      none.push_back(out.null_row());
    return none;
  }
  const validity valid(array, faults);
  const array_values<typename Builder::value> read(type, array, rows, valid, faults);
  std::vector<typename Builder::row> made;
  made.reserve(read.values.size());
  for (const auto &value : read.values)
    made.push_back(valid[rows.first + static_cast<int64_t>(made.size())] ? out.row_of(value) : out.null_row());
  return made;
}

// Rows by the indices of entries.  An entry that no row refers to does not become a value of the column.
template <class Builder>
std::vector<typename Builder::row> indexed_rows(Builder &out, const arrow_field &field, const ArrowArray &array,
                                                row_range rows, const array_faults &faults) {
  const ArrowArray &dictionary = *array.dictionary;
  check_shape(&dictionary, shape_of(field.values.layout), faults);
  const validity valid_entries(dictionary, faults);
  const array_values<typename Builder::value> entries(field.values, dictionary, all_rows(dictionary), valid_entries,
                                                      faults);
  std::vector<std::optional<typename Builder::row>> known(entries.values.size());
  const auto row_of_entry = [&](size_t index) {
    if (!known[index])
      known[index] = valid_entries[static_cast<int64_t>(index)] ? out.row_of(entries.values[index]) : out.null_row();
    return *known[index];
  };

  const validity valid(array, faults);
  std::vector<typename Builder::row> made;
  made.reserve(static_cast<size_t>(rows.count));
  with_integers(*field.index, array, rows, faults, [&](const auto &indices) {
    for (int64_t row = 0; row < rows.count; ++row) {
      if (!valid[rows.first + row]) {
        made.push_back(out.null_row());
        continue;
      }
      const auto index = indices[row];
      faults.unless(std::cmp_greater_equal(index, 0) && std::cmp_less(index, known.size()),
                    "has index {} into a dictionary of {} values", index, known.size());
      made.push_back(row_of_entry(static_cast<size_t>(index)));
    }
  });
  return made;
}

template <class Builder>
std::vector<typename Builder::row> rows_of(Builder &out, const arrow_field &field, const ArrowArray *array,
                                           row_range rows, const array_faults &faults) {
  array_shape shape = shape_of(field.index.value_or(field.values.layout));
  shape.has_dictionary = field.index.has_value();
  check_shape(array, shape, faults);
  faults.unless(rows.first + rows.count <= array->length, "has an array of {} rows where {} are needed", array->length,
                rows.first + rows.count);
  return field.index ? indexed_rows(out, field, *array, rows, faults)
                     : plain_rows(out, field.values, *array, rows, faults);
}

// The runs with rows in a range, and the number of these rows in each run.
struct runs_of_range {
  int64_t first = 0;
  std::vector<uint64_t> lengths;
};

runs_of_range runs_in(const arrow_field &field, const ArrowArray &ends, row_range rows, const array_faults &faults) {
  runs_of_range out;
  const int64_t end = rows.first + rows.count;
  int64_t before = 0;
  with_integers(*field.run_ends, ends, all_rows(ends), faults, [&](const auto &ends_of_runs) {
    for (int64_t run = 0; run < ends.length && before < end; ++run) {
      const int64_t run_end = static_cast<int64_t>(+ends_of_runs[run]);
      faults.unless(run_end > before, "has a run that ends at row {} after a run that ends at row {}", run_end, before);
      const int64_t length = std::min(run_end, end) - std::max(before, rows.first);
      if (length > 0)
        out.lengths.push_back(static_cast<uint64_t>(length));
      else
        out.first = run + 1;
      before = run_end;
    }
  });
  faults.unless(before >= end, "has runs of {} rows where {} are needed", before, end);
  return out;
}

template <class Builder>
void append_runs(Builder &out, const arrow_field &field, const ArrowArray *array, row_range rows,
                 const array_faults &faults) {
  check_shape(array, {0, true, 2, false}, faults); // some libraries add a buffer for a bitmap and leave it empty
  faults.unless(array->null_count <= 0, "has runs that say they are NULL, which only their values are");
  faults.unless(rows.first + rows.count <= array->length, "has an array of {} rows where {} are needed", array->length,
                rows.first + rows.count);
  const ArrowArray *ends = array->children[0];
  check_shape(ends, shape_of(*field.run_ends), faults);
  faults.unless(ends->null_count <= 0 && ends->buffers[0] == nullptr, "has run ends that are NULL");
  const runs_of_range runs = runs_in(field, *ends, {array->offset + rows.first, rows.count}, faults);
  const auto values =
      rows_of(out, field, array->children[1], {runs.first, static_cast<int64_t>(runs.lengths.size())}, faults);
  for (size_t run = 0; run < values.size(); ++run)
    out.append_run(values[run], runs.lengths[run]);
}

} // namespace

void append_rows(column_builder &out, const arrow_field &field, const ArrowArray *array, row_range rows) {
  const array_faults faults(fmt::format("column '{}'", shortened(field.name)));
  out.with([&](auto &builder) {
    if (field.run_ends)
      append_runs(builder, field, array, rows, faults);
    else
      for (const auto &row : rows_of(builder, field, array, rows, faults))
        builder.append(row);
  });
}

} // namespace store
