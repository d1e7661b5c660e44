// Loading of specialised libraries by name.
#include "host/state.hpp"

#include <dlfcn.h>
#include <string_view>
#include <system_error>

namespace vorn_host {

namespace {

std::mutex folder_guard;
std::filesystem::path library_folder; // empty: relative to the program and to this library

// The shared library that holds the stand-in host, or null if it is not known.
const char *file_of_host() {
  Dl_info host = {};
  return dladdr(&folder_guard, &host) == 0 ? nullptr : host.dli_fname;
}

std::filesystem::path folder_of_host() {
  const char *const file = file_of_host();
  std::error_code failed;
  return file == nullptr ? std::filesystem::path() : std::filesystem::canonical(file, failed).parent_path();
}

// A specialised library finds the services of its host among the symbols of the whole process.  If a plug-in of the
// process loaded this library, its symbols are not among them yet.
void publish_services() {
  if (const char *const file = file_of_host())
    dlopen(file, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL);
}

void set_load_error(environment &env, std::string text) {
  environment::state &state = env.internals();
  const std::lock_guard lock(state.guard);
  state.load_error = std::move(text);
}

void *load(environment &env, const char *name) {
  if (std::string_view(name).empty() || std::string_view(name).find('/') != std::string_view::npos) {
    set_load_error(env, "not the name of a library: \"" + std::string(name) + '"');
    return nullptr;
  }
  // The report of a missing file names the first folder.
  const std::filesystem::path file =
      library_file(name).value_or(library_folders().front() / (std::string(name) + ".so"));
  publish_services();
  void *handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  set_load_error(env, handle ? "" : dlerror());
  return handle;
}

void *find(environment &env, void *handle, const char *symbol) {
  // A null handle means the whole process to the system, and the record of libvorn itself would be found there.
  if (!handle) {
    set_load_error(env, "no library to find " + std::string(symbol) + " in");
    return nullptr;
  }
  void *address = dlsym(handle, symbol);
  set_load_error(env, address ? "" : text_or_null(dlerror()));
  return address;
}

} // namespace

std::vector<std::filesystem::path> library_folders() {
  {
    const std::lock_guard lock(folder_guard);
    if (!library_folder.empty())
      return {library_folder};
  }
  std::error_code ignored;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
  const std::filesystem::path host = folder_of_host();
  std::vector<std::filesystem::path> folders = {program};
  if (host != program && !host.empty())
    folders.push_back(host);
  if (!host.empty())
    folders.push_back(host / "vorn");
  return folders;
}

std::optional<std::filesystem::path> library_file(const std::string &name) {
  std::error_code ignored;
  for (const std::filesystem::path &folder : library_folders())
    if (std::filesystem::path file = folder / (name + ".so"); std::filesystem::exists(file, ignored))
      return file;
  return std::nullopt;
}

void set_library_folder(std::filesystem::path folder) {
  const std::lock_guard lock(folder_guard);
  library_folder = std::move(folder);
}

} // namespace vorn_host

using namespace vorn_host;

uint32_t svorn_dlopen(vorn_ctx *ctx, const char *name, void **handle) {
  environment &env = environment_of(ctx->vorn_ctx_env);
  *handle = load(env, name);
  const bool loaded = *handle != nullptr;
  record(&env, {.service = "svorn_dlopen", .text = name, .values = {int32_t{loaded}}, .source = {}});
  return loaded;
}

void *svorn_dlsym(vorn_ctx *ctx, void *handle, const char *symbol) {
  environment &env = environment_of(ctx->vorn_ctx_env);
  void *address = find(env, handle, symbol);
  const bool found = address != nullptr;
  record(&env, {.service = "svorn_dlsym", .text = symbol, .values = {int32_t{found}}, .source = {}});
  return address;
}
