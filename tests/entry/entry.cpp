#include "tests/entry/entry.hpp"

namespace vorn_test {

entry_call::entry_call(const entry &described) : which(described) {
  env.on_error = vorn_host::error_policy::resume;
  env.record = true;
  ctx = env.context();
  counts.assign(VORN_DISPATCH_SLOTS, 0);
  rates.assign(VORN_DISPATCH_SLOTS, 0);
  stats.assign(80, 7);
  ctx.vorn_ctx_call_counts = counts.data();
  ctx.vorn_ctx_rates = rates.data();
  vorn_global_ctx = initial_global_ctx;
  vorn_global_ctx.vorn_global_ctx_lib_name = "loaded";
  vorn_global_ctx.vorn_global_ctx_status = 5;
  for (size_t i = 0; i < 64; ++i)
    codes.items[i] = static_cast<uint8_t>(i);
  filter.items = {0xf0ff, 0};
  members.items = {0x2a, 0, 0, 0};
  kept = codes.data();
  vorn_build_encoding_type_dict(&enc, 8, codes.data(), lengths, nullptr, 64, VORN_DICT_ONE_LENGTH, 0);
  vorn_build_encoding_type_dict(&lo_enc, 8, nullptr, nullptr, nullptr, 0, 0, VORN_CONST);
  hi_enc = lo_enc;
  vorn_build_vector(&res, vals.data(), lens.data(), flgs.data(), nullptr, nullptr, out.data(), 64, 0, nullptr, 0);
  vorn_build_vector(&src, codes.data(), nullptr, nullptr, &enc, nullptr, nullptr, 64, 64, &kept, 0);
  vorn_build_vector(&lo, &lo_code, nullptr, nullptr, &lo_enc, nullptr, nullptr, 1, 0, nullptr, 0);
  vorn_build_vector(&hi, &hi_code, nullptr, nullptr, &hi_enc, nullptr, nullptr, 1, 0, nullptr, 0);
  vorn_build_vector(&set, nullptr, nullptr, nullptr, nullptr, nullptr, members.data(), 0, 0, nullptr, 0);
  aux.vorn_aux_filter_bv = filter.data();
  aux.vorn_aux_popc = 12;
  aux.vorn_aux_start_slot = 10;
  aux.vorn_aux_ones_vec = rows.data();
  aux.vorn_aux_ones_vec_size = 2;
  aux.vorn_aux_diag_code = 17;
  res.vorn_cv_popc = 77;
  which.set_up(*this);
  script = {};
  which.put_in_force(*this, which);
}

std::vector<report> entry_call::taken() {
  std::vector<report> found;
  for (const auto &call : env.calls())
    if (call.service != "host_raise_internal_error")
      found.emplace_back(call.text.empty() ? call.service : call.service + " " + call.text, call.values);
  env.clear_calls();
  return found;
}

std::vector<report> entry_call::reports() const {
  std::vector<report> found;
  for (const auto &error : env.errors()) {
    EXPECT_EQ(error.error_arg, env.host_env_error_arg);
    found.emplace_back(error.message, error.values);
  }
  return found;
}

lines entry_call::messages() const {
  lines texts;
  for (const auto &[message, told] : reports())
    texts.push_back(message);
  return texts;
}

check misaligned(std::string message, uint64_t vorn_global_ctx_t::*word, std::function<void *(entry_call &)> field,
                 check::needs when) {
  const auto pointer_at = [field](entry_call &call) {
    const char *pointer;
    std::memcpy(&pointer, field(call), sizeof pointer);
    return pointer;
  };
  return {std::move(message),
          [=](entry_call &call) {
            const char *const moved = pointer_at(call) + 4;
            std::memcpy(field(call), &moved, sizeof moved);
          },
          [=](entry_call &call) { return values{address(pointer_at(call))}; }, when, word};
}

check misaligned_filter(std::string message) {
  return misaligned(
      std::move(message), &vorn_global_ctx_t::VORN_BITWVEC_ALIGN,
      [](entry_call &call) { return &call.aux.vorn_aux_filter_bv; }, check::an_aux);
}

check no_dictionary(std::string message) {
  return {std::move(message), [](entry_call &call) { call.enc.vorn_enc_ctx_flags &= ~uint32_t{VORN_DICT}; }};
}

trace_point kernel_line() {
  return {2, "%s force_generic: %d qpak: %d\n", [](const entry_call &call) {
            return values{kernel_name(call), number((call.ctx.vorn_ctx_flags & VORN_CTX_FORCE_GENERIC) != 0),
                          number((call.enc.vorn_enc_ctx_flags & VORN_STREAM) != 0)};
          }};
}

trace_point rows_line(const std::string &rest, std::function<values(const entry_call &)> more) {
  return {3, "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d" + rest + "\n",
          [=](const entry_call &call) {
            values told = {std::string("loaded"), 5, address(vorn_global_ctx.vorn_global_ctx_dispatch),
                           number(call.src.vorn_cv_nrows)};
            if (more)
              std::ranges::copy(more(call), std::back_inserter(told));
            return told;
          }};
}

trace_point filter_line() {
  return {3, "filter_bv: %p popc: %d invert_filter: %d force_selective: %d\n",
          [](const entry_call &call) {
            return values{address(call.aux.vorn_aux_filter_bv), 12,
                          number((call.aux.vorn_aux_flags & VORN_AUX_INVERT_FILTER) != 0),
                          number((call.aux.vorn_aux_flags & VORN_AUX_FORCE_SELECTIVE) != 0)};
          },
          true};
}

} // namespace vorn_test
