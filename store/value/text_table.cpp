#include "store/value/text_table.hpp"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

namespace store {

std::string visible(std::string_view text) {
  std::string out;
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n')
      out += "\\n";
    else if (byte < 0x20 || byte == 0x7f)
      out += fmt::format("\\x{:02x}", byte);
    else
      out += c;
  }
  return out;
}

std::string grouped(uint64_t number) {
  std::string digits = std::to_string(number);
  for (size_t end = digits.size(); end > 3; end -= 3)
    digits.insert(end - 3, 1, ',');
  return digits;
}

std::string rows_named(uint64_t rows) { return fmt::format("{} row{}", grouped(rows), rows == 1 ? "" : "s"); }

size_t width_of(std::string_view text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

std::string text_table(const std::vector<text_column> &columns, const std::vector<std::vector<std::string>> &rows) {
  std::vector<std::vector<std::string>> lines(1);
  for (const text_column &c : columns)
    lines[0].push_back(visible(c.heading));
  for (const auto &row : rows) {
    auto &line = lines.emplace_back();
    for (const std::string &text : row)
      line.push_back(visible(text));
  }
  std::vector<size_t> widths(columns.size());
  for (const auto &line : lines)
    for (size_t c = 0; c < columns.size(); ++c)
      widths[c] = std::max(widths[c], width_of(line[c]));

  std::string out;
  for (const auto &line : lines) {
    for (size_t c = 0; c < columns.size(); ++c) {
      const std::string padding(widths[c] - width_of(line[c]), ' ');
      out += c == 0 ? "" : "  ";
      out += columns[c].to_the_right ? padding + line[c] : line[c] + padding;
    }
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
  }
  return out;
}

} // namespace store
