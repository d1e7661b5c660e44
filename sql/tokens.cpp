#include "sql/tokens.hpp"

#include <algorithm>
#include <cctype>

#include "store/value/column_names.hpp"

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

std::string with_possible_limits(std::string_view query) {
  constexpr std::string_view largest = "9223372036854775807";
  std::string out(query);
  bool is_limit = false; // the token before was LIMIT or OFFSET
  for (size_t at = 0; at < query.size();) {
    const std::string_view token = query.substr(at, token_length(query.substr(at)));
    if (!is_blank(token)) {
      const std::string_view digits = token.substr(std::min(token.find_first_not_of('0'), token.size()));
      if (is_limit && token.find_first_not_of("0123456789") == token.npos &&
          (digits.size() > largest.size() || (digits.size() == largest.size() && digits > largest)))
        out.replace(at, token.size(), std::string(largest).append(token.size() - largest.size(), ' '));
      is_limit = alike(token, "limit") || alike(token, "offset");
    }
    at += token.size();
  }
  return out;
}

} // namespace store::sql
