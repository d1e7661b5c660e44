// Record batches that another library might make.  They may be faulty.  An imported batch can be read, exported, and
// imported again.
//
// The interface does not give the lengths of buffers, lists and metadata, so an importer cannot check them.  Here every
// list has the length in its record, and every buffer has the bytes that its array needs, as far as the lengths,
// offsets and sizes are possible.  A format never contradicts its array.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <list>
#include <string>
#include <vector>

#include "fuzz/store/targets.hpp"
#include "store/arrow/export.hpp"
#include "store/arrow/exported.hpp"
#include "store/arrow/import.hpp"
#include "store/error.hpp"
#include "tests/store/stored_values.hpp"

namespace vorn_fuzz {

using namespace store;

namespace {

using aligned_bytes = vorn_host::aligned_vector<uint8_t>;

struct plain_format {
  const char *name;
  int64_t bytes; // of an element
};
constexpr plain_format formats[] = {
    {"c", 1},        {"C", 1},         {"s", 2},       {"S", 2},        {"i", 4},    {"I", 4},    {"l", 8},
    {"L", 8},        {"f", 4},         {"g", 8},       {"tdD", 4},      {"tdm", 8},  {"tts", 4},  {"ttm", 4},
    {"ttu", 8},      {"ttn", 8},       {"tss:", 8},    {"tsm:", 8},     {"tsu:", 8}, {"tsn:", 8}, {"tsn:UTC", 8},
    {"d:9,2,32", 4}, {"d:18,3,64", 8}, {"d:20,1", 16}, {"d:38,10", 16}, {"w:0", 0},  {"w:3", 3},  {"w:16", 16},
};

// An array and its schema.  The records may report other numbers than the true ones.
struct made_array {
  schema_parts schema;
  array_parts array;
  int64_t offset = 0;
  std::vector<made_array> children = {};
  std::vector<made_array> dictionary = {}; // one or none
  bool is_released = false;
};

class array_maker {
public:
  explicit array_maker(input &source) : from_(source) {}

  // A column of at least this many rows, if its metadata is true.
  made_array column(int64_t rows, const std::string &name) {
    made_array out = runs_or_rows(rows);
    out.schema.name = name;
    return out;
  }

  // The length that an array reports, and the lengths of its parts.
  int64_t length_of(int64_t truth) {
    constexpr int64_t lies[] = {-1, 0, std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min(),
                                int64_t{1} << 31};
    return !seldom(from_) ? truth : seldom(from_) ? from_.PickValueInArray(lies) : std::max<int64_t>(truth - 1, 0);
  }

  // Missing or additional buffers; an impossible NULL count, offset or release function.
  void corrupt(made_array &of) {
    std::vector<arrow_buffer> &buffers = of.array.buffers;
    if (seldom(from_) && !buffers.empty())
      buffers[from_.ConsumeIntegralInRange<size_t>(0, buffers.size() - 1)] = arrow_buffer();
    const bool are_views = of.schema.format.starts_with('v'); // whose last buffer tells of the others
    if (seldom(from_))
      buffers.emplace_back();
    else if (seldom(from_) && !buffers.empty() && !are_views)
      buffers.pop_back();
    if (seldom(from_))
      of.array.null_count = from_.ConsumeIntegralInRange(-128, 127);
    if (seldom(from_))
      of.offset = from_.ConsumeBool() ? -1 : std::numeric_limits<int64_t>::max();
    of.is_released = seldom(from_) && seldom(from_);
  }

private:
  made_array runs_or_rows(int64_t rows) {
    if (from_.ConsumeIntegralInRange(0, 5) != 5)
      return rows_or_indices(rows);
    made_array out{{"+r"}, {length_of(rows), 0, {}}, from_.ConsumeIntegralInRange<int64_t>(0, 3)};
    std::vector<int64_t> ends;
    for (int64_t end = 0; end < rows + out.offset;)
      ends.push_back(end += seldom(from_) ? from_.ConsumeIntegral<int8_t>() : from_.ConsumeIntegralInRange(1, 9));
    constexpr plain_format end_formats[] = {{"s", 2}, {"i", 4}, {"l", 8}};
    out.children.push_back(integers(from_.PickValueInArray(end_formats), ends, false));
    out.children.push_back(rows_or_indices(static_cast<int64_t>(ends.size())));
    if (seldom(from_))
      out.children.pop_back();
    return out;
  }

  made_array rows_or_indices(int64_t rows) {
    if (from_.ConsumeIntegralInRange(0, 4) != 4)
      return plain(rows);
    std::vector<int64_t> indices;
    const auto entries = from_.ConsumeIntegralInRange<int64_t>(0, 9);
    for (int64_t row = 0; row < rows; ++row)
      indices.push_back(seldom(from_) ? from_.ConsumeIntegral<int64_t>()
                                      : from_.ConsumeIntegralInRange<int64_t>(0, entries));
    made_array out = integers(formats[from_.ConsumeIntegralInRange(0, 7)], indices, true);
    if (!seldom(from_))
      out.dictionary.push_back(plain(entries + 1));
    return out;
  }

