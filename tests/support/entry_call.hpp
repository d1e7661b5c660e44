// A small comparison with everything that it needs, for tests of the entry points: 64 rows of 8-bit codes 0 to 63.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "tests/support/implementation.hpp"

namespace vorn_test {

struct entry_call {
  entry_call() {
    env.on_error = vorn_host::error_policy::resume;
    ctx = env.context();
    vorn_build_encoding_type_dict(&enc, 8, nullptr, nullptr, nullptr, 0, 0, 0);
    vorn_build_encoding_type_dict(&lo_enc, 8, nullptr, nullptr, nullptr, 0, 0, VORN_CONST);
    hi_enc = lo_enc;
    vorn_build_vector(&res, nullptr, nullptr, nullptr, nullptr, nullptr, out.data(), 64, 0, nullptr, 0);
    vorn_build_vector(&src, codes.data(), nullptr, nullptr, &enc, nullptr, nullptr, 64, 0, nullptr, 0);
    vorn_build_vector(&lo, &lo_code, nullptr, nullptr, &lo_enc, nullptr, nullptr, 1, 0, nullptr, 0);
    vorn_build_vector(&hi, &hi_code, nullptr, nullptr, &hi_enc, nullptr, nullptr, 1, 0, nullptr, 0);
    vorn_build_vector(&set, nullptr, nullptr, nullptr, nullptr, nullptr, members.data(), 0, 0, nullptr, 0);
    aux.vorn_aux_filter_bv = filter.data();
    aux.vorn_aux_popc = 8;
    for (size_t i = 0; i < codes.size(); ++i)
      codes[i] = static_cast<uint8_t>(i);
    env.name_pointer(out.data(), "res.bv");
    env.name_pointer(codes.data(), "src.vals");
    env.name_pointer(filter.data(), "filter");
    env.name_pointer(&aux, "aux");
  }
  ~entry_call() { vorn_global_ctx = initial_global_ctx; }
  entry_call(const entry_call &) = delete;
  entry_call &operator=(const entry_call &) = delete;

  // Replaces the kernels in force.
  void put_in_force(vorn_kernel kernel) {
    table.assign(VORN_DISPATCH_SLOTS, kernel);
    vorn_global_ctx.vorn_global_ctx_dispatch = table.data();
  }

  std::vector<std::string> messages() const {
    std::vector<std::string> texts;
    for (const auto &error : env.errors())
      texts.push_back(error.message);
    return texts;
  }

  vorn_host::environment env;
  vorn_ctx ctx = {};
  vorn_enc_ctx enc = {}, lo_enc = {}, hi_enc = {};
  vorn_cv res = {}, src = {}, lo = {}, hi = {}, set = {};
  vorn_aux aux = {};
  alignas(64) std::array<uint64_t, 2> out = {};
  alignas(64) std::array<uint8_t, 64> codes = {};
  alignas(64) std::array<uint64_t, 2> filter = {0xff, 0};
  alignas(64) std::array<uint64_t, 4> members = {0x2a, 0, 0, 0};
  uint32_t lo_code = 5, hi_code = 9;
  std::vector<vorn_kernel> table;
};

} // namespace vorn_test
