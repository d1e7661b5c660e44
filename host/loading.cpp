// Loading of specialised libraries by name.
#include "host/state.hpp"

#include <dlfcn.h>
#include <string_view>
#include <system_error>

namespace vorn_host {

namespace {

std::mutex guard;
std::filesystem::path library_folder; // empty: relative to the running program

std::filesystem::path file_of(const std::string &name) {
  const std::string file = name + ".so";
  {
    const std::lock_guard lock(guard);
    if (!library_folder.empty())
      return library_folder / file;
  }
  std::error_code ignored;
  const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
  const std::filesystem::path installed = folder / VORN_SPECIALIZED_FROM_PROGRAM / file;
  return !std::filesystem::exists(folder / file, ignored) && std::filesystem::exists(installed, ignored)
             ? installed
             : folder / file;
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
  void *handle = dlopen(file_of(name).c_str(), RTLD_NOW | RTLD_LOCAL);
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

void set_library_folder(std::filesystem::path folder) {
  const std::lock_guard lock(guard);
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
