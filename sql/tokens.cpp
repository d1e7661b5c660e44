#include "sql/tokens.hpp"

#include <algorithm>
#include <cctype>

namespace store::sql {

size_t token_length(std::string_view text) {
  const auto up_to = [&](std::string_view end, size_t from) {
    const size_t found = text.find(end, from);
    return found == text.npos ? text.size() : found + end.size();
  };
  if (text.starts_with("--"))
    return up_to("\n", 2);
  if (text.starts_with("/*")) {
    size_t depth = 1;
    size_t at = 2;
    for (; at < text.size() && depth > 0; ++at)
      if (text.substr(at).starts_with("*/"))
        --depth, ++at;
      else if (text.substr(at).starts_with("/*"))
        ++depth, ++at;
    return std::min(at, text.size());
  }
  if (text[0] == '\'' || text[0] == '"')
    return up_to(text.substr(0, 1), 1); // a quote in it is doubled, and reads as two texts
  if ((text[0] == 'e' || text[0] == 'E') && text.size() > 1 && text[1] == '\'') {
    size_t at = 2;
    while (at < text.size() && text[at] != '\'')
      at += text[at] == '\\' ? 2 : 1;
    return std::min(at + 1, text.size());
  }
  if (text[0] == '$') {
    const size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_0123456789", 1);
    if (end != text.npos && text[end] == '$')
      return up_to(text.substr(0, end + 1), end + 1);
  }
  // A name.  An "e" at its end does not begin a text.
  const auto is_name = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
  size_t length = 1;
  if (is_name(text[0]))
    while (length < text.size() && is_name(text[length]))
      ++length;
  return length;
}

bool is_blank(std::string_view token) {
  return token.starts_with("--") || token.starts_with("/*") || std::isspace(static_cast<unsigned char>(token[0])) != 0;
}

} // namespace store::sql
