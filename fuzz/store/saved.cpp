// Saved tables: a small valid one, changed in some places, or a file of the input's bytes.
#include <gtest/gtest.h>

#include <cstring>

#include "fuzz/store/targets.hpp"
#include "store/error.hpp"
#include "tests/store/saved_sample.hpp"

namespace vorn_fuzz {

using namespace store::saved;

namespace {

struct range {
  uint64_t begin;
  uint64_t end;
};

// The positions of the numbers that describe the file, and all positions.
range range_from(input &from, std::string &file) {
  const auto sections = vorn_test::sections_of(file);
  const uint64_t head = sizeof(header) + sections.size_bytes();
  switch (from.ConsumeIntegralInRange(0, 3)) {
  case 0:
    return {0, head};
  case 1:
    return {sections[0].offset, sections[0].offset + sections[0].bytes};
  case 2: {
    const section &any = sections[from.ConsumeIntegralInRange<size_t>(0, sections.size() - 1)];
    return {any.offset, any.offset + any.bytes};
  }
  default:
    return {0, file.size()};
  }
}

template <class Number>
void change(std::string &file, uint64_t at, input &from) {
  Number number = 0;
  const uint64_t bytes = std::min<uint64_t>(sizeof number, file.size() - at);
  std::memcpy(&number, &file[at], bytes);
  const auto chosen = from.ConsumeIntegral<Number>();
  number = static_cast<Number>(from.ConsumeBool() ? chosen : number + static_cast<Number>(static_cast<int8_t>(chosen)));
  std::memcpy(&file[at], &number, bytes);
}

// All positions are found in the unchanged file, so that one change does not move the next.
std::string changed(const std::string &whole, input &from) {
  std::string original = whole, out = whole;
  while (from.remaining_bytes() != 0) {
    const range places = range_from(from, original);
    if (places.begin == places.end)
      continue;
    uint64_t at = from.ConsumeIntegralInRange<uint64_t>(places.begin, places.end - 1);
    switch (from.ConsumeIntegralInRange(0, 3)) {
    case 0:
      change<uint8_t>(out, at, from);
      break;
    case 1:
      change<uint16_t>(out, at & ~uint64_t{1}, from);
      break;
    case 2:
      change<uint32_t>(out, at & ~uint64_t{3}, from);
      break;
    default:
      change<uint64_t>(out, at & ~uint64_t{7}, from);
    }
  }
  return out;
}

} // namespace

void saved(input &from) {
  static const vorn_test::saved_sample sample(lasting_context());
  std::string file;
  if (seldom(from)) {
    file = from.ConsumeRemainingBytesAsString();
  } else {
    const bool is_repaired = !seldom(from);
    const uint64_t cut =
        seldom(from) ? from.ConsumeIntegralInRange<uint64_t>(1, sample.whole.size() - sizeof(header)) : 0;
    file = changed(sample.whole, from);
    file.resize(file.size() - cut);
    if (cut != 0 && is_repaired)
      reinterpret_cast<header *>(file.data())->file_bytes = file.size();
    if (is_repaired)
      file = vorn_test::repaired(std::move(file));
  }
  try {
    vorn_test::content_of(context(), file);
  } catch (const store::error &) { // NOLINT(bugprone-empty-catch)
  }
}

} // namespace vorn_fuzz
