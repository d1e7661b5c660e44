// Unpacking: every kernel against the model, in every form, over plain codes and over runs, in walks with every room
// for the result.  Then the entry point.
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>

#include "tests/support/bytes.hpp"
#include "tests/support/column.hpp"
#include "tests/support/implementation.hpp"

namespace {

using vorn_model::unpack_form;
using vorn_test::column;
using vorn_test::each, vorn_test::each_from;
using vorn_test::slot;

constexpr uint64_t seed = 20241124;

unsigned element_size(unsigned width, uint8_t flags) {
  return (flags & VORN_AUX_UNPACK_UB4) || width > 16 ? 4 : width > 8 ? 2 : 1;
}

vorn_cv room_for(uint32_t elements, void *out, uint32_t popc = 0) {
  vorn_cv res;
  std::memset(&res, 0, sizeof res);
  res.vorn_cv_popc = popc;
  res.vorn_cv_vals = out;
  res.vorn_cv_nrows = elements;
  return res;
}

class unpack_kernels : public vorn_test::implementation_test {
protected:
  void SetUp() override {
    implementation_test::SetUp();
    kernels = vorn_test::slots_of(VORN_OPC_DECODE_UNPACK, 22);
  }

  // Makes one call at a position, compares it with the model, and returns the result of the model.
  vorn_model::unpack_result call(const slot &s, column &from, unpack_form form, const std::vector<uint32_t> &rows,
                                 uint8_t flags, vorn_model::unpack_position at, uint32_t room) {
    auto expected = vorn_model::unpack(from.model, form, rows, at, room);
    const unsigned size = element_size(s.width(), flags);
    const size_t written = expected.codes.size();
    const size_t capacity = form == unpack_form::list ? written : room;
    uint8_t *out = output.last(capacity * size);
    std::fill_n(out + written * size, (capacity - written) * size, uint8_t{0xab});
    uint64_t *filter = filters.last_words((from.src.vorn_cv_nrows + 63) / 64);
    std::vector<uint32_t> list = rows;
    list.reserve(1); // an empty list is not null
    vorn_aux aux = {};
    aux.vorn_aux_flags = flags;
    aux.vorn_aux_start_slot = at.start_slot;
    aux.vorn_aux_run_idx = at.run_idx;
    aux.vorn_aux_run_end = at.run_end;
    if (form == unpack_form::filter) {
      std::fill_n(filter, (from.src.vorn_cv_nrows + 63) / 64, 0);
      for (const uint32_t row : rows)
        filter[row / 64] |= uint64_t{1} << row % 64;
      if (from.src.vorn_cv_nrows % 64 != 0)
        filter[from.src.vorn_cv_nrows / 64] |= ~uint64_t{0} << from.src.vorn_cv_nrows % 64; // stray bits
      aux.vorn_aux_filter_bv = filter;
      list.assign(1, 0); // with a filter the list is ignored
    }
    if (form != unpack_form::range) {
      aux.vorn_aux_ones_vec = list.data();
      aux.vorn_aux_ones_vec_size = static_cast<uint32_t>(list.size());
    }
    vorn_cv res = room_for(room, out);
    const vorn_cv src_before = from.src, res_after = room_for(room, out, static_cast<uint32_t>(written));
    const uint32_t code = s.run(res, from.src, aux);

    const auto where = [&] {
      return testing::Message() << s.name() << " flags " << int{flags} << " rows " << from.src.vorn_cv_nrows << " runs "
                                << from.model.run_lengths.has_value() << " form " << static_cast<int>(form) << " from "
                                << at.start_slot << " room " << room << " to " << aux.vorn_aux_start_slot << ", run "
                                << aux.vorn_aux_run_idx << ", " << aux.vorn_aux_run_end << " seed " << seed;
    };
    std::vector<uint32_t> codes(written);
    for (size_t i = 0; i < written; ++i)
      std::memcpy(&codes[i], out + i * size, size);
    EXPECT_EQ(codes, expected.codes) << where();
    EXPECT_EQ(code, written == 0 ? uint32_t{VORN_RESULT_EMPTY} : uint32_t{VORN_RESULT_DONE}) << where();
    EXPECT_EQ(vorn_test::bytes_of(res), vorn_test::bytes_of(res_after)) << where() << " number " << res.vorn_cv_popc;
    const vorn_model::unpack_position reached = {aux.vorn_aux_start_slot, aux.vorn_aux_run_idx, aux.vorn_aux_run_end};
    EXPECT_EQ(reached, expected.position) << where();
    EXPECT_EQ(aux.vorn_aux_op_bits[1], expected.selective ? 0x40 : 0) << where();
    EXPECT_EQ(vorn_test::bytes_of(src_before), vorn_test::bytes_of(from.src)) << where();
    EXPECT_TRUE(output.intact(capacity * size)) << where();
    EXPECT_TRUE(std::all_of(out + written * size, out + capacity * size, [](uint8_t b) { return b == 0xab; }))
        << where();
    return expected;
  }

