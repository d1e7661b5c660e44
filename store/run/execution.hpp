// Where a query runs: the context of the library, and the threads.
//
// The library asks for a result and a vorn_aux of its own for each call.  What has these, a scan of batches or a reader
// of rows, is therefore made once for each thread, and all of them share the context, which calls only read.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "store/run/explanation.hpp"
#include "store/run/worker_pool.hpp"
#include <vorn/vorn.h>

namespace store {

class execution {
public:
  // On the calling thread alone, or on the threads of a pool.  Context, pool and explanation outlive this.
  execution(const vorn_ctx &ctx) : ctx_(ctx) {}
  execution(const vorn_ctx &ctx, worker_pool &threads, explanation *explained = nullptr)
      : ctx_(ctx), pool_(&threads), explained_(explained) {}

  const vorn_ctx &context() const { return ctx_; }
  size_t threads() const { return pool_ == nullptr ? 1 : pool_->threads(); }

  // A step of the plan that is to be explained; null when it is not.
  plan_step *begin_step(std::string name, std::vector<const column *> read = {}) const {
    return explained_ == nullptr ? nullptr : &explained_->begin_step(std::move(name), std::move(read));
  }

  // Does the work of each batch, as the pool does; one after the other without one.
  void each(size_t batches, const worker_pool::work &of_batch) const {
    const step_timer waits(nullptr);
    if (pool_ != nullptr)
      pool_->run(batches, of_batch);
    else
      for (size_t batch = 0; batch < batches; ++batch)
        of_batch(0, batch);
  }

private:
  const vorn_ctx &ctx_;
  worker_pool *pool_ = nullptr;
  explanation *explained_ = nullptr;
};

// What each thread has of its own, made when it takes its first batch.
template <class Tool>
class per_thread {
public:
  explicit per_thread(const execution &run) : tools_(run.threads()) {}
  // The first thread's is there from the beginning.
  per_thread(const execution &run, std::unique_ptr<Tool> first) : tools_(run.threads()) {
    tools_[0] = std::move(first);
  }

  template <class Make>
  Tool &of(size_t thread, Make make) {
    std::unique_ptr<Tool> &tool = tools_[thread];
    if (!tool)
      tool = make();
    return *tool;
  }

  Tool &first() { return *tools_[0]; }
  const Tool &first() const { return *tools_[0]; }
  const std::vector<std::unique_ptr<Tool>> &all() const { return tools_; } // null where a thread took none

private:
  std::vector<std::unique_ptr<Tool>> tools_;
};

} // namespace store
