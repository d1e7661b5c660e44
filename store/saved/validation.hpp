// Whether what a file says of a column is true, so that no kernel reads what it must not and no answer is made of what
// cannot be.  All throw store::error.
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

// Form, width, type and key range of a column belong together.
void check_form(const column &of);

// The symbols of a dictionary lie one after the other, the symbol of NULL is empty, and there are no other symbols.
void check_symbol_ends(const dictionary::parts &entries);

// The symbols have the lengths that their kind asks for, and ascend.
void check_symbols(const dictionary &entries, value_kind kind);

// The run lengths, length codes or record offsets of a batch belong to its rows and to its stream, of which
// `stream_bytes` is set.  Makes the CLA of runs.
void check_lengths(const column &of, batch &rows);

// The stream of a batch decompresses, and its codes or values agree with the zone and the column.
void check_values(const vorn_ctx &ctx, const column &of);

} // namespace store::saved
