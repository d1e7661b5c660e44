#include "store/join/value_bytes.hpp"

#include <cstring>

#include "store/encode/dictionary.hpp"

namespace store {

std::string_view key_bytes(std::string_view symbol, value_kind kind) {
  static const key_symbol zero(real_key(0.0));
  static const key_symbol negative_zero(real_key(-0.0));
  const bool is_real = kind == value_kind::single || kind == value_kind::real;
  return is_real && symbol == negative_zero.bytes() ? zero.bytes() : symbol;
}

void value_bytes::clear() {
  pointers_.clear();
  lengths_.clear();
}

void value_bytes::add(std::string_view bytes) {
  pointers_.push_back(bytes.data());
  lengths_.push_back(static_cast<uint16_t>(bytes.size()));
}

void value_bytes::assign(std::span<const cell> cells) {
  clear();
  kept_.resize(cells.size());
  for (size_t i = 0; i < cells.size(); ++i)
    if (const auto *text = std::get_if<std::string_view>(&cells[i])) {
      add(*text);
    } else if (const auto *wide = std::get_if<wide_key>(&cells[i])) {
      kept_[i] = *wide;
      add(kept_[i].view());
    } else if (const auto *key = std::get_if<int64_t>(&cells[i])) {
      const key_symbol symbol(*key);
      std::memcpy(kept_[i].bytes.data(), symbol.bytes().data(), symbol.bytes().size());
      add(kept_[i].view().substr(0, symbol.bytes().size()));
    } else {
      add("");
    }
}

void value_bytes::assign_keys(std::span<const cell> cells, value_kind kind) {
  assign(cells);
  for (size_t i = 0; i < cells.size(); ++i)
    pointers_[i] = key_bytes((*this)[i], kind).data();
}

} // namespace store
