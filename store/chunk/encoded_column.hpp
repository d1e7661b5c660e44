// Values of a query's rows as a stored column.
#pragma once

#include <string>

#include "store/chunk/vector.hpp"
#include "store/encode/column.hpp"
#include "store/encode/encoder.hpp"

namespace store::exec {

// Codes keep their order: the dictionary of the column has the values that occur.  Throws store::error for values that
// the store does not encode, or does not encode in the chosen form.
column encoded_column(const std::string &name, const layout &of, const vector &values,
                      const encoding_choice &choice = {});

} // namespace store::exec
