// JSON of DuckDB.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace store::sql {

// A text of JSON as a tree, in which NaN and infinity are words.
//
// The destructor of nlohmann::json takes memory for each part that has parts, and ends the process where there is none.
// This destructor takes none: it empties the parts first.
class json_document {
public:
  // Throws store::error.
  explicit json_document(const std::string &text);
  json_document(json_document &&) noexcept;
  json_document &operator=(json_document &&) noexcept;
  ~json_document();

  const nlohmann::json &tree() const { return *tree_; }

private:
  struct emptied {
    void operator()(nlohmann::json *tree) const;
  };
  std::unique_ptr<nlohmann::json, emptied> tree_;
};

// A member of an object, or null without one.
const nlohmann::json &member(const nlohmann::json &of, const char *name);

// Whether a value is this text.  The operator == of nlohmann::json would take memory, and must not fail.
bool is_text(const nlohmann::json &value, std::string_view text);

} // namespace store::sql
