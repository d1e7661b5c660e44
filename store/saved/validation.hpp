// Checks a column of a file, so that no kernel reads beyond its data and no impossible value gets into an answer.  All
// functions throw store::error.
#pragma once

#include <string>
#include <string_view>

#include "store/encode/column.hpp"
#include "store/error.hpp"
#include <vorn/vorn.h>

namespace store::saved {

inline void require(bool holds, std::string_view otherwise) {
  if (!holds)
    throw error(std::string(otherwise));
}

// Form, width, type and key range of a column fit together.
void check_form(const column &of);

// The symbols of a dictionary lie one after the other, the symbol of NULL is empty, and there are no other symbols.
void check_symbol_ends(const dictionary::parts &entries);

// The symbols have the lengths that their kind requires, and ascend.
void check_symbols(const dictionary &entries, value_kind kind);

// The run lengths, length codes or record offsets of a segment fit its rows and its stream.  `stream_bytes` is set
// before.  Makes the CLA of runs.
void check_lengths(const column &of, column_segment &rows);

// The stream of a segment decompresses, and its codes or values agree with the zone and the column.
void check_values(const vorn_ctx &ctx, const column &of);

} // namespace store::saved
