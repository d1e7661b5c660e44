// A statement: a text, a plan or the ingestion of a table, with the bound data.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "adbc/adbc.h"
#include "adbc/connection.hpp"
#include "adbc/encoded_result.hpp"
#include "adbc/partition.hpp"
#include "adbc/result.hpp"
#include "adbc/unread_option.hpp"
#include "sql/statement.hpp"
#include "store/arrow/owner.hpp"

namespace store::adbc {

class statement {
public:
  explicit statement(std::shared_ptr<connection> of) : on_(std::move(of)) {}
  statement(const statement &) = delete;

  // Drops what is bound, and the target of an earlier ingestion.
  void set_query(std::string text);
  void set_option(std::string_view key, const std::string &value);
  // The plan of a query is made here.
  std::string option(std::string_view key);
  // Takes over the stream.
  void bind(arrow_owner<ArrowArrayStream> values);

  // Null if the statement gives no rows and the caller wants none.  `rows_affected` is -1 if it is not known.
  std::unique_ptr<result> execute(int64_t &rows_affected);
  // Executes to the end, and drops the rows.
  void execute_update(int64_t &rows_affected);
  ArrowSchema execute_schema();
  ArrowSchema parameter_schema() const;
  std::vector<std::string> execute_partitions(ArrowSchema &schema);
  void prepare() const { static_cast<void>(text()); }

  // Called from another thread.  Returns true if there was something to cancel.
  bool cancel();

  unread_option unread; // of `option`

  // The text, or nothing, for messages.
  std::string query() const { return query_.value_or(""); }

private:
  // What is bound for the parameters of a query.
  struct bound_values {
    std::vector<std::string> names;
    std::vector<std::vector<std::string>> rows; // as SQL writes the values
    std::vector<std::string> nulls;             // of the columns
  };

  const std::string &text() const;
  std::shared_ptr<execution> begin();
  std::shared_ptr<const bound_values> values();
  // The text with the values of a bound row.
  static std::string with_row(const std::string &text, const bound_values *values, bool by_name, size_t row);

  // The plan, of a query for one bound row.
  logical::query planned(execution &run);
  std::unique_ptr<result> execute_query(std::shared_ptr<execution> run);
  std::unique_ptr<result> explain(const sql::statement &of, execution &run);
  uint64_t ingest(execution &run);
  uint64_t copy_to(const sql::statement &of, execution &run);
  uint64_t copy_from(const sql::statement &of, execution &run);

  std::shared_ptr<connection> on_;
  std::optional<std::string> query_;
  std::optional<logical::query> plan_; // that is executed in the place of a text
  std::optional<std::string> target_;  // of an ingestion
  database::store_mode mode_ = database::store_mode::create;
  bool is_temporary_ = false;
  bool binds_by_name_ = false;
  size_t partition_row_groups_ = default_partition_row_groups;
  std::optional<table_form> encoded_; // the form of the result, if it is encoded
  partitioning split_;                // of an encoded result
  std::optional<arrow_owner<ArrowArrayStream>> bound_;
  std::shared_ptr<const bound_values> values_; // of `bound_`, which has been read then
  mutable std::mutex guard_;                   // of the execution
  std::weak_ptr<execution> execution_;
};

} // namespace store::adbc
