// Computes the dispatch table at compile time.  Every entry has its axes and its name.  The compilation stops if the
// name that follows from the bits of a slot differs from the name of its entry, if two entries claim one slot, or if a
// number of kernels is wrong.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "frame/level.hpp"
#include "frame/names.hpp"
#include "frame/vorn.h"
#include "generic/table/slot_bits.hpp"

namespace vorn::inline VORN_LEVEL {

// A fault of a table: the kernel or the family, the slot or the number of kernels, and the reason.
struct dispatch_fault {
  char name[64] = {};
  uint64_t number = 0;
  char reason[64] = {};
};

struct dispatch {
  std::array<vorn_kernel, VORN_DISPATCH_SLOTS> kernels = {};
  std::array<const char *, VORN_DISPATCH_SLOTS> names = {};
  dispatch_fault fault; // the first fault; there is none if the reason is empty
};

struct dispatch_entry {
  uint32_t slot;
  vorn_kernel kernel;
  const char *name;

  constexpr dispatch_entry(uint32_t at, vorn_unary_fn function, const char *called)
      : slot(at), kernel{.unary = function}, name(called) {}
  constexpr dispatch_entry(uint32_t at, vorn_binary_fn function, const char *called)
      : slot(at), kernel{.binary = function}, name(called) {}
  constexpr dispatch_entry(uint32_t at, vorn_ternary_fn function, const char *called)
      : slot(at), kernel{.ternary = function}, name(called) {}
};

// The slot of a kernel by its axes.  A suffix sets the flag, except for bursts: a burst without a CLA has the next
// lower width code.
constexpr uint32_t slot_of(uint32_t opcode, uint32_t encoding, uint32_t width, std::string_view suffix) {
  const bool runs = encoding == VORN_ENC_RLE;
  const uint32_t code = width_code(runs && suffix.empty() ? width - 1 : width);
  const uint32_t flag = !runs && !suffix.empty() ? 1 : 0;
  return flag << 12 | code << 7 | encoding << 5 | opcode;
}

// The bits of a slot spell a name: "vorn_", the operation, and the rest.  The rules read the slot alone, not the axes
// of an entry.  Each rule checks the rest.
constexpr bool consists_of(std::string_view name, std::initializer_list<std::string_view> parts) {
  for (const std::string_view part : parts) {
    if (!name.starts_with(part))
      return false;
    name.remove_prefix(part.size());
  }
  return name.empty();
}

constexpr bool spells_column(slot_bits bits, std::string_view rest) {
  const std::string_view suffix = bits.encoding() == VORN_ENC_DICT ? "_null" : "_tz";
  return consists_of(rest, {"_", encoding_names.at(bits.encoding()), "_", width_names.at(bits.width_code()), "bit",
                            bits.flag() ? suffix : ""});
}

// An odd width code means that there is a CLA.
constexpr bool spells_burst(slot_bits bits, std::string_view rest) {
  const bool indexed = bits.width_code() % 2 == 1;
  return !bits.flag() &&
         consists_of(rest, {"_rle_", width_names.at(bits.width_code() | 1), "bit", indexed ? "_cla" : ""});
}

// The encoding bits are the kind of a table.
constexpr bool spells_translation(slot_bits bits, std::string_view rest) {
  constexpr std::string_view kinds[] = {"sim", "off", "ind", "groupkey"};
  constexpr std::string_view widths[] = {"bit", "nib", "ub1", "ub2", "ub4"};
  return bits.width_code() < std::size(widths) &&
         consists_of(rest, {"_", kinds[bits.encoding()], "_", widths[bits.width_code()], bits.flag() ? "_c2d" : ""});
}

constexpr bool spells_arithmetic(slot_bits bits, std::string_view rest) {
  const uint32_t code = bits.width_code();
  return bits.encoding() == 0 && (code & ~13U) == 0 &&
         consists_of(rest, {code & 1 ? "_double" : "_float", code & 4 ? "_c" : "_n", code & 8 ? "_c" : "_n",
                            bits.flag() ? "_sum" : ""});
}

constexpr bool spells(slot_bits bits, std::string_view name) {
  const std::string_view operation = opcode_names.at(bits.opcode());
  const std::string_view prefix = "vorn_";
  if (!name.starts_with(prefix) || !name.substr(prefix.size()).starts_with(operation))
    return false;
  const std::string_view rest = name.substr(prefix.size() + operation.size());
  switch (bits.opcode()) {
  case VORN_OPC_XLATE:
    return spells_translation(bits, rest);
  case VORN_OPC_ADD:
  case VORN_OPC_SUB:
  case VORN_OPC_MUL:
    return spells_arithmetic(bits, rest);
  default:
    return bits.encoding() == VORN_ENC_RLE ? spells_burst(bits, rest) : spells_column(bits, rest);
  }
}

// Stops the compilation if there is a fault.  The compiler shows the fault as the argument of this template.
template <dispatch_fault Fault>
consteval void prove() {
  static_assert(Fault.reason[0] == '\0',
                "the dispatch table is wrong: Fault names the kernel, its slot and the reason");
}

class dispatch_builder {
public:
  constexpr dispatch_builder() { table_.names.fill("vorn_invalid_dispatch"); }

