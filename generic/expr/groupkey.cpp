// The kernel of group keys and its helpers.
#include "generic/expr/groupkey.hpp"

#include <algorithm>

#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

void vorn_mul_ub4_const(uint32_t *vals, uint32_t factor, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i)
    vals[i] *= factor;
}

void vorn_shl_ub4_const(uint32_t *vals, uint32_t factor, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i)
    vals[i] <<= factor % 32;
}

void vorn_add_ub4(uint32_t *vals, const uint32_t *other, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i)
    vals[i] += other[i];
}

uint32_t vorn_groupkey_dydi(vorn_cv *res, uint32_t *nkeys, vorn_cv *cols, uint32_t ncols, vorn_cv *tmp, vorn_aux *aux) {
  using namespace vorn::expr;
  const auto has = [=](uint32_t column, uint32_t flag) {
    return (cols[column].vorn_cv_encoding_context->vorn_enc_ctx_flags & flag) != 0;
  };
  key_space space(aux->vorn_aux_flags & VORN_AUX_MULTIPLY);
  for (uint32_t column = 0; column < ncols; ++column) {
    if (!has(column, VORN_DICT))
      return VORN_RESULT_REFUSED;
    if (!space.add(*cols[column].vorn_cv_encoding_context))
      return VORN_RESULT_KEY_SPACE;
  }
  const vorn_ctx &ctx = *aux->vorn_aux_ctx;
  for (uint32_t column = 0; column < ncols; ++column) {
    const vorn_enc_ctx &enc = *cols[column].vorn_cv_encoding_context;
    if (vorn::unpacker_of(enc).run == nullptr) {
      const uint32_t slot = vorn::dispatch_index(enc.vorn_enc_ctx_type, VORN_OPC_DECODE_UNPACK);
      return vorn::report_empty_slot(ctx, "vorn_groupkey: slot without a kernel", {VORN_OPC_DECODE_UNPACK, slot, enc});
    }
  }
  *nkeys = static_cast<uint32_t>(space.size());

  void *token = nullptr;
  auto *states = static_cast<key_column *>(ctx.vorn_ctx_stack_alloc(ctx.vorn_ctx_env, ncols * sizeof(key_column),
                                                                    "vorn_groupkey_dydi: temp column info",
                                                                    alignof(key_column), 0, &token));
  // Only the first columns resume in their runs.
  constexpr uint32_t most_with_runs = 32;
  const auto has_runs = [&](uint32_t column) { return column < most_with_runs && has(column, VORN_RLE); };
  for (uint32_t column = 0; column < ncols; ++column)
    states[column] = {0, 0, space.factor(*cols[column].vorn_cv_encoding_context)};

  vorn_aux unpack_aux = *aux;
  auto *const keys = static_cast<uint32_t *>(res->vorn_cv_vals);
  auto *const scratch = static_cast<uint8_t *>(tmp->vorn_cv_vals);
  const uint32_t positions = cols[0].vorn_cv_nrows, capacity = res->vorn_cv_nrows;
  // The scratch, the keys and the codes of a small batch lie in the first-level cache.  A single column takes no
  // scratch.  A list of rows is always unpacked as a whole, so nothing is known about the room for it.
  constexpr uint32_t small_batch = 2048;
  const bool listed = aux->vorn_aux_filter_bv == nullptr && aux->vorn_aux_ones_vec != nullptr;
  uint32_t batch = tmp->vorn_cv_nrows;
  if (batch != 0 && !listed)
    batch = ncols == 1 ? capacity : std::min(batch, small_batch);
  const auto size_of = [&](uint32_t column) {
    return listed ? 4 : vorn::unpacker_of(*cols[column].vorn_cv_encoding_context).element_size;
  };
  uint32_t position = aux->vorn_aux_start_slot, written = 0;
  while (position < positions && written < capacity && batch != 0) {
    const uint32_t room = std::min(capacity - written, batch);
    const column_unpacker unpacker(unpack_aux, room);
    const auto unpack = [&](uint32_t column, bool narrow, void *out) {
      return unpacker.unpack(cols[column], states[column], has_runs(column), position, narrow, out);
    };
    uint32_t *const out = keys + written;
    uint32_t n, column = 1;
    if (ncols > 1 && size_of(0) + size_of(1) <= sizeof *out) { // the scratch has room for both columns
      const bool swapped = size_of(0) < size_of(1);            // the wider codes come first, so that both are aligned
      uint8_t *const codes[] = {scratch + (swapped ? uint64_t{room} * size_of(1) : 0),
                                scratch + (swapped ? 0 : uint64_t{room} * size_of(0))};
      n = unpack(0, true, codes[0]);
      unpack(1, true, codes[1]);
      with_codes(codes[0], size_of(0), [&](auto *first) {
        with_codes(codes[1], size_of(1), [&](auto *second) { space.fold(out, first, second, states[1].factor, n); });
      });
      column = 2;
    } else {
      n = unpack(0, false, out);
    }
    for (; column < ncols; ++column) {
      const bool narrow = size_of(column) < sizeof *out;
      unpack(column, narrow, scratch);
      if (narrow)
        with_codes(scratch, size_of(column),
                   [&](auto *codes) { space.fold(out, out, codes, states[column].factor, n); });
      else
        space.fold(out, reinterpret_cast<const uint32_t *>(scratch), states[column].factor, n);
    }
    written += n;
    position = unpack_aux.vorn_aux_start_slot + 1;
  }
  ctx.vorn_ctx_stack_free(ctx.vorn_ctx_env, states, token);
  res->vorn_cv_popc = written;
  const bool full = written == capacity || batch == 0;
  return full && position < positions ? VORN_RESULT_OUTPUT_FULL : VORN_RESULT_DONE;
}

VORN_KERNELS_END
