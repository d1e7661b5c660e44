// What vornq found and measured, for programs to read.
#pragma once

#include <filesystem>
#include <span>
#include <string_view>

#include "vornq/report.hpp"

namespace store {

// Writes the sizes of the columns, and the median and least times of the answers, as JSON.  Throws store::error.
void write_record(const std::filesystem::path &path, const tables &from, std::span<const answered> answers,
                  std::string_view kernels_in_force, size_t threads);

} // namespace store
