// Arrow files: the form that other programs call Arrow IPC or Feather.
#pragma once

#include "store/operator/answer.hpp"
#include "store/saved/replaced_file.hpp"

namespace store {

// Writes rows as record batches.  Throws store::error.
void write_arrow_file(saved::replaced_file &file, const exec::answer &rows);

} // namespace store
