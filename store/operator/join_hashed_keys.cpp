// The table of a join for keys of any kind, over the library's hash table.
#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"
#include "store/operator/join_hash_table.hpp"
#include "store/operator/join_table.hpp"

namespace store::exec {

namespace {

std::span<const uint64_t> hash_values(const vorn_ctx &library, const key_batch &keys, arena &memory) {
  constexpr uint64_t first_seed = 0;
  std::span<const uint64_t> seeds(&first_seed, 1);
  const auto hash = [&](row_vector source) {
    const std::span<uint64_t> out = memory.take<uint64_t>(keys.rows);
    row_vector seed(vorn_build_encoding_type_hash_values, seeds.data(), nullptr, seeds.size());
    vorn_cv result{};
    result.vorn_cv_vals = out.data();
    vorn_aux aux{};
    expect(vorn_hash(&library, &result, source.get(), seed.get(), vornenc_hash, &aux), VORN_RESULT_DONE, "hashing");
    seeds = out;
  };
  for (const std::span<const uint64_t> words : keys.words)
    hash(row_vector::fixed(64, words.data(), keys.rows));
  for (const std::span<const std::string_view> texts : keys.texts) {
    const std::span<const char *> starts = memory.take<const char *>(keys.rows);
    const std::span<uint16_t> lengths = memory.take<uint16_t>(keys.rows);
    constexpr size_t most_hashed = 65535;
    for (size_t row = 0; row < keys.rows; ++row) {
      starts[row] = texts[row].data();
      lengths[row] = static_cast<uint16_t>(std::min(texts[row].size(), most_hashed));
    }
    hash({vorn_build_encoding_type_lp_sep, starts.data(), lengths.data(), keys.rows});
  }
  return seeds;
}

// Some of the keys.  They are all usable.
key_batch chosen(const key_batch &from, std::span<const uint32_t> rows, arena &memory) {
  const auto gather = [&]<class T>(std::span<std::span<const T>> columns) {
    const std::span<std::span<const T>> out = memory.take<std::span<const T>>(columns.size());
    for (size_t c = 0; c < columns.size(); ++c) {
      const std::span<T> made = memory.take<T>(rows.size());
      for (size_t i = 0; i < rows.size(); ++i)
        made[i] = columns[c][rows[i]];
      out[c] = made;
    }
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

// Sorts by some bits of the hash values, then by the whole hash values, then by the rows.  Rows come ascending.
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
    const auto end = std::find_if(begin + 1, rows.end(),
                                  [&, of = place(*begin)](const hashed_row &r) { return place(r) != of; });
    std::sort(begin, end);
    begin = end;
  }
}

class hashed_keys final : public join_table {
public:
  hashed_keys(const vorn_ctx &library, const built_keys &keys, group_rows asked, arena &memory)
      : words_(keys.packing().words()), texts_(keys.packing().texts()), table_(keys.rows()), map_(keys.rows()) {
    std::vector<hashed_row> rows;
    rows.reserve(keys.rows());
    keys.for_each(memory, [&](size_t first, const key_batch &some) {
      for (size_t w = 0; w < words_.size(); ++w)
        words_[w].insert(words_[w].end(), some.words[w].begin(), some.words[w].end());
      for (size_t t = 0; t < texts_.size(); ++t)
        texts_[t].insert(texts_[t].end(), some.texts[t].begin(), some.texts[t].end());
      const std::span<const uint64_t> hashes = hash_values(library, some, memory);
      for (size_t row = 0; row < some.rows; ++row)
        if (some.is_usable(row))
          rows.push_back({hashes[row], static_cast<uint32_t>(first + row)});
    });
    sort(rows, table_.first_place_bit(), table_.place_bits());
    make_groups(rows, asked);
    insert(library, rows);
  }

  class hash_finder final : public finder {
  public:
    hash_finder(const hashed_keys &of, const vorn_ctx &library) : of_(of), library_(library) {}
    std::span<const uint32_t> find(const key_batch &keys, arena &memory) override;

  private:
    // Looks for keys of some rows, all of them where `rows` is empty.
    void find(const key_batch &keys, std::span<const uint32_t> rows, std::span<uint32_t> out, arena &memory);

    const hashed_keys &of_;
    const vorn_ctx &library_;
    // A test against the map costs a fraction of a look at the table.  A map that stops few rows is not asked any more.
    uint64_t tested_ = 0;
    uint64_t passed_ = 0;
    bool is_map_useful() const {
      constexpr uint64_t enough = 65536; // rows, to tell
      return tested_ < enough || passed_ < tested_ / 8 * 7;
    }
  };
  std::unique_ptr<finder> begin(const vorn_ctx &library) const override {
    return std::make_unique<hash_finder>(*this, library);
  }

