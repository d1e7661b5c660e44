// Writes the measurements of vornq for other programs.
#pragma once

#include <filesystem>

#include "vornq/answers.hpp"

namespace store {

// Writes the sizes of the columns, and the median and least times of the answers, as JSON.  Throws store::error.
void write_record(const std::filesystem::path &path, session &with, const answers &all);

} // namespace store
