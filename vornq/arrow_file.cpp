#include "vornq/arrow_file.hpp"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <flatbuffers/flatbuffers.h>

#include "store/arrow/export.hpp"
#include "store/arrow/owner.hpp"
#include "store/error.hpp"

namespace store {

namespace {

// The numbers of the format: positions of fields in their tables, kinds of messages, and types.
constexpr flatbuffers::voffset_t field(int place) { return static_cast<flatbuffers::voffset_t>(4 + 2 * place); }
constexpr int16_t version_5 = 4;
enum message_kind : uint8_t { schema_message = 1, batch_message = 3 };
enum type_kind : uint8_t {
  int_type = 2,
  float_type = 3,
  binary_type = 4,
  text_type = 5,
  bool_type = 6,
  decimal_type = 7,
  date_type = 8,
  time_type = 9,
  timestamp_type = 10,
  fixed_bytes_type = 15
};
constexpr int16_t microseconds = 2;
constexpr int16_t nanoseconds = 3;

struct field_node {
  int64_t rows;
  int64_t nulls;
};
struct buffer_place {
  int64_t offset;
  int64_t bytes;
};
struct block {
  int64_t offset;
  int32_t metadata_bytes;
  int32_t padding;
  int64_t body_bytes;
};

using builder = flatbuffers::FlatBufferBuilder;
using table = flatbuffers::Offset<void>;

template <class Add>
table made_table(builder &to, const Add &add) {
  const auto start = to.StartTable();
  add();
  return to.EndTable(start);
}

int32_t number_in(std::string_view text) {
  int32_t out = 0;
  std::from_chars(text.data(), text.data() + text.size(), out);
  return out;
}

// The type for a format of the C interface.  It knows the formats that the store exports.
std::pair<type_kind, table> made_type(builder &to, std::string_view format) {
  const auto integer = [&](int32_t bits, bool is_signed) {
    return std::pair(int_type, made_table(to, [&] {
                       to.AddElement<int32_t>(field(0), bits, 0);
                       to.AddElement<uint8_t>(field(1), is_signed ? 1 : 0, 0);
                     }));
  };
  const auto with_number = [&](type_kind kind, int16_t number) {
    return std::pair(kind, made_table(to, [&] { to.AddElement<int16_t>(field(0), number, -1); }));
  };
  const auto plain = [&](type_kind kind) { return std::pair(kind, made_table(to, [] {})); };
  constexpr std::string_view integers = "cCsSiIlL";
  if (const size_t at = integers.find(format.front()); format.size() == 1 && at != integers.npos)
    return integer(8 << (at / 2), at % 2 == 0);
  if (format == "b")
    return plain(bool_type);
  if (format == "f" || format == "g")
    return with_number(float_type, format == "f" ? 1 : 2);
  if (format == "u")
    return plain(text_type);
  if (format == "z")
    return plain(binary_type);
  if (format == "tdD")
    return with_number(date_type, 0);
  if (format == "ttu")
    return {time_type, made_table(to, [&] {
              to.AddElement<int16_t>(field(0), microseconds, -1);
              to.AddElement<int32_t>(field(1), 64, 0);
            })};
  if (format.starts_with("ts")) {
    const std::string zone(format.substr(4));
    const auto name = zone.empty() ? flatbuffers::Offset<flatbuffers::String>() : to.CreateString(zone);
    return {timestamp_type, made_table(to, [&] {
              to.AddElement<int16_t>(field(0), format[2] == 'n' ? nanoseconds : microseconds, -1);
              to.AddOffset(field(1), name);
            })};
  }
  if (format.starts_with("w:"))
    return {fixed_bytes_type,
            made_table(to, [&] { to.AddElement<int32_t>(field(0), number_in(format.substr(2)), 0); })};
  if (format.starts_with("d:"))
    return {decimal_type, made_table(to, [&] {
              to.AddElement<int32_t>(field(0), number_in(format.substr(2)), 0);
              to.AddElement<int32_t>(field(1), number_in(format.substr(format.find(',') + 1)), 0);
              to.AddElement<int32_t>(field(2), 128, 0);
            })};
  throw error("an Arrow file does not hold the format " + std::string(format));
}

// Keys and values: a count, then each text after the number of its bytes.
std::vector<flatbuffers::Offset<void>> made_metadata(builder &to, const char *packed) {
  std::vector<flatbuffers::Offset<void>> out;
  const auto number = [&] {
    int32_t next = 0;
    std::memcpy(&next, packed, sizeof next);
    packed += sizeof next;
    return next;
  };
  const auto text = [&] {
    const auto bytes = static_cast<size_t>(number());
    const auto made = to.CreateString(packed, bytes);
    packed += bytes;
    return made;
  };
  for (int32_t pairs = packed == nullptr ? 0 : number(); pairs > 0; --pairs) {
    const auto key = text();
    const auto value = text();
    out.push_back(made_table(to, [&] {
      to.AddOffset(field(0), key);
      to.AddOffset(field(1), value);
    }));
  }
  return out;
}

table made_field(builder &to, const ArrowSchema &of) {
  const auto name = to.CreateString(of.name);
  const auto [kind, type] = made_type(to, of.format);
  const auto children = to.CreateVector(std::vector<table>());
  const auto metadata = to.CreateVector(made_metadata(to, of.metadata));
  return made_table(to, [&, kind = kind, type = type] {
    to.AddOffset(field(0), name);
    to.AddElement<uint8_t>(field(1), (of.flags & ARROW_FLAG_NULLABLE) != 0 ? 1 : 0, 0);
    to.AddElement<uint8_t>(field(2), kind, 0);
    to.AddOffset(field(3), type);
    to.AddOffset(field(5), children);
    to.AddOffset(field(6), metadata);
  });
}

table made_schema(builder &to, const ArrowSchema &of) {
  std::vector<table> fields;
  for (int64_t c = 0; c < of.n_children; ++c)
    fields.push_back(made_field(to, *of.children[c]));
  const auto all = to.CreateVector(fields);
  return made_table(to, [&] { to.AddOffset(field(1), all); });
}

// The bytes of a buffer of an array that begins at its first row.
int64_t buffer_bytes(std::string_view format, const ArrowArray &of, int64_t buffer) {
  const bool has_texts = format == "u" || format == "z";
  if (buffer == 0 || format == "b")
    return of.buffers[buffer] == nullptr ? 0 : (of.length + 7) / 8;
  if (has_texts && buffer == 2)
    return static_cast<const int32_t *>(of.buffers[1])[of.length];
  if (has_texts)
    return (of.length + 1) * static_cast<int64_t>(sizeof(int32_t));
  constexpr std::string_view integers = "cCsSiIlL";
  if (const size_t at = integers.find(format.front()); format.size() == 1 && at != integers.npos)
    return of.length << (at / 2);
  if (format.starts_with("d:") || format.starts_with("w:"))
    return of.length * 16;
  return of.length * (format == "f" || format == "tdD" ? 4 : 8);
}

class arrow_file {
public:
  explicit arrow_file(saved::replaced_file &to) : file_(to) { write("ARROW1\0", 8); }

