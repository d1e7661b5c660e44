// Partitioning: every kernel by its name and through the slot, against the records of the rows one by one.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

constexpr uint32_t full = VORN_RESULT_PARTITION_FULL, no_function = VORN_RESULT_NO_IMPLEMENTATION;
constexpr uint32_t hashes = VORN_HASH_VALUES, records = VORN_LV | hashes;
constexpr bool walked(uint32_t form) { return form & (VORN_LV_SEP | VORN_LV); }

struct partition_test : join_test {
  // payload 0: row identifiers in an array or in the records of the keys.  by_slot: with the flags of everything that
  // is looked at later.  Areas get any room again and again, or have no end.
  void check(vorn::partition_kernel *kernel, bool by_slot, uint32_t type, uint32_t key, uint32_t payload,
             uint32_t nrows, bool any_room) {
    const bool rids = type & 1, copied = key == records || key == VORN_HASHRID;
    const size_t key_size = key == VORN_HASHRID ? 16 : key == hashes ? 8 : key & (VORN_FIXED | VORN_GD) ? 4 : 0;
    std::vector<std::string> keys, values;
    for (uint32_t row = 0; row <= nrows; ++row) {
      const size_t length = row % 7 + (nrows == 3 && row == 1 ? 65521 : 0);
      keys.push_back(value(key_size != 0 ? key_size : length + 8));
      values.push_back(value(rids ? 8 : payload == VORN_FIXED ? 6 : length));
    }
    stored_rows src(key == records ? uint32_t{VORN_LV} : key, keys), given(rids ? hashes : payload, values);
    src.enc.vorn_enc_ctx_width += 0x70003; // of which 16 bits count, and whole bytes
    given.enc.vorn_enc_ctx_width += 0x70003;
    const uint32_t later = key == VORN_GD || key == records ? all_flags : key == hashes ? ~0x2f800U : with_later(key);
    src.enc.vorn_enc_ctx_flags = !by_slot ? key : type == VORN_PB_LV ? later : later | hashes;
    given.enc.vorn_enc_ctx_flags = !by_slot ? payload : payload ? with_later(payload) : ~0x80000U;
    src.cv.vorn_cv_nrows = nrows;
    given.cv.vorn_cv_nrows = 0;
    given.cv.vorn_cv_autorid = UINT64_MAX - 1;

    constexpr std::pair<uint8_t, uint8_t> bits[] = {{2, 0}, {5, 3}, {63, 61}, {5, 6}, {40, 38}, {63, 64}, {0, 0}};
    const auto [hi_bit, shift] = bits[random() % std::size(bits)];
    std::array<void *, 8> cur, end;
    vorn_partition_buffer pb;
    vorn_build_partition_buffer(&pb, nullptr, cur.data(), any_room ? end.data() : nullptr, hi_bit, shift, type);
    pb.vorn_pb_type |= rids || copied ? 0xabcdefd6 : type == VORN_PB_LV ? 0xabcdeff4 : 0xabcdeff0;
    pb.vorn_pb_fixed_width = nrows % 2 ? 9 : 4; // more or less than the payload has

    std::vector<std::pair<uint64_t, std::string>> expected; // partition and record
    std::array<std::string, 8> expected_areas, areas;
    for (uint32_t row = 0; row < nrows; ++row) {
      const std::string id = payload ? bytes_of(UINT64_MAX - 1 + row) : values[row], &bytes = keys[row];
      uint64_t hash = mix(bytes.data(), bytes.size(), 0);
      if (copied || key == hashes)
        std::memcpy(&hash, bytes.data() + (key == VORN_HASHRID ? 8 : 0), sizeof hash);
      std::string record = bytes_of(hash);
      if (copied)
        record = (key == records ? length_bytes(bytes.size()) : "") + bytes;
      else if (rids)
        record = key == VORN_GD ? record + bytes + "~~~~" + id : id + record;
      else if (type == VORN_PB_LV)
        record = length_bytes(values[row].size() + 8) + record + values[row];
      else
        record.append(given.places[row], given.places[row] + pb.vorn_pb_fixed_width);
      const uint64_t part = shift > hi_bit ? 0 : hash << (63 - hi_bit) >> (63 - hi_bit) >> shift;
      expected_areas[part] += record;
      expected.emplace_back(part, std::move(record));
    }
    for (size_t part = 0; part < 8; ++part) {
      expected_areas[part] += std::string(100, '~'); // which nobody writes
      areas[part].assign(expected_areas[part].size(), '~');
      cur[part] = end[part] = areas[part].data();
    }

    vorn_aux aux = {}, after = {};
    const vorn_hashfn hashfn = copied || key == hashes ? nullptr : mix;
    const auto run = [&](vorn_hashfn function) { return kernel(&pb, &src.cv, &given.cv, function, &aux); };
    EXPECT_EQ(rids || copied ? refused : run(hashfn), refused);
    pb.vorn_pb_type ^= rids || copied ? 0 : VORN_PB_REFUSED;
    EXPECT_EQ(hashfn == nullptr ? no_function : run(nullptr), no_function);
    EXPECT_TRUE(same(aux, after));
    aux.vorn_aux_out_pos = after.vorn_aux_out_pos = walked(key) ? 0 : 78;
    aux.vorn_aux_out_pos2 = after.vorn_aux_out_pos2 = walked(payload) ? 0 : 79;
    for (uint32_t code = full; code == full && !HasFailure();) {
      code = run(hashfn);
      const uint32_t row = after.vorn_aux_start_slot = aux.vorn_aux_start_slot;
      ASSERT_LE(row, nrows);
      after.vorn_aux_out_pos = walked(key) ? src.begins[row] : 78;
      after.vorn_aux_out_pos2 = walked(payload) ? given.begins[row] : 79;
      if (row < nrows) {
        const auto &[part, record] = expected[row];
        auto *const at = static_cast<char *>(cur[part]);
        after.vorn_aux_full_part = static_cast<uint32_t>(part);
        EXPECT_LT(static_cast<char *>(end[part]) - at, static_cast<ptrdiff_t>(record.size()));
        EXPECT_EQ(std::string_view(at).find_first_not_of('~'), std::string::npos);
        end[part] = at + (random() % 4 == 0 ? record.size() : random() % 100);
      }
      EXPECT_EQ(code, row < nrows ? full : done);
      EXPECT_TRUE(same(aux, after));
    }
    aux.vorn_aux_start_slot += 3; // behind the rows
    EXPECT_EQ(run(hashfn), done);
    EXPECT_TRUE(same(aux, after) && areas == expected_areas);
  }
};

