// Encodes tables that another library gives through the Arrow interfaces.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/arrow/arrow_type.hpp"
#include "store/encode/column_builder.hpp"
#include "store/value/column_names.hpp"
#include <vorn/store/arrow_interface.h>

namespace store {

struct arrow_table {
  std::vector<column_info> columns; // in their order
  column_map encoded;
  uint64_t rows = 0;

  std::vector<const column *> in_order() const {
    std::vector<const column *> out;
    for (const column_info &info : columns)
      out.push_back(&encoded.at(info.name));
    return out;
  }
};

// Encodes record batches one by one.
class arrow_importer {
public:
  // The importer does not keep the schema.  Throws store::error for a column that the store does not encode, or does
  // not encode in the chosen form.
  explicit arrow_importer(const ArrowSchema &schema, const choice_map &choices = {});

  // The batch stays with the caller, and the importer keeps nothing of it.  Throws store::error for a batch that
  // contradicts itself or the schema, and for a value that cannot be stored.  After an error the importer can only be
  // destroyed.
  void add(const ArrowArray &batch);

  arrow_table finish();

private:
  std::vector<arrow_field> fields_;
  std::vector<column_builder> builders_;
  arrow_table made_;
};

// Take over their Arrow arguments and release them, also after an error.  They throw store::error when the importer
// does or the stream fails.
arrow_table import_arrow(ArrowArrayStream &stream, const choice_map &choices = {});
arrow_table import_arrow(ArrowSchema &schema, ArrowArray &batch, const choice_map &choices = {});

} // namespace store
