#include "store/library/source_vector.hpp"

#include "store/encode/encoded.hpp"

namespace store {

namespace {

// The fields of encoding contexts that come from a column.
vornenc_column description(const column &of, bool knows_nulls) {
  vornenc_column out{};
  out.form = of.form == encoding::fixed ? VORNENC_FIXED : of.form == encoding::dynp ? VORNENC_DYNP : VORNENC_CODES;
  out.width = of.width;
  out.flags = (knows_nulls && of.has_nulls() ? VORN_NULLS : 0) | (of.compressed ? VORN_STREAM : 0);
  return out;
}

} // namespace

vorn_enc_ctx predicate_encoding(const column &of, bool knows_nulls) {
  vorn_enc_ctx out{};
  const vornenc_column described = description(of, knows_nulls);
  if (of.form != encoding::prefix) // has no predicates
    expect_encoded(vornenc_build_encoding(&out, &described));
  return out;
}

vorn_cv source_vector(const column &of, const column_segment &rows, vorn_enc_ctx &encoding, uint64_t *run_bits) {
  vornenc_vector fields{};
  fields.vals = only_read(rows.stream.data());
  fields.lens = only_read(rows.lens.data());
  fields.enc = &encoding;
  fields.nrows = rows.rows;
  fields.stream_bytes = rows.stream_bytes;
  fields.stream_slot = of.compressed ? &rows.decompressed : nullptr;
  vorn_cv out{};
  vornenc_build_vector(&out, &fields);
  if (of.form == encoding::rle)
    vorn_add_encoding_type_rle(&encoding, rows.lens.data(), rows.cla.data(), of.run_length_bits, rows.runs, run_bits);
  return out;
}

constant_vector::constant_vector(const column &of, bool knows_nulls, uint64_t ordinal) {
  const vornenc_column described = description(of, knows_nulls);
  constexpr uint32_t all_bytes = 0;
  expect_encoded(vornenc_build_constant(&cv_, &encoding_, &memory_, &described, ordinal, all_bytes));
}

} // namespace store
