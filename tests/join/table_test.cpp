// Hash tables: every bucket that a build leaves and every pair that a probe finds, against the model.  Calls stop at
// any room and resume.
#include <bit>
#include <cstring>
#include <numeric>
#include <optional>

#include "tests/join/rows.hpp"
#include "tests/model/hash_table.hpp"
#include "tests/support/implementation.hpp"

namespace {

using vorn_model::bucket_layout, vorn_model::cut, vorn_test::bytes_of;
using vorn_test::each, vorn_test::each_from, vorn_test::chosen;

// The hash values of the host's function.  From the fourth kind on, many rows have the same tag.
size_t hashing_now;
unsigned hash_width;
uint64_t host_hash(const void *data, uint64_t length, uint64_t seed) {
  const uint64_t mixed = vorn_test::mix(data, length, 0), hashes[] = {mixed,
                                                                      mixed >> 50,
                                                                      mixed | ~0ULL << 33 | 3,
                                                                      0x8123456789abcdef,
                                                                      1ULL << mixed % 64,
                                                                      mixed & ~0xfffffffeULL};
  return cut(hashes[hashing_now], hash_width) + seed;
}

// Fields of a table and the width of the hash values.  All except part_low_bits and part count from the width of a tag;
// a negative hash_width is absolute and less than the width of a tag.
struct geometry {
  int bucket_hi_bit, part_hi_bit, part_shift, part_low_bits, part, hash_width;
};
const geometry geometries[] = {{-1, -1, 0, 0, -1, 48},  {2, 2, 9, 0, -1, 48},   {2, 4, 3, 0, -1, 48},
                               {1, 3, 2, 2, -1, 48},    {1, 1, 2, 2, -1, 48},   {2, 3, 1, 0, -1, 48},
                               {-1, 48, 31, 1, -1, 33}, {31, 200, 1, 0, -1, 3}, {200, 150, 1, 0, -1, 3},
                               {2, 4, 3, 1, 0, 48},     {1, 4, 2, 1, 11, 48},   {2, 200, 47, 0, -1, 48},
                               {1, 3, 60, 2, -1, 48},   {2, 4, 3, 64, -1, -4}};

// The number of rows, the first row of the call, and the overflow buckets that a partition gets at a time.
struct shape {
  uint32_t nrows, first, room;
};
const shape shapes[] = {{0, 0, 999},    {1, 0, 0},      {9, 12, 999},    {9, 9, 999}, {1023, 0, 999},
                        {1024, 0, 999}, {1025, 0, 999}, {1500, 64, 999}, {150, 0, 0}, {150, 2, 1},
                        {150, 0, 2},    {150, 7, 3},    {1200, 0, 40}};

constexpr uint32_t records = VORN_HASHRID | VORN_HASHGDRID, codes = VORN_GD | VORN_HASHGDRID,
                   hashed = VORN_FIXED | VORN_LV_SEP | VORN_LV | VORN_LP_SEP | VORN_LP | VORN_GD;
// In the order in which a build tests their flags.
const char *const key_names[] = {"hashrid", "fixed", "lv_sep", "lv", "lp_sep", "lp", "hash_values", "hashgdrid", "gd"};
const uint32_t key_forms[] = {VORN_HASHRID, VORN_FIXED,       VORN_LV_SEP,    VORN_LV, VORN_LP_SEP,
                              VORN_LP,      VORN_HASH_VALUES, VORN_HASHGDRID, VORN_GD};

// Keys with a number for each, and the rows of the model.  A row number has 64 bits as the left value of a pair.
struct side {
  side(uint32_t form, const bucket_layout &layout, bool counted, bool left, uint32_t n, uint32_t distinct) {
    std::vector<std::string> stored, payload;
    for (uint32_t i = 0; i < n; ++i) {
      const uint32_t key = i * 13 % distinct, code = key * 0x10001;
      const uint64_t id = counted ? 0x7fffffff0 + uint64_t{i} : vorn_test::mix(&i, 4, 0);
      // Among rows with equal tags, every 64th stored hash value has its own bucket, also the last row of a batch.
      const bool alone = hashing_now >= 3 && i % 64 == 63;
      uint64_t hash = alone ? cut((i / 64 + 1ULL) << 8 * layout.tag_size, hash_width) : host_hash(&key, 4, 0);
      stored.push_back(form == VORN_HASHRID       ? bytes_of(id, hash)
                       : form == VORN_HASHGDRID   ? bytes_of(hash, code, i, id)
                       : form == VORN_HASH_VALUES ? bytes_of(hash)
                       : form == VORN_GD          ? bytes_of(code)
                                         : bytes_of(key).substr(0, form == VORN_FIXED ? 3 : std::min(key % 9, 4U)));
      payload.push_back(bytes_of(id).substr(0, layout.value_size));
      if (form & hashed)
        hash = host_hash(stored[i].data(), stored[i].size(), 0);
      rows.push_back({hash, form & codes ? code : cut(hash, 8 * layout.tag_size),
                      counted && left ? id : cut(id, 8 * layout.value_size)});
    }
    keys.emplace(form, stored);
    numbers.emplace(counted ? VORN_AUTORID : VORN_FIXED, counted ? std::vector<std::string>() : payload);
    numbers->cv.vorn_cv_autorid = 0x7fffffff0;
  }
  std::vector<vorn_model::table_row> rows;
  std::optional<vorn_test::stored_rows> keys, numbers;
};

// 16 partitions of up to 8 buckets, in descending order, and then their overflow buckets.
struct table {
  table(const bucket_layout &layout, uint32_t type, const geometry &g, const shape &s)
      : memory(8192 + 1024 * (s.nrows / 2 + 8), 0xab) {
    const auto field = [&](int at) { return static_cast<uint8_t>(at + static_cast<int>(8 * layout.tag_size)); };
    hash_width = g.hash_width < 0 ? static_cast<unsigned>(-g.hash_width) : field(g.hash_width);
    std::fill_n(memory.begin(), 8192, uint8_t{0});
    for (size_t part = 0; part < 16; ++part) {
      tables.push_back(&memory[512 * (15 - part)]);
      free.push_back(&memory[8192 + (s.nrows / 2 + 8) * 64 * part]);
      end.push_back(static_cast<uint8_t *>(free[part]) + 64 * size_t{s.room} - 64);
    }
    vorn_build_hash_table(&ht, tables.data(), nullptr, free.data(), end.data(), field(g.part_hi_bit),
                          field(g.part_shift), field(g.bucket_hi_bit), type);
    ht.vorn_ht_part_low_bits = static_cast<uint8_t>(g.part_low_bits);
  }
  std::vector<uint8_t> memory;
  std::vector<void *> tables, free, end;
  vorn_hash_table ht{};
};

// Calls until all rows are done.  step makes one call and sets row to where the call has to stop.
template <class Step>
void resume(const side &from, size_t row, Step step) {
  vorn_aux aux, expected;
  std::memset(&aux, 0x5a, sizeof aux);
  from.keys->set_position(aux, row);
  for (bool done = false; !done && !testing::Test::HasFailure(); done = row >= from.rows.size()) {
    std::memcpy(&expected, &aux, sizeof aux);
    step(row, aux, expected);
    from.keys->set_position(expected, std::min(row, from.rows.size()));
    EXPECT_TRUE(vorn_test::same(aux, expected)) << aux.vorn_aux_start_slot << " for " << row;
  }
}

using hash_tables = vorn_test::implementation_test;

TEST_P(hash_tables, hold_the_rows_of_a_build_and_give_them_to_a_probe) {
  vorn_test::guarded output(16 << 20);
  vorn_test::random_source random(7);
  uint32_t turn = static_cast<uint32_t>(random.below(chosen.made_by_input() ? 100000 : 1)), builds = 0, probes = 0;
  for (const bucket_layout &layout : each(vorn_model::bucket_layouts))
    for (const size_t f : each_from(size_t{0}, std::size(key_forms) - 1))
      for (const std::string source : each({"_autorid", "_payload", ""})) {
        const uint32_t form = key_forms[f];
        const bool counted = source != "_payload", is_record = form & records;
        if (is_record != source.empty() || (form & codes && layout.tag_size != sizeof(uint32_t)) ||
            (form == VORN_HASHGDRID && layout.value_size != sizeof(uint64_t)))
          continue; // there is no such kernel
        ++builds;
        probes += is_record ? 0 : 1;
        const uint32_t earlier = std::accumulate(key_forms, key_forms + f, 0U, std::bit_or<>()) &
                                 (form & codes ? uint32_t{VORN_HASHGDRID} : ~0U);
        for (const geometry &g : each(geometries)) {
          const uint32_t round = ++turn / 10;
          const shape &s = shapes[turn % std::size(shapes)];
          const bool odd = turn % 7 < 3;
          SCOPED_TRACE(testing::Message() << "vorn_ht_build_ or vorn_ht_probe_" << layout.name << '_' << key_names[f]
                                          << source << ", turn " << turn);
          if (HasFailure())
            break;
          if (!random.takes_case())
            continue;
          hashing_now = (turn + round) % 6;
          // Odd calls have flags and bits of the type without effect, and a function only when keys have to be hashed.
          auto *const hashfn = (form & hashed) || !odd ? host_hash : nullptr;
          table t(layout, layout.type | (form & codes ? VORN_HT_GD | (odd ? 0xb : 0) : 0), g, s);
          vorn_model::hash_table model = {layout, t.ht, t.memory.data(), t.memory};
          side built(form, layout, counted, false, s.nrows, s.nrows / 2 + 1);
          built.keys->enc.vorn_enc_ctx_flags |= odd ? ~earlier : 0;
          built.numbers->enc.vorn_enc_ctx_flags |= odd ? ~uint32_t{VORN_AUTORID} : 0;
          resume(built, s.first, [&](size_t &row, vorn_aux &aux, vorn_aux &expected) {
            std::vector<void *> free = t.free;
            row = model.insert(built.rows, row, g.part, free, t.end);
            const bool full = row < s.nrows;
            const uint64_t hash = full ? built.rows[row].hash : 0, in = model.partition(hash, g.part);
            expected.vorn_aux_full_part = full ? model.full_part(hash, g.part) : aux.vorn_aux_full_part;
            const uint32_t code =
                vorn_global_ctx.vorn_ht_build_dydi(&t.ht, &built.keys->cv, &built.numbers->cv, g.part, hashfn, &aux);
            EXPECT_EQ(code, full ? VORN_RESULT_NO_OVERFLOW : VORN_RESULT_DONE);
            EXPECT_TRUE(t.free == free && t.memory == model.bytes);
            if (full) { // more room, elsewhere
              t.free[in] = static_cast<uint8_t *>(std::max(t.free[in], t.end[in])) + 64;
              t.end[in] = static_cast<uint8_t *>(t.free[in]) + 64 * std::max<size_t>(s.room, 1);
            }
          });
          if (is_record)
            continue;
          // Odd calls have wrong headers, which end a search early and hide slots: a probe has to follow the headers.
          for (size_t at = 0; at < t.memory.size() && odd; at += 64)
            t.memory[at] = static_cast<uint8_t>(t.memory[at] ^ (t.memory[at] < 0x80 && t.memory[at] % 2 ? 0x41 : 0x40));
          model.bytes = t.memory;
          side probed(form, layout, counted, true, hashing_now < 3 ? s.nrows : std::min(s.nrows, 20U), s.nrows);
          probed.keys->enc.vorn_enc_ctx_flags |= odd ? ~earlier | VORN_HASHRID : 0;
          size_t end = s.first;
          const size_t total = model.probe(probed.rows, end, SIZE_MAX).size(),
                       rooms[] = {0, 1, total / 2, total - (total != 0), total};
          for (const bool cut_off : each({false, true}))
            resume(probed, s.first, [&](size_t &row, vorn_aux &aux, vorn_aux &) {
              const size_t room = rooms[cut_off ? random.below(5) : 4];
              const vorn_model::pairs pairs = model.probe(probed.rows, row, room);
              uint8_t *out = output.last(16 * room);
              vorn_cv res = vorn_test::vector_of(out, probed.keys->enc, static_cast<uint32_t>(room));
              const uint32_t code =
                  vorn_global_ctx.vorn_ht_probe_dydi(&res, &probed.keys->cv, &probed.numbers->cv, &t.ht, hashfn, &aux);
              EXPECT_EQ(code, row < probed.rows.size() ? VORN_RESULT_PROBE_FULL : VORN_RESULT_DONE);
              EXPECT_TRUE(res.vorn_cv_nrows == pairs.size() && output.intact(16 * room) && t.memory == model.bytes &&
                          std::equal(pairs.begin(), pairs.end(), reinterpret_cast<vorn_model::pairs::pointer>(out)));
            });
        }
      }
  EXPECT_TRUE((builds == 57 && probes == 52) || chosen.made_by_input());
}

// One flag of keys at a time, and no function: a known form gives the code for a missing function, or is not called.
TEST_P(hash_tables, and_hashing_leave_alone_what_they_refuse) {
  constexpr uint32_t plain = hashed ^ VORN_GD;
  constexpr uint32_t no_function = VORN_RESULT_NO_IMPLEMENTATION, refused = VORN_RESULT_REFUSED;
  const bucket_layout &layout = vorn_model::bucket_layouts[0];
  table t(layout, 0, geometries[0], shapes[0]);
  const std::vector<uint8_t> before = t.memory;
  side rows(VORN_FIXED, layout, false, false, 1, 1);
  vorn_test::stored_rows seed(VORN_HASH_VALUES, {"8 bytes."});
  vorn_cv res = seed.cv, &src = rows.keys->cv, &numbers = rows.numbers->cv;
  vorn_aux aux = {};
  const auto &slots = vorn_global_ctx;
  for (uint32_t type = 0; type < 0x1400; ++type)
    for (uint32_t flag = 1; flag != 0; flag *= 2) {
      const uint32_t coded = type & VORN_HT_K4V8 ? codes : type & VORN_HT_K4V4 ? uint32_t{VORN_GD} : 0;
      const uint32_t exact = type < 16 && std::has_single_bit(type) ? plain | VORN_HASHRID | VORN_HASH_VALUES : 0;
      const uint32_t known = type & VORN_HT_GD ? coded : exact;
      const auto code = [&](uint32_t forms_known) { return flag & forms_known ? no_function : refused; };
      t.ht.vorn_ht_type = type;
      src.vorn_cv_nrows = type / 16 % 2;
      rows.keys->enc.vorn_enc_ctx_flags = flag;
      const bool probes = flag & known & VORN_HASH_VALUES, builds = probes || (flag & known & records);
      const uint32_t built = builds ? no_function : slots.vorn_ht_build_dydi(&t.ht, &src, &numbers, -1, nullptr, &aux);
      const uint32_t probed =
          probes ? no_function : slots.vorn_ht_probe_dydi(&res, &src, &numbers, &t.ht, nullptr, &aux);
      ASSERT_TRUE(built == code(known) && probed == code(known & ~records)) << "type " << type << " flag " << flag;
      ASSERT_EQ(slots.vorn_hash_dydi(&res, &src, &seed.cv, nullptr, &aux), code(plain | VORN_DICT)) << flag;
      ASSERT_EQ(slots.vorn_hash_dydi(&res, &src, &numbers, host_hash, &aux), refused) << "these are no seeds";
    }
  EXPECT_TRUE(t.memory == before && aux.vorn_aux_start_slot == 0 && res.vorn_cv_nrows == 1);
  EXPECT_EQ(std::memcmp(res.vorn_cv_vals, "8 bytes.", 8), 0);
}

VORN_TEST_ALL_IMPLEMENTATIONS(hash_tables);

} // namespace