  // Walks over the whole column in batches.
  void walk(const slot &s, column &from, unpack_form form, const std::vector<uint32_t> &rows, uint8_t flags,
            uint32_t room) {
    vorn_model::unpack_position at = {0, 77, 99}; // a walk from row 0 ignores the cursor
    for (;;) {
      const auto batch = call(s, from, form, rows, flags, at, room);
      at = batch.position;
      ++at.start_slot;
      if (batch.codes.empty() || at.start_slot == from.src.vorn_cv_nrows || HasFailure())
        break;
    }
  }

  std::vector<uint32_t> some_rows(uint32_t nrows, unsigned per_cent) {
    std::vector<uint32_t> rows;
    for (uint32_t row = 0; row < nrows; ++row)
      if (random.below(100) < per_cent)
        rows.push_back(row);
    return rows;
  }

  // The three kinds of column at the given sizes.
  template <class Visit>
  void for_each_column(std::initializer_list<uint32_t> sizes, uint32_t longest, Visit visit) {
    for (const slot &s : each(kernels))
      for (const uint32_t nrows : each(sizes))
        for (const unsigned lens_width : each({0U, 8U, 16U})) {
          column from(s.width(), nrows, lens_width, longest, random);
          for (const uint8_t flags : {uint8_t{0}, uint8_t{VORN_AUX_UNPACK_UB4}}) {
            visit(s, from, flags);
            if (HasFailure())
              return;
          }
        }
  }

