#include "store/encode/prefix_encoder.hpp"

#include <algorithm>

namespace store {

namespace {

// The first value, cut to what it shares with all of them.
std::string_view shared_prefix(std::string_view group, uint32_t value_bytes) {
  std::string_view prefix = group.substr(0, value_bytes);
  for (size_t at = value_bytes; at < group.size(); at += value_bytes) {
    const auto end = std::mismatch(prefix.begin(), prefix.end(), group.begin() + static_cast<ptrdiff_t>(at)).first;
    prefix = prefix.substr(0, static_cast<size_t>(end - prefix.begin()));
  }
  return prefix;
}

} // namespace

batch prefix_batch(std::string_view values, uint32_t value_bytes) {
  batch out;
  out.rows = static_cast<uint32_t>(values.size() / value_bytes);
  vorn_host::aligned_vector<uint8_t> &lens = out.lens.made();
  vorn_host::aligned_vector<uint8_t> &stream = out.stream.made();
  const auto append = [&stream](std::string_view bytes) { stream.insert(stream.end(), bytes.begin(), bytes.end()); };
  const size_t group_bytes = size_t{prefix_group} * value_bytes;
  for (size_t first = 0; first < values.size(); first += group_bytes) {
    for (uint32_t shift = 32; shift != 0; shift -= 8)
      lens.push_back(static_cast<uint8_t>(stream.size() >> (shift - 8)));
    const std::string_view group = values.substr(first, group_bytes);
    const std::string_view prefix = shared_prefix(group, value_bytes);
    stream.push_back(static_cast<uint8_t>(prefix.size()));
    append(prefix);
    for (size_t at = 0; at < group.size(); at += value_bytes)
      append(group.substr(at + prefix.size(), value_bytes - prefix.size()));
  }
  out.stream_bytes = static_cast<uint32_t>(stream.size());
  stream.resize(stream.size() + vorn_host::cache_line);
  lens.resize(lens.size() + vorn_host::cache_line);
  return out;
}

} // namespace store
