// Functions of texts whose other arguments are constants: prefix, suffix, contains, LIKE and substring.
#include <cstring>
#include <string>
#include <utility>

#include "store/evaluate/node.hpp"

namespace store::exec {

namespace {

using logical::scalar;

// A text to search for.  The search looks for its byte that is rarest in ordinary texts.
class needle {
public:
  explicit needle(std::string_view text) : text_(text) {
    const auto rarity = [](char byte) { return std::string_view(" etaoinsrhldcumfpgwybvkxjqz").find(byte); };
    for (size_t i = 1; i < text_.size(); ++i)
      if (rarity(text_[i]) > rarity(text_[rare_]))
        rare_ = i;
  }

  size_t size() const { return text_.size(); }
  std::string_view text() const { return text_; }

  // The position of the text; npos if it does not occur.
  size_t find_in(std::string_view hay) const {
    if (text_.empty())
      return 0;
    for (size_t first = 0; hay.size() - first >= text_.size(); ++first) {
      const size_t places = hay.size() - first - text_.size() + 1;
      const void *found = std::memchr(hay.data() + first + rare_, text_[rare_], places);
      if (found == nullptr)
        break;
      first = static_cast<size_t>(static_cast<const char *>(found) - hay.data()) - rare_;
      if (std::memcmp(hay.data() + first, text_.data(), text_.size()) == 0)
        return first;
    }
    return std::string_view::npos;
  }

private:
  std::string text_;
  size_t rare_ = 0;
};

// LIKE with %, and without _ and escapes: parts that follow each other, the first one at the start and the last one at
// the end.
class like_pattern {
public:
  // Nothing for a pattern of another kind.
  static std::optional<like_pattern> of(std::string_view pattern) {
    if (pattern.find_first_of("_\\") != pattern.npos)
      return std::nullopt;
    like_pattern out;
    for (size_t begin = 0;;) {
      const size_t end = pattern.find('%', begin);
      out.parts_.emplace_back(pattern.substr(begin, end - begin));
      if (end == pattern.npos)
        return out;
      begin = end + 1;
    }
  }
  static like_pattern prefix(std::string_view text) { return like_pattern({needle(text), needle("")}); }
  static like_pattern suffix(std::string_view text) { return like_pattern({needle(""), needle(text)}); }
  static like_pattern contains(std::string_view text) { return like_pattern({needle(""), needle(text), needle("")}); }

  bool matches(std::string_view text) const {
    const needle &first = parts_.front();
    const needle &last = parts_.back();
    if (parts_.size() == 1)
      return text == first.text();
    if (text.size() < first.size() + last.size() || !text.starts_with(first.text()) || !text.ends_with(last.text()))
      return false;
    text.remove_prefix(first.size());
    text.remove_suffix(last.size());
    for (size_t part = 1; part + 1 < parts_.size(); ++part) {
      const size_t found = parts_[part].find_in(text);
      if (found == text.npos)
        return false;
      text.remove_prefix(found + parts_[part].size());
    }
    return true;
  }

private:
  like_pattern() = default;
  explicit like_pattern(std::vector<needle> parts) : parts_(std::move(parts)) {}

  std::vector<needle> parts_;
};

class match_node final : public row_node {
public:
  match_node(node_ptr texts, like_pattern pattern, bool inverted)
      : row_node({std::move(texts)}), pattern_(std::move(pattern)), inverted_(inverted) {
    result_ = boolean_layout(child(0).result().has_nulls);
  }

  vector run(evaluation &chunk) const override {
    const vector in = values_of(child(0), representation::text, chunk);
    const std::span<const std::string_view> texts = in.texts();
    const std::span<int64_t> out = chunk.memory().take<int64_t>(in.rows);
    for (size_t row = 0; row < out.size(); ++row)
      out[row] = pattern_.matches(texts[row]) != inverted_ ? 1 : 0;
    return vector(out, in.validity);
  }

private:
  like_pattern pattern_;
  bool inverted_;
};

// substring of texts whose characters are single bytes up to the end of the part.  scalar_functions evaluate a chunk
// with another text.
class substring_node final : public row_node {
public:
  substring_node(node_ptr texts, size_t first, size_t length, const logical::sql_type &type)
      : row_node({std::move(texts)}), first_(first), length_(length) {
    result_.type = type;
    result_.form = representation::text;
    result_.has_nulls = child(0).result().has_nulls;
  }

  vector run(evaluation &chunk) const override {
    const vector in = values_of(child(0), representation::text, chunk);
    const std::span<const std::string_view> texts = in.texts();
    const std::span<std::string_view> out = chunk.memory().take<std::string_view>(in.rows);
    for (size_t row = 0; row < out.size(); ++row) {
      const std::string_view text = texts[row].substr(0, first_ + length_);
      out[row] = text.size() <= first_ ? std::string_view() : text.substr(first_);
      if (!in.is_null(row) && !is_single_bytes(text))
        throw left_to_functions();
    }
    return vector(out, in.validity);
  }

private:
  static bool is_single_bytes(std::string_view text) {
    unsigned char all = 0;
    for (const char byte : text)
      all |= static_cast<unsigned char>(byte);
    return all < 0x80;
  }

  size_t first_;
  size_t length_;
};

const std::string *text_constant(const node &of) {
  const scalar *value = of.constant();
  return value == nullptr ? nullptr : std::get_if<std::string>(value);
}

// A constant of at least 1.
std::optional<size_t> count_constant(const node &of) {
  constexpr __int128 longest = 1 << 20;
  const scalar *value = of.constant();
  const auto *number = value == nullptr ? nullptr : std::get_if<__int128>(value);
  if (number == nullptr || *number < 1 || *number > longest)
    return std::nullopt;
  return static_cast<size_t>(*number);
}

} // namespace

node_ptr make_text_function(std::string_view name, std::vector<node_ptr> children, const logical::sql_type &type) {
  if (children.empty() || children[0]->result().held().kind != value_kind::text)
    return nullptr;
  if ((name == "substring" || name == "substr") && children.size() == 3) {
    const std::optional<size_t> first = count_constant(*children[1]);
    const std::optional<size_t> length = count_constant(*children[2]);
    return first && length ? std::make_shared<substring_node>(children[0], *first - 1, *length, type) : nullptr;
  }
  const std::string *text = children.size() == 2 ? text_constant(*children[1]) : nullptr;
  if (text == nullptr)
    return nullptr;
  std::optional<like_pattern> pattern;
  if (name == "prefix" || name == "starts_with" || name == "^@")
    pattern = like_pattern::prefix(*text);
  else if (name == "suffix" || name == "ends_with")
    pattern = like_pattern::suffix(*text);
  else if (name == "contains")
    pattern = like_pattern::contains(*text);
  else if (name == "~~" || name == "!~~")
    pattern = like_pattern::of(*text);
  return pattern ? std::make_shared<match_node>(children[0], std::move(*pattern), name == "!~~") : nullptr;
}

} // namespace store::exec
