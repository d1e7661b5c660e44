// The transcript of a call.
#include <utility>

#include "tests/entry/call.hpp"

namespace vorn_test {

namespace {

std::string word_of(entry_call &, uint32_t number) { return std::to_string(number); }
std::string word_of(entry_call &call, const void *pointer) { return call.name(pointer); }
template <class... Operands>
std::string word_of(entry_call &, uint32_t (*function)(Operands...)) {
  return function == vorn_decode_rle_burst ? "vorn_decode_rle_burst" : "?";
}
std::string word_of(entry_call &, const uint8_t (&bits)[3]) {
  char text[9];
  std::snprintf(text, sizeof text, "%02x.%02x.%02x", bits[0], bits[1], bits[2]);
  return text;
}

// The fields that differ, then the name of the record if something else in it does.
template <class Record, class... Fields>
std::string changed(entry_call &call, const char *name, const Record &was, const Record &is,
                    std::pair<const char *, Fields Record::*>... fields) {
  std::string text;
  std::string rest(bytes_of(is));
  const auto compare = [&](const char *label, auto at) {
    const std::string_view before = bytes_of(was.*at), after = bytes_of(is.*at);
    if (after != before)
      text.append(" ").append(label).append("=").append(word_of(call, is.*at));
    rest.replace(static_cast<size_t>(after.data() - bytes_of(is).data()), after.size(), before);
  };
  (compare(fields.first, fields.second), ...);
  return rest == bytes_of(was) ? text : text + " and more of " + name;
}

// Appends the event.  Of the trace services a line keeps what differs from one to the next, if the rest is as it has to
// be.  A line names the level of its gate.  Other gates, and readings of the clock, stand before the event that
// follows.
void append(lines &found, std::string &prefix, const vorn_host::service_call &event,
            const vorn_host::service_call &first_record, vorn_host::pointer_names &names) {
  using vorn_host::value;
  const value component = uint64_t{0x12050004};
  const auto &values = event.values;
  const auto file = [](const std::string &source) { return source.substr(0, source.find(':')); };
  vorn_host::service_call shown = event;
  if (event.service == "host_trace_eval_flags" &&
      values == std::vector<value>{component, values[1], uint64_t{0x400}, uint64_t{4}}) {
    prefix += "gate " + std::to_string(std::get<int32_t>(values[1])) + ", ";
    return;
  }
  if (event.service == "host_clock_time64") {
    if (!prefix.ends_with("clock, "))
      prefix += "clock, ";
    return;
  }
  if (event.service == "host_trace_write") {
    shown.service = "trace";
  } else if (event.service == "host_raise_internal_error") {
    shown.service = "report";
  } else if (event.service == "host_trace_record" && values[0] == first_record.values[0] && values[1] == component &&
             values[2] == value{uint64_t{0x402}} && file(event.source) == file(first_record.source)) {
    shown.service = "trace";
    shown.values.erase(shown.values.begin(), shown.values.begin() + 3);
  }
  if (const size_t gate = prefix.rfind("gate "); shown.service == "trace" && gate != std::string::npos) {
    shown.service += " " + prefix.substr(gate + 5, 1);
    prefix.erase(gate);
  }
  found.push_back(std::exchange(prefix, {}) + shown.line(names));
}

} // namespace

std::string entry_call::changes(const vorn_aux *used) {
  static constexpr vorn_aux cleared = {};
  const bool own = used != nullptr && used != &aux;
  std::string text = changed(
      *this, "aux", own ? cleared : before.aux, own ? *used : aux, std::pair{"bits", &vorn_aux::vorn_aux_op_bits},
      std::pair{"diag", &vorn_aux::vorn_aux_diag_code}, std::pair{"ctx", &vorn_aux::vorn_aux_ctx},
      std::pair{"filter", &vorn_aux::vorn_aux_filter_bv}, std::pair{"start", &vorn_aux::vorn_aux_start_slot});
  text += changed(*this, "enc", before.enc, enc, std::pair{"flags", &vorn_enc_ctx::vorn_enc_ctx_flags},
                  std::pair{"burst_fn", &vorn_enc_ctx::vorn_enc_ctx_burst_fn});
  text += changed(*this, "src", before.src, src, std::pair{"mask", &vorn_cv::vorn_cv_mask_bv});
  text += changed(*this, "res", before.res, res, std::pair{"popc", &vorn_cv::vorn_cv_popc});
  return text;
}

// Every event on a line: the services in their order, the kernel among them, then what the call returned and counted.
lines entry_call::transcript() {
  names_ = {};
  const void *const known[] = {
      &ctx,         &earlier,           &res,        &src,        &lo,         &hi,          &set,       &aux,
      &enc,         &hash_table,        &areas,      &store,      &matrix,     codes.data(), out.data(), filter.data(),
      runs.data(),  members.data(),     vals.data(), lens.data(), flgs.data(), rows.data(),  &lo_code,   rates.data(),
      table.data(), vorn_dispatch_table};
  constexpr std::string_view names =
      "ctx earlier res src lo hi set aux enc ht areas store matrix codes out filter runs "
      "members vals lens flgs rows lo_code rates table generic_table ";
  size_t at = 0;
  for (const void *pointer : known) {
    const std::string text(names.substr(at, names.find(' ', at) - at));
    at += text.size() + 1;
    if (pointer == nullptr) // the table of an entry that has no slot in it
      continue;
    names_.name(pointer, text);
    names_.name(static_cast<const char *>(pointer) + 1, text + "+1");
  }
  std::string end;
  try {
    end = "returns " + std::to_string(run());
  } catch (const vorn_host::internal_error &) {
    end = "unwinds";
  }
  const auto events = env.calls();
  const auto traced = std::ranges::find(events, "host_trace_record", &vorn_host::service_call::service);
  lines found;
  std::string prefix;
  if (traced != events.end())
    found.push_back(std::get<std::string>(traced->values[0]) + " in " +
                    traced->source.substr(0, traced->source.find(':')));
  for (size_t i = 0; i <= events.size(); ++i) {
    if (i == 1 && traced != events.end() && prefix == "gate 4, ")
      found.back() += std::exchange(prefix, {}).insert(0, ": ").substr(0, 8);
    if (script.calls != 0 && script.services == i)
      found.push_back(std::exchange(prefix, {}) + script.seen);
    if (i < events.size())
      append(found, prefix, events[i], traced == events.end() ? events[i] : *traced, names_);
  }
  if (script.calls > 1 || script.strays != 0)
    found.push_back("other kernels");
  end = prefix + end + changes(nullptr);
  static constexpr const char *counters[] = {"called", "selective", "third"};
  for (size_t i = 0; i < stats.size(); ++i)
    if (stats[i] != 0)
      end += ", " + (i >= 48 && i < 69 ? counters[(i - 48) / 8] : std::string("elsewhere")) + "[" +
             std::to_string(i % 8) + "]+" + std::to_string(stats[i]);
  for (size_t slot = 0; slot < VORN_DISPATCH_SLOTS; ++slot)
    if (counts[slot] != 0 || rates[slot] != 0)
      end += ", mean of slot " + std::to_string(slot) + " " + std::to_string(rates[slot]);
  found.push_back(env.outstanding_scratch() == 0 ? end : end + ", scratch memory is left");
  return found;
}

} // namespace vorn_test
