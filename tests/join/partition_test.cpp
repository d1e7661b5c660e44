// Partitioning: every kernel against records that are made one by one.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

constexpr uint32_t partition_full = VORN_RESULT_PARTITION_FULL, no_function = VORN_RESULT_NO_IMPLEMENTATION;
constexpr uint32_t hashes = VORN_HASH_VALUES, lv_and_hashes = VORN_LV | hashes;
constexpr bool has_byte_position(uint32_t form) { return form & (VORN_LV_SEP | VORN_LV); }

struct partition_test : join_test {
  // payload 0: row identifiers in an array or in the records of the keys.  Half of the calls have more flags set: those
  // of all forms that are tested later.  Areas get any room again and again, or have no end.
  void check(uint32_t type, uint32_t key, uint32_t payload) {
    const bool rids = type & 1, copied = key == lv_and_hashes || key == VORN_HASHRID;
    const bool hashed = !copied && key != hashes, refusing = !rids && !copied;
    const bool more_flags = random.below(2), endless = random.below(4) == 0;
    const uint32_t nrows = one_of(0, 1024, 1041, 1041);
    const uint32_t key_size = key == VORN_HASHRID ? 16 : key == hashes ? 8 : key & (VORN_FIXED | VORN_GD) ? 4 : 0;
    auto keys = values(nrows + 1, key_size, 65527);
    const auto payloads = values(nrows + 1, rids ? 8 : payload & VORN_FIXED ? 6 : 0, 65527);
    for (std::string &bytes : keys)
      bytes.insert(0, key == lv_and_hashes ? 8 : 0, static_cast<char>(random()));
    stored_rows src(key == lv_and_hashes ? uint32_t{VORN_LV} : key, keys), given(rids ? hashes : payload, payloads);
    src.enc.vorn_enc_ctx_width += ignored_width_bits;
    given.enc.vorn_enc_ctx_width += ignored_width_bits;
    const uint32_t later = key == VORN_GD || key == lv_and_hashes ? all_flags
                           : key == hashes                        ? all_except(all_value_forms | VORN_HASHRID)
                                                                  : with_later(key);
    src.enc.vorn_enc_ctx_flags = !more_flags ? key : type == VORN_PB_LV ? later : later | hashes;
    given.enc.vorn_enc_ctx_flags = !more_flags ? payload : payload ? with_later(payload) : all_except(VORN_AUTORID);
    src.cv.vorn_cv_nrows = nrows;
    given.cv.vorn_cv_nrows = 0;
    given.cv.vorn_cv_autorid = UINT64_MAX - 1;

    constexpr std::pair<uint8_t, uint8_t> bits[] = {{2, 0}, {5, 3}, {63, 61}, {5, 6}, {40, 38}, {63, 64}, {0, 0}};
    const auto [hi_bit, shift] = bits[random.below(std::size(bits))];
    std::array<void *, 8> cur{}, end{};
    vorn_partition_buffer pb;
    vorn_build_partition_buffer(&pb, nullptr, cur.data(), endless ? nullptr : end.data(), hi_bit, shift, type);
    // All bits that do not make it a type that is tested earlier.
    pb.vorn_pb_type |= all_except(!refusing            ? uint32_t{VORN_PB_RID_GD}
                                  : type == VORN_PB_LV ? VORN_PB_RID | VORN_PB_LV
                                                       : VORN_PB_RID | VORN_PB_LV | VORN_PB_FIXED);
    pb.vorn_pb_fixed_width = nrows % 2 ? 9 : 4; // more or less than the size of the payload

    std::vector<std::pair<uint64_t, std::string>> expected; // partition and record
    std::array<std::string, 8> expected_areas, areas;
    for (uint32_t row = 0; row < nrows; ++row) {
      const std::string id = payload ? bytes_of(UINT64_MAX - 1 + row) : payloads[row], &bytes = keys[row];
      uint64_t hash = mix(bytes.data(), bytes.size(), 0);
      if (!hashed)
        std::memcpy(&hash, bytes.data() + (key == VORN_HASHRID ? 8 : 0), sizeof hash);
      std::string record = bytes_of(hash);
      if (copied)
        record = (key == lv_and_hashes ? length_bytes(bytes.size()) : "") + bytes;
      else if (key == VORN_GD && rids)
        record.append(bytes).append("~~~~").append(id);
      else if (rids)
        record.insert(0, id);
      else if (type == VORN_PB_LV)
        record.insert(0, length_bytes(payloads[row].size() + 8)).append(payloads[row]);
      else
        record.append(given.addresses[row], given.addresses[row] + pb.vorn_pb_fixed_width);
      const uint64_t part = shift > hi_bit ? 0 : hash << (63 - hi_bit) >> (63 - hi_bit) >> shift;
      expected_areas[part] += record;
      expected.emplace_back(part, record);
    }
    for (size_t part = 0; part < 8; ++part) {
      expected_areas[part].append(100, '~'); // bytes after the records stay as they are
      areas[part].assign(expected_areas[part].size(), '~');
      cur[part] = end[part] = areas[part].data();
    }

    vorn_aux aux = {}, after = {};
    const auto run = [&](vorn_hashfn hashfn) {
      return vorn_global_ctx.vorn_partition_dydi(&pb, &src.cv, &given.cv, hashfn, &aux);
    };
    EXPECT_EQ(refusing ? run(mix) : refused, refused);
    pb.vorn_pb_type ^= refusing ? VORN_PB_REFUSED : 0;
    EXPECT_EQ(hashed ? run(nullptr) : no_function, no_function);
    EXPECT_TRUE(same(aux, after));
    aux.vorn_aux_out_pos = has_byte_position(key) ? 0 : 78;
    aux.vorn_aux_out_pos2 = has_byte_position(payload) ? 0 : 79;
    for (uint32_t code = partition_full; code == partition_full && !HasFailure();) {
      code = run(hashed ? mix : nullptr);
      const uint32_t row = after.vorn_aux_start_slot = aux.vorn_aux_start_slot;
      ASSERT_LE(row, nrows);
      after.vorn_aux_out_pos = has_byte_position(key) ? src.begins[row] : 78;
      after.vorn_aux_out_pos2 = has_byte_position(payload) ? given.begins[row] : 79;
      if (row < nrows) {
        const auto &[part, record] = expected[row];
        auto *const at = static_cast<char *>(cur[part]);
        after.vorn_aux_full_part = static_cast<uint32_t>(part);
        EXPECT_LT(static_cast<char *>(end[part]) - at, static_cast<ptrdiff_t>(record.size()));
        EXPECT_EQ(std::string(at, 100), std::string(100, '~'));
        end[part] = at + (random.below(4) == 0 ? record.size() : random.below(100));
      }
      EXPECT_EQ(code, row < nrows ? partition_full : done);
      EXPECT_TRUE(same(aux, after));
    }
    aux.vorn_aux_start_slot += 3; // after the last row
    EXPECT_EQ(run(hashed ? mix : nullptr), done);
    EXPECT_TRUE(same(aux, after) && areas == expected_areas);
  }
};

