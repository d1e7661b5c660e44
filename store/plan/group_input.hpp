// Rows that are to be grouped, some thousand at a time: the group of each, and numbers.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "store/plan/numbers.hpp"
#include "store/value/value.hpp"

namespace store {

class group_input {
public:
  virtual ~group_input() = default;

  // Goes on to the next rows and says how many they are; none at the end.
  virtual uint32_t next() = 0;

  // The groups of these rows; null where there is but one group, which is there without rows too.
  virtual const uint32_t *groups() const = 0;

  // One of the columns of numbers, on these rows.
  virtual const numbers &operator[](size_t column) const = 0;

  // Groups are below this number.  It may grow from step to step, and some may be without rows.
  virtual uint32_t group_count() const = 0;

  // Goes to the rows of a batch, with which they end; without a call these are those of all.
  virtual void go_to(size_t batch) = 0;

  // The same rows for another thread, and the number here of a group that has another number there.
  virtual std::unique_ptr<group_input> another() const = 0;
  virtual uint32_t group_of(const group_input & /*there*/, uint32_t group) { return group; }

  // How the groups are found, by an entry point that tells no trace of itself or by none, and the columns whose batches
  // this reads itself.
  virtual const char *method() const = 0;
  virtual bool calls_groupkey() const { return false; }
  virtual std::vector<const column *> read() const = 0;

  // All groups in the order of what they have in common, NULL last, where they can be had so without their cells.
  virtual bool knows_order() const { return false; }
  virtual std::vector<uint32_t> in_order() const { return {}; }

  // What a group has in common, a cell of each column that rows are grouped by.
  virtual void show(uint32_t group, std::span<cell> out) const = 0;
};

} // namespace store
