// Values of plans as JSON.
#pragma once

#include <nlohmann/json.hpp>

#include "store/logical/expression.hpp"

namespace store::sql {

// An object of one member: what the value holds, as text.  So that every value comes back as it was, a double is the
// number of its bits, and bytes are in hexadecimal digits.  NULL is null.
nlohmann::json scalar_json(const logical::scalar &value);

} // namespace store::sql
