// Groups of the rows of a join whose second table has each key once, without the joined rows: the code of the first
// table's key says which row of the second belongs to it, and so what that row's columns hold.
//
// Of a column that is grouped by, the different values are numbered, and a translate table has the number for each code
// of the key; the library adds the numbers to the keys of the groups.  Of a column that is added, the numbers of rows
// are looked up by the same codes.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "store/decode/code_reader.hpp"
#include "store/join/hash_join.hpp"
#include "store/join/join_query.hpp"
#include "store/plan/dense_groups.hpp"
#include "store/plan/group_input.hpp"
#include "store/plan/kept_rows.hpp"
#include <vorn/vorn.h>

namespace store {

class translated_groups final : public group_input {
public:
  // Nothing where rows cannot be grouped so: the condition asks something of both tables at once, keys of the second
  // occur again or those of the first have no codes, or there would be too many groups.  Context and columns outlive
  // this.
  static std::unique_ptr<translated_groups> made(const execution &run, const join_query &asked,
                                                 std::span<const output_column> columns,
                                                 std::span<const number_column> added, const dense_settings &settings);

  translated_groups(const translated_groups &) = delete;
  uint32_t next() override;
  const char *method() const override { return "translated keys"; }
  bool calls_groupkey() const override { return direct_->calls_groupkey(); }
  std::vector<const column *> read() const override;
  void go_to(size_t batch) override;
  std::unique_ptr<group_input> another() const override;
  const uint32_t *groups() const override { return shared_->tables.empty() ? direct_->groups() : keys_.data(); }
  const numbers &operator[](size_t column) const override;
  uint32_t group_count() const override { return shared_->count; }
  void show(uint32_t group, std::span<cell> out) const override;

private:
  // A column of the second table that is grouped by: the number of its value for each code.
  struct translate_table {
    size_t place; // among the columns
    std::vector<uint32_t> entries;
    kept_rows values{1};
    uint32_t factor = 0; // of the numbers in a key
  };
  struct added_column {
    size_t index; // among those of its table
    bool of_second;
  };
  // What all threads share, and only read.
  struct translation {
    const column &key; // of the first table
    std::vector<size_t> direct_places = {};
    std::vector<translate_table> tables = {};
    std::vector<added_column> added = {};
    std::vector<numbers> numbers_of_codes = {}; // of columns of the second table
    uint32_t count = 0;                         // groups
  };

  translated_groups(const vorn_ctx &ctx, std::unique_ptr<dense_groups> direct,
                    std::shared_ptr<const translation> shared);
  void add_keys(const translate_table &table, std::span<const uint32_t> codes);

  const vorn_ctx &ctx_;
  std::unique_ptr<dense_groups> direct_; // by columns of the first table
  std::shared_ptr<const translation> shared_;

  // The codes of the first table's keys, and the groups of a step, with the numbers of the second table.
  code_reader codes_;
  vorn_host::aligned_vector<uint32_t> keys_;
  std::vector<numbers> second_numbers_;
};

} // namespace store
