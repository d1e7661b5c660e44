#include "store/operator/answer.hpp"

namespace store::exec {

std::vector<layout> plain_layouts(std::vector<layout> columns) {
  for (layout &column : columns)
    if (column.form == representation::codes) {
      column.form = plain_representation(column.held());
      column.entries = nullptr;
    }
  return columns;
}

kept_rows all_rows(relation &of, const query_run &run) {
  of.open(run);
  const std::vector<layout> &columns = of.columns();
  row_collector rows(plain_layouts(columns), std::vector<bool>(columns.size(), true), run.threads.threads());
  run_all(of, run, [&](size_t thread, size_t morsel, chunk &some) {
    chunk plain(some.memory(), some.rows());
    for (size_t c = 0; c < columns.size(); ++c)
      plain.add_column(plain_values(some.column(c), columns[c], some.memory()));
    rows.append(thread, morsel, plain);
  });
  return rows.finish();
}

kept_rows all_rows_as_they_are(relation &of, const query_run &run) {
  of.open(run);
  row_collector rows(of.columns(), std::vector<bool>(of.columns().size(), true), run.threads.threads());
  run_all(of, run, [&](size_t thread, size_t morsel, chunk &some) { rows.append(thread, morsel, some); });
  return rows.finish();
}

} // namespace store::exec
