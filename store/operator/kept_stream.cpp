#include "store/operator/kept_stream.hpp"

#include <algorithm>

namespace store::exec {

void kept_stream::produce(size_t morsel, const chunk_taker &take) {
  static_assert(chunk_rows % 64 == 0);
  const size_t end = std::min(rows_.rows(), (morsel + 1) * morsel_rows);
  for (size_t first = morsel * morsel_rows; first < end; first += chunk_rows) {
    const arena::mark begun = memory_.position();
    const size_t rows = std::min<size_t>(chunk_rows, end - first);
    chunk out(memory_, static_cast<uint32_t>(rows));
    for (size_t c = 0; c < rows_.columns(); ++c)
      if (rows_.is_needed(c))
        out.add_column(rows_of(rows_.values(c), first, rows));
      else
        out.add_missing_column();
    take(out);
    memory_.rewind(begun);
  }
}

} // namespace store::exec
