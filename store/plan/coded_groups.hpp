// Groups of the rows of a table by columns with a dictionary: the walk over their codes and over the numbers that are
// added.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "store/arrow/selection.hpp"
#include "store/decode/code_unpacker.hpp"
#include "store/decode/row_steps.hpp"
#include "store/plan/code_key.hpp"
#include "store/plan/group_input.hpp"
#include "store/plan/number_reader.hpp"
#include <vorn/vorn.h>

namespace store {

class coded_groups : public group_input {
public:
  coded_groups(const coded_groups &) = delete;

  uint32_t next() final;
  std::vector<const column *> read() const final;
  void go_to(size_t batch) final;
  const numbers &operator[](size_t column) const final { return readers_[column].current(); }
  bool knows_order() const final { return true; }
  std::vector<uint32_t> in_order() const final;
  void show(uint32_t group, std::span<cell> out) const final { key.show(key_of(group), out); }

  // All of them; null for those of the table.
  const std::shared_ptr<const selection> &rows() const { return selected; }

protected:
  // Context and columns outlive this.  `walked` is any column of the table.  Without a selection all rows are grouped.
  coded_groups(const vorn_ctx &ctx, const column &walked, std::span<const column *const> columns,
               std::span<const number_column> added, std::shared_ptr<const selection> selected);

  // Finds the groups of the rows of a step.
  virtual void find_groups(const row_steps::step &step) = 0;

  virtual uint64_t key_of(uint32_t group) const = 0;

  const vorn_ctx &ctx;
  const column &walked;
  code_key key;
  std::vector<number_column> added;
  std::shared_ptr<const selection> selected;
  row_steps steps;
  std::deque<code_unpacker> unpackers;

private:
  std::deque<number_reader> readers_;
};

} // namespace store
