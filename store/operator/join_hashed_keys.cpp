// The table of a join for keys of any kind, on the hash table of the library.
#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "store/operator/hash_values.hpp"
#include "store/operator/join_hash_table.hpp"
#include "store/operator/join_table.hpp"

namespace store::exec {

namespace {

std::span<const uint64_t> hashes_of(const vorn_ctx &library, const key_batch &keys, arena &memory) {
  return hash_values(library, keys.rows, keys.words, keys.texts, memory);
}

template <class T>
std::span<const T> gathered(std::span<const T> values, std::span<const uint32_t> rows, arena &memory) {
  const std::span<T> out = memory.take<T>(rows.size());
  for (size_t i = 0; i < rows.size(); ++i)
    out[i] = values[rows[i]];
  return out;
}

// A part of the keys.  All of them are usable.
key_batch chosen(const key_batch &from, std::span<const uint32_t> rows, arena &memory) {
  const auto gather = [&]<class T>(std::span<std::span<const T>> columns) {
    const std::span<std::span<const T>> out = memory.take<std::span<const T>>(columns.size());
    for (size_t c = 0; c < columns.size(); ++c)
      out[c] = gathered(columns[c], rows, memory);
    return out;
  };
  key_batch out;
  out.rows = static_cast<uint32_t>(rows.size());
  out.words = gather(from.words);
  out.texts = gather(from.texts);
  return out;
}

std::span<const uint32_t> usable_rows(const key_batch &keys, arena &memory) {
  const std::span<uint32_t> out = memory.take<uint32_t>(keys.rows);
  size_t count = 0;
  for (uint32_t row = 0; row < keys.rows; ++row) {
    out[count] = row;
    count += keys.is_usable(row) ? 1 : 0;
  }
  return out.first(count);
}

struct hashed_row {
  uint64_t hash;
  uint32_t row;

  friend bool operator<(const hashed_row &a, const hashed_row &b) {
    return a.hash != b.hash ? a.hash < b.hash : a.row < b.row;
  }
};

// Sorts by some bits of the hash values, then by the whole hash values, then by the rows.  The rows come in ascending
// order.
void sort(std::vector<hashed_row> &rows, uint32_t first_bit, uint32_t bits) {
  constexpr uint32_t digit_bits = 11;
  std::vector<hashed_row> sorted(rows.size());
  for (uint32_t done = 0; done < bits; done += digit_bits) {
    const uint32_t shift = first_bit + done;
    const uint64_t mask = (uint64_t{1} << std::min(digit_bits, bits - done)) - 1;
    std::array<size_t, 1 << digit_bits> places{};
    for (const hashed_row &r : rows)
      ++places[r.hash >> shift & mask];
    size_t before = 0;
    for (size_t &place : places)
      before += std::exchange(place, before);
    for (const hashed_row &r : rows)
      sorted[places[r.hash >> shift & mask]++] = r;
    rows.swap(sorted);
  }
  const auto place = [&](const hashed_row &r) { return r.hash >> first_bit & ((uint64_t{1} << bits) - 1); };
  for (auto begin = rows.begin(); begin != rows.end();) {
    const auto end =
        std::find_if(begin + 1, rows.end(), [&, of = place(*begin)](const hashed_row &r) { return place(r) != of; });
    std::sort(begin, end);
    begin = end;
  }
}

class hashed_keys final : public join_table {
public:
  hashed_keys(const vorn_ctx &library, const built_keys &keys, group_rows wanted, arena &memory)
      : words_(keys.packing().words()), texts_(keys.packing().texts()), table_(keys.rows()), map_(keys.rows()) {
    std::vector<hashed_row> rows;
    rows.reserve(keys.rows());
    keys.for_each(memory, [&](size_t first, const key_batch &some) {
      for (size_t w = 0; w < words_.size(); ++w)
        words_[w].insert(words_[w].end(), some.words[w].begin(), some.words[w].end());
      for (size_t t = 0; t < texts_.size(); ++t)
        texts_[t].insert(texts_[t].end(), some.texts[t].begin(), some.texts[t].end());
      const std::span<const uint64_t> hashes = hashes_of(library, some, memory);
      for (size_t row = 0; row < some.rows; ++row)
        if (some.is_usable(row))
          rows.push_back({hashes[row], static_cast<uint32_t>(first + row)});
    });
    sort(rows, table_.first_place_bit(), table_.place_bits());
    make_groups(rows, wanted);
    insert(library, rows);
  }

  class hash_finder final : public finder {
  public:
    hash_finder(const hashed_keys &of, const vorn_ctx &library) : of_(of), library_(library) {}
    matches find(const key_batch &keys, arena &memory) override;

  private:
    // Calls a function with the position and the group of each equal key.
    template <class Take>
    void confirm(const key_batch &sought, std::span<const hash_table::candidate> candidates, const Take &take) const;

    const hashed_keys &of_;
    const vorn_ctx &library_;
    // A test of the map costs a fraction of a look-up in the table.  The map is no longer used when it stops few rows.
    uint64_t tested_ = 0;
    uint64_t passed_ = 0;
    bool is_map_useful() const {
      constexpr uint64_t enough = 65536; // the number of rows before the decision
      return tested_ < enough || passed_ < tested_ / 8 * 7;
    }
  };
  std::unique_ptr<finder> begin(const vorn_ctx &library) const override {
    return std::make_unique<hash_finder>(*this, library);
  }

