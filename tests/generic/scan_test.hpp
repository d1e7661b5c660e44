// The base of the suites of scans.  It makes one call of a scan kernel with mask and filter and compares it with the
// model.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/implementation.hpp"
#include "tests/support/random.hpp"
#include "tests/support/slots.hpp"
#include "tests/support/stored.hpp"

namespace vorn_test {

enum class filter_kind { none, full_scan, selective };

// The form of one call.
struct scan_call {
  uint32_t nrows;
  bool masked;
  filter_kind filtering;

  bool selective() const { return filtering == filter_kind::selective; }
};

class scan_test : public implementation_test {
protected:
  static constexpr uint32_t most_rows = 1025;
  static constexpr size_t most_words = (most_rows + 63) / 64;
  static constexpr uint64_t seed = 20240917;

  // Calls visit for row counts around words and blocks, with and without mask, with every kind of filter.
  template <class Visit>
  void for_each_call(Visit visit) {
    for (const uint32_t nrows : each({0U, 1U, 7U, 8U, 9U, 63U, 64U, 65U, 127U, 128U, 1023U, 1024U, 1025U}))
      for (const auto filtering : each({filter_kind::none, filter_kind::full_scan, filter_kind::selective}))
        for (const bool masked : each({false, true}))
          // With 0 rows there is nothing to combine.
          if ((nrows != 0 || (!masked && filtering == filter_kind::none)) && random.takes_case()) {
            visit(scan_call{nrows, masked, filtering});
            if (HasFatalFailure())
              return;
          }
  }

  // Random bits, with stray bits after the last row.
  uint64_t *random_words(guarded &memory, size_t count) {
    uint64_t *const words = memory.last_words(count);
    random.fill({reinterpret_cast<uint8_t *>(words), count * 8});
    return words;
  }

  // Runs the kernel of a slot over src and compares everything that it writes.  matches(row) is the expected match.
  template <class Matches>
  void check(const slot &s, const scan_call &call, vorn_cv src, const vorn_cv &lo, const vorn_cv &hi, Matches matches,
             const std::string &what) {
    const uint32_t nrows = call.nrows;
    const size_t nwords = (nrows + 63) / 64;
    const bool set = s.opcode() == VORN_OPC_SET;
    uint64_t *mask = call.masked ? random_words(masks, nwords) : nullptr;
    uint64_t *filter = call.filtering != filter_kind::none ? random_words(filters, nwords) : nullptr;
    uint64_t *out = output.last_words(nwords);

    vorn_cv res = result_of(out, nrows);
    src.vorn_cv_mask_bv = mask;
    vorn_aux aux = selective_by(filter, call.selective());
    aux.vorn_aux_op_bits[2] = 0x40;

    // Set kernels ignore a mask, since their entry point removes it.
    const auto expected = vorn_model::select(nrows, set ? nullptr : mask, filter, matches);
    const uint32_t code = s.run(res, src, lo, hi, aux);

    const auto where = [&] {
      return testing::Message() << s.name() << " rows " << nrows << " " << what << " masked " << call.masked
                                << " filter " << static_cast<int>(call.filtering) << " seed " << seed;
    };
    ASSERT_EQ(code, expected.count == 0 ? uint32_t{VORN_RESULT_EMPTY} : uint32_t{VORN_RESULT_DONE}) << where();
    ASSERT_EQ(res.vorn_cv_popc, expected.count) << where();
    ASSERT_EQ(std::vector<uint64_t>(out, out + nwords), expected.words) << where();
    ASSERT_TRUE(output.intact(nwords * 8)) << where();
    // Only the selective bit of the operation is set.
    ASSERT_EQ(aux.vorn_aux_op_bits[0], 0) << where();
    ASSERT_EQ(aux.vorn_aux_op_bits[1], filter == nullptr ? 0 : set ? 0x10 : 0x02) << where();
    ASSERT_EQ(aux.vorn_aux_op_bits[2], 0x40) << where();
    ASSERT_EQ(aux.vorn_aux_filter_bv, filter) << where();
  }

  random_source random{seed};
  guarded masks{most_words * 8}, filters{most_words * 8}, output{most_words * 8};
};

} // namespace vorn_test
