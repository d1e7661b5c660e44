#include "store/join/key_reader.hpp"

#include "store/join/hashing.hpp"

namespace store {

key_reader::key_reader(const vorn_ctx &ctx, const column &of, const selection *rows)
    : ctx_(ctx), of_(of), by_code_(of_.is_dictionary()) {
  if (!by_code_) {
    values_.emplace(ctx_, of_, rows);
    return;
  }
  codes_.emplace(ctx_, of_, rows);
  const auto &entries = std::get<dictionary>(of_.values);
  for (uint64_t code = 0; code < entries.codes(); ++code) {
    symbols_.add(key_bytes(entries.symbol(code), of_.type.kind));
    if (of_.type.is_real() && code > entries.first_code() && symbols_[code] == symbols_[code - 1])
      negative_zero_ = static_cast<uint32_t>(code - 1);
  }
  hash(symbol_hashes_);
}

void key_reader::hash(std::vector<uint64_t> &out) const {
  out.resize(symbols_.size());
  row_vector source = symbols_.vector();
  hash_rows(ctx_, source, out.data());
}

std::span<const uint64_t> key_reader::next() {
  if (!by_code_) {
    symbols_.assign_keys(values_->next(), of_.type.kind);
    hash(hashes_);
    return hashes_;
  }
  step_ = codes_->next();
  hashes_.resize(step_.size());
  for (size_t row = 0; row < step_.size(); ++row)
    hashes_[row] = symbol_hashes_[step_[row]];
  return hashes_;
}

} // namespace store
