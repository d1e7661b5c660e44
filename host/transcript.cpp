// Tagged values, and calls and formats as text.
#include "host/state.hpp"

#include <charconv>
#include <cstring>
#include <string_view>

namespace vorn_host {

namespace {

std::string in_quotes(std::string_view text) {
  std::string result = "\"";
  for (const char letter : text) {
    if (letter == '\n') {
      result += "\\n";
    } else if (letter == '"' || letter == '\\') {
      result += {'\\', letter};
    } else if (static_cast<unsigned char>(letter) < ' ') {
      char escaped[5];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(letter));
      result += escaped;
    } else {
      result += letter;
    }
  }
  return result + '"';
}

template <typename... Arguments>
std::string printf_string(const std::string &conversion, Arguments... arguments) {
  std::string text(static_cast<size_t>(std::snprintf(nullptr, 0, conversion.c_str(), arguments...)), '\0');
  std::snprintf(text.data(), text.size() + 1, conversion.c_str(), arguments...);
  return text;
}

// One value by one conversion: the options are flags, width and precision.
std::string convert(const std::string &options, char letter, const value &item) {
  const bool integral = std::strchr("diouxXc", letter);
  if (const auto *number = std::get_if<int32_t>(&item); number && integral)
    return printf_string(options + letter, *number);
  if (const auto *number = std::get_if<uint64_t>(&item); number && integral && letter != 'c')
    return printf_string(options + "ll" + letter, static_cast<unsigned long long>(*number));
  if (const auto *number = std::get_if<double>(&item); number && std::strchr("aAeEfFgG", letter))
    return printf_string(options + letter, *number);
  if (const auto *pointer = std::get_if<const void *>(&item); pointer && letter == 'p')
    return printf_string(options + letter, *pointer);
  if (const auto *text = std::get_if<std::string>(&item); text && letter == 's')
    return printf_string(options + letter, text->c_str());
  pointer_names none;
  return render(item, none);
}

} // namespace

void pointer_names::name(const void *pointer, std::string text) { names_[pointer] = std::move(text); }

std::string pointer_names::of(const void *pointer) {
  if (!pointer)
    return "null";
  const auto [entry, fresh] = names_.try_emplace(pointer);
  if (fresh)
    entry->second.append("@").append(std::to_string(++numbered_));
  return entry->second;
}

std::string render(const value &item, pointer_names &names) {
  if (const auto *pointer = std::get_if<const void *>(&item))
    return names.of(*pointer);
  if (const auto *text = std::get_if<std::string>(&item))
    return in_quotes(*text);
  char digits[32] = "0x";
  char *end = digits;
  if (const auto *bits = std::get_if<uint64_t>(&item))
    end = std::to_chars(digits + 2, std::end(digits), *bits, 16).ptr;
  else if (const auto *number = std::get_if<int32_t>(&item))
    end = std::to_chars(digits, std::end(digits), *number).ptr;
  else
    end = std::to_chars(digits, std::end(digits), std::get<double>(item)).ptr;
  return {digits, end};
}

std::string service_call::line(pointer_names &names, bool with_source) const {
  std::string result = service;
  if (!text.empty())
    result.append(" ").append(in_quotes(text));
  for (const value &item : values)
    result.append(" ").append(render(item, names));
  if (with_source && !source.empty())
    result.append(" at ").append(source);
  return result;
}

void append_tagged(std::vector<value> &values, uint32_t count, va_list &pairs) {
  for (uint32_t pair = 0; pair < count; ++pair) {
    switch (const uint32_t tag = va_arg(pairs, uint32_t)) {
    case HOST_TAG_INT:
      values.emplace_back(va_arg(pairs, int32_t));
      break;
    case HOST_TAG_DOUBLE:
      values.emplace_back(va_arg(pairs, double));
      break;
    case HOST_TAG_POINTER:
      values.emplace_back(va_arg(pairs, const void *));
      break;
    case HOST_TAG_TEXT:
      values.emplace_back(text_or_null(va_arg(pairs, const char *)));
      break;
    default:
      // An unknown tag says nothing about the width of its value, so nothing after it can be read.
      values.emplace_back("<unknown tag " + std::to_string(tag) + ">");
      return;
    }
  }
}

std::string format_values(const char *format, const value *values, size_t count) {
  std::string result;
  size_t used = 0;
  while (*format) {
    if (*format != '%') {
      result += *format++;
      continue;
    }
    if (format[1] == '%') {
      result += '%';
      format += 2;
      continue;
    }
    const size_t options = std::strspn(format + 1, "-+ #0123456789.");
    const std::string conversion(format, 1 + options);
    format += 1 + options;
    format += std::strspn(format, "hlLqjzt"); // a value brings its own width
    const char letter = *format;
    if (letter)
      ++format;
    result += used < count ? convert(conversion, letter, values[used++]) : "<missing>";
  }
  return result;
}

} // namespace vorn_host