  made_array plain(int64_t rows) {
    switch (from_.ConsumeIntegralInRange(0, 5)) {
    case 0:
      return bits(rows);
    case 1:
      return texts<int32_t>(from_.ConsumeBool() ? "u" : "z", rows);
    case 2:
      return texts<int64_t>(from_.ConsumeBool() ? "U" : "Z", rows);
    case 3:
      return views(from_.ConsumeBool() ? "vu" : "vz", rows);
    default:
      break;
    }
    const plain_format &format = from_.PickValueInArray(formats);
    made_array out = begin(format.name, rows, true);
    out.array.buffers.emplace_back(content((held(out)) * format.bytes));
    return finished(std::move(out));
  }

  // An array with a bitmap or without, before its other buffers.
  made_array begin(const char *format, int64_t rows, bool may_be_null) {
    made_array out{{format}, {length_of(rows), 0, {}}, seldom(from_) ? from_.ConsumeIntegralInRange<int64_t>(1, 9) : 0};
    if (may_be_null && from_.ConsumeBool()) {
      const aligned_bytes map = content((held(out) + 7) / 8);
      int64_t nulls = 0;
      for (int64_t row = 0; row < out.array.length && row < held(out) - out.offset; ++row)
        nulls += (map[static_cast<size_t>((out.offset + row) / 8)] >> ((out.offset + row) % 8) & 1) == 0 ? 1 : 0;
      out.array.null_count = from_.ConsumeBool() ? nulls : -1;
      out.array.buffers.emplace_back(map);
    } else {
      out.array.buffers.emplace_back();
    }
    return out;
  }
  made_array finished(made_array out) {
    corrupt(out);
    return out;
  }

  // The elements before the end of an array with a possible length.
  static int64_t held(const made_array &of) {
    return of.offset + (of.array.length < 0 || of.array.length > 1000 ? 0 : of.array.length);
  }

  aligned_bytes content(int64_t size) {
    const auto taken = from_.ConsumeBytes<uint8_t>(static_cast<size_t>(size));
    aligned_bytes out(taken.begin(), taken.end());
    out.resize(static_cast<size_t>(size));
    return out;
  }

  made_array integers(const plain_format &format, const std::vector<int64_t> &numbers, bool may_be_null) {
    made_array out = begin(format.name, static_cast<int64_t>(numbers.size()), may_be_null);
    aligned_bytes stored(static_cast<size_t>(held(out) * format.bytes));
    const auto first = static_cast<size_t>(out.offset * format.bytes), size = static_cast<size_t>(format.bytes);
    for (size_t i = 0; i < numbers.size() && first + (i + 1) * size <= stored.size(); ++i)
      std::memcpy(&stored[first + i * size], &numbers[i], size);
    out.array.buffers.emplace_back(std::move(stored));
    return finished(std::move(out));
  }

  made_array bits(int64_t rows) {
    made_array out = begin("b", rows, true);
    out.array.buffers.emplace_back(content((held(out) + 7) / 8));
    return finished(std::move(out));
  }

  template <class Offset>
  made_array texts(const char *format, int64_t rows) {
    made_array out = begin(format, rows, true);
    vorn_host::aligned_vector<Offset> offsets;
    Offset at = 0, most = 0;
    for (int64_t i = 0; i <= held(out); ++i) {
      offsets.push_back(at);
      most = std::max(most, at);
      at += static_cast<Offset>(seldom(from_) ? from_.ConsumeIntegral<int16_t>() * 3
                                              : from_.ConsumeIntegralInRange(0, 9));
    }
    out.array.buffers.emplace_back(std::move(offsets));
    out.array.buffers.emplace_back(content(int64_t{most}));
    return finished(std::move(out));
  }

  made_array views(const char *format, int64_t rows) {
    made_array out = begin(format, rows, true);
    std::vector<aligned_bytes> texts(from_.ConsumeIntegralInRange<size_t>(0, 3));
    vorn_host::aligned_vector<int64_t> sizes;
    for (aligned_bytes &text : texts) {
      text = content(from_.ConsumeIntegralInRange<int64_t>(13, 40));
      sizes.push_back(seldom(from_) ? from_.ConsumeIntegral<int8_t>() % static_cast<int8_t>(text.size())
                                    : static_cast<int64_t>(text.size()));
    }
    vorn_host::aligned_vector<std::array<int32_t, 4>> stored;
    for (int64_t i = 0; i < held(out); ++i) {
      auto &[length, prefix, buffer, offset] = stored.emplace_back();
      length = seldom(from_) ? from_.ConsumeIntegral<int32_t>() : from_.ConsumeIntegralInRange(0, 20);
      prefix = from_.ConsumeIntegral<int32_t>();
      buffer = from_.ConsumeIntegralInRange(seldom(from_) ? -1 : 0, static_cast<int>(texts.size()));
      offset = seldom(from_) ? from_.ConsumeIntegral<int32_t>() : from_.ConsumeIntegralInRange(0, 20);
      if (length > 12 && buffer >= 0 && buffer < static_cast<int>(texts.size()) && offset >= 0 && offset < 10 &&
          !seldom(from_))
        std::memcpy(&prefix, &texts[static_cast<size_t>(buffer)][static_cast<size_t>(offset)], sizeof prefix);
    }
    out.array.buffers.emplace_back(std::move(stored));
    for (aligned_bytes &text : texts)
      out.array.buffers.emplace_back(std::move(text));
    out.array.buffers.emplace_back(std::move(sizes));
    return finished(std::move(out));
  }

