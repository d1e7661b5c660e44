#include "store/plan/dense_groups.hpp"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/library/source_vector.hpp"

namespace store {

std::optional<uint32_t> dense_groups::key_space(const vorn_ctx &ctx, std::span<const column *const> columns) {
  if (columns.empty())
    return 1;
  // Columns without rows are enough to be told.
  const batch none;
  std::deque<code_unpacker> unpackers;
  std::vector<vorn_cv> packed_;
  for (const column *c : columns) {
    unpackers.emplace_back(ctx, *c, code_unpacker::element::four_bytes).open(none, nullptr);
    packed_.push_back(unpackers.back().packed());
  }
  uint32_t keys_ = 0;
  vorn_cv result{};
  vorn_cv scratch_{};
  vorn_aux aux{};
  aux.vorn_aux_flags = VORN_AUX_MULTIPLY;
  const uint32_t code =
      vorn_groupkey(&ctx, &result, &keys_, packed_.data(), static_cast<uint32_t>(packed_.size()), &scratch_, &aux);
  return code == VORN_RESULT_REFUSED || code == VORN_RESULT_KEY_SPACE ? std::nullopt : std::optional(keys_);
}

bool dense_groups::serves(const vorn_ctx &ctx, std::span<const column *const> columns, const dense_settings &settings) {
  constexpr size_t most_columns = 32; // over runs, to the library
  if (columns.size() > most_columns || !code_key::serves(columns))
    return false;
  const auto space = key_space(ctx, columns);
  return space && *space <= settings.most_groups;
}

dense_groups::dense_groups(const vorn_ctx &context, const column &any, std::span<const column *const> columns,
                           std::span<const number_column> added_columns, std::shared_ptr<const selection> chosen,
                           const dense_settings &chosen_settings)
    : coded_groups(context, any, columns, added_columns, std::move(chosen)), settings_(chosen_settings),
      packed_(columns.size()), count_(key_space(ctx, columns).value_or(0)) {}

std::unique_ptr<dense_groups> dense_groups::copy() const {
  return std::make_unique<dense_groups>(ctx, walked, key.columns(), added, selected, settings_);
}

void dense_groups::find_groups(const row_steps::step &step) {
  if (unpackers.empty())
    return;
  if (step.opens_batch) {
    for (size_t c = 0; c < unpackers.size(); ++c) {
      unpackers[c].open(steps.rows_of(*key.columns()[c]), nullptr);
      packed_[c] = unpackers[c].packed();
    }
    cursor_.open(steps.rows(), steps.filter());
    next_row_ = 0;
  }
  make_keys(step.rows);
}

// Takes as many calls as the room for keys asks for: a call that has filled it says so, and the next one begins at the
// row behind its last.
void dense_groups::make_keys(uint32_t rows) {
  keys_.resize(rows);
  scratch_.resize(std::min(rows, settings_.room));
  vorn_aux aux{};
  aux.vorn_aux_flags = VORN_AUX_MULTIPLY;
  aux.vorn_aux_filter_bv = only_read(steps.filter());
  for (uint32_t done = 0; done < rows;) {
    const uint32_t wanted = std::min(rows - done, settings_.room);
    vorn_cv result{};
    vorn_cv temporary{};
    vorn_build_vector(&result, keys_.data() + done, nullptr, nullptr, nullptr, nullptr, nullptr, wanted, 0, nullptr, 0);
    vorn_build_vector(&temporary, scratch_.data(), nullptr, nullptr, nullptr, nullptr, nullptr, wanted, 0, nullptr, 0);
    aux.vorn_aux_start_slot = next_row_;
    uint32_t space = 0;
    const uint32_t code =
        vorn_groupkey(&ctx, &result, &space, packed_.data(), static_cast<uint32_t>(packed_.size()), &temporary, &aux);
    if ((code != VORN_RESULT_DONE && code != VORN_RESULT_OUTPUT_FULL) || result.vorn_cv_popc != wanted)
      throw error(
          fmt::format("the group keys of {} rows gave result {} and {} keys", wanted, code, result.vorn_cv_popc));
    next_row_ = cursor_.next(wanted).back() + 1;
    done += wanted;
  }
}

} // namespace store
