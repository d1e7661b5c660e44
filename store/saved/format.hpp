// A saved table in a file: the columns as they are in memory, so that a file is mapped and its parts are read in place.
//
//     header         64 bytes
//     section table  a section for each part: first the catalogue, then five of each column
//     sections       each on a cache line and readable for another one after its end, as kernels need it
//
// The catalogue has a record of each column, then the names and SQL types of the columns, back to back.  The parts of a
// column:
//
//     segments       a record of each segment: one for each row group
//     streams        their value streams, each placed as a section is
//     lengths        run lengths, length codes or record offsets, in the same way; none for dict and fixed
//     symbols        of a dictionary; none without one
//     symbol_ends    their CLA; none where all have one length
//
// Data that follows from other data is not stored: the rows of a row group, the offsets of streams, and the CLA of
// runs.  Numbers are little-endian, except inside the parts: they have the byte order that the kernels read.  Unused
// bytes are zero.
//
// A reader checks everything before a kernel sees it.  The checksums find damage that would leave a valid table.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <iterator>

#include <vorn/aligned.hpp>

namespace store::saved {

static_assert(std::endian::native == std::endian::little);

// The first byte occurs in no text, and the line ends show whether a transfer in text mode has changed the file.
inline constexpr std::array<char, 8> magic = {'\x93', 'v', 'o', 'r', 'n', '\r', '\n', '\x1a'};
inline constexpr uint32_t current_version = 1;

// The bytes of a file as they are sent: this, their number as 8 bytes, and the bytes compressed in blocks.
inline constexpr std::array<char, 8> packed_magic = {'\x93', 'v', 'o', 'r', 'n', 'p', '\n', '\x1a'};
inline constexpr uint64_t packed_at = packed_magic.size() + sizeof(uint64_t);

struct header {
  std::array<char, 8> begin = magic;
  uint32_t version = current_version;
  uint32_t columns = 0;
  uint64_t rows = 0;
  uint64_t file_bytes = 0;
  uint64_t checksum = 0; // of the header, with 0 in this place, and the section table
  std::array<uint8_t, 24> unused = {};
};
static_assert(sizeof(header) == vorn_host::cache_line);

struct section {
  uint64_t offset = 0; // in the file
  uint64_t bytes = 0;
  uint64_t checksum = 0;
};

enum class part { segments, streams, lengths, symbols, symbol_ends };
inline constexpr part parts[] = {part::segments, part::streams, part::lengths, part::symbols, part::symbol_ends};
constexpr uint64_t section_count(uint64_t columns) { return 1 + columns * std::size(parts); }
constexpr uint64_t section_index(uint64_t column, part which) {
  return 1 + column * std::size(parts) + static_cast<uint64_t>(which);
}

struct column_record {
  uint64_t plain_bytes = 0;
  int64_t low = 0; // the smallest and the largest key, where values are stored themselves
  int64_t high = 0;
  uint64_t codes = 0; // of the dictionary
  uint32_t name_bytes = 0;
  uint32_t type_bytes = 0;
  uint32_t width = 0;        // bits of a code or value
  uint16_t symbol_bytes = 0; // of every symbol, without symbol_ends
  uint8_t form = 0;
  uint8_t is_compressed = 0;
  uint8_t run_length_bits = 0;
  uint8_t has_null = 0; // the dictionary
  std::array<uint8_t, 14> unused = {};
};
static_assert(sizeof(column_record) == vorn_host::cache_line);

struct segment_record {
  uint64_t low = 0; // of the zone
  uint64_t high = 0;
  uint32_t nulls = 0;
  uint32_t runs = 0;
  uint32_t stream_bytes = 0; // as they are stored
  uint32_t unused = 0;
};
static_assert(sizeof(segment_record) == 32);

// The bytes of a section or stream, with the bytes after it.
constexpr uint64_t room_of(uint64_t bytes) {
  return (bytes + 2 * vorn_host::cache_line - 1) / vorn_host::cache_line * vorn_host::cache_line;
}

} // namespace store::saved
