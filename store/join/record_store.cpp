#include "store/join/record_store.hpp"
#include "store/library/expect.hpp"
#include "store/library/source_vector.hpp"

#include <algorithm>

#include <vorn/encode.h>

namespace store {

record_store::record_store(const vorn_ctx &ctx, uint64_t rows, const join_settings &settings)
    : ctx_(ctx), settings_(settings), records_(rows), next_record_(records_.data()) {
  static_assert(sizeof(reference) == 16 && offsetof(reference, at) == 8);
}

void record_store::append(std::span<row_vector> fields) {
  const uint32_t rows = fields.front().get()->vorn_cv_nrows;
  if (rows == 0)
    return;
  matrix_.resize(rows * fields.size());
  fields_begin_ = matrix_.data();
  vornenc_transpose matrix{};
  matrix.flags = VORN_TT_LP;
  matrix.ncols = static_cast<uint8_t>(fields.size());
  matrix.in_refs = &fields_begin_;
  matrix.refs = &fields_begin_;
  vornenc_transpose rows_made{};
  rows_made.flags = VORN_TT_ROW | VORN_TT_LP;
  rows_made.refs = &next_record_;
  rows_made.pos = &next_byte_;
  rows_made.end = &block_end_;
  vorn_transpose_table columns;
  vorn_transpose_table made;
  vornenc_build_transpose_table(&columns, &matrix);
  vornenc_build_transpose_table(&made, &rows_made);
  vorn_aux aux{};
  for (uint32_t field = 0; field < fields.size(); ++field)
    expect(vorn_transpose_reference(&ctx_, &columns, fields[field].get(), field, 0, &aux), VORN_RESULT_DONE,
           "referring to the fields of records");
  for (uint32_t first = 0;;) {
    const uint32_t code = vorn_transpose_convert(&ctx_, &made, &columns, 0, 0, first, rows - 1, &aux);
    if (code == VORN_RESULT_DONE)
      return;
    expect(code, VORN_RESULT_TRANSPOSE_FULL, "making records");
    first = aux.vorn_aux_start_slot;
    uint64_t bytes = 0;
    for (const reference &field : std::span(matrix_).subspan(first * fields.size(), fields.size()))
      bytes += sizeof(uint16_t) + field.length;
    add_block(std::max<uint64_t>(bytes, settings_.record_bytes));
  }
}

void record_store::add_block(uint64_t bytes) {
  auto &block = blocks_.emplace_back(bytes);
  next_byte_ = block.data();
  block_end_ = block.data() + block.size();
}

std::span<const uint8_t *const> record_store::fetch(std::span<const candidate> rows, room &used) const {
  auto &[fetched, lengths] = used;
  fetched.resize(rows.size());
  lengths.resize(rows.size());
  // The table has its parts by pointers that are not const; the library only reads what it gathers.
  void *references = only_read(records_.data());
  vornenc_transpose of_records{};
  of_records.flags = VORN_TT_LP;
  of_records.in_refs = &references;
  vorn_transpose_table table;
  vornenc_build_transpose_table(&table, &of_records);
  row_vector source(vorn_build_encoding_type_ridvalue, rows.data(), nullptr, rows.size());
  vorn_aux aux{};
  for (;;) {
    const uint32_t done = aux.vorn_aux_start_slot;
    row_vector result(vorn_build_encoding_type_lp_sep, fetched.data() + done, lengths.data() + done, 0);
    vorn_add_vector_size(result.get(),
                         std::min<uint64_t>(settings_.gathered_bytes, (rows.size() - done) * sizeof(uint8_t *)));
    const uint32_t code = vorn_gather(&ctx_, result.get(), source.get(), &table, &aux);
    if (code == VORN_RESULT_DONE)
      return fetched;
    expect(code, VORN_RESULT_OUTPUT_FULL, "fetching records");
  }
}

} // namespace store
