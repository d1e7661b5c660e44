// The dispatch table as a computation: every entry says its axes and its name, and compilation stops where the name
// that the slot's bits spell differs from the entry's own, where two entries claim one slot, or where a count is off.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "frame/names.hpp"
#include "frame/vorn.h"

namespace vorn {

struct dispatch_entry {
  unsigned opcode;
  unsigned encoding;
  unsigned width_code;
  unsigned flag;
  vorn_kernel kernel;
  const char *name;

  constexpr uint32_t slot() const { return flag << 12 | width_code << 7 | encoding << 5 | opcode; }
};

struct dispatch {
  std::array<vorn_kernel, VORN_DISPATCH_SLOTS> kernels = {};
  std::array<const char *, VORN_DISPATCH_SLOTS> names = {};
};

// Does `name` say what the bits of the slot say?  Taken from the bits alone, not from the entry's axes.
constexpr bool spells(uint32_t slot, std::string_view name) {
  const uint32_t opcode = slot & 31;
  const uint32_t encoding = slot >> 5 & 3;
  const uint32_t width_code = slot >> 7 & 31;
  const bool flag = slot >> 12 & 1;
  // A burst tells by an even width code that there is no CLA, and stands one below the width of its lengths.
  const bool burst = encoding == VORN_ENC_RLE && opcode == VORN_OPC_BURST;
  const bool indexed = burst && width_code % 2 == 1;
  const std::string_view width = width_names.at(burst && !indexed ? width_code + 1 : width_code);
  const std::string_view flag_suffix = encoding == VORN_ENC_DICT ? "_null" : "_tz";
  const std::string_view suffix = indexed ? "_cla" : flag ? flag_suffix : "";
  const std::string_view parts[] = {
      "vorn_", opcode_names.at(opcode), "_", encoding_names.at(encoding), "_", width, "bit", suffix};
  for (const std::string_view part : parts) {
    if (!name.starts_with(part))
      return false;
    name.remove_prefix(part.size());
  }
  return name.empty();
}

// Not constexpr and never defined: a call ends the compilation, which then shows the reason.
void reject(const char *reason);

template <class... Families>
consteval dispatch build_dispatch(size_t expected, const Families &...families) {
  if ((families.size() + ...) != expected)
    reject("the number of kernels is off");
  dispatch table;
  const auto place = [&](const dispatch_entry &entry) {
    const uint32_t slot = entry.slot();
    if (!spells(slot, entry.name))
      reject("the name does not fit the slot");
    if (table.names[slot] != nullptr)
      reject("two kernels claim one slot");
    table.kernels[slot] = entry.kernel;
    table.names[slot] = entry.name;
  };
  (std::for_each(families.begin(), families.end(), place), ...);
  for (const char *&name : table.names)
    name = name == nullptr ? "vorn_invalid_dispatch" : name;
  return table;
}

} // namespace vorn
