// The expected result of one call of an unpacker, row by row.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace vorn_model {

// The rows of a column.  Without runs every row has its own code.
struct unpack_source {
  std::vector<uint32_t> row_codes;
  std::optional<std::vector<uint32_t>> run_lengths;

  uint32_t nrows() const { return static_cast<uint32_t>(row_codes.size()); }
};

struct unpack_position {
  uint32_t start_slot = 0, run_idx = 0, run_end = 0;
  bool operator==(const unpack_position &) const = default;
};

enum class unpack_form { filter, list, range };

struct unpack_result {
  std::vector<uint32_t> codes;
  unpack_position position;
  bool selective;
};

// rows are the rows of the filter or of the list, in ascending order.
inline unpack_result unpack(const unpack_source &src, unpack_form form, const std::vector<uint32_t> &rows,
                            unpack_position at, uint32_t room) {
  std::vector<uint32_t> wanted;
  if (form == unpack_form::range)
    for (uint32_t row = at.start_slot; row < src.nrows(); ++row)
      wanted.push_back(row);
  else
    for (const uint32_t row : rows)
      if (form == unpack_form::list || row >= at.start_slot)
        wanted.push_back(row);
  const bool exhausted = form != unpack_form::list && wanted.size() < room;
  if (form != unpack_form::list && wanted.size() > room)
    wanted.resize(room);

  unpack_result result = {{}, at, form != unpack_form::range};
  for (const uint32_t row : wanted)
    result.codes.push_back(src.row_codes[row]);

  // The last visited row.
  uint32_t &last = result.position.start_slot;
  if (form == unpack_form::filter && (exhausted || (src.run_lengths && room == 0)))
    last = src.nrows() - 1;
  else if (!wanted.empty())
    last = wanted.back();
  else if (form != unpack_form::list)
    last = at.start_slot - 1;

  // The run of the last written row.  Without a valid cursor the walk begins before the first run.
  if (src.run_lengths && (form != unpack_form::range || !wanted.empty())) {
    uint32_t run = at.run_idx, end = at.run_end;
    if (at.start_slot == 0 || at.run_end == 0)
      run = UINT32_MAX, end = 0;
    for (const uint32_t row : wanted)
      while (row >= end)
        end += (*src.run_lengths)[++run];
    result.position.run_idx = run;
    result.position.run_end = end;
  }
  return result;
}

} // namespace vorn_model