  constexpr void add(const char *family, std::span<const dispatch_entry> entries, uint64_t expected) {
    expect(family, entries.size(), expected);
    for (const dispatch_entry &entry : entries)
      place(entry);
  }

  constexpr dispatch finish(uint64_t expected) {
    expect("all families", count_, expected);
    return table_;
  }

private:
  // Only the first fault is recorded.
  constexpr void reject(std::string_view name, uint64_t number, std::string_view reason) {
    dispatch_fault &fault = table_.fault;
    if (fault.reason[0] != '\0')
      return;
    std::copy_n(name.begin(), std::min(name.size(), sizeof fault.name - 1), fault.name);
    fault.number = number;
    std::copy_n(reason.begin(), std::min(reason.size(), sizeof fault.reason - 1), fault.reason);
  }

  constexpr void expect(std::string_view family, uint64_t found, uint64_t expected) {
    if (found != expected)
      reject(family, found, "the number of kernels is not the one expected");
  }

  constexpr void place(const dispatch_entry &entry) {
    if (!spells({entry.slot}, entry.name))
      return reject(entry.name, entry.slot, "the name does not fit the slot");
    if (taken_[entry.slot])
      return reject(entry.name, entry.slot, "two kernels claim the slot");
    taken_[entry.slot] = true;
    table_.kernels[entry.slot] = entry.kernel;
    table_.names[entry.slot] = entry.name;
    ++count_;
  }

  dispatch table_;
  std::array<bool, VORN_DISPATCH_SLOTS> taken_ = {};
  uint32_t count_ = 0;
};

} // namespace vorn::inline VORN_LEVEL

// An element of an array of entries, from the arguments of a list.
#define VORN_KERNEL_TEXT_(name) #name
#define VORN_KERNEL_TEXT(name)  VORN_KERNEL_TEXT_(name)
#define VORN_DISPATCH_ENTRY(op, OP, enc, ENC, w, suffix, ...)                                                          \
  vorn::dispatch_entry(vorn::slot_of(VORN_OPC_##OP, VORN_ENC_##ENC, w, #suffix), VORN_KERNEL_NAME(op, enc, w, suffix), \
                       VORN_KERNEL_TEXT(VORN_KERNEL_NAME(op, enc, w, suffix))),

// Declarations, one macro for each shape of kernels.
#define VORN_DECLARE_unary(op, OP, enc, ENC, w, suffix, ...)                                                           \
  uint32_t VORN_KERNEL_NAME(op, enc, w, suffix)(vorn_cv *, vorn_cv *, vorn_aux *);
#define VORN_DECLARE_binary(op, OP, enc, ENC, w, suffix, ...)                                                          \
  uint32_t VORN_KERNEL_NAME(op, enc, w, suffix)(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);
#define VORN_DECLARE_ternary(op, OP, enc, ENC, w, suffix, ...)                                                         \
  uint32_t VORN_KERNEL_NAME(op, enc, w, suffix)(vorn_cv *, vorn_cv *, const vorn_cv *, const vorn_cv *, vorn_aux *);
#define VORN_DECLARE_named(name, ...)                      uint32_t name(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);
#define VORN_DECLARE_FAMILY(family, KERNELS, shape, count) KERNELS(VORN_DECLARE_##shape)

#define VORN_NAMED_ENTRY(name, OP, ENC, code, flag, ...)                                                               \
  vorn::dispatch_entry(uint32_t{flag} << 12 | (code) << 7 | VORN_ENC_##ENC << 5 | VORN_OPC_##OP, name, #name),
#define VORN_ENTRY_unary   VORN_DISPATCH_ENTRY
#define VORN_ENTRY_binary  VORN_DISPATCH_ENTRY
#define VORN_ENTRY_ternary VORN_DISPATCH_ENTRY
#define VORN_ENTRY_named   VORN_NAMED_ENTRY
#define VORN_FAMILY_ENTRIES(family, KERNELS, shape, count)                                                             \
  constexpr auto family = std::to_array<vorn::dispatch_entry>({KERNELS(VORN_ENTRY_##shape)});
