// A call of a kernel by the generic record and by the record in force.  Both begin with the same state and must leave
// the same bytes in all memory of the call, records and canaries included.
#pragma once

#include <gtest/gtest.h>

#include <cstring>

#include "tests/bitvec/family.hpp"
#include "tests/support/random.hpp"
#include "tests/support/slots.hpp"
#include "tests/support/stored.hpp"

namespace vorn_test {

class engine_test : public implementation_test {
protected:
  // The memory of a call.  Each part has the name of its main use.
  enum part { values, lens, low, low_code, high, high_code, mask, filter, operand, out, out_lens, out_flgs, parts };

  // Makes a call by the generic record and by the record in force, and compares.
  template <class Call>
  void compare(const char *name, uint64_t nrows, Call call) {
    const vorn_global_ctx_t in_force = vorn_global_ctx;
    const std::string before = state();
    vorn_global_ctx = initial_global_ctx;
    call();
    const std::string expected = state();
    for_all_bytes([from = before.data()](std::span<uint8_t> bytes) mutable {
      std::memcpy(bytes.data(), std::exchange(from, from + bytes.size()), bytes.size());
    });
    vorn_global_ctx = in_force;
    call();
    const std::string actual = state();
    ASSERT_TRUE(actual == expected) << name << ", rows " << nrows << ", width " << records.enc.vorn_enc_ctx_width
                                    << ", runs " << records.enc.vorn_enc_ctx_rle_nruns << ", flags "
                                    << int{records.aux.vorn_aux_flags} << ", room " << records.res.vorn_cv_nrows
                                    << ", byte " << std::ranges::mismatch(actual, expected).in1 - actual.begin()
                                    << ", the records have " << sizeof records;
  }
  template <class Visit>
  void for_all_bytes(Visit visit) {
    visit(std::span(reinterpret_cast<uint8_t *>(&records), sizeof records));
    for (const placed_vector &v : memory)
      visit(v.with_canaries());
    for (const placed_vector &v : sources)
      visit(v.with_canaries());
  }
  std::string state() {
    std::string all;
    for_all_bytes([&](auto bytes) { all.append(reinterpret_cast<const char *>(bytes.data()), bytes.size()); });
    return all;
  }

  // Places bytes at one of the two ends of a part, for example a result, or random bits.
  uint8_t *put(part p, size_t size, bool last, unsigned offset = 0) {
    memory[p].place(last ? at_end : offset, size);
    return std::fill_n(memory[p].begin(), size, uint8_t{0xff}) - size;
  }
  uint8_t *put(part p, size_t size) { return put(p, size, random.once_in(2)); }
  uint64_t *put_bits(part p, uint64_t nbits) {
    put(p, (nbits + 63) / 64 * 8);
    random.fill(memory[p]);
    return memory[p];
  }

  // Calls visit(count, last) for every count, with streams at both ends of their memory.
  template <class Visit>
  void for_each_count(Visit visit) {
    for (const uint32_t count : each_from(0U, 258U))
      for (const bool last : each({false, true}))
        if (random.takes_case() && !HasFatalFailure()) {
          records = {};
          std::ranges::for_each(memory, [](placed_vector &v) { v.place(at_end, 0); });
          visit(count < 258 ? count : 32768 + static_cast<uint32_t>(random.below(8192)), last);
        }
  }

  struct {
    vorn_enc_ctx enc;
    vorn_cv res, src, lo, hi;
    vorn_aux aux;
    vorn_test::iterator iterator;
    uint64_t results[8];
  } records = {};
  std::array<placed_vector, parts> memory;
  vorn_test::sources sources;
  random_source random{static_cast<uint64_t>(GTEST_FLAG_GET(random_seed))};
};

} // namespace vorn_test