TEST_P(partition_test, appends_the_records_of_all_rows) {
  struct kernel {
    std::string name; // after vorn_partition_
    uint32_t type, key, payload;
  };
  std::vector<kernel> kernels = {{"rid_gd_autorid", VORN_PB_RID_GD, VORN_GD, VORN_AUTORID},
                                 {"rid_gd_payload", VORN_PB_RID_GD, VORN_GD, 0},
                                 {"rid_hashrid", VORN_PB_RID, VORN_HASHRID, 0},
                                 {"lv_hash_values", VORN_PB_LV, lv_and_hashes, 0}};
  std::vector<named_flag> keys(value_forms.begin(), value_forms.end());
  keys.push_back({"hash_values", hashes});
  for (const auto &[key_name, key] : keys) {
    const std::string form = std::string("_") + key_name + "_";
    kernels.push_back({"rid" + form + "autorid", VORN_PB_RID, key, VORN_AUTORID});
    kernels.push_back({"rid" + form + "payload", VORN_PB_RID, key, 0});
    kernels.push_back({"fixed" + form + "fixed", VORN_PB_FIXED, key, VORN_FIXED});
    for (const auto &[payload_name, payload] : value_forms)
      kernels.push_back({"lv" + form + payload_name, VORN_PB_LV, key, payload});
  }
  EXPECT_EQ(kernels.size(), 52U);
  for (const auto &[name, type, key, payload] : each(kernels)) {
    SCOPED_TRACE(name);
    for ([[maybe_unused]] const int turn : each_from(0, 7))
      if (random.takes_case() && !HasFailure())
        check(type, key, payload);
  }
}

TEST_P(partition_test, refuses_other_types_and_forms) {
  constexpr uint32_t all = all_flags, no_key = all_except(all_value_forms | hashes), shared_bit = 8; // of all types
  constexpr uint32_t calls[][3] = {{(VORN_PB_LV | VORN_PB_FIXED) & ~shared_bit, all, all},
                                   {(VORN_PB_RID_GD | VORN_PB_FIXED) & ~shared_bit, all, all},
                                   {VORN_PB_RID_GD ^ 1, all, all},
                                   {VORN_PB_RID << 8, all, all},
                                   {VORN_PB_RID_GD, all_except(VORN_GD), all},
                                   {VORN_PB_RID, no_key & ~uint32_t{VORN_HASHRID}, all},
                                   {VORN_PB_LV, no_key, all},
                                   {VORN_PB_LV, VORN_FIXED, all_except(all_value_forms)},
                                   {VORN_PB_FIXED, no_key, all},
                                   {VORN_PB_FIXED, all, all_except(VORN_FIXED)}};
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
