#include "store/operator/relation.hpp"

#include <utility>

namespace store::exec {

void stream::give_counted(size_t morsel, const chunk_taker &take) {
  operator_metrics *const above = metrics_timer::in(); // the operator that takes the chunks
  const metrics_timer timer(counted_);
  produce(morsel, [&](chunk &c) {
    ++counted_->chunks;
    counted_->rows += c.rows();
    const metrics_timer taking(above);
    take(c);
  });
}

void relation::open(const query_run &run, std::vector<column_filter> filters) {
  const metrics_timer timer(counted(run));
  filters_ = std::move(filters);
  prepare(run);
}

void run_all(relation &rows, const query_run &run, const thread_taker &take) {
  std::vector<std::unique_ptr<stream>> streams(run.threads.threads());
  operator_metrics *const above = metrics_timer::in();
  run.threads.run(rows.morsels(), [&](size_t thread, size_t morsel) {
    if (run.is_interrupted)
      throw interrupted();
    const metrics_timer timer(above);
    arena &memory = run.memory[thread];
    const arena::mark begun = memory.position();
    if (!streams[thread])
      streams[thread] = rows.begin(run, memory);
    streams[thread]->give(morsel, [&](chunk &c) {
      if (run.is_interrupted) // a morsel of a join may have any number of rows
        throw interrupted();
      take(thread, morsel, c);
    });
    memory.rewind(begun);
  });
}

} // namespace store::exec
