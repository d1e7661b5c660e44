// AND, OR, NOT, IS NULL, IN and CASE.
#include <algorithm>
#include <cstring>
#include <string>

#include "store/evaluate/node.hpp"

namespace store::exec {

namespace {

using logical::operation;
using logical::scalar;

// Booleans with a value for NULL.
std::span<const int64_t> with_value_for_null(const vector &booleans, int64_t value, arena &memory) {
  if (booleans.validity == nullptr)
    return booleans.int64s();
  const std::span<int64_t> out = memory.take<int64_t>(booleans.rows);
  for (size_t row = 0; row < out.size(); ++row)
    out[row] = booleans.is_null(row) ? value : booleans.int64s()[row];
  return out;
}

// AND and OR with the three truth values of SQL.  One value decides alone: false for AND, true for OR.
class connective_node final : public row_node {
public:
  connective_node(bool deciding, std::vector<node_ptr> nodes) : row_node(std::move(nodes)), deciding_(deciding) {
    bool has_nulls = false;
    for (size_t i = 0; i < children(); ++i)
      has_nulls = has_nulls || child(i).result().has_nulls;
    result_ = boolean_layout(has_nulls);
  }

  vector run(evaluation &chunk) const override {
    arena &memory = chunk.memory();
    const std::span<int64_t> out = memory.take<int64_t>(chunk.rows.rows());
    std::fill(out.begin(), out.end(), deciding_ ? 0 : 1);
    const uint64_t *all_valid = nullptr;
    for (size_t i = 0; i < children(); ++i) {
      const vector next = values_of(child(i), representation::int64, chunk);
      const std::span<const int64_t> values = with_value_for_null(next, deciding_ ? 0 : 1, memory);
      if (deciding_)
        for (size_t row = 0; row < out.size(); ++row)
          out[row] |= values[row];
      else
        for (size_t row = 0; row < out.size(); ++row)
          out[row] &= values[row];
      all_valid = both_valid(all_valid, next.validity, out.size(), memory);
    }
    if (all_valid == nullptr)
      return vector(out);
    // A row that one child has decided is valid too.
    const std::span<uint64_t> validity = memory.take<uint64_t>(words_of(out.size()));
    pack_bits(out, validity);
    for (size_t word = 0; word < validity.size(); ++word)
      validity[word] = all_valid[word] | (deciding_ ? validity[word] : ~validity[word]);
    return vector(out, validity.data());
  }

private:
  bool deciding_;
};

class negation_node final : public row_node {
public:
  explicit negation_node(node_ptr of) : row_node({std::move(of)}) {
    result_ = boolean_layout(child(0).result().has_nulls);
  }

  vector run(evaluation &chunk) const override {
    const vector in = values_of(child(0), representation::int64, chunk);
    const std::span<int64_t> out = chunk.memory().take<int64_t>(in.rows);
    for (size_t row = 0; row < out.size(); ++row)
      out[row] = in.int64s()[row] ^ 1;
    return vector(out, in.validity);
  }
};

class is_null_node final : public row_node {
public:
  is_null_node(node_ptr of, bool inverted) : row_node({std::move(of)}), inverted_(inverted) {
    result_ = boolean_layout(false);
  }

  vector run(evaluation &chunk) const override {
    const vector in = child(0).run(chunk);
    const std::span<int64_t> out = chunk.memory().take<int64_t>(in.rows);
    if (in.validity == nullptr)
      std::fill(out.begin(), out.end(), inverted_ ? 1 : 0);
    else
      for (size_t row = 0; row < out.size(); ++row)
        out[row] = in.is_null(row) != inverted_ ? 1 : 0;
    return vector(out);
  }

private:
  bool inverted_;
};

// A text of up to 7 bytes as a number.  Different texts have different numbers.
constexpr size_t longest_packed = 7;
int64_t packed(std::string_view text) {
  const auto word = [&](auto type, size_t at) {
    std::memcpy(&type, text.data() + at, sizeof type);
    return uint64_t{type};
  };
  const size_t size = text.size();
  uint64_t out = size == 1 ? word(uint8_t{}, 0) : 0;
  if (size > longest_packed)
    return -1;
  if (size >= sizeof(uint32_t))
    out = word(uint32_t{}, 0) | word(uint32_t{}, size - sizeof(uint32_t)) << (8 * (size - sizeof(uint32_t)));
  else if (size >= sizeof(uint16_t))
    out = word(uint16_t{}, 0) | word(uint16_t{}, size - sizeof(uint16_t)) << (8 * (size - sizeof(uint16_t)));
  return static_cast<int64_t>(out | uint64_t{size} << (8 * longest_packed));
}

// Texts as such numbers, or -1.
class packing_node final : public row_node {
public:
  explicit packing_node(node_ptr texts) : row_node({std::move(texts)}) {
    result_ = child(0).result();
    result_.form = representation::int64;
    result_.entries = nullptr;
  }

