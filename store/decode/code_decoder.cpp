#include "store/decode/code_decoder.hpp"

#include <cstring>

#include <fmt/format.h>

#include "store/error.hpp"

namespace store {

namespace {

constexpr uint16_t null_flag = 2;

// A list of rows takes one call of the library rather than two, which tells as long as the rows are few.  Microseconds
// for 65,536 rows of codes of 10 bits, unpacking against the list, with the kernels of AVX2: 1.2 against 1.1 for 4
// rows, 2.5 against 2.4 for 64, 4.8 against 5.0 for 256.  With more rows the list stays behind.
bool is_sparse(const batch &rows, uint32_t count) { return count <= rows.rows / 1024; }

// The bytes of an unpacked code.
uint32_t unpacked_bytes(uint32_t width) { return width <= 8 ? 1 : width <= 16 ? 2 : 4; }

} // namespace

code_decoder::code_decoder(const vorn_ctx &context, const column &decoded)
    : ctx(context), of(decoded), entries(std::get<dictionary>(of.values)), code_bytes(unpacked_bytes(of.width)),
      // Decoders know no code of NULL but only symbols of length 0, so the flag of the predicates is not theirs.
      encoding(entries.encoding(of.width, of.compressed ? VORN_STREAM : 0)),
      unpacked_encoding(entries.encoding(8 * code_bytes, 0)) {}

void code_decoder::open(const batch &rows, const uint64_t *filter, uint32_t count) {
  // Vectors serve as sources and as results, so their pointers are not const; the library only reads a source.
  vorn_build_vector(&source, const_cast<uint8_t *>(rows.stream.data()), nullptr, nullptr, &encoding, nullptr, nullptr,
                    rows.rows, rows.stream_bytes, of.compressed ? &rows.decompressed : nullptr, 0);
  if (of.form == encoding::rle)
    vorn_add_encoding_type_rle(&encoding, rows.lens.data(), rows.cla.data(), of.run_length_bits, rows.runs, nullptr);
  aux = {};
  // Over runs a list of rows would number runs, and it gives no codes to tell NULL by.
  by_list = of.form == encoding::dict && filter != nullptr && entries.flags_tell_null() && is_sparse(rows, count);
  if (by_list)
    cursor.open(rows, filter);
  else
    aux.vorn_aux_filter_bv = const_cast<uint64_t *>(filter);
}

void code_decoder::next(std::span<cell> out) {
  const auto count = static_cast<uint32_t>(out.size());
  symbols.resize(count);
  lengths.resize(count);
  flags.resize(count);
  if (by_list)
    decode_list(count);
  else
    unpack_and_decode(count);
  for (uint32_t i = 0; i < count; ++i) {
    const bool is_null = entries.has_null() && (entries.flags_tell_null() ? flags[i] == null_flag : code_at(i) == 0);
    if (is_null)
      out[i] = std::monostate{};
    else if (lengths[i] != 0)
      out[i] = dictionary::value_of({reinterpret_cast<const char *>(symbols[i]), lengths[i]}, of.type.kind);
    else // where every symbol has length 0, its address is not written
      out[i] = std::string_view();
  }
}

void code_decoder::decode_list(uint32_t count) {
  vorn_cv result{};
  vorn_build_vector(&result, symbols.data(), lengths.data(), flags.data(), nullptr, nullptr, nullptr, count, 0, nullptr,
                    0);
  const std::span<uint32_t> rows = cursor.next(count);
  aux.vorn_aux_ones_vec = rows.data();
  aux.vorn_aux_ones_vec_size = count;
  check(result, vorn_decode(&ctx, &result, &source, &aux), count);
}

void code_decoder::unpack_and_decode(uint32_t count) {
  codes.resize(size_t{count} * code_bytes);
  vorn_cv unpacked{};
  vorn_build_vector(&unpacked, codes.data(), nullptr, nullptr, &unpacked_encoding, nullptr, nullptr, count, 0, nullptr,
                    0);
  check(unpacked, vorn_decode_unpack(&ctx, &unpacked, &source, &aux), count);
  ++aux.vorn_aux_start_slot;

  vorn_cv result{};
  vorn_aux no_options{};
  vorn_build_vector(&result, symbols.data(), lengths.data(), flags.data(), nullptr, nullptr, nullptr, count, 0, nullptr,
                    0);
  check(result, vorn_decode_symbol(&ctx, &result, &unpacked, &no_options), count);
}

void code_decoder::check(const vorn_cv &result, uint32_t code, uint32_t count) const {
  if (code != VORN_RESULT_DONE || result.vorn_cv_popc != count)
    throw error(fmt::format("decoding {} rows of column '{}' gave result {} and {} rows", count, of.name, code,
                            result.vorn_cv_popc));
}

uint32_t code_decoder::code_at(uint32_t index) const {
  uint32_t code = 0;
  std::memcpy(&code, codes.data() + size_t{index} * code_bytes, code_bytes);
  return code;
}

} // namespace store
