#include "store/join/key_reader.hpp"

#include "store/join/hashing.hpp"

namespace store {

key_reader::key_reader(const vorn_ctx &context, const column &read, const selection *rows)
    : ctx(context), of(read), by_code(of.is_dictionary()), steps(of, rows) {
  if (!by_code) {
    values.emplace(ctx, of, rows);
    return;
  }
  unpacker.emplace(ctx, of, code_unpacker::element::four_bytes);
  const auto &entries = std::get<dictionary>(of.values);
  for (uint64_t code = 0; code < entries.codes(); ++code) {
    symbols.add(key_bytes(entries.symbol(code), of.type.kind));
    if (of.type.is_real() && code > entries.first_code() && symbols[code] == symbols[code - 1])
      negative_zero = static_cast<uint32_t>(code - 1);
  }
  hash(symbol_hashes);
}

void key_reader::hash(std::vector<uint64_t> &out) const {
  out.resize(symbols.size());
  row_vector source = symbols.vector();
  hash_rows(ctx, source, out.data());
}

std::span<const uint64_t> key_reader::next() {
  if (!by_code) {
    symbols.assign_keys(values->next(), of.type.kind);
    hash(hashes);
    return hashes;
  }
  const row_steps::step step = steps.next();
  hashes.resize(step.rows);
  if (step.rows == 0)
    return {};
  if (step.opens_batch)
    unpacker->open(steps.rows(), steps.filter());
  unpacker->next(step.rows);
  codes = unpacker->codes_of_four_bytes();
  for (uint32_t row = 0; row < step.rows; ++row)
    hashes[row] = symbol_hashes[codes[row]];
  return hashes;
}

} // namespace store
