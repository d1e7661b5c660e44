// Partitioning: every kernel by its name and through the slot, against the records of the rows one by one.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

constexpr uint32_t full = VORN_RESULT_PARTITION_FULL, no_function = VORN_RESULT_NO_IMPLEMENTATION;
constexpr uint32_t hashes = VORN_HASH_VALUES, records = VORN_LV | hashes;
constexpr bool walked(uint32_t form) { return form & (VORN_LV_SEP | VORN_LV); }

struct partition_test : join_test {
  // payload 0: row identifiers in an array or in the records of the keys.  Through the slot the flags of everything
  // that is looked at later are set as well.  Areas get any room again and again, or have no end.
  void check(vorn::partition_kernel *named, uint32_t type, uint32_t key, uint32_t payload) {
    const bool rids = type & 1, copied = key == records || key == VORN_HASHRID;
    const bool hashed = !copied && key != hashes, refusing = !rids && !copied;
    const bool by_slot = GetParam().capability != 0 || random.below(2), endless = random.below(4) == 0;
    const uint32_t nrows = one_of(0, 1024, 1041, 1041);
    const uint32_t key_size = key == VORN_HASHRID ? 16 : key == hashes ? 8 : key & (VORN_FIXED | VORN_GD) ? 4 : 0;
    auto keys = values(nrows + 1, key_size, 65527);
    const auto payloads = values(nrows + 1, rids ? 8 : payload & VORN_FIXED ? 6 : 0, 65527);
    for (std::string &bytes : keys)
      bytes.insert(0, key == records ? 8 : 0, static_cast<char>(random()));
    stored_rows src(key == records ? uint32_t{VORN_LV} : key, keys), given(rids ? hashes : payload, payloads);
    src.enc.vorn_enc_ctx_width += 0x70003; // of which 16 bits count, and whole bytes
    given.enc.vorn_enc_ctx_width += 0x70003;
    const uint32_t later = key == VORN_GD || key == records ? all_flags : key == hashes ? ~0x2f800U : with_later(key);
    src.enc.vorn_enc_ctx_flags = !by_slot ? key : type == VORN_PB_LV ? later : later | hashes;
    given.enc.vorn_enc_ctx_flags = !by_slot ? payload : payload ? with_later(payload) : ~0x80000U;
    src.cv.vorn_cv_nrows = nrows;
    given.cv.vorn_cv_nrows = 0;
    given.cv.vorn_cv_autorid = UINT64_MAX - 1;

    constexpr std::pair<uint8_t, uint8_t> bits[] = {{2, 0}, {5, 3}, {63, 61}, {5, 6}, {40, 38}, {63, 64}, {0, 0}};
    const auto [hi_bit, shift] = bits[random.below(std::size(bits))];
    std::array<void *, 8> cur, end;
    vorn_partition_buffer pb;
    vorn_build_partition_buffer(&pb, nullptr, cur.data(), endless ? nullptr : end.data(), hi_bit, shift, type);
    pb.vorn_pb_type |= !refusing ? 0xabcdefd6 : type == VORN_PB_LV ? 0xabcdeff4 : 0xabcdeff0;
    pb.vorn_pb_fixed_width = nrows % 2 ? 9 : 4; // more or less than the payload has

    std::vector<std::pair<uint64_t, std::string>> expected; // partition and record
    std::array<std::string, 8> expected_areas, areas;
    for (uint32_t row = 0; row < nrows; ++row) {
      const std::string id = payload ? bytes_of(UINT64_MAX - 1 + row) : payloads[row], &bytes = keys[row];
      uint64_t hash = mix(bytes.data(), bytes.size(), 0);
      if (!hashed)
        std::memcpy(&hash, bytes.data() + (key == VORN_HASHRID ? 8 : 0), sizeof hash);
      std::string record = bytes_of(hash);
      if (copied)
        record = (key == records ? length_bytes(bytes.size()) : "") + bytes;
      else if (rids)
        record = key == VORN_GD ? record + bytes + "~~~~" + id : id + record;
      else if (type == VORN_PB_LV)
        record = length_bytes(payloads[row].size() + 8) + record + payloads[row];
      else
        record.append(given.places[row], given.places[row] + pb.vorn_pb_fixed_width);
      const uint64_t part = shift > hi_bit ? 0 : hash << (63 - hi_bit) >> (63 - hi_bit) >> shift;
      expected_areas[part] += record;
      expected.emplace_back(part, record);
    }
    for (size_t part = 0; part < 8; ++part) {
      expected_areas[part].append(100, '~'); // which nobody writes
      areas[part].assign(expected_areas[part].size(), '~');
      cur[part] = end[part] = areas[part].data();
    }

    vorn_aux aux = {}, after = {};
    const auto run = [&](vorn_hashfn hashfn) {
      return (by_slot ? vorn_global_ctx.vorn_partition_dydi : named)(&pb, &src.cv, &given.cv, hashfn, &aux);
    };
    EXPECT_EQ(refusing ? run(mix) : refused, refused);
    pb.vorn_pb_type ^= refusing ? VORN_PB_REFUSED : 0;
    EXPECT_EQ(hashed ? run(nullptr) : no_function, no_function);
    EXPECT_TRUE(same(aux, after));
    aux.vorn_aux_out_pos = walked(key) ? 0 : 78;
    aux.vorn_aux_out_pos2 = walked(payload) ? 0 : 79;
    for (uint32_t code = full; code == full && !HasFailure();) {
      code = run(hashed ? mix : nullptr);
      const uint32_t row = after.vorn_aux_start_slot = aux.vorn_aux_start_slot;
      ASSERT_LE(row, nrows);
      after.vorn_aux_out_pos = walked(key) ? src.begins[row] : 78;
      after.vorn_aux_out_pos2 = walked(payload) ? given.begins[row] : 79;
      if (row < nrows) {
        const auto &[part, record] = expected[row];
        auto *const at = static_cast<char *>(cur[part]);
        after.vorn_aux_full_part = static_cast<uint32_t>(part);
        EXPECT_LT(static_cast<char *>(end[part]) - at, static_cast<ptrdiff_t>(record.size()));
        EXPECT_EQ(std::string(at, 100), std::string(100, '~'));
        end[part] = at + (random.below(4) == 0 ? record.size() : random.below(100));
      }
      EXPECT_EQ(code, row < nrows ? full : done);
      EXPECT_TRUE(same(aux, after));
    }
    aux.vorn_aux_start_slot += 3; // behind the rows
    EXPECT_EQ(run(hashed ? mix : nullptr), done);
    EXPECT_TRUE(same(aux, after) && areas == expected_areas);
  }
};

