// The entries of hashing, hash tables, partitions, gather and transposition.  All take the same few steps: they check
// and count nothing, and the kernel is always a slot of the record in force.
#include "frame/entry_point.hpp"

using namespace vorn;

namespace {

// What the trace of an entry names.
struct traced_entry {
  const char *name;
  trace_point kernel_line;
};

// rows is the number of rows of the rate.  The operands go to the kernel, followed by aux.
template <auto slot, bool TracesRows = true, class... Operands>
uint32_t run(const vorn_ctx &ctx, const traced_entry &entry, uint32_t rows, vorn_aux *aux, Operands... operands) {
  const auto kernel = vorn_global_ctx.*slot;
  if (kernel == nullptr)
    return VORN_RESULT_NO_IMPLEMENTATION;
  entry_point call(ctx, entry.name);
  call.trace(entry.kernel_line, call.force_generic());
  if constexpr (TracesRows)
    call.trace_call(VORN_POINT(rows), rows);
  else
    call.trace_call(VORN_POINT(implementation));
  call.prepare(*aux);
  call.start_clock();
  const uint32_t code = kernel(operands..., aux);
  call.trace_diagnostic(VORN_POINT(diagnostic), *aux);
  call.finish(VORN_POINT(time), rows);
  return code;
}

} // namespace

extern "C" {

uint32_t vorn_hash(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_hash_dydi>(*ctx, {"vorn_hash", VORN_POINT(hash_kernel)}, src->vorn_cv_nrows, aux,
                                                 res, src, seed, hashfn);
}

uint32_t vorn_hash_implicit(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_aux *aux) {
  return vorn_hash(ctx, res, src, seed, nullptr, aux);
}

uint32_t vorn_ht_build(const vorn_ctx *ctx, vorn_hash_table *ht, vorn_cv *src, vorn_cv *values, int32_t part,
                       vorn_hashfn hashfn, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_ht_build_dydi>(*ctx, {"vorn_ht_build", VORN_POINT(build_kernel)},
                                                     src->vorn_cv_nrows, aux, ht, src, values, part, hashfn);
}

uint32_t vorn_ht_probe(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *left, vorn_hash_table *ht,
                       vorn_hashfn hashfn, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_ht_probe_dydi>(*ctx, {"vorn_ht_probe", VORN_POINT(probe_kernel)},
                                                     src->vorn_cv_nrows, aux, res, src, left, ht, hashfn);
}

uint32_t vorn_partition(const vorn_ctx *ctx, vorn_partition_buffer *pb, vorn_cv *src, vorn_cv *payload,
                        vorn_hashfn hashfn, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_partition_dydi>(*ctx, {"vorn_partition", VORN_POINT(partition_kernel)},
                                                      src->vorn_cv_nrows, aux, pb, src, payload, hashfn);
}

uint32_t vorn_gather(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_transpose_table *tbl, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_gather_dydi>(*ctx, {"vorn_gather", VORN_POINT(gather_kernel)}, src->vorn_cv_nrows,
                                                   aux, res, src, tbl);
}

uint32_t vorn_transpose_reference(const vorn_ctx *ctx, vorn_transpose_table *tbl, vorn_cv *src, uint32_t col,
                                  int32_t arr, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_transpose_reference_dydi>(
      *ctx, {"vorn_transpose_reference", VORN_POINT(reference_kernel)}, src->vorn_cv_nrows, aux, tbl, src, col, arr);
}

// The operands have no number of rows.  The rate is computed from the last row.
uint32_t vorn_transpose_convert(const vorn_ctx *ctx, vorn_transpose_table *dst, vorn_transpose_table *src,
                                int32_t dst_arr, int32_t src_arr, uint32_t first, uint32_t last, vorn_aux *aux) {
  return run<&vorn_global_ctx_t::vorn_transpose_convert_dydi, false>(
      *ctx, {"vorn_transpose_convert", VORN_POINT(convert_kernel)}, last, aux, dst, src, dst_arr, src_arr, first, last);
}

} // extern "C"
