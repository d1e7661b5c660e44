// Four threads ask random queries on the tables of one catalogue, and the memory of the process does not grow.
// tools/soak runs it for some minutes.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "sql/session.hpp"
#include "store/error.hpp"
#include "tests/sql/answers.hpp"
#include "tests/sql/random_query.hpp"
#include "tests/support/implementation.hpp"

namespace {

using namespace vorn_test;
using seconds = std::chrono::duration<double>;

double resident_megabytes() {
  std::ifstream file("/proc/self/statm");
  uint64_t all = 0, resident = 0;
  file >> all >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

TEST(soak, holds_its_memory) {
  const char *const minutes = std::getenv("VORN_SOAK_MINUTES");
  if (minutes == nullptr)
    GTEST_SKIP() << "VORN_SOAK_MINUTES says how long";
  const seconds whole(60 * std::strtod(minutes, nullptr));
  dice random(1, 1, 1);
  random_database made = random_tables(random);
  const scratch_folder folder;
  vorn_host::environment env;
  vorn_ctx library = env.context();
  library.vorn_ctx_decompress = vorn_qpak_decode;
  store::sql::catalogue tables(library, write_tables(folder, made));
  tables.add_folder(folder.path());

  std::atomic<bool> is_over = false;
  std::atomic<uint64_t> answered = 0, failed = 0;
  const auto ask = [&](uint64_t thread) {
    for (uint64_t round = 0; !is_over;) {
      // A program closes a session now and then.
      store::sql::session session(tables);
      for (uint64_t more = 0; more < 200 && !is_over; ++more) {
        dice of_query(2, thread, round++);
        try {
          const store::logical::query planned = session.plan(random_query(of_query, made.tables).sql());
          const auto rows = session.operators(planned.root);
          store::worker_pool pool(2);
          std::vector<store::exec::arena> memory(2); // keeps what its largest query took
          answer_of(*rows, planned.names, {library, pool, is_over, memory});
          ++answered;
        } catch (const store::error &) {
          ++failed;
        } catch (const store::exec::interrupted &) {
          return;
        }
      }
    }
  };
  const auto begun = std::chrono::steady_clock::now();
  std::vector<std::jthread> threads;
  for (uint64_t thread = 0; thread < 4; ++thread)
    threads.emplace_back(ask, thread);
  // The first third fills caches.  The lowest samples of the second third and of the last one are compared: a large
  // query takes memory for a while, and a leak never gives it back.
  double second = 1e9, last = 1e9;
  constexpr int samples = 60;
  for (int sample = 1; sample <= samples; ++sample) {
    std::this_thread::sleep_until(begun + sample * whole / samples);
    const double now = resident_megabytes();
    if (sample > samples / 3) {
      double &lowest = sample <= 2 * samples / 3 ? second : last;
      lowest = std::min(lowest, now);
    }
    std::cout << fmt::format("{:6.0f} s  {:8.1f} MB  {} queries answered, {} failed\n",
                             seconds(std::chrono::steady_clock::now() - begun).count(), now, answered.load(),
                             failed.load())
              << std::flush;
  }
  is_over = true;
  EXPECT_LE(last, second * 1.02);
}

} // namespace
