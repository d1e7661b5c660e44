#include "sql/json_document.hpp"

#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "store/error.hpp"

namespace store::sql {

namespace {

using nlohmann::json;

// JSON has no words for these numbers.
std::string with_quoted_numbers(const std::string &text) {
  std::string out;
  out.reserve(text.size());
  bool is_text = false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (!is_text)
      for (std::string_view word : {"NaN", "-Infinity", "Infinity"})
        if (text.compare(i, word.size(), word) == 0) {
          out += '"' + std::string(word) + '"';
          i += word.size();
        }
    out += text[i];
    if (text[i] == '"')
      is_text = !is_text;
    else if (text[i] == '\\')
      out += text[++i];
  }
  return out;
}

void empty(json &tree) {
  for (json &part : tree)
    if (part.is_structured())
      empty(part);
  tree.clear();
}

// Puts what the parser reads into a tree that somebody else owns.
class tree_builder final : public nlohmann::json_sax<json> {
public:
  explicit tree_builder(json &root) : root_(root) {}

  bool null() override { return add(nullptr); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(json::number_integer_t value) override { return add(value); }
  bool number_unsigned(json::number_unsigned_t value) override { return add(value); }
  bool number_float(json::number_float_t value, const std::string &) override { return add(value); }
  bool string(std::string &value) override { return add(std::move(value)); }
  bool binary(json::binary_t &) override { return false; }
  bool start_object(size_t) override { return add(json::object()); }
  bool key(std::string &name) override {
    place_ = &(*open_.back())[std::move(name)];
    return true;
  }
  bool end_object() override { return end(); }
  bool start_array(size_t) override { return add(json::array()); }
  bool end_array() override { return end(); }
  bool parse_error(size_t, const std::string &, const nlohmann::detail::exception &why) override {
    throw error(fmt::format("DuckDB gives no JSON: {}", why.what()));
  }

private:
  // A value of the object whose key came last, of the array that is open, or the root.
  template <class Value>
  bool add(Value &&value) {
    json *place = &root_;
    if (!open_.empty() && open_.back()->is_array())
      place = &open_.back()->emplace_back();
    else if (!open_.empty())
      place = place_;
    *place = std::forward<Value>(value);
    if (!place->is_structured())
      return true;
    if (open_.size() == deepest)
      throw error("a query of too many nested parts");
    open_.push_back(place);
    return true;
  }
  bool end() {
    open_.pop_back();
    return true;
  }

  static constexpr size_t deepest = 3000; // which no query reaches, and a stack holds

  json &root_;
  json *place_ = nullptr;
  std::vector<json *> open_; // objects and arrays, the outermost first
};

} // namespace

json_document::json_document(const std::string &text) : tree_(new json) {
  tree_builder builder(*tree_);
  json::sax_parse(with_quoted_numbers(text), &builder);
}
json_document::json_document(json_document &&) noexcept = default;
json_document &json_document::operator=(json_document &&other) noexcept {
  tree_.swap(other.tree_);
  return *this;
}
json_document::~json_document() = default;

void json_document::emptied::operator()(json *tree) const {
  if (tree->is_structured())
    empty(*tree);
  delete tree;
}

const json &member(const json &of, const char *name) {
  static const json none;
  if (!of.is_object())
    return none;
  const auto found = of.find(name);
  return found == of.end() ? none : *found;
}

bool is_text(const json &value, std::string_view text) {
  return value.is_string() && value.get_ref<const std::string &>() == text;
}

} // namespace store::sql
