// Makes one allocation, or one call of the system, of the code under test fail.
//
// The test program replaces operator new, malloc, the creation of threads and the calls of the system for files.  They
// count while a `failing` lives.  DuckDB's own allocations are not counted: the program sees each call of DuckDB.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include <sys/types.h>

namespace vorn_test {

enum class anomaly {
  no_memory,          // one allocation, or one new thread
  no_memory_any_more, // this one and all after it
  input_output,       // EIO
  full_disk,          // ENOSPC
  interrupted,        // EINTR
  short_count         // of bytes that were read or written; no error
};

// Counts what could fail, and lets the event of a number fail, from 1 on.  0 lets nothing fail.  The thread that makes
// this is watched, and so are threads that it starts outside of DuckDB.
class failing {
public:
  failing(anomaly what, uint64_t number);
  ~failing();
  failing(const failing &) = delete;

  static uint64_t seen();

  // The thread does something of the test meanwhile.
  class pause {
  public:
    pause();
    ~pause();
    pause(const pause &) = delete;

  private:
    bool was_watched_ = false;
  };
};

// Called for each pwrite of a watched thread, before it is done; and for each rename.
struct write_observer {
  std::function<void(uint64_t at, std::span<const uint8_t> bytes)> written;
  std::function<void()> renamed;
};
void observe_writes(const write_observer *observer);

// Lets each event of `run` fail, or a sample of them, and calls `judge` after each.  `run` gives what it found, or
// throws.  All events fail with VORN_ANOMALIES=all.
void walk(const std::string &name, std::span<const anomaly> kinds, const std::function<std::string()> &run,
          const std::function<void()> &judge = {}, uint64_t sample = 100);

} // namespace vorn_test
