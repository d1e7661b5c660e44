#include "store/saved/saved_table.hpp"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <set>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "store/encode/big_endian.hpp"
#include "store/encode/packing.hpp"
#include "store/encode/prefix_encoder.hpp"
#include "store/error.hpp"
#include "store/saved/validation.hpp"
#include <vorn/encode.h>
#include <vorn/host.h>
#include <vorn/qpak_encoder.hpp>

namespace store {

using namespace saved;

namespace {

owned_bytes copy_of(std::span<const uint8_t> bytes, const std::string &name) {
  const auto copied = std::make_shared<vorn_host::aligned_vector<uint8_t>>();
  if (bytes.size() < packed_at || std::memcmp(bytes.data(), packed_magic.data(), packed_magic.size()) != 0) {
    copied->assign(bytes.begin(), bytes.end());
  } else {
    uint64_t size = 0;
    std::memcpy(&size, bytes.data() + packed_magic.size(), sizeof size);
    // The decoder wants aligned bytes and does not know where they end.
    const vorn_host::aligned_vector<uint8_t> blocks(bytes.begin() + packed_at, bytes.end());
    constexpr uint64_t most_compressed = 256; // times as many bytes as LZ4 makes of them, at least
    uint32_t made = 0;
    const bool is_whole = blocks.size() > vorn_host::cache_line && size / most_compressed < blocks.size() &&
                          size <= std::numeric_limits<uint32_t>::max() &&
                          vorn_host::qpak_stream_size(blocks.data(), blocks.size()) == blocks.size();
    if (is_whole)
      copied->resize(size);
    if (!is_whole ||
        qpak_decode(nullptr, nullptr, blocks.data(), copied->data(), &made, static_cast<uint32_t>(size), 0, 0, 0) != 0)
      throw error(fmt::format("{} is damaged: its blocks do not decompress", shortened(name)));
  }
  return {*copied, copied, [] { return false; }};
}

template <class Record>
void read(std::span<const uint8_t> from, std::span<Record> out) {
  std::memcpy(out.data(), from.data(), out.size_bytes());
}

uint64_t bytes_of_bits(uint64_t bits) { return (bits + 7) / 8; }

// Streams of a section, one after the other.
class stream_walk {
public:
  stream_walk(std::span<const uint8_t> section_content, const std::shared_ptr<const void> &owner)
      : rest_(section_content), owner_(owner) {}

