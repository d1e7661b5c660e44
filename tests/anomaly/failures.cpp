#include "tests/anomaly/failures.hpp"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"
#include "tests/anomaly/duckdb_calls.hpp"
#include "tests/support/random.hpp"

namespace vorn_test {

namespace {

std::atomic<bool> is_armed = false;
std::atomic<anomaly> armed_with = anomaly::no_memory;
std::atomic<uint64_t> events = 0;
std::atomic<uint64_t> fails_at = 0;
thread_local bool is_watched = false;
thread_local int duckdb_calls = 0;
thread_local int duckdb_opens = 0;
const write_observer *observer = nullptr;

bool is_of_memory(anomaly what) { return what <= anomaly::no_memory_any_more; }

bool fails_now() {
  const uint64_t number = ++events;
  const uint64_t chosen = fails_at;
  return armed_with == anomaly::no_memory_any_more ? chosen != 0 && number >= chosen : number == chosen;
}

bool memory_fails() { return is_armed && is_watched && duckdb_calls == 0 && is_of_memory(armed_with) && fails_now(); }

// Sets errno where it is true.  A count that is short is not an error, so the call is done with half of the count.
bool call_fails(size_t *count = nullptr) {
  if (!is_armed || !is_watched || duckdb_opens != 0 || is_of_memory(armed_with) ||
      (armed_with == anomaly::short_count && count == nullptr))
    return false;
  if (!fails_now())
    return false;
  if (armed_with == anomaly::short_count) {
    *count = (*count + 1) / 2;
    return false;
  }
  errno = armed_with == anomaly::input_output ? EIO : armed_with == anomaly::full_disk ? ENOSPC : EINTR;
  return true;
}

// The function of this name of the C library.
template <class Function>
Function *next(const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

duckdb_call::duckdb_call(bool opens) : opens_(opens) {
  ++duckdb_calls;
  duckdb_opens += opens_ ? 1 : 0;
}
duckdb_call::~duckdb_call() {
  --duckdb_calls;
  duckdb_opens -= opens_ ? 1 : 0;
}

failing::failing(anomaly what, uint64_t number) {
  armed_with = what;
  fails_at = number;
  events = 0;
  is_watched = true;
  is_armed = true;
}
failing::~failing() {
  is_armed = false;
  is_watched = false;
}
uint64_t failing::seen() { return events; }

failing::pause::pause() { std::swap(is_watched, was_watched_); }
failing::pause::~pause() { std::swap(is_watched, was_watched_); }

void observe_writes(const write_observer *with) { observer = with; }

void walk(const std::string &name, std::span<const anomaly> kinds, const std::function<std::string()> &run,
          const std::function<void()> &judge, uint64_t sample) {
  const char *wanted = std::getenv("VORN_ANOMALIES");
  const bool is_whole = wanted != nullptr && std::string(wanted) == "all";
  const std::string expected = run();
  random_source random(1);
  for (const anomaly what : kinds) {
    uint64_t total = 0;
    {
      const failing counted(what, 0);
      EXPECT_EQ(run(), expected) << name;
      total = failing::seen();
    }
    uint64_t right = 0, failed = 0;
    std::map<std::string, uint64_t> messages;
    // The first events, and a part of the others.  VORN_TEST_ONE_IN=N takes one of N of these.
    const uint64_t first = sample / 3, others = sample - first;
    const uint64_t step = is_whole ? 1 : std::max<uint64_t>(1, (total - std::min(total, first)) / others);
    for (uint64_t number = 1; number <= total; number += number < first ? 1 : step) {
      if (!is_whole && !random.takes_case())
        continue;
      SCOPED_TRACE(fmt::format("{}: anomaly {} at event {} of {}", name, static_cast<int>(what), number, total));
      try {
        std::string found;
        {
          const failing one(what, number);
          found = run();
        }
        EXPECT_EQ(found, expected);
        ++right;
      } catch (const std::bad_alloc &) {
        ++failed;
        EXPECT_TRUE(is_of_memory(what));
      } catch (const std::system_error &) {
        ++failed;
      } catch (const store::error &e) {
        ++failed;
        ++messages[e.what()];
      } catch (const std::exception &e) {
        ADD_FAILURE() << "another exception: " << e.what();
      }
      if (judge)
        judge();
    }
    EXPECT_EQ(run(), expected) << name << " after all failures";
    std::cout << fmt::format("{}, anomaly {}: {} events, {} right, {} errors\n", name, static_cast<int>(what), total,
                             right, failed);
    if (std::getenv("VORN_VERBOSE") != nullptr)
      for (const auto &[message, count] : messages)
        std::cout << fmt::format("  {} times: {}\n", count, message);
  }
}

} // namespace vorn_test

using namespace vorn_test;

// Memory.

extern "C" {
void *__real_malloc(size_t bytes);                          // NOLINT(bugprone-reserved-identifier): names of the linker
void *__real_calloc(size_t count, size_t bytes);            // NOLINT(bugprone-reserved-identifier)
void *__real_aligned_alloc(size_t alignment, size_t bytes); // NOLINT(bugprone-reserved-identifier)

void *__wrap_malloc(size_t bytes) { // NOLINT(bugprone-reserved-identifier)
  return memory_fails() ? nullptr : __real_malloc(bytes);
}
void *__wrap_calloc(size_t count, size_t bytes) { // NOLINT(bugprone-reserved-identifier)
  return memory_fails() ? nullptr : __real_calloc(count, bytes);
}
void *__wrap_aligned_alloc(size_t alignment, size_t bytes) { // NOLINT(bugprone-reserved-identifier)
  return memory_fails() ? nullptr : __real_aligned_alloc(alignment, bytes);
}

// A new thread is watched as the thread that starts it.
void __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE( // NOLINT
    std::thread *made, std::unique_ptr<std::thread::_State> &state, void (*depends)());
void __wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE( // NOLINT
    std::thread *made, std::unique_ptr<std::thread::_State> &state, void (*depends)()) {
  struct watched final : std::thread::_State {
    std::unique_ptr<std::thread::_State> inner;
    bool inherited = is_watched && duckdb_calls == 0;
    void _M_run() override {
      is_watched = inherited;
      inner->_M_run();
    }
  };
  if (memory_fails())
    throw std::system_error(EAGAIN, std::generic_category());
  auto wrapped = std::make_unique<watched>();
  wrapped->inner = std::move(state);
  std::unique_ptr<std::thread::_State> given = std::move(wrapped);
  __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(made, given, depends);
}
}

namespace {

void *allocated(size_t bytes, size_t alignment) {
  if (memory_fails())
    return nullptr;
  const size_t whole = (std::max<size_t>(bytes, 1) + alignment - 1) / alignment * alignment;
  return alignment <= alignof(std::max_align_t) ? __real_malloc(whole) : __real_aligned_alloc(alignment, whole);
}
void *allocated_or_thrown(size_t bytes, size_t alignment = 1) {
  void *const memory = allocated(bytes, alignment);
  if (memory == nullptr)
    throw std::bad_alloc();
  return memory;
}
// Inlined, gcc would take it for the wrong function of a pair.
[[gnu::noinline]] void given_back(void *memory) { std::free(memory); }
size_t number(std::align_val_t alignment) { return static_cast<size_t>(alignment); }

} // namespace

void *operator new(size_t bytes) { return allocated_or_thrown(bytes); }
void *operator new[](size_t bytes) { return allocated_or_thrown(bytes); }
void *operator new(size_t bytes, std::align_val_t to) { return allocated_or_thrown(bytes, number(to)); }
void *operator new[](size_t bytes, std::align_val_t to) { return allocated_or_thrown(bytes, number(to)); }
void *operator new(size_t bytes, const std::nothrow_t &) noexcept { return allocated(bytes, 1); }
void *operator new[](size_t bytes, const std::nothrow_t &) noexcept { return allocated(bytes, 1); }
void *operator new(size_t bytes, std::align_val_t to, const std::nothrow_t &) noexcept {
  return allocated(bytes, number(to));
}
void *operator new[](size_t bytes, std::align_val_t to, const std::nothrow_t &) noexcept {
  return allocated(bytes, number(to));
}
void operator delete(void *memory) noexcept { given_back(memory); }
void operator delete[](void *memory) noexcept { given_back(memory); }
void operator delete(void *memory, size_t) noexcept { given_back(memory); }
void operator delete[](void *memory, size_t) noexcept { given_back(memory); }
void operator delete(void *memory, std::align_val_t) noexcept { given_back(memory); }
void operator delete[](void *memory, std::align_val_t) noexcept { given_back(memory); }
void operator delete(void *memory, size_t, std::align_val_t) noexcept { given_back(memory); }
void operator delete[](void *memory, size_t, std::align_val_t) noexcept { given_back(memory); }
void operator delete(void *memory, const std::nothrow_t &) noexcept { given_back(memory); }
void operator delete[](void *memory, const std::nothrow_t &) noexcept { given_back(memory); }

// Calls of the system.  The shared libraries of the process call these too.

#pragma GCC visibility push(default)
extern "C" {

int open(const char *path, int flags, ...) {
  static auto *const real = next<int(const char *, int, ...)>("open");
  va_list more;
  va_start(more, flags);
  const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : mode_t{0};
  va_end(more);
  return call_fails() ? -1 : real(path, flags, mode);
}
int mkostemps(char *pattern, int ending, int flags) {
  static auto *const real = next<int(char *, int, int)>("mkostemps");
  return call_fails() ? -1 : real(pattern, ending, flags);
}
ssize_t read(int file, void *bytes, size_t count) {
  static auto *const real = next<ssize_t(int, void *, size_t)>("read");
  return call_fails(&count) ? -1 : real(file, bytes, count);
}
ssize_t pread(int file, void *bytes, size_t count, off_t at) {
  static auto *const real = next<ssize_t(int, void *, size_t, off_t)>("pread");
  return call_fails(&count) ? -1 : real(file, bytes, count, at);
}
ssize_t write(int file, const void *bytes, size_t count) {
  static auto *const real = next<ssize_t(int, const void *, size_t)>("write");
  return call_fails(&count) ? -1 : real(file, bytes, count);
}
ssize_t pwrite(int file, const void *bytes, size_t count, off_t at) {
  static auto *const real = next<ssize_t(int, const void *, size_t, off_t)>("pwrite");
  if (observer != nullptr)
    observer->written(static_cast<uint64_t>(at), {static_cast<const uint8_t *>(bytes), count});
  return call_fails(&count) ? -1 : real(file, bytes, count, at);
}
int fsync(int file) {
  static auto *const real = next<int(int)>("fsync");
  return call_fails() ? -1 : real(file);
}
int ftruncate(int file, off_t size) noexcept {
  static auto *const real = next<int(int, off_t)>("ftruncate");
  return call_fails() ? -1 : real(file, size);
}
int rename(const char *from, const char *to) noexcept {
  static auto *const real = next<int(const char *, const char *)>("rename");
  if (observer != nullptr)
    observer->renamed();
  return call_fails() ? -1 : real(from, to);
}
int fchmod(int file, mode_t mode) noexcept {
  static auto *const real = next<int(int, mode_t)>("fchmod");
  return call_fails() ? -1 : real(file, mode);
}
// A file is closed even where the system reports an error.
int close(int file) {
  static auto *const real = next<int(int)>("close");
  const int done = real(file);
  return call_fails() ? -1 : done;
}
void *mmap(void *at, size_t bytes, int protection, int flags, int file, off_t offset) noexcept {
  static auto *const real = next<void *(void *, size_t, int, int, int, off_t)>("mmap");
  return (flags & MAP_ANONYMOUS) == 0 && call_fails() ? MAP_FAILED : real(at, bytes, protection, flags, file, offset);
}
}
#pragma GCC visibility pop
