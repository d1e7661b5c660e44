#include "store/saved/save.hpp"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "store/encode/big_endian.hpp"
#include "store/error.hpp"
#include "store/saved/format.hpp"
#include "store/saved/replaced_file.hpp"
#include <vorn/encode.h>
#include <vorn/qpak_encoder.hpp>

namespace store {

namespace {

using namespace saved;

// Builds a section.
class section_bytes {
public:
  template <class Record>
  void add(const Record &record) {
    add(&record, sizeof record);
  }
  void add(const void *bytes, size_t count) {
    const auto *first = static_cast<const uint8_t *>(bytes);
    content_.insert(content_.end(), first, first + count);
  }
  // Begins on a cache line, and another cache line follows.
  void add_stream(const uint8_t *bytes, size_t count) {
    add(bytes, count);
    content_.resize(content_.size() + room_of(count) - count);
  }

  const std::vector<uint8_t> &bytes() const { return content_; }

private:
  std::vector<uint8_t> content_;
};

uint64_t checksum_of(const section_bytes &content) {
  return vornenc_hash(content.bytes().data(), content.bytes().size(), 0);
}

column_record record_of(const saved_column &c) {
  const column &stored = c.stored;
  column_record out;
  out.plain_bytes = stored.plain_bytes;
  if (const auto *range = std::get_if<key_range>(&stored.values)) {
    out.low = range->low;
    out.high = range->high;
  } else if (const auto *entries = std::get_if<dictionary>(&stored.values)) {
    out.codes = entries->codes();
    out.symbol_bytes = entries->stored().cla.empty() ? big_endian(entries->stored().one_length) : uint16_t{0};
    out.has_null = entries->has_null();
  }
  out.name_bytes = static_cast<uint32_t>(c.name.size());
  out.type_bytes = static_cast<uint32_t>(c.sql_type.size());
  out.width = stored.width;
  out.form = static_cast<uint8_t>(stored.form);
  out.is_compressed = stored.compressed;
  out.run_length_bits = stored.run_length_bits;
  return out;
}

section_bytes catalogue_of(std::span<const saved_column> columns) {
  section_bytes out;
  for (const saved_column &c : columns)
    out.add(record_of(c));
  for (const saved_column &c : columns) {
    out.add(c.name.data(), c.name.size());
    out.add(c.sql_type.data(), c.sql_type.size());
  }
  return out;
}

section_bytes part_of(const column &stored, part which) {
  section_bytes out;
  const auto *entries = std::get_if<dictionary>(&stored.values);
  if (which == part::symbols && entries != nullptr)
    out.add(entries->stored().symbols.data(), entries->stored().symbols.size());
  if (which == part::symbol_ends && entries != nullptr)
    out.add(entries->stored().cla.data(), entries->stored().cla.size() * sizeof(uint32_t));
  for (const column_segment &b : stored.segments)
    if (which == part::segments)
      out.add(
          segment_record{b.held.low, b.held.high, b.held.nulls, b.runs, static_cast<uint32_t>(b.stored_bytes()), 0});
    else if (which == part::streams)
      out.add_stream(b.stream.data(), b.stored_bytes());
    else if (which == part::lengths && b.length_bytes() != 0)
      out.add_stream(b.lens.data(), b.length_bytes());
  return out;
}

// The sections, one after the other.  `write` puts bytes at a place.
template <class Write>
class writer {
public:
  writer(Write write, uint64_t columns)
      : write_(std::move(write)), end_(room_of(sizeof(header) + section_count(columns) * sizeof(section))) {}

  void add(const section_bytes &content) {
    const std::vector<uint8_t> &bytes = content.bytes();
    write_(bytes, end_);
    table_.push_back({end_, bytes.size(), checksum_of(content)});
    end_ += room_of(bytes.size());
  }

  // Returns the number of bytes.
  uint64_t finish(uint32_t columns, uint64_t rows) {
    header first;
    first.columns = columns;
    first.rows = rows;
    first.file_bytes = end_;
    first.checksum = checksum_of(head_of(first));
    write_(head_of(first).bytes(), 0);
    // The bytes after the last section.
    const uint8_t last = 0;
    write_({&last, 1}, end_ - 1);
    return end_;
  }

private:
  section_bytes head_of(const header &first) const {
    section_bytes out;
    out.add(first);
    out.add(table_.data(), table_.size() * sizeof(section));
    return out;
  }

  Write write_;
  std::vector<section> table_;
  uint64_t end_;
};

template <class Write>
uint64_t write_all(std::span<const saved_column> columns, Write write) {
  writer out(std::move(write), columns.size());
  out.add(catalogue_of(columns));
  for (const saved_column &c : columns)
    for (const part which : parts)
      out.add(part_of(c.stored, which));
  return out.finish(static_cast<uint32_t>(columns.size()), columns.front().stored.rows);
}

} // namespace

uint64_t save(const std::filesystem::path &path, std::span<const saved_column> columns) {
  replaced_file file(path);
  const uint64_t bytes =
      write_all(columns, [&](std::span<const uint8_t> some, uint64_t place) { file.write(some, place); });
  file.finish();
  return bytes;
}

vorn_host::aligned_vector<uint8_t> saved_bytes(std::span<const saved_column> columns) {
  vorn_host::aligned_vector<uint8_t> out;
  write_all(columns, [&](std::span<const uint8_t> some, uint64_t place) {
    if (out.size() < place + some.size())
      out.resize(place + some.size());
    std::ranges::copy(some, out.begin() + static_cast<ptrdiff_t>(place));
  });
  return out;
}

vorn_host::aligned_vector<uint8_t> packed(vorn_host::aligned_vector<uint8_t> bytes) {
  constexpr uint64_t most = uint64_t{1} << 31; // a compressed stream has sizes of 32 bits
  if (bytes.size() > most)
    return bytes;
  const std::vector<uint8_t> blocks = vorn_host::qpak_encode(bytes.data(), bytes.size());
  if (packed_at + blocks.size() >= bytes.size())
    return bytes;
  const uint64_t size = bytes.size();
  vorn_host::aligned_vector<uint8_t> out(packed_at + blocks.size());
  std::ranges::copy(packed_magic, out.begin());
  std::memcpy(out.data() + packed_magic.size(), &size, sizeof size);
  std::ranges::copy(blocks, out.begin() + packed_at);
  return out;
}

} // namespace store
