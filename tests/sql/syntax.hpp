// The text of a query as a tree, so that a query that fails can be made smaller.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace vorn_test {

struct syntax {
  // What a part means to whoever compares answers.
  enum class role { none, rounded, order_key, limit };

  std::string text; // before the parts
  std::vector<syntax> parts = {};
  std::string separator = {}; // between parts
  std::string end = {};
  bool may_go = false;                // the query is still one without it
  std::vector<size_t> may_stand = {}; // parts that may stand for the whole
  role means = role::none;
  std::string name = {}; // of the column that has the role
  bool is_gone = false;

  syntax(std::string words = {}) : text(std::move(words)) {}
  syntax(const char *words) : text(words) {}
  // Parts one after the other.
  syntax(std::initializer_list<syntax> of) : parts(of) {}
  // A list, of which parts may go.  Without any part left it is no query, and DuckDB says so.
  static syntax list(std::vector<syntax> of, std::string between) {
    syntax out;
    out.parts = std::move(of);
    out.separator = std::move(between);
    for (size_t i = 0; i < out.parts.size(); ++i) {
      out.parts[i].may_go = true;
      out.may_stand.push_back(i);
    }
    return out;
  }

  syntax &&optional() && {
    may_go = true;
    return std::move(*this);
  }
  syntax &&standing(std::initializer_list<size_t> of) && {
    may_stand = of;
    return std::move(*this);
  }
  syntax &&as(role what, std::string of = {}) && {
    means = what;
    name = std::move(of);
    return std::move(*this);
  }

  void write(std::string &out, bool with_limits) const {
    if (is_gone || (means == role::limit && !with_limits))
      return;
    out += text;
    bool is_first = true;
    for (const syntax &part : parts) {
      if (!part.is_gone && !is_first)
        out += separator;
      is_first = is_first && part.is_gone;
      part.write(out, with_limits);
    }
    out += end;
  }
  // The whole text; without limits for the rows among which those of a limit must be.
  std::string sql(bool with_limits = true) const {
    std::string out;
    write(out, with_limits);
    return out;
  }

  // Calls with each part that is there.
  template <class Take>
  void each(const Take &take) const {
    if (is_gone)
      return;
    take(*this);
    for (const syntax &part : parts)
      part.each(take);
  }
  std::vector<std::string> names_of(role what) const {
    std::vector<std::string> out;
    each([&](const syntax &part) {
      if (part.means == what)
        out.push_back(part.name);
    });
    return out;
  }
};

// Makes a query smaller as long as `fails` says that it still fails.
inline void shrink(syntax &whole, const std::function<bool()> &fails) {
  bool is_smaller = true;
  const std::function<void(syntax &)> at = [&](syntax &part) {
    if (part.is_gone)
      return;
    if (part.may_go) {
      part.is_gone = true;
      if (fails()) {
        is_smaller = true;
        return;
      }
      part.is_gone = false;
    }
    for (const size_t stands : part.may_stand) {
      if (part.parts.size() == 1 && part.text.empty())
        break;
      syntax smaller = part.parts[stands];
      if (smaller.is_gone)
        continue;
      smaller.may_go = part.may_go;
      std::swap(part, smaller);
      if (fails()) {
        is_smaller = true;
        break;
      }
      std::swap(part, smaller);
    }
    for (syntax &below : part.parts)
      at(below);
  };
  while (is_smaller) {
    is_smaller = false;
    at(whole);
  }
}

} // namespace vorn_test
