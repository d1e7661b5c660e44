#include "store/encode/encoder.hpp"

#include <algorithm>
#include <bit>

#include <fmt/format.h>

#include "store/encode/packing.hpp"
#include "store/encode/prefix_encoder.hpp"
#include "store/error.hpp"
#include <vorn/qpak_encoder.hpp>

namespace store {

namespace {

// Calls with the rows of each batch in turn.
template <class Row, class Take>
void for_batches(std::span<const Row> rows, Take take) {
  for (size_t first = 0; first < rows.size(); first += batch_rows)
    take(rows.subspan(first, std::min<size_t>(batch_rows, rows.size() - first)));
}

// Calls with the runs of each batch in turn, cut where a batch ends.
template <class Take>
void for_batches(std::span<const code_run> runs, Take take) {
  std::vector<code_run> rows;
  uint64_t room = batch_rows;
  for (const code_run &run : runs)
    for (uint64_t left = run.rows; left != 0;) {
      const uint64_t count = std::min(left, room);
      rows.push_back({run.code, count});
      left -= count;
      room -= count;
      if (room == 0) {
        take(std::span<const code_run>(rows));
        rows.clear();
        room = batch_rows;
      }
    }
  if (!rows.empty())
    take(std::span<const code_run>(rows));
}

template <class Row>
zone zone_of(std::span<const Row> rows, uint32_t first_code) {
  zone out{~uint64_t{0}, 0, 0};
  for (const Row &row : rows) {
    const auto [code, count] = as_run(row);
    if (code < first_code) {
      out.nulls += static_cast<uint32_t>(count);
      continue;
    }
    out.low = std::min<uint64_t>(out.low, code);
    out.high = std::max<uint64_t>(out.high, code);
  }
  return out;
}

zone zone_of(std::span<const int64_t> keys, const key_range &range) {
  const auto [low, high] = std::minmax_element(keys.begin(), keys.end());
  const auto bias = static_cast<uint64_t>(range.low);
  return {static_cast<uint64_t>(*low) - bias, static_cast<uint64_t>(*high) - bias, 0};
}

batch fixed_batch(std::span<const int64_t> keys, const key_range &range, uint32_t width) {
  batch out;
  out.rows = static_cast<uint32_t>(keys.size());
  out.stream_bytes = out.rows * width / 8;
  out.stream.made().resize(out.stream_bytes + vorn_host::cache_line);
  uint8_t *next = out.stream.made().data();
  for (int64_t key : keys) {
    const uint64_t ordinal = static_cast<uint64_t>(key) - static_cast<uint64_t>(range.low);
    for (uint32_t shift = width; shift != 0; shift -= 8)
      *next++ = static_cast<uint8_t>(ordinal >> (shift - 8));
  }
  return out;
}

// Values without their trailing zero bytes, but with one byte at least.
batch dynp_batch(std::span<const int64_t> keys, const key_range &range, uint32_t width) {
  batch out;
  out.rows = static_cast<uint32_t>(keys.size());
  const uint32_t code_bits = length_code_bits(width);
  const uint32_t codes_per_byte = 8 / code_bits;
  vorn_host::aligned_vector<uint8_t> &lens = out.lens.made();
  vorn_host::aligned_vector<uint8_t> &stream = out.stream.made();
  lens.resize((keys.size() + codes_per_byte - 1) / codes_per_byte + vorn_host::cache_line);
  stream.reserve(keys.size() * width / 8 + vorn_host::cache_line);
  for (size_t row = 0; row < keys.size(); ++row) {
    const uint64_t ordinal = static_cast<uint64_t>(keys[row]) - static_cast<uint64_t>(range.low);
    const uint32_t zero_bytes = ordinal == 0 ? width / 8 - 1 : static_cast<uint32_t>(std::countr_zero(ordinal)) / 8;
    const uint32_t length = width / 8 - zero_bytes;
    const auto shift = static_cast<uint32_t>(codes_per_byte - 1 - row % codes_per_byte) * code_bits;
    lens[row / codes_per_byte] |= static_cast<uint8_t>((length - 1) << shift);
    for (uint32_t i = 1; i <= length; ++i)
      stream.push_back(static_cast<uint8_t>(ordinal >> (width - 8 * i)));
  }
  out.stream_bytes = static_cast<uint32_t>(stream.size());
  stream.resize(stream.size() + vorn_host::cache_line);
  return out;
}

// The codes of rows, or their runs, as rle.
template <class Row>
void store_as_runs(column &out, std::span<const Row> all) {
  out.width = least_width(std::get<dictionary>(out.values).codes());
  out.form = encoding::rle;
  out.run_length_bits = best_run_length_bits(all, out.width);
  for_batches(all, [&](std::span<const Row> rows) {
    batch made = run_batch(rows, out.width, out.run_length_bits);
    for (const Row &row : rows)
      made.rows += static_cast<uint32_t>(as_run(row).rows);
    made.held = zone_of(rows, static_cast<uint32_t>(out.first_ordinal()));
    out.rows += made.rows;
    out.batches.push_back(std::move(made));
  });
}

batch key_prefix_batch(std::span<const int64_t> keys, const key_range &range, uint32_t width) {
  const batch values = fixed_batch(keys, range, width);
  return prefix_batch({reinterpret_cast<const char *>(values.stream.data()), values.stream_bytes}, width / 8);
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

void store_codes(column &out, std::span<const uint32_t> codes, std::optional<encoding> form) {
  const bool as_runs = form ? form == encoding::rle : has_long_runs(codes);
  if (as_runs) {
    store_as_runs(out, codes);
    return;
  }
  out.width = least_width(std::get<dictionary>(out.values).codes());
  out.form = encoding::dict;
  out.rows = codes.size();
  for_batches(codes, [&](std::span<const uint32_t> rows) {
    batch made;
    made.stream = packed(rows, out.width);
    made.stream_bytes = static_cast<uint32_t>(made.stream.size() - vorn_host::cache_line);
    made.rows = static_cast<uint32_t>(rows.size());
    made.held = zone_of(rows, static_cast<uint32_t>(out.first_ordinal()));
    out.batches.push_back(std::move(made));
  });
}

void store_runs(column &out, std::span<const code_run> runs, std::optional<encoding> form) {
  const bool as_runs = form ? form == encoding::rle : has_long_runs(runs);
  if (as_runs) {
    store_as_runs(out, runs);
    return;
  }
  std::vector<uint32_t> codes;
  for (const code_run &run : runs)
    codes.insert(codes.end(), run.rows, run.code);
  store_codes(out, codes, encoding::dict);
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
  const auto bytes = std::max(1U, static_cast<uint32_t>(std::bit_width(out.last_ordinal()) + 7) / 8);
  if (form == encoding::dynp)
    out.width = bytes <= 2 ? 16 : bytes <= 4 ? 32 : 64;
  else
    out.width = bytes * 8;
  const auto make = form == encoding::fixed ? fixed_batch : form == encoding::dynp ? dynp_batch : key_prefix_batch;
  for_batches(keys, [&](std::span<const int64_t> rows) {
    out.batches.push_back(make(rows, range, out.width));
    out.batches.back().held = zone_of(rows, range);
  });
}

void store_texts(column &out, std::string_view texts, uint32_t text_bytes) {
  out.rows = texts.size() / text_bytes;
  out.form = encoding::prefix;
  out.values = std::monostate{};
  out.width = text_bytes * 8;
  for (size_t first = 0; first < texts.size(); first += size_t{batch_rows} * text_bytes)
    out.batches.push_back(prefix_batch(texts.substr(first, size_t{batch_rows} * text_bytes), text_bytes));
}

void compress(column &out) {
  out.compressed = true;
  for (batch &b : out.batches) {
    const std::vector<uint8_t> blocks = vorn_host::qpak_encode(b.stream.data(), b.stream_bytes);
    vorn_host::aligned_vector<uint8_t> stream(blocks.size() + vorn_host::cache_line);
    std::copy(blocks.begin(), blocks.end(), stream.begin());
    b.stream = std::move(stream);
  }
}

} // namespace store
