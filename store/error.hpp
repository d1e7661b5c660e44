// The one exception of the store: the user asked for something that cannot be done.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace store {

struct error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The text of a user in a message.  A long text is cut.
inline std::string shortened(std::string_view text) {
  constexpr size_t longest = 80;
  if (text.size() <= longest)
    return std::string(text);
  size_t end = longest;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
    --end; // not inside a character of UTF-8
  return std::string(text.substr(0, end)) + "...";
}

} // namespace store
