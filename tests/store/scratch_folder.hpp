// A folder for the files of a test; gone at its end.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace vorn_test {

class scratch_folder {
public:
  scratch_folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vorn-store-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
      std::abort();
    root_ = pattern;
  }
  ~scratch_folder() { std::filesystem::remove_all(root_); }
  scratch_folder(const scratch_folder &) = delete;
  scratch_folder &operator=(const scratch_folder &) = delete;

  std::string path(std::string_view name = "") const { return (root_ / name).string(); }

  std::string write(std::string_view name, std::string_view text) const {
    std::ofstream(root_ / name, std::ios::binary) << text;
    return path(name);
  }
  std::string read(std::string_view name) const {
    std::ifstream in(root_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

private:
  std::filesystem::path root_;
};

} // namespace vorn_test