  void add_schema(const ArrowSchema &schema) {
    builder metadata;
    begin_message();
    finish_message(metadata, schema_message, made_schema(metadata, schema), 0);
  }

  void add_batch(const ArrowSchema &schema, const ArrowArray &batch) {
    std::vector<field_node> nodes;
    std::vector<buffer_place> buffers;
    std::vector<const void *> contents;
    int64_t body = 0;
    for (int64_t c = 0; c < batch.n_children; ++c) {
      const ArrowArray &array = *batch.children[c];
      nodes.push_back({array.length, array.null_count});
      for (int64_t b = 0; b < array.n_buffers; ++b) {
        const int64_t bytes = buffer_bytes(schema.children[c]->format, array, b);
        buffers.push_back({body, bytes});
        contents.push_back(array.buffers[b]);
        body += padded(bytes);
      }
    }
    builder metadata;
    begin_message();
    const auto all_nodes = metadata.CreateVectorOfStructs(nodes);
    const auto all_buffers = metadata.CreateVectorOfStructs(buffers);
    const table made = made_table(metadata, [&] {
      metadata.AddElement<int64_t>(field(0), batch.length, 0);
      metadata.AddOffset(field(1), all_nodes);
      metadata.AddOffset(field(2), all_buffers);
    });
    const int32_t metadata_bytes = finish_message(metadata, batch_message, made, body);
    for (size_t b = 0; b < buffers.size(); ++b) {
      write(contents[b], static_cast<size_t>(buffers[b].bytes));
      pad();
    }
    blocks_.push_back({begun_, metadata_bytes, 0, body});
  }

