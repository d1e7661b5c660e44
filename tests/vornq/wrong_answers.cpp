// A specialised library that loads well and selects nothing, whatever it is asked.  Its bit vectors are sound.
#include <array>

#include "frame/vorn_specialized.h"

namespace {

uint32_t select_nothing(vorn_cv *res, vorn_cv *, const vorn_cv *, vorn_aux *) {
  for (uint32_t i = 0; i < (res->vorn_cv_nrows + 63) / 64; ++i)
    res->vorn_cv_bv[i] = 0;
  res->vorn_cv_popc = 0;
  return VORN_RESULT_EMPTY;
}

constexpr auto kernels = [] {
  std::array<vorn_kernel, VORN_DISPATCH_SLOTS> table{};
  table.fill(vorn_kernel{.binary = select_nothing});
  return table;
}();

constexpr vorn_global_ctx_t wrong_record() {
  vorn_global_ctx_t record{};
  record.vorn_global_ctx_magic = VORN_GLOBAL_CTX_MAGIC;
  record.vorn_global_ctx_version = VORN_GLOBAL_CTX_VERSION;
  record.vorn_global_ctx_status = VORN_STATUS_SPECIALIZED;
  record.vorn_global_ctx_lib_name = "svxlsse4219";
  record.VORN_MAX_ALIGN = 8;
  record.VORN_DATASTREAM_ALIGN = 8;
  record.VORN_BITWVEC_ALIGN = 8;
  record.VORN_OUTPUT_BITWVEC_ALIGN = 8;
  record.VORN_JOIN_BITWVEC_ALIGN = 8;
  record.vorn_global_ctx_dispatch = kernels.data();
  record.vorn_lbiwvand_dydi = vorn_lbiwvand_dydi;
  record.vorn_lbiwvor_dydi = vorn_lbiwvor_dydi;
  record.vorn_lbiwvset_range_dydi = vorn_lbiwvset_range_dydi;
  record.vorn_lbiwvclr_range_dydi = vorn_lbiwvclr_range_dydi;
  record.vorn_lbiwv_ictx_ini2_dydi = vorn_lbiwv_ictx_ini2_dydi;
  record.vorn_lbiwvones_dydi = vorn_lbiwvones_dydi;
  record.vorn_global_ctx_init_sharedlib = [](vorn_ctx *) {};
  return record;
}

} // namespace

constinit vorn_global_ctx_t vorn_global_specialized_ctx = wrong_record();
