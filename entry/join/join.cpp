// The entries of hashing, hash tables, partitions, gather and transposition.  They take the same few steps: there is
// nothing that they check or count, and the kernel is always that of the record in force.
#include "frame/entry_point.hpp"

using namespace vorn;

namespace {

// What a call is traced and timed by.
struct call {
  const vorn_ctx &ctx;
  const char *name;
  trace_point kernel_line;
};

// Rows are those of the rate.  Operands go to the kernel, and aux behind them.
template <auto slot, bool TellsRows = true, class... Operands>
uint32_t run(const call &made, uint32_t rows, vorn_aux *aux, Operands... operands) {
  const auto kernel = vorn_global_ctx.*slot;
  if (kernel == nullptr)
    return VORN_RESULT_NO_IMPLEMENTATION;
  entry_point here(made.ctx, made.name);
  here.trace(made.kernel_line, here.force_generic());
  if constexpr (TellsRows)
    here.trace_call(VORN_POINT(rows), rows);
  else
    here.trace_call(VORN_POINT(implementation));
  here.prepare(*aux);
  here.start_clock();
  const uint32_t code = kernel(operands..., aux);
  here.trace_diagnostic(VORN_POINT(diagnostic), *aux);
  here.finish(VORN_POINT(time), rows);
  return code;
}

} // namespace

extern "C" {

uint32_t vorn_hash(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_hash_dydi>({*ctx, "vorn_hash", VORN_POINT(hash_kernel)}, src->vorn_cv_nrows, aux,
                                                 res, src, seed, hashfn);
}

uint32_t vorn_hash_implicit(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_aux *aux) {
  return vorn_hash(ctx, res, src, seed, nullptr, aux);
}

uint32_t vorn_ht_build(const vorn_ctx *ctx, vorn_hash_table *ht, vorn_cv *src, vorn_cv *values, int32_t part,
                       vorn_hashfn hashfn, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_ht_build_dydi>({*ctx, "vorn_ht_build", VORN_POINT(build_kernel)},
                                                     src->vorn_cv_nrows, aux, ht, src, values, part, hashfn);
}

uint32_t vorn_ht_probe(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *left, vorn_hash_table *ht,
                       vorn_hashfn hashfn, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_ht_probe_dydi>({*ctx, "vorn_ht_probe", VORN_POINT(probe_kernel)},
                                                     src->vorn_cv_nrows, aux, res, src, left, ht, hashfn);
}

uint32_t vorn_partition(const vorn_ctx *ctx, vorn_partition_buffer *pb, vorn_cv *src, vorn_cv *payload,
                        vorn_hashfn hashfn, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_partition_dydi>({*ctx, "vorn_partition", VORN_POINT(partition_kernel)},
                                                      src->vorn_cv_nrows, aux, pb, src, payload, hashfn);
}

uint32_t vorn_gather(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_transpose_table *tbl, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_gather_dydi>({*ctx, "vorn_gather", VORN_POINT(gather_kernel)}, src->vorn_cv_nrows,
                                                   aux, res, src, tbl);
}

uint32_t vorn_transpose_reference(const vorn_ctx *ctx, vorn_transpose_table *tbl, vorn_cv *src, uint32_t col,
                                  int32_t arr, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_transpose_reference_dydi>(
      {*ctx, "vorn_transpose_reference", VORN_POINT(reference_kernel)}, src->vorn_cv_nrows, aux, tbl, src, col, arr);
}

// What it is given has no number of rows: the rate counts the last row.
uint32_t vorn_transpose_convert(const vorn_ctx *ctx, vorn_transpose_table *dst, vorn_transpose_table *src,
                                int32_t dst_arr, int32_t src_arr, uint32_t first, uint32_t last, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_transpose_convert_dydi, false>(
      {*ctx, "vorn_transpose_convert", VORN_POINT(convert_kernel)}, last, aux, dst, src, dst_arr, src_arr, first, last);
}

} // extern "C"