  // A stream of this many bytes, with the bytes after it.
  stored_array<uint8_t> next(uint64_t bytes) {
    require(room_of(bytes) <= rest_.size(), "a stream goes beyond its section");
    const std::span<const uint8_t> out = rest_.first(bytes + vorn_host::cache_line);
    rest_ = rest_.subspan(room_of(bytes));
    return {out, owner_};
  }
  bool at_end() const { return rest_.empty(); }

private:
  std::span<const uint8_t> rest_;
  const std::shared_ptr<const void> &owner_;
};

// The bytes of the lengths of a segment.
uint64_t length_bytes_of(const column &of, const column_segment &rows) {
  switch (of.form) {
  case encoding::rle:
    return uint64_t{rows.runs} * of.run_length_bits / 8;
  case encoding::dynp:
    return bytes_of_bits(uint64_t{rows.rows} * length_code_bits(of.width));
  case encoding::prefix:
    return (rows.rows + prefix_group - 1) / prefix_group * sizeof(uint32_t);
  default:
    return 0;
  }
}

// The bytes of the values of a segment, computed from its length codes.
uint32_t dynp_bytes(const column &of, const column_segment &rows) {
  const uint32_t bits = length_code_bits(of.width);
  const std::span<const uint8_t> lengths(rows.lens.data(), rows.length_bytes());
  // Four bits can hold more than the lengths 1 to 8.
  const bool are_lengths =
      of.width != 64 || std::none_of(lengths.begin(), lengths.end(), [](uint8_t two) { return (two & 0x88) != 0; });
  const auto without_row = static_cast<uint32_t>(lengths.size() * 8 / bits - rows.rows);
  require(are_lengths && (lengths.back() & ((1U << (without_row * bits)) - 1)) == 0, "its length codes are none");
  // The unused length codes of the last byte count one byte each.
  return std::accumulate(
             lengths.begin(), lengths.end(), uint32_t{0},
             [bytes = bytes_of_lengths(of.width)](uint32_t sum, uint8_t some) { return sum + bytes[some]; }) -
         without_row;
}

// The bytes of the value stream of a segment before it was compressed.
uint64_t plain_bytes_of(const column &of, const column_segment &rows) {
  switch (of.form) {
  case encoding::rle:
    return bytes_of_bits(uint64_t{rows.runs} * of.width);
  case encoding::dynp:
    return dynp_bytes(of, rows);
  case encoding::prefix:
    return rows.stored_bytes();
  default:
    return bytes_of_bits(uint64_t{rows.rows} * of.width);
  }
}

} // namespace

saved_table::saved_table(const vorn_ctx &ctx, const std::filesystem::path &path)
    : saved_table(ctx, mapped_file(path), path) {}

saved_table::saved_table(const vorn_ctx &ctx, std::span<const uint8_t> bytes, const std::string &name)
    : saved_table(ctx, copy_of(bytes, name), name) {}

saved_table::saved_table(const vorn_ctx &ctx, owned_bytes file, const std::filesystem::path &path)
    : ctx_(ctx), file_name_(shortened(path.string())), file_(std::move(file)) {
  stem = path.stem().string();
  read_header();
  try {
    read_catalogue();
  } catch (const error &e) {
    throw error(fmt::format("{} is damaged: {}", file_name_, e.what()));
  }
}

void saved_table::read_header() {
  header first;
  const uint64_t size = file_.bytes.size();
  if (size < magic.size() || std::memcmp(file_.bytes.data(), magic.data(), magic.size()) != 0)
    throw error(fmt::format("{} is not a saved table", file_name_));
  if (size < sizeof first)
    throw error(fmt::format("{} is cut: it ends after {} bytes", file_name_, size));
  read(file_.bytes, std::span(&first, 1));
  if (first.version != current_version)
    throw error(fmt::format("{} has version {} of the format of saved tables; {} is the one that can be read",
                            file_name_, first.version, current_version));
  if (size != first.file_bytes)
    throw error(fmt::format("{} has {} bytes of {}", file_name_, size, first.file_bytes));
  const uint64_t table_bytes = section_count(first.columns) * sizeof(section);
  if (table_bytes > size - sizeof first)
    throw error(fmt::format("{} is damaged: the section table goes beyond the end", file_name_));
  std::vector<uint8_t> head(file_.bytes.begin(),
                            file_.bytes.begin() + static_cast<ptrdiff_t>(sizeof first + table_bytes));
  const uint64_t expected = std::exchange(first.checksum, 0);
  std::memcpy(head.data(), &first, sizeof first);
  if (vornenc_hash(head.data(), head.size(), 0) != expected)
    throw error(fmt::format("{} is damaged: the header or the section table has changed", file_name_));
  row_count = first.rows;
  records_.resize(first.columns);
  sections_.resize(section_count(first.columns));
  read(file_.bytes.subspan(sizeof first), std::span(sections_));
}

std::span<const uint8_t> saved_table::section_at(uint64_t index) const {
  const section &wanted = sections_[index];
  const uint64_t size = file_.bytes.size();
  require(wanted.offset % vorn_host::cache_line == 0 && wanted.offset <= size && wanted.bytes <= size &&
              room_of(wanted.bytes) <= size - wanted.offset,
          "a section goes beyond the end");
  const std::span<const uint8_t> out = file_.bytes.subspan(wanted.offset, wanted.bytes);
  require(vornenc_hash(out.data(), out.size(), 0) == wanted.checksum, "a section has changed");
  return out;
}

void saved_table::read_catalogue() {
  const std::span<const uint8_t> catalogue = section_at(0);
  require(!records_.empty() && records_.size() * sizeof(column_record) <= catalogue.size(), "there are no columns");
  read(catalogue, std::span(records_));
  std::span<const uint8_t> rest = catalogue.subspan(records_.size() * sizeof(column_record));
  const auto text = [&](uint32_t bytes) {
    require(bytes <= rest.size(), "a name goes beyond the catalogue");
    std::string out(reinterpret_cast<const char *>(rest.data()), bytes);
    rest = rest.subspan(bytes);
    return out;
  };
  std::set<std::string> names;
  for (const column_record &record : records_) {
    const std::string name = text(record.name_bytes);
    const std::string sql_type = text(record.type_bytes);
    infos.push_back({name, sql_type, type_of(sql_type)});
    require(infos.back().type.has_value(), "a column has a type that is not stored");
    require(names.insert(name).second, "two columns have one name");
  }
  require(rest.empty(), "the catalogue goes on after its names");
}

void saved_table::check_encoding(const column_info &info, const encoding_choice & /*choice*/) const {
  throw error(fmt::format("column '{}' is that of a saved table, which stays as it was encoded", shortened(info.name)));
}

void saved_table::require_unchanged() const {
  if (file_.has_changed())
    throw error(fmt::format("{} has changed while it was read", file_name_));
}

template <class Read>
column saved_table::column_read(const column_info &info, const Read &read) const {
  try {
    return read(static_cast<size_t>(&find(info.name) - infos.data()));
  } catch (const error &e) {
    throw error(fmt::format("{} is damaged: column '{}': {}", file_name_, shortened(info.name), e.what()));
  }
}

column saved_table::load(const column_info &info, const encoding_choice & /*choice*/,
                         const std::function<void(uint64_t)> &progress) const {
  column out = column_read(info, [&](size_t index) { return read_column(index); });
  progress(row_count);
  return out;
}

std::optional<column> saved_table::described(const column_info &info) const {
  return column_read(info, [&](size_t index) {
    constexpr uint64_t large = uint64_t{1} << 20;
    column out = read_form(index);
    const bool is_large = sections_[section_index(index, part::symbols)].bytes > large;
    if (is_large && out.type.is_bytes())
      out.values = std::monostate{};
    else
      read_values(index, out);
    const stored_array<segment_record> records = segment_records(index);
    read_zones(out, {records.data(), records.size()});
    for (const column_segment &rows : out.segments)
      require(!rows.held.has_values() || std::holds_alternative<std::monostate>(out.values) ||
                  (rows.held.low >= out.first_ordinal() && rows.held.high <= out.last_ordinal()),
              "a batch has values beyond the column");
    return out;
  });
}

column saved_table::read_form(size_t index) const {
  const column_record &record = records_[index];
  column out;
  out.name = infos[index].name;
  out.type = *infos[index].type;
  out.plain_bytes = record.plain_bytes;
  out.rows = row_count;
  require(record.form <= static_cast<uint8_t>(encoding::prefix), "its form is unknown");
  out.form = static_cast<encoding>(record.form);
  out.compressed = record.is_compressed != 0;
  out.width = record.width;
  out.run_length_bits = record.run_length_bits;
  return out;
}

column saved_table::read_column(size_t index) const {
  column out = read_form(index);
  read_values(index, out);
  check_form(out);
  read_segments(index, out);
  check_values(ctx_, out);
  return out;
}

template <class Element>
stored_array<Element> saved_table::elements_of(size_t index, part which) const {
  const std::span<const uint8_t> bytes = part_of(index, which);
  require(bytes.size() % sizeof(Element) == 0, "a section ends inside of an element");
  return {{reinterpret_cast<const Element *>(bytes.data()), bytes.size() / sizeof(Element)}, file_.owner};
}

void saved_table::read_values(size_t index, column &out) const {
  const column_record &record = records_[index];
  if (out.form == encoding::dict || out.form == encoding::rle) {
    dictionary::parts made{elements_of<char>(index, part::symbols), elements_of<uint32_t>(index, part::symbol_ends),
                           big_endian(record.symbol_bytes), record.has_null != 0, record.codes};
    check_symbol_ends(made);
    check_symbols(out.values.emplace<dictionary>(std::move(made)), out.type.kind);
  } else if (out.form == encoding::prefix && out.type.is_bytes()) {
    out.values = std::monostate{};
  } else {
    out.values = key_range{record.low, record.high};
  }
}

stored_array<segment_record> saved_table::segment_records(size_t index) const {
  const uint64_t count = row_count / row_group_rows + (row_count % row_group_rows != 0 ? 1 : 0);
  stored_array<segment_record> out = elements_of<segment_record>(index, part::segments);
  require(out.size() == count, "it does not have a segment for each row group of the table");
  return out;
}

void saved_table::read_zones(column &out, std::span<const segment_record> described) const {
  for (const segment_record &record : described) {
    column_segment &rows = out.segments.emplace_back();
    rows.rows = static_cast<uint32_t>(
        std::min<uint64_t>(row_group_rows, row_count - (out.segments.size() - 1) * row_group_rows));
    rows.held = {record.low, record.high, record.nulls};
  }
}

void saved_table::read_segments(size_t index, column &out) const {
  const stored_array<segment_record> described = segment_records(index);
  read_zones(out, {described.data(), described.size()});
  stream_walk streams_left(part_of(index, part::streams), file_.owner);
  stream_walk lengths_left(part_of(index, part::lengths), file_.owner);
  for (size_t group = 0; group < described.size(); ++group) {
    const segment_record &record = described[group];
    column_segment &rows = out.segments[group];
    rows.runs = record.runs;
    require(out.form == encoding::rle ? rows.runs != 0 && rows.runs <= rows.rows : rows.runs == 0,
            "it has not as many runs as rows");
    rows.stream = streams_left.next(record.stream_bytes);
    if (const uint64_t bytes = length_bytes_of(out, rows); bytes != 0)
      rows.lens = lengths_left.next(bytes);
    const uint64_t plain_bytes = plain_bytes_of(out, rows);
    rows.stream_bytes = static_cast<uint32_t>(plain_bytes);
    require(out.compressed || plain_bytes == record.stream_bytes, "a stream is not as long as its rows");
    check_lengths(out, rows);
  }
  require(streams_left.at_end() && lengths_left.at_end(), "a section goes on after its streams");
}

} // namespace store
