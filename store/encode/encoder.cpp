#include "store/encode/encoder.hpp"

#include <algorithm>
#include <bit>

#include <fmt/format.h>

#include "store/encode/encoded.hpp"
#include "store/encode/packing.hpp"
#include "store/encode/prefix_encoder.hpp"
#include "store/error.hpp"
#include <vorn/qpak_encoder.hpp>

namespace store {

namespace {

// Calls with the rows of each row group in turn.  A count is cut where a row group ends.
template <class Take>
void for_row_groups(const coded_rows &rows, Take take) {
  if (rows.counts.empty()) {
    for (size_t first = 0; first < rows.codes.size(); first += row_group_rows)
      take(coded_rows{rows.codes.subspan(first, std::min<size_t>(row_group_rows, rows.codes.size() - first)), {}});
    return;
  }
  std::vector<uint32_t> codes;
  std::vector<uint64_t> counts;
  uint64_t room = row_group_rows;
  for (size_t i = 0; i < rows.codes.size(); ++i)
    for (uint64_t left = rows.counts[i]; left != 0;) {
      codes.push_back(rows.codes[i]);
      counts.push_back(std::min(left, room));
      left -= counts.back();
      room -= counts.back();
      if (room == 0) {
        take(coded_rows{codes, counts});
        codes.clear();
        counts.clear();
        room = row_group_rows;
      }
    }
  if (!codes.empty())
    take(coded_rows{codes, counts});
}

zone zone_of(const coded_rows &rows, uint32_t first_code) {
  zone out{~uint64_t{0}, 0, 0};
  for (size_t i = 0; i < rows.codes.size(); ++i) {
    const uint32_t code = rows.codes[i];
    if (code < first_code) {
      out.nulls += static_cast<uint32_t>(rows.count(i));
      continue;
    }
    out.low = std::min<uint64_t>(out.low, code);
    out.high = std::max<uint64_t>(out.high, code);
  }
  return out;
}

// The number of bytes that hold all ordinals up to a given one.
uint32_t fixed_bytes_of(uint64_t last) { return std::max(1U, static_cast<uint32_t>(std::bit_width(last) + 7) / 8); }

column_segment fixed_segment(std::span<const uint64_t> ordinals, uint32_t width) {
  column_segment out;
  out.rows = static_cast<uint32_t>(ordinals.size());
  const size_t bytes = vornenc_fixed_bytes(out.rows, width);
  out.stream = encoded_stream(bytes, [&](uint8_t *stream, size_t room) {
    return vornenc_pack_fixed(stream, room, ordinals.data(), out.rows, width);
  });
  out.stream_bytes = static_cast<uint32_t>(bytes - VORNENC_SLACK);
  return out;
}

column_segment dynp_segment(std::span<const uint64_t> ordinals, uint32_t width) {
  column_segment out;
  out.rows = static_cast<uint32_t>(ordinals.size());
  const size_t bytes = vornenc_dynp_bytes(ordinals.data(), nullptr, out.rows, width);
  byte_vector &lens = out.lens.made();
  lens.resize(vornenc_lens_bytes(out.rows, width) + vorn_host::cache_line);
  out.stream = encoded_stream(bytes, [&](uint8_t *stream, size_t room) {
    return vornenc_pack_dynp(stream, room, lens.data(), lens.size(), ordinals.data(), nullptr, out.rows, width);
  });
  out.stream_bytes = static_cast<uint32_t>(bytes - VORNENC_SLACK);
  return out;
}

column_segment key_prefix_segment(std::span<const uint64_t> ordinals, uint32_t width) {
  const column_segment values = fixed_segment(ordinals, width);
  return prefix_segment({reinterpret_cast<const char *>(values.stream.data()), values.stream_bytes}, width / 8);
}

} // namespace

encoding_choice parse_encoding(std::string_view text) {
  constexpr std::string_view suffix = "+qpak";
  std::string_view name = text;
  encoding_choice out;
  if (name.ends_with(suffix)) {
    out.compressed = true;
    name.remove_suffix(suffix.size());
  }
  for (encoding form : {encoding::dict, encoding::rle, encoding::fixed, encoding::dynp, encoding::prefix})
    if (encoding_name(form) == name)
      out.form = form;
  if (!out.form)
    throw error(fmt::format(
        "unknown encoding '{}'; one of dict, rle, fixed, dynp, perhaps with +qpak, or prefix is needed", text));
  if (out.form == encoding::prefix && out.compressed)
    throw error("prefix is not stored with +qpak");
  return out;
}

bool suits_fixed(const coded_rows &rows, const dictionary &entries, key_range keys, const column_type &type,
                 bool smallest) {
  // A dictionary of fewer values stays in the cache, and conditions and functions are evaluated once for each value.
  constexpr uint64_t many_values = uint64_t{1} << 16;
  const bool is_whole = !type.is_real() && type.kind != value_kind::boolean;
  const uint32_t width = least_width(std::max<uint64_t>(entries.codes(), 1));
  if (!is_whole || entries.has_null() || (!smallest && entries.size() <= many_values) || has_long_runs(rows, width))
    return false;
  uint64_t count = 0;
  for (size_t i = 0; i < rows.codes.size(); ++i)
    count += rows.count(i);
  const uint64_t span = static_cast<uint64_t>(keys.high) - static_cast<uint64_t>(keys.low);
  const uint64_t fixed_bytes = count * fixed_bytes_of(span);
  const uint64_t dict_bytes = count * width / 8 + entries.bytes();
  return smallest ? fixed_bytes < dict_bytes : fixed_bytes * 2 <= dict_bytes * 3;
}

void store_codes(column &out, const coded_rows &rows, std::optional<encoding> form) {
  const uint32_t width = least_width(std::get<dictionary>(out.values).codes());
  const bool as_runs = form ? form == encoding::rle : has_long_runs(rows, width);
  if (!as_runs && !rows.counts.empty()) {
    std::vector<uint32_t> codes;
    for (size_t i = 0; i < rows.codes.size(); ++i)
      codes.insert(codes.end(), rows.counts[i], rows.codes[i]);
    store_codes(out, {codes, {}}, encoding::dict);
    return;
  }
  out.width = width;
  out.form = as_runs ? encoding::rle : encoding::dict;
  if (as_runs)
    out.run_length_bits = best_run_length_bits(rows, out.width);
  for_row_groups(rows, [&](const coded_rows &some) {
    column_segment made;
    if (as_runs) {
      made = run_segment(some, out.width, out.run_length_bits);
    } else {
      made.stream = packed(some.codes, out.width);
      made.stream_bytes = static_cast<uint32_t>(made.stream.size() - vorn_host::cache_line);
    }
    for (size_t i = 0; i < some.codes.size(); ++i)
      made.rows += static_cast<uint32_t>(some.count(i));
    made.held = zone_of(some, static_cast<uint32_t>(out.first_ordinal()));
    out.rows += made.rows;
    out.segments.push_back(std::move(made));
  });
}

void store_keys(column &out, std::span<const int64_t> keys, encoding form) {
  out.rows = keys.size();
  out.form = form;
  key_range range{0, 0};
  if (!keys.empty()) {
    const auto [low, high] = std::minmax_element(keys.begin(), keys.end());
    range = {*low, *high};
  }
  out.values = range;
  const uint32_t bytes = fixed_bytes_of(out.last_ordinal());
  if (form == encoding::dynp)
    out.width = bytes <= 2 ? 16 : bytes <= 4 ? 32 : 64;
  else
    out.width = bytes * 8;
  const auto make = form == encoding::fixed  ? fixed_segment
                    : form == encoding::dynp ? dynp_segment
                                             : key_prefix_segment;
  std::vector<uint64_t> ordinals;
  for (size_t first = 0; first < keys.size(); first += row_group_rows) {
    const auto rows = keys.subspan(first, std::min<size_t>(row_group_rows, keys.size() - first));
    ordinals.resize(rows.size());
    zone held{~uint64_t{0}, 0, 0};
    for (size_t row = 0; row < rows.size(); ++row) {
      const uint64_t ordinal = static_cast<uint64_t>(rows[row]) - static_cast<uint64_t>(range.low);
      ordinals[row] = ordinal;
      held.low = std::min(held.low, ordinal);
      held.high = std::max(held.high, ordinal);
    }
    out.segments.push_back(make(ordinals, out.width));
    out.segments.back().held = held;
  }
}

void store_texts(column &out, std::string_view texts, uint32_t text_bytes) {
  out.rows = texts.size() / text_bytes;
  out.form = encoding::prefix;
  out.values = std::monostate{};
  out.width = text_bytes * 8;
  for (size_t first = 0; first < texts.size(); first += size_t{row_group_rows} * text_bytes)
    out.segments.push_back(prefix_segment(texts.substr(first, size_t{row_group_rows} * text_bytes), text_bytes));
}

void compress(column &out) {
  out.compressed = true;
  for (column_segment &b : out.segments) {
    const std::vector<uint8_t> blocks = vorn_host::qpak_encode(b.stream.data(), b.stream_bytes);
    vorn_host::aligned_vector<uint8_t> stream(blocks.size() + vorn_host::cache_line);
    std::copy(blocks.begin(), blocks.end(), stream.begin());
    b.stream = std::move(stream);
  }
}

} // namespace store