  uint64_t bytes() const override {
    return join_table::bytes() + table_.bytes() + map_.bytes() + records_.size() * sizeof(uint64_t) +
           record_texts_.size() * sizeof(std::string_view);
  }
  std::string description() const override { return fmt::format("hash table of {} keys", groups_); }

private:
  bool are_equal(uint32_t a, uint32_t b) const {
    const auto same = [&](const auto &column) { return column[a] == column[b]; };
    return std::all_of(words_.begin(), words_.end(), same) && std::all_of(texts_.begin(), texts_.end(), same);
  }

  // Among rows with equal hash values, puts rows with equal keys together, and drops the rows that are not wanted.
  void make_groups(std::vector<hashed_row> &rows, group_rows wanted) {
    std::vector<hashed_row> first_of_groups;
    ends_.push_back(0);
    for (auto begin = rows.begin(); begin != rows.end();) {
      auto rest = std::find_if(begin, rows.end(), [&](const hashed_row &r) { return r.hash != begin->hash; });
      for (const auto run_end = rest; begin != run_end; begin = rest) {
        rest = std::stable_partition(begin + 1, run_end,
                                     [&](const hashed_row &r) { return are_equal(r.row, begin->row); });
        first_of_groups.push_back(*begin);
        for (auto r = begin; r != rest; ++r)
          if (wanted == group_rows::all || r == begin)
            rows_.push_back(r->row);
        ends_.push_back(static_cast<uint32_t>(rows_.size()));
      }
    }
    rows.swap(first_of_groups);
    // The number of a group of one row is the number of the row.
    if (rows_.size() == rows.size()) {
      rows_.clear();
      ends_.clear();
    }
  }

  void insert(const vorn_ctx &library, std::span<const hashed_row> groups) {
    std::vector<uint64_t> hashes;
    for (const hashed_row &g : groups)
      hashes.push_back(g.hash);
    for (size_t first = 0; first < hashes.size(); first += chunk_rows) {
      const auto some = std::span(hashes).subspan(first, std::min<size_t>(chunk_rows, hashes.size() - first));
      table_.insert(library, some);
      map_.add(some);
    }
    groups_ = groups.size();
    records_.reserve(groups.size() * record_words());
    for (size_t g = 0; g < groups.size(); ++g) {
      for (const std::vector<uint64_t> &word : words_)
        records_.push_back(word[groups[g].row]);
      records_.push_back(groups_are_rows() ? groups[g].row : g);
      for (const std::vector<std::string_view> &text : texts_)
        record_texts_.push_back(text[groups[g].row]);
    }
    for (std::vector<uint64_t> &word : words_)
      word = {};
    for (std::vector<std::string_view> &text : texts_)
      text = {};
  }

  size_t record_words() const { return words_.size() + 1; }

  // Data of the rows while the table is made.
  std::vector<std::vector<uint64_t>> words_;
  std::vector<std::vector<std::string_view>> texts_;
  // A record for each entry of the hash table: the words of the key, and the group.  The texts are stored separately.
  std::vector<uint64_t> records_;
  std::vector<std::string_view> record_texts_;
  size_t groups_ = 0;
  hash_table table_;
  bloom_map map_;
};

join_table::matches hashed_keys::hash_finder::find(const key_batch &keys, arena &memory) {
  key_batch sought = keys;
  std::span<const uint32_t> rows; // the keys to look up; empty for all
  if (keys.usable != nullptr) {
    rows = usable_rows(keys, memory);
    sought = chosen(keys, rows, memory);
  }
  if (sought.rows == 0)
    return {};
  std::span<const uint64_t> hashes = hashes_of(library_, sought, memory);
  if (is_map_useful()) {
    const std::span<const uint32_t> passed = of_.map_.test(library_, hashes, memory);
    tested_ += hashes.size();
    passed_ += passed.size();
    if (passed.empty())
      return {};
    hashes = gathered(hashes, passed, memory);
    sought = chosen(sought, passed, memory);
    rows = rows.empty() ? passed : gathered(rows, passed, memory);
  }
  const std::span<uint32_t> found = memory.take<uint32_t>(sought.rows);
  const std::span<uint32_t> groups = memory.take<uint32_t>(sought.rows);
  size_t count = 0;
  of_.table_.find(library_, hashes, memory, [&](std::span<const hash_table::candidate> candidates) {
    confirm(sought, candidates, [&](uint64_t key, uint64_t group) {
      found[count] = rows.empty() ? static_cast<uint32_t>(key) : rows[key];
      groups[count++] = static_cast<uint32_t>(group);
    });
  });
  return {found.first(count), groups.first(count)};
}

template <class Take>
void hashed_keys::hash_finder::confirm(const key_batch &sought, std::span<const hash_table::candidate> candidates,
                                       const Take &take) const {
  const size_t words = sought.words.size();
  const size_t texts = sought.texts.size();
  if (words == 1 && texts == 0) {
    const uint64_t *keys = sought.words[0].data();
    for (const auto [key, entry] : candidates) {
      const uint64_t *record = &of_.records_[entry * 2];
      if (keys[key] == record[0])
        take(key, record[1]);
    }
    return;
  }
  for (const auto [key, entry] : candidates) {
    const uint64_t *record = &of_.records_[entry * (words + 1)];
    bool is_equal = true;
    for (size_t w = 0; w < words; ++w)
      is_equal = is_equal && sought.words[w][key] == record[w];
    for (size_t t = 0; t < texts; ++t)
      is_equal = is_equal && sought.texts[t][key] == of_.record_texts_[entry * texts + t];
    if (is_equal)
      take(key, record[words]);
  }
}

} // namespace

std::unique_ptr<const join_table> make_hash_join_table(const vorn_ctx &library, const built_keys &keys,
                                                       group_rows wanted, arena &memory) {
  return std::make_unique<hashed_keys>(library, keys, wanted, memory);
}

} // namespace store::exec