  void finish(const ArrowSchema &schema) {
    constexpr std::array<uint32_t, 2> end_of_stream = {~uint32_t{0}, 0};
    write(end_of_stream.data(), sizeof end_of_stream);
    builder footer;
    const table fields = made_schema(footer, schema);
    const auto dictionaries = footer.CreateVectorOfStructs(std::vector<block>());
    const auto batches = footer.CreateVectorOfStructs(blocks_);
    footer.Finish(made_table(footer, [&] {
      footer.AddElement<int16_t>(field(0), version_5, 0);
      footer.AddOffset(field(1), fields);
      footer.AddOffset(field(2), dictionaries);
      footer.AddOffset(field(3), batches);
    }));
    write(footer.GetBufferPointer(), footer.GetSize());
    const auto bytes = static_cast<int32_t>(footer.GetSize());
    write(&bytes, sizeof bytes);
    write("ARROW1", 6);
  }

private:
  static int64_t padded(int64_t bytes) { return (bytes + 63) / 64 * 64; }

  void begin_message() { begun_ = static_cast<int64_t>(at_); }

  // The bytes of a message before its body.
  int32_t finish_message(builder &metadata, message_kind kind, table header, int64_t body_bytes) {
    metadata.Finish(made_table(metadata, [&] {
      metadata.AddElement<int64_t>(field(3), body_bytes, 0);
      metadata.AddOffset(field(2), header);
      metadata.AddElement<int16_t>(field(0), version_5, 0);
      metadata.AddElement<uint8_t>(field(1), kind, 0);
    }));
    constexpr uint64_t prefix_bytes = 8;
    const uint64_t whole =
        static_cast<uint64_t>(padded(static_cast<int64_t>(at_ + prefix_bytes + metadata.GetSize()))) - at_;
    const std::array<uint32_t, 2> prefix = {~uint32_t{0}, static_cast<uint32_t>(whole - prefix_bytes)};
    write(prefix.data(), sizeof prefix);
    write(metadata.GetBufferPointer(), metadata.GetSize());
    pad();
    return static_cast<int32_t>(whole);
  }

  void write(const void *bytes, size_t count) {
    if (count != 0)
      file_.write({static_cast<const uint8_t *>(bytes), count}, at_);
    at_ += count;
  }
  void pad() {
    constexpr std::array<uint8_t, 64> zeros{};
    write(zeros.data(), static_cast<size_t>(padded(static_cast<int64_t>(at_))) - at_);
  }

  saved::replaced_file &file_;
  uint64_t at_ = 0;
  int64_t begun_ = 0; // where the message begins
  std::vector<block> blocks_;
};

} // namespace

void write_arrow_file(saved::replaced_file &file, const exec::answer &rows) {
  arrow_owner<ArrowArrayStream> stream = exported_rows(rows);
  const auto expect = [&](int code) {
    if (code == ENOMEM)
      throw std::bad_alloc();
    if (code != 0)
      throw error(stream->get_last_error(&*stream));
  };
  arrow_owner schema(ArrowSchema{});
  expect(stream->get_schema(&*stream, &*schema));
  arrow_file out(file);
  out.add_schema(*schema);
  while (true) {
    arrow_owner batch(ArrowArray{});
    expect(stream->get_next(&*stream, &*batch));
    if (batch->release == nullptr)
      break;
    out.add_batch(*schema, *batch);
  }
  out.finish(*schema);
}

} // namespace store