  vector run(evaluation &chunk) const override {
    const vector in = values_of(child(0), representation::text, chunk);
    const std::span<int64_t> out = chunk.memory().take<int64_t>(in.rows);
    for (size_t row = 0; row < out.size(); ++row)
      out[row] = packed(in.texts()[row]);
    return vector(out, in.validity);
  }
};

// A value among constants of its type.
template <class T>
class set_node final : public row_node {
public:
  set_node(node_ptr of, std::vector<T> members, bool inverted, bool has_null)
      : row_node({std::move(of)}), members_(std::move(members)), inverted_(inverted), has_null_(has_null) {
    std::sort(members_.begin(), members_.end());
    result_ = boolean_layout(has_null || child(0).result().has_nulls);
  }

  vector run(evaluation &chunk) const override {
    arena &memory = chunk.memory();
    using view = std::conditional_t<std::is_same_v<T, std::string>, std::string_view, T>;
    const vector in = values_of(child(0), representation_of<view>, chunk);
    const std::span<const view> values = in.values<view>();
    const std::span<int64_t> out = memory.take<int64_t>(in.rows);
    if (members_.size() <= few)
      find_each(values, out);
    else
      for (size_t row = 0; row < out.size(); ++row)
        out[row] = std::binary_search(members_.begin(), members_.end(), values[row], std::less<>()) ? 1 : 0;
    const uint64_t *validity = in.validity;
    if (has_null_) { // a value that was not found might equal the NULL
      const std::span<uint64_t> found = memory.take<uint64_t>(words_of(out.size()));
      pack_bits(out, found);
      validity = both_valid(validity, found.data(), out.size(), memory);
    }
    if (inverted_)
      for (int64_t &truth : out)
        truth ^= 1;
    return vector(out, validity);
  }

private:
  static constexpr size_t few = 8; // members that are compared one after the other

  void find_each(auto values, std::span<int64_t> out) const {
    std::fill(out.begin(), out.end(), 0);
    for (const T &member : members_)
      for (size_t row = 0; row < out.size(); ++row)
        out[row] |= values[row] == member ? 1 : 0;
  }

  std::vector<T> members_;
  bool inverted_;
  bool has_null_;
};

// CASE: the first true condition selects the value.
class case_node final : public row_node {
public:
  case_node(std::vector<node_ptr> nodes, const logical::sql_type &type) : row_node(std::move(nodes)) {
    result_.type = type;
    result_.form = plain_representation(*type.held);
    result_.has_nulls = false;
    std::optional<number_bounds> all;
    for_each_value([&](size_t i) {
      const layout &of = child(i).result();
      result_.has_nulls = result_.has_nulls || of.has_nulls;
      if (const std::optional<number_bounds> some = bounds_of(of); some && !is_null_constant(i))
        all = all ? number_bounds{std::min(all->low, some->low), std::max(all->high, some->high)} : *some;
    });
    result_.bounds = all;
    if (result_.form == representation::int128 && all && fits_int64(*all))
      result_.form = representation::int64;
    if (const std::shared_ptr<const coded_values> entries = shared_entries()) {
      result_.form = representation::codes;
      result_.entries = entries;
      result_.distinct = entries->codes();
    }
  }

  vector run(evaluation &chunk) const override {
    return with_type(result_.form, [&]<class T>(T) { return chosen<T>(chunk); });
  }

private:
  template <class Take>
  void for_each_value(const Take &take) const {
    for (size_t i = 1; i < children(); i += 2)
      take(i);
    take(children() - 1);
  }

  bool is_null_constant(size_t i) const { return child(i).constant() != nullptr && is_null(*child(i).constant()); }

  // The common dictionary of all values; null if there is none.
  std::shared_ptr<const coded_values> shared_entries() const {
    std::shared_ptr<const coded_values> out = child(children() - 1).result().entries;
    for_each_value([&](size_t i) {
      if (child(i).result().entries != out)
        out = nullptr;
    });
    return out;
  }

  vector value(size_t index, evaluation &chunk) const {
    return result_.form == representation::codes ? child(index).run(chunk)
                                                 : values_of(child(index), result_.form, chunk);
  }

  // A value that no row selects is not computed, because it may be an error.
  template <class T>
  vector chosen(evaluation &chunk) const {
    arena &memory = chunk.memory();
    const size_t rows = chunk.rows.rows();
    const std::span<T> out = memory.take<T>(rows);
    const std::span<uint64_t> validity = all_valid(memory, rows);
    const std::span<int64_t> left = memory.take<int64_t>(rows); // rows without a value
    std::fill(left.begin(), left.end(), 1);
    const std::span<int64_t> taken = memory.take<int64_t>(rows);
    for (size_t i = 1; i < children(); i += 2) {
      const std::span<const int64_t> truth =
          with_value_for_null(values_of(child(i - 1), representation::int64, chunk), 0, memory);
      int64_t any = 0;
      for (size_t row = 0; row < rows; ++row) {
        taken[row] = left[row] & truth[row];
        left[row] ^= taken[row];
        any |= taken[row];
      }
      if (any != 0)
        take<T>(value(i, chunk), taken, i == 1, out, validity, memory);
    }
    if (std::any_of(left.begin(), left.end(), [](int64_t is_left) { return is_left != 0; }))
      take<T>(value(children() - 1, chunk), left, false, out, validity, memory);
    return vector(out, result_.has_nulls ? validity.data() : nullptr);
  }