TEST_P(partition_test, appends_the_records_of_all_rows) {
  static_assert(vorn::partition_members.size() == 52);
  for (const auto &[member, place, function] : vorn::partition_members) {
    std::string name = member + std::strlen("vorn_partition");
    const uint32_t output = take(name, value_forms, {{"_rid", 1}});
    uint32_t key = take(name, value_forms, {{"_hash_values", hashes}, {"_gd", VORN_GD}, {"_hashrid", VORN_HASHRID}});
    const uint32_t payload = take(name, value_forms, {{"_autorid", VORN_AUTORID}});
    if (output == VORN_LV && payload == 0)
      key = records;
    const uint32_t type = output == VORN_LV      ? VORN_PB_LV
                          : output == VORN_FIXED ? VORN_PB_FIXED
                          : key == VORN_GD       ? VORN_PB_RID_GD
                                                 : VORN_PB_RID;
    for (const uint32_t nrows : {0U, 3U, 1024U, 1040U})
      for (const bool any_room : {false, true}) {
        SCOPED_TRACE(testing::Message() << member << " rows " << nrows << " any room " << any_room);
        if (GetParam().capability == 0)
          check(function, false, type, key, payload, nrows, any_room);
        check(vorn_global_ctx.vorn_partition_dydi, true, type, key, payload, nrows, any_room);
        ASSERT_FALSE(HasFailure());
      }
  }
}

TEST_P(partition_test, refuses_other_types_and_forms) {
  constexpr uint32_t fixed = VORN_FIXED, none = ~(value_flags | VORN_HASHRID | hashes), all = all_flags;
  constexpr uint32_t types[] = {0x06, 0x28, 0x25, 0x900, 0x29, 0x09, 0x0a, 0x0a, 0x0c, 0x0c};
  constexpr uint32_t keys[] = {all, all, all, all, ~0x400000U, none, none | VORN_HASHRID, fixed, none, all};
  constexpr uint32_t payloads[] = {all, all, all, all, all, all, all, ~value_flags, all, ~fixed};
  for (size_t i = 0; i < std::size(types); ++i) {
    vorn_enc_ctx enc[2] = {};
    vorn_cv src = vector_of(nullptr, enc[0], 5), given = vector_of(nullptr, enc[1], 5);
    enc[0].vorn_enc_ctx_flags = keys[i];
    enc[1].vorn_enc_ctx_flags = payloads[i];
    vorn_partition_buffer pb = {};
    pb.vorn_pb_type = types[i];
    vorn_aux aux = {}, before = {};
    EXPECT_EQ(vorn_global_ctx.vorn_partition_dydi(&pb, &src, &given, mix, &aux), refused) << i;
    EXPECT_TRUE(same(aux, before));
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(partition_test);

} // namespace