  uint64_t bytes() const override {
    return join_table::bytes() + table_.bytes() + map_.bytes() +
           (words_.size() * sizeof(uint64_t) + texts_.size() * sizeof(std::string_view)) * first_rows_.size();
  }
  std::string description() const override { return fmt::format("hash table of {} keys", first_rows_.size()); }

private:
  bool are_equal(uint32_t a, uint32_t b) const {
    const auto same = [&](const auto &column) { return column[a] == column[b]; };
    return std::all_of(words_.begin(), words_.end(), same) && std::all_of(texts_.begin(), texts_.end(), same);
  }

  // Puts rows of equal keys together, where hash values are equal, and drops what is not asked for.
  void make_groups(std::vector<hashed_row> &rows, group_rows asked) {
    std::vector<hashed_row> first_of_groups;
    ends_.push_back(0);
    for (auto begin = rows.begin(); begin != rows.end();) {
      auto rest = std::find_if(begin, rows.end(), [&](const hashed_row &r) { return r.hash != begin->hash; });
      for (const auto run_end = rest; begin != run_end; begin = rest) {
        rest = std::stable_partition(begin + 1, run_end,
                                     [&](const hashed_row &r) { return are_equal(r.row, begin->row); });
        first_of_groups.push_back(*begin);
        for (auto r = begin; r != rest; ++r)
          if (asked == group_rows::all || r == begin)
            rows_.push_back(r->row);
        ends_.push_back(static_cast<uint32_t>(rows_.size()));
      }
    }
    rows.swap(first_of_groups);
    // A group is its row where it has one only.
    if (rows_.size() == rows.size()) {
      first_rows_ = std::move(rows_);
      rows_.clear();
      ends_.clear();
    } else {
      for (const hashed_row &r : rows)
        first_rows_.push_back(r.row);
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
    const auto keep_groups = [&](auto &column) {
      std::remove_reference_t<decltype(column)> kept(groups.size());
      for (size_t g = 0; g < groups.size(); ++g)
        kept[g] = column[groups[g].row];
      column = std::move(kept);
    };
    std::for_each(words_.begin(), words_.end(), keep_groups);
    std::for_each(texts_.begin(), texts_.end(), keep_groups);
  }

  // Of the rows while the table is made, then of the groups.
  std::vector<std::vector<uint64_t>> words_;
  std::vector<std::vector<std::string_view>> texts_;
  std::vector<uint32_t> first_rows_; // of the groups
  hash_table table_;
  bloom_map map_;
};

std::span<const uint32_t> hashed_keys::hash_finder::find(const key_batch &keys, arena &memory) {
  const std::span<uint32_t> out = memory.take<uint32_t>(keys.rows);
  std::fill(out.begin(), out.end(), no_row);
  if (keys.usable == nullptr) {
    find(keys, {}, out, memory);
  } else if (const std::span<const uint32_t> rows = usable_rows(keys, memory); !rows.empty()) {
    find(chosen(keys, rows, memory), rows, out, memory);
  }
  return out;
}

void hashed_keys::hash_finder::find(const key_batch &keys, std::span<const uint32_t> rows, std::span<uint32_t> out,
                                    arena &memory) {
  std::span<const uint64_t> hashes = hash_values(library_, keys, memory);
  std::span<const uint32_t> passed;
  if (is_map_useful()) {
    passed = of_.map_.test(library_, hashes, memory);
    tested_ += hashes.size();
    passed_ += passed.size();
    if (passed.empty())
      return;
    const std::span<uint64_t> hashes_of_passed = memory.take<uint64_t>(passed.size());
    for (size_t i = 0; i < passed.size(); ++i)
      hashes_of_passed[i] = hashes[passed[i]];
    hashes = hashes_of_passed;
  }
  const bool has_rows_as_groups = of_.groups_are_rows();
  of_.table_.find(library_, hashes, memory, [&](std::span<const hash_table::candidate> candidates) {
    for (const auto [position, group] : candidates) {
      const size_t key = passed.empty() ? position : passed[position];
      bool is_equal = true;
      for (size_t w = 0; w < keys.words.size(); ++w)
        is_equal &= keys.words[w][key] == of_.words_[w][group];
      for (size_t t = 0; t < keys.texts.size(); ++t)
        is_equal = is_equal && keys.texts[t][key] == of_.texts_[t][group];
      if (is_equal)
        out[rows.empty() ? key : rows[key]] =
            has_rows_as_groups ? of_.first_rows_[group] : static_cast<uint32_t>(group);
    }
  });
}

} // namespace

std::unique_ptr<const join_table> make_hash_join_table(const vorn_ctx &library, const built_keys &keys,
                                                       group_rows asked, arena &memory) {
  return std::make_unique<hashed_keys>(library, keys, asked, memory);
}

} // namespace store::exec