  vorn_test::random_source random{seed};
  std::vector<slot> kernels;
  vorn_test::guarded output{8192}, filters{256};
};

TEST_P(unpack_kernels, walk_with_every_room) {
  for_each_column({0, 1, 2, 7, 19}, 6, [&](const slot &s, column &from, uint8_t flags) {
    const uint32_t nrows = from.src.vorn_cv_nrows;
    for (const uint32_t room : each_from(0U, nrows + 1)) {
      for (const unsigned per_cent : each({0U, 40U, 100U}))
        walk(s, from, unpack_form::filter, some_rows(nrows, per_cent), flags, room);
      walk(s, from, unpack_form::range, {}, flags, room);
    }
  });
}

TEST_P(unpack_kernels, walk_over_blocks_of_rows) {
  for_each_column({63, 64, 65, 1023, 1024, 1025}, 300, [&](const slot &s, column &from, uint8_t flags) {
    const uint32_t nrows = from.src.vorn_cv_nrows;
    for (const uint32_t room : each({61U, 64U, 129U, 2000U})) {
      walk(s, from, unpack_form::range, {}, flags, room);
      walk(s, from, unpack_form::filter, some_rows(nrows, 70), flags, room);
    }
  });
}

TEST_P(unpack_kernels, stop_on_the_row_that_fills_the_room) {
  for_each_column({1000}, 20, [&](const slot &s, column &from, uint8_t flags) {
    for (const uint32_t ones : each({255U, 256U, 257U})) {
      std::vector<uint32_t> rows(ones);
      for (uint32_t i = 0; i < ones; ++i)
        rows[i] = 3 * i;
      for (const uint32_t room : each({255U, 256U, 257U, 512U}))
        walk(s, from, unpack_form::filter, rows, flags, room);
    }
  });
}

// Without a cursor the walk over the runs begins at the first run, wherever the call begins.
TEST_P(unpack_kernels, begin_in_the_middle) {
  for_each_column({200}, 20, [&](const slot &s, column &from, uint8_t flags) {
    for (const uint32_t start : each({1U, 63U, 100U, 199U})) {
      call(s, from, unpack_form::range, {}, flags, {start, 77, 0}, 50);
      call(s, from, unpack_form::filter, some_rows(200, 50), flags, {start, 77, 0}, 50);
      call(s, from, unpack_form::list, {start, 199}, flags, {start, 77, 0}, 50);
    }
  });
}

TEST_P(unpack_kernels, take_the_rows_of_a_list) {
  for_each_column({1, 9, 500}, 30, [&](const slot &s, column &from, uint8_t flags) {
    const uint32_t nrows = from.src.vorn_cv_nrows;
    for (const unsigned per_cent : each({5U, 60U, 100U})) {
      std::vector<uint32_t> rows = some_rows(nrows, per_cent);
      rows.push_back(nrows - 1);
      if (!from.model.run_lengths) // without runs, rows may come in any order and more than once
        std::shuffle(rows.begin(), rows.end(), random);
      else
        rows.insert(rows.end() - 1, nrows - 1);
      // The room is ignored.
      call(s, from, unpack_form::list, rows, flags, {}, 0);
    }
    if (!from.model.run_lengths) {
      call(s, from, unpack_form::list, {}, flags, {5, 0, 0}, 0);
    } else if (nrows > 100) {
      // The second list resumes in the last run of the first list.
      const auto first = call(s, from, unpack_form::list, {3, 40, 41}, flags, {}, 0);
      call(s, from, unpack_form::list, {42, 60, nrows - 1}, flags, first.position, 0);
    }
  });
}

// A single run of 250 rows.  The walk never reaches a second length, and that length could not be read.
TEST_P(unpack_kernels, stay_in_a_run_without_a_read_of_its_length) {
  for (const slot &s : each(kernels))
    for (const unsigned lens_width : each({8U, 16U})) {
      column from(s.width(), 250, lens_width, 1, random);
      std::fill(from.model.row_codes.begin(), from.model.row_codes.end(), from.model.row_codes[0]);
      from.model.run_lengths = {250};
      const vorn_test::run_length_array lens({250}, lens_width);
      from.enc.vorn_enc_ctx_rle_lens = lens.data();
      const auto first = call(s, from, unpack_form::range, {}, 0, {}, 10);
      ASSERT_EQ(first.position, (vorn_model::unpack_position{9, 0, 250}));
      from.enc.vorn_enc_ctx_rle_lens = nullptr;
      call(s, from, unpack_form::filter, {12, 200}, 0, {10, 0, 250}, 10);
      call(s, from, unpack_form::range, {}, 0, {10, 0, 250}, 10);
    }
}

TEST_P(unpack_kernels, dispatch_without_a_frame) {
  for (const slot &s : kernels) {
    column from(s.width(), 100, 8, 5, random);
    std::vector<uint32_t> out(100);
    vorn_cv res = room_for(100, out.data());
    vorn_aux aux = {};
    aux.vorn_aux_flags = VORN_AUX_UNPACK_UB4;
    from.enc.vorn_enc_ctx_type |= uint64_t{0x8000000000000100}; // the low byte dispatches
    EXPECT_EQ(vorn_dispatch_decode_unpack(&res, &from.src, &aux), uint32_t{VORN_RESULT_DONE});
    EXPECT_EQ(out, from.model.row_codes) << s.name();
  }
}

// Over runs, an empty list is reported once, with the name of the kernel.
TEST_P(unpack_kernels, report_an_empty_list_over_runs) {
  env.on_error = vorn_host::error_policy::resume;
  const vorn_ctx ctx = env.context();
  for (const slot &s : kernels) {
    column from(s.width(), 10, 8, 5, random);
    uint32_t list[1] = {7}, out[1] = {};
    vorn_cv res = room_for(1, out);
    vorn_aux aux = {};
    aux.vorn_aux_ctx = &ctx;
    aux.vorn_aux_ones_vec = list;
    aux.vorn_aux_start_slot = 4;
    s.run(res, from.src, aux);
    ASSERT_EQ(env.errors().back().message, std::string(s.name()) + ": [rle] ones_vec size is zero");
    EXPECT_EQ(aux.vorn_aux_start_slot, 4U);
    EXPECT_EQ(res.vorn_cv_popc, 0U);
  }
  EXPECT_EQ(env.errors().size(), kernels.size());
}

VORN_TEST_ALL_IMPLEMENTATIONS(unpack_kernels);

} // namespace