TEST_P(partition_test, appends_the_records_of_all_rows) {
  static_assert(vorn::partition_members.size() == 52);
  flag_names forms = value_forms;
  forms.insert(forms.begin(),
               {{"_hash_values", hashes}, {"_gd", VORN_GD}, {"_hashrid", VORN_HASHRID}, {"_autorid", VORN_AUTORID}});
  for (const auto &[member, place, function] : each(vorn::partition_members)) {
    SCOPED_TRACE(member);
    std::string name = member + std::strlen("vorn_partition");
    uint32_t type = take(name, {{"_rid", VORN_PB_RID}, {"_lv", VORN_PB_LV}, {"_fixed", VORN_PB_FIXED}});
    uint32_t key = take(name, forms);
    const uint32_t payload = take(name, forms);
    type |= key == VORN_GD ? VORN_PB_RID_GD : 0;
    key |= type == VORN_PB_LV && payload == 0 ? records : 0;
    for ([[maybe_unused]] const int turn : each_from(0, 7))
      if (!HasFailure())
        check(function, type, key, payload);
  }
}

TEST_P(partition_test, refuses_other_types_and_forms) {
  constexpr uint32_t all = all_flags,
                     calls[][3] = {{0x06, all, all},      {0x25, all, all},        {0x28, all, all},
                                   {0x900, all, all},     {0x29, ~0x400000U, all}, {0x09, ~0x2f880U, all},
                                   {0x0a, ~0xf880U, all}, {0x0a, 0x800, ~0xf800U}, {0x0c, ~0xf880U, all},
                                   {0x0c, all, ~0x800U}};
  for (const auto &[type, key, payload] : calls) {
    stored_rows src(VORN_FIXED, {"key"}), given(VORN_FIXED, {"payload"});
    src.enc.vorn_enc_ctx_flags = key;
    given.enc.vorn_enc_ctx_flags = payload;
    vorn_partition_buffer pb = {};
    pb.vorn_pb_type = type;
    vorn_aux aux = {}, before = {};
    EXPECT_EQ(vorn_global_ctx.vorn_partition_dydi(&pb, &src.cv, &given.cv, mix, &aux), refused) << type;
    EXPECT_TRUE(same(aux, before));
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(partition_test);

} // namespace