  input &from_;
};

// The made array in the form of an export.  This object owns the dictionaries.
class exported_batch {
public:
  explicit exported_batch(const made_array &made) : schema(schema_of(made)), array(array_of(made)) {
    complete(made, schema, array);
  }
  ArrowSchema schema;
  ArrowArray array;

private:
  static ArrowSchema schema_of(const made_array &made) {
    return exported(parts_of<schema_parts>(made, &made_array::schema));
  }
  static ArrowArray array_of(const made_array &made) {
    return exported(parts_of<array_parts>(made, &made_array::array));
  }

  template <class Parts>
  static Parts parts_of(const made_array &made, Parts made_array::*member) {
    Parts out = made.*member;
    for (const made_array &child : made.children)
      out.children.push_back(parts_of(child, member));
    return out;
  }

  void complete(const made_array &made, ArrowSchema &its_schema, ArrowArray &its_array) {
    its_array.offset = made.offset;
    for (size_t i = 0; i < made.children.size(); ++i)
      complete(made.children[i], *its_schema.children[i], *its_array.children[i]);
    for (const made_array &entries : made.dictionary) {
      its_schema.dictionary = &*schemas_.emplace_back(schema_of(entries));
      its_array.dictionary = &*arrays_.emplace_back(array_of(entries));
      complete(entries, *its_schema.dictionary, *its_array.dictionary);
    }
    if (made.is_released)
      its_array.release(&its_array);
  }

  std::list<arrow_owner<ArrowSchema>> schemas_;
  std::list<arrow_owner<ArrowArray>> arrays_;
};

std::vector<std::string> rows_of(const arrow_table &table) {
  std::vector<std::string> out(table.rows);
  for (const store::column *c : table.in_order()) {
    auto row = out.begin();
    vorn_test::for_each_value(context(), *c, [&](const cell &value) { append_text(*row++ += '|', value, c->type); });
  }
  return out;
}

encoding_choice choice_from(input &from) {
  constexpr std::optional<encoding> forms[] = {std::nullopt, encoding::rle, encoding::fixed, encoding::dynp,
                                               encoding::prefix};
  return {seldom(from) ? from.PickValueInArray(forms) : std::nullopt, false};
}

// A schema alone.  The input gives its format.
void read_schema(input &from) {
  schema_parts made{"+s"};
  made.children.push_back({from.ConsumeRandomLengthString(), "a"});
  made.children.push_back({"+r", "b"});
  for (int i = 0; i < 2; ++i)
    made.children.back().children.push_back({from.ConsumeRandomLengthString()});
  arrow_owner<ArrowSchema> schema(exported(std::move(made)));
  arrow_importer importer(*schema);
}

void read_batch(input &from) {
  array_maker maker(from);
  const auto rows = from.ConsumeIntegralInRange<int64_t>(0, 70), first = from.ConsumeIntegralInRange<int64_t>(0, 3);
  const auto columns = from.ConsumeIntegralInRange(1, 3);
  made_array made{{"+s"}, {maker.length_of(rows), 0, {arrow_buffer()}}, first};
  choice_map choices;
  for (int c = 0; c < columns; ++c) {
    const std::string name(1, static_cast<char>('a' + c));
    made.children.push_back(maker.column(rows + first, name));
    choices[name] = choice_from(from);
  }
  maker.corrupt(made);
  exported_batch batch(made);
  const arrow_table table = import_arrow(batch.schema, batch.array, choices);
  EXPECT_EQ(table.rows, static_cast<uint64_t>(made.array.length));
  const auto expected = rows_of(table);
  EXPECT_EQ(expected.size(), table.rows);
  const arrow_table again = import_arrow(*exported_rows(context(), table.in_order(), std::nullopt));
  EXPECT_EQ(rows_of(again), expected);
}

} // namespace

void arrow(input &from) {
  try {
    seldom(from) ? read_schema(from) : read_batch(from);
  } catch (const error &) { // NOLINT(bugprone-empty-catch)
  }
}

} // namespace vorn_fuzz