  template <class T>
  void take(const vector &from, std::span<const int64_t> taken, bool is_first, std::span<T> out,
            std::span<uint64_t> validity, arena &memory) const {
    const std::span<const T> values = from.values<T>();
    if (is_first)
      std::copy(values.begin(), values.end(), out.begin());
    else
      for (size_t row = 0; row < out.size(); ++row)
        out[row] = taken[row] != 0 ? values[row] : out[row];
    if (from.validity == nullptr)
      return;
    const std::span<uint64_t> bits = memory.take<uint64_t>(validity.size());
    pack_bits(taken, bits);
    for (size_t word = 0; word < bits.size(); ++word)
      validity[word] &= ~bits[word] | from.validity[word];
  }
};

node_ptr set_of_numbers(const std::vector<node_ptr> &children, bool inverted) {
  std::vector<int64_t> members;
  bool has_null = false;
  for (size_t i = 1; i < children.size(); ++i) {
    const scalar &value = *children[i]->constant();
    has_null = has_null || is_null(value);
    if (!is_null(value) && fits_int64(std::get<__int128>(value)))
      members.push_back(static_cast<int64_t>(std::get<__int128>(value)));
  }
  return std::make_shared<set_node<int64_t>>(children[0], std::move(members), inverted, has_null);
}

node_ptr set_of_texts(const std::vector<node_ptr> &children, bool inverted) {
  std::vector<std::string> members;
  std::vector<int64_t> packed_members;
  bool has_null = false;
  for (size_t i = 1; i < children.size(); ++i) {
    const scalar &value = *children[i]->constant();
    has_null = has_null || is_null(value);
    if (is_null(value))
      continue;
    members.push_back(std::get<std::string>(value));
    if (members.back().size() <= longest_packed)
      packed_members.push_back(packed(members.back()));
  }
  if (packed_members.size() == members.size())
    return std::make_shared<set_node<int64_t>>(std::make_shared<packing_node>(children[0]), std::move(packed_members),
                                               inverted, has_null);
  return std::make_shared<set_node<std::string>>(children[0], std::move(members), inverted, has_null);
}

// Texts that are all constants become codes of a dictionary.
void give_dictionary(std::vector<node_ptr> &children, const logical::sql_type &type) {
  std::vector<size_t> values;
  for (size_t i = 1; i < children.size(); i += 2)
    values.push_back(i);
  values.push_back(children.size() - 1);
  std::vector<std::string_view> texts;
  for (const size_t i : values) {
    const scalar *value = children[i]->constant();
    if (value == nullptr || !type.held->is_bytes())
      return;
    if (!is_null(*value))
      texts.push_back(std::get<std::string>(*value));
    if (!is_null(*value) && texts.back().size() > dictionary::longest_text)
      return;
  }
  std::sort(texts.begin(), texts.end());
  texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
  const auto entries = std::make_shared<const coded_values>(
      std::make_shared<const dictionary>(dictionary::of(std::span<const std::string_view>(texts), true)), *type.held);
  for (const size_t i : values)
    children[i] = make_code(*children[i]->constant(), type, entries);
}

} // namespace

node_ptr make_all_of(std::vector<node_ptr> children) {
  return std::make_shared<connective_node>(false, std::move(children));
}

node_ptr make_any_of(std::vector<node_ptr> children) {
  return std::make_shared<connective_node>(true, std::move(children));
}

node_ptr make_negation(node_ptr child) { return std::make_shared<negation_node>(std::move(child)); }

node_ptr make_is_null(node_ptr child, bool inverted) {
  return std::make_shared<is_null_node>(std::move(child), inverted);
}

node_ptr make_in(std::vector<node_ptr> children, bool inverted, double estimated_rows) {
  const bool constants =
      std::all_of(children.begin() + 1, children.end(), [](const node_ptr &n) { return n->constant() != nullptr; });
  if (constants && decoded_form(children[0]->result()) == representation::int64)
    return set_of_numbers(children, inverted);
  if (constants && decoded_form(children[0]->result()) == representation::text)
    return set_of_texts(children, inverted);
  std::vector<node_ptr> equals;
  for (size_t i = 1; i < children.size(); ++i)
    equals.push_back(make_comparison(operation::equal, children[0], children[i], estimated_rows));
  node_ptr found = make_any_of(std::move(equals));
  return inverted ? make_negation(std::move(found)) : found;
}

node_ptr make_case(std::vector<node_ptr> children, const logical::sql_type &type) {
  give_dictionary(children, type);
  return std::make_shared<case_node>(std::move(children), type);
}

} // namespace store::exec
