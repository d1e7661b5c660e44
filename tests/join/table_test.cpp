// Hash tables: every bucket that a build leaves and every pair that a probe finds, against the model, in calls that are
// cut off at every room.  By the slot and by the member that has the name.
#include <array>
#include <cstring>
#include <optional>
#include <random>
#include <set>

#include "generic/join/families.hpp"
#include "tests/join/rows.hpp"
#include "tests/model/hash_table.hpp"
#include "tests/support/implementation.hpp"

namespace {

using vorn_model::bucket_layout, vorn_model::cut, vorn_model::table_row, vorn_test::bytes_of, vorn_test::stored_rows;

// What the host's function makes of bits that are well mixed.
struct hashing {
  const char *name;
  uint64_t (*of)(uint64_t mixed);
  bool equal_tags; // so many that only a few rows are probed
};
const hashing hashings[] = {{"random", [](uint64_t mixed) { return mixed; }, false},
                            {"constant", [](uint64_t) { return uint64_t{0x8123456789abcdef}; }, true},
                            {"small numbers", [](uint64_t mixed) { return mixed >> 50; }, false},
                            {"one bit", [](uint64_t mixed) { return uint64_t{1} << mixed % 64; }, true},
                            {"tags 0 and 1", [](uint64_t mixed) { return mixed & ~uint64_t{0xfffffffe}; }, true},
                            {"one partition", [](uint64_t mixed) { return mixed | ~uint64_t{0} << 33 | 3; }, false}};
const hashing *hashing_now;
unsigned hash_width;
uint64_t host_hash(const void *data, uint64_t length, uint64_t seed) {
  return cut(hashing_now->of(vorn_test::mix(data, length, seed)), hash_width) + seed;
}

// Fields of a table, below 60 counted from the bits of a tag on, as are those of a hash value.
struct geometry {
  const char *name;
  int bucket_hi_bit, part_hi_bit, part_shift, part_low_bits, part, hash_width;
};
const geometry geometries[] = {{"one bucket", -1, -1, 0, 0, -1, 64},
                               {"one partition", 2, 2, 9, 0, -1, 64},
                               {"high bits", 2, 4, 3, 0, -1, 64},
                               {"high and low bits", 1, 3, 2, 2, -1, 64},
                               {"low bits", 1, 1, 2, 2, -1, 64},
                               {"bits of the bucket too", 2, 3, 1, 0, -1, 64},
                               {"the highest bits", -1, 63, 62, 1, -1, 64},
                               {"fields beyond the hash value", 255, 200, 1, 0, -1, 3},
                               {"partition 0 of all", 2, 4, 3, 1, 0, 64},
                               {"partition 11 of all", 1, 4, 2, 1, 11, 64}};

// Rows of a side, the first one that is asked for, and buckets of room that a partition gets at a time.
struct shape {
  uint32_t n, first, room;
};
const shape shapes[] = {{0, 0, 999},    {1, 0, 0},      {9, 12, 999},   {9, 9, 999},    {1023, 0, 999},
                        {1024, 0, 999}, {1025, 0, 999}, {1500, 3, 999}, {2100, 3, 999}, {150, 0, 0},
                        {150, 2, 1},    {150, 0, 2},    {1200, 0, 40}};

// In the order in which a build looks at them.
constexpr uint32_t records = VORN_HASHRID | VORN_HASHGDRID, codes = VORN_GD | VORN_HASHGDRID,
                   given_hashes = records | VORN_HASH_VALUES;
const std::pair<const char *, uint32_t> key_forms[] = {{"hashrid", VORN_HASHRID},
                                                       {"fixed", VORN_FIXED},
                                                       {"lv_sep", VORN_LV_SEP},
                                                       {"lv", VORN_LV},
                                                       {"lp_sep", VORN_LP_SEP},
                                                       {"lp", VORN_LP},
                                                       {"hash_values", VORN_HASH_VALUES},
                                                       {"hashgdrid", VORN_HASHGDRID},
                                                       {"gd", VORN_GD}};

// Keys and a number for each, and what the model knows of them.  A whole number is not cut to the values of the table.
struct side {
  side(uint32_t form_, const bucket_layout &layout, bool counted, bool whole, uint32_t n, uint32_t distinct)
      : form(form_) {
    std::vector<std::string> stored, payload;
    for (uint32_t i = 0; i < n; ++i) {
      const uint32_t key = i * 7 % distinct, code = key * 0x10001;
      const uint64_t id = counted ? first_id + i : vorn_test::mix(&i, 4, 0);
      uint64_t hash = host_hash(&key, 4, 0);
      stored.push_back(form == VORN_HASHRID       ? bytes_of(id, hash)
                       : form == VORN_HASHGDRID   ? bytes_of(hash, code, i, id)
                       : form == VORN_HASH_VALUES ? bytes_of(hash)
                       : form == VORN_GD          ? bytes_of(code)
                       : form == VORN_FIXED       ? bytes_of(key) + "x"
                                                  : std::string(key % 7, static_cast<char>(key / 7)));
      if (!(form & given_hashes))
        hash = host_hash(stored.back().data(), stored.back().size(), 0);
      rows.push_back({hash, form & codes ? code : cut(hash, 8 * layout.tag_size),
                      counted && whole ? id : cut(id, 8 * layout.value_size)});
      payload.push_back(bytes_of(id).substr(0, layout.value_size));
    }
    keys.emplace(form, stored);
    numbers.emplace(counted ? VORN_AUTORID : VORN_FIXED, counted ? std::vector<std::string>() : payload);
    numbers->cv.vorn_cv_autorid = first_id;
  }
  // Where a call begins or has stopped.
  void place(vorn_aux &aux, size_t row) const {
    aux.vorn_aux_start_slot = static_cast<uint32_t>(row);
    if (form == VORN_LV || form == VORN_LV_SEP)
      aux.vorn_aux_out_pos = keys->begins[std::min(row, rows.size())];
  }

  uint32_t form;
  static constexpr uint64_t first_id = 0x7fffffff0;
  std::vector<table_row> rows;
  std::optional<stored_rows> keys, numbers;
};

struct table {
  table(const bucket_layout &layout, uint32_t type, const geometry &g, uint32_t n, uint32_t room_)
      : room(room_), size(8192 + 1024 * (n / 2 + 8)), memory(size), base(memory.last(size)) {
    const auto field = [&](int at) {
      return static_cast<uint8_t>(at < 60 ? at + 8 * static_cast<int>(layout.tag_size) : at);
    };
    std::fill_n(base, size, uint8_t{0xab});
    std::fill_n(base, 8192, uint8_t{0});
    for (size_t part = 0; part < 16; ++part) {
      tables.push_back(base + 512 * (15 - part));
      free.push_back(base + 8192 + (n / 2 + 8) * 64 * part);
      end.push_back(base + 8192 + (n / 2 + 8) * 64 * part + 64 * room - 64);
    }
    vorn_build_hash_table(&ht, tables.data(), nullptr, free.data(), end.data(), field(g.part_hi_bit),
                          field(g.part_shift), field(g.bucket_hi_bit), type);
    ht.vorn_ht_part_low_bits = static_cast<uint8_t>(g.part_low_bits);
  }
  // More room, elsewhere.
  void grow(uint64_t part) {
    free[part] = static_cast<uint8_t *>(std::max(free[part], end[part])) + 64;
    end[part] = static_cast<uint8_t *>(free[part]) + 64 * std::max<size_t>(room, 1);
  }

  size_t room, size;
  vorn_test::guarded memory;
  uint8_t *base;
  std::vector<void *> tables, free, end;
  vorn_hash_table ht = {};
};

class hash_tables : public vorn_test::implementation_test {
protected:
  // Calls until all rows are done.  step answers what a call has to return, and moves the row to where it has to stop.
  template <class Step>
  void resume(const side &from, size_t row, Step step) {
    vorn_aux aux, expected;
    std::memset(&aux, 0x5a, sizeof aux);
    from.place(aux, row);
    for (bool done = false; !done && !HasFailure(); done = row >= from.rows.size()) {
      std::memcpy(&expected, &aux, sizeof aux);
      step(row, aux, expected);
      from.place(expected, std::min(row, from.rows.size()));
      EXPECT_EQ(std::memcmp(&aux, &expected, sizeof aux), 0)
          << "stops at " << aux.vorn_aux_start_slot << " for " << row;
    }
  }

  void build(vorn::build_kernel *kernel, table &t, vorn_model::hash_table &model, side &from, size_t first,
             int32_t part, vorn_hashfn hashfn) {
    resume(from, first, [&](size_t &row, vorn_aux &aux, vorn_aux &expected) {
      std::vector<void *> free = t.free;
      row = model.insert(from.rows, row, part, free, t.end);
      const bool done = row >= from.rows.size();
      if (!done)
        expected.vorn_aux_full_part = model.full_part(from.rows[row].hash, part);
      EXPECT_EQ(kernel(&t.ht, &from.keys->cv, &from.numbers->cv, part, hashfn, &aux), done ? 0U : 6U);
      EXPECT_TRUE(t.free == free && std::equal(model.bytes.begin(), model.bytes.end(), t.base));
      if (!done)
        t.grow(model.partition(from.rows[row].hash, part));
    });
  }

  void probe(vorn::probe_kernel *kernel, table &t, vorn_model::hash_table &model, side &from, size_t first,
             bool cut_off) {
    size_t end = first;
    const size_t total = model.probe(from.rows, end, SIZE_MAX).size();
    resume(from, first, [&](size_t &row, vorn_aux &aux, vorn_aux &) {
      const size_t room = cut_off ? std::array{size_t{0}, size_t{1}, size_t{3}, total / 2, total}[random() % 5] : total;
      const vorn_model::pairs pairs = model.probe(from.rows, row, room);
      uint8_t *out = output.last(16 * room);
      vorn_cv res = vorn_test::vector_of(out, from.keys->enc, static_cast<uint32_t>(room));
      const uint32_t code = kernel(&res, &from.keys->cv, &from.numbers->cv, &t.ht, host_hash, &aux);
      EXPECT_EQ(code, row < from.rows.size() ? 7U : 0U);
      EXPECT_EQ(res.vorn_cv_nrows, pairs.size());
      EXPECT_EQ(std::memcmp(out, pairs.data(), 16 * pairs.size()), 0);
      EXPECT_TRUE(output.intact(16 * room) && std::equal(model.bytes.begin(), model.bytes.end(), t.base));
    });
  }

  vorn_test::guarded output{16 << 20};
  std::mt19937 random{7};
};

TEST_P(hash_tables, hold_the_rows_of_a_build_and_give_them_to_a_probe) {
  std::set<std::string> visited;
  uint32_t turn = 0;
  const bool generic = GetParam().capability == 0;
  for (const bucket_layout &layout : vorn_model::bucket_layouts) {
    uint32_t stronger = 0;
    for (const auto &[form_name, form] : key_forms) {
      if (((form & codes) && layout.tag_size == 2) || (form == VORN_HASHGDRID && layout.value_size == 4))
        continue;
      stronger &= form & codes ? uint32_t{VORN_HASHGDRID} : ~0U;
      for (const bool counted : {true, false})
        for (const geometry &g : geometries)
          for (const hashing &h : hashings)
            for (const bool by_name : {false, true}) {
              if ((by_name && !generic) || (!counted && (form & records)))
                continue;
              const std::string name = std::string(layout.name) + "_" + form_name +
                                       (form & records ? ""
                                        : counted      ? "_autorid"
                                                       : "_payload");
              const shape &s = shapes[turn++ % std::size(shapes)];
              const bool odd = turn % 7 < 3;
              SCOPED_TRACE(testing::Message()
                           << name << ", " << g.name << ", " << h.name << ", rows " << s.n << " from " << s.first
                           << ", room " << s.room << ", odd " << odd << ", by name " << by_name);
              hashing_now = &h;
              hash_width = static_cast<unsigned>(g.hash_width) < 60 ? 8 * layout.tag_size + 3 : 64;
              const uint32_t more = odd ? layout.type == VORN_HT_K4V8 ? 0xb : 3 : 0;
              table t(layout, form & codes ? VORN_HT_GD | layout.type | more : layout.type, g, s.n, s.room);
              side rows(form, layout, counted, false, s.n, s.n / 2 + 1);
              rows.keys->enc.vorn_enc_ctx_flags |= odd ? ~stronger : 0;
              rows.numbers->enc.vorn_enc_ctx_flags |= odd ? ~uint32_t{VORN_AUTORID} : 0;
              vorn_model::hash_table model = {layout, t.ht, t.base, {t.base, t.base + t.size}};
              build(by_name ? vorn_test::member(vorn::build_members, "vorn_ht_build_" + name)
                            : vorn_global_ctx.vorn_ht_build_dydi,
                    t, model, rows, s.first, g.part, form & given_hashes && odd ? nullptr : host_hash);
              visited.insert(by_name ? "vorn_ht_build_" + name : "");
              if (form & records)
                continue;
              // Headers that lie show what a probe looks at: a tag occurs behind one that is told distinct, slots are
              // left out.
              for (size_t at = 0; at < t.size && odd; at += 64)
                model.bytes[at] = static_cast<uint8_t>((model.bytes[at] ^ 0x40) -
                                                       (model.bytes[at] % 16 != 0 && model.bytes[at] < 0x80));
              std::copy(model.bytes.begin(), model.bytes.end(), t.base);
              side looked_up(form, layout, counted, true, h.equal_tags ? std::min(s.n, 20U) : s.n, s.n);
              looked_up.keys->enc.vorn_enc_ctx_flags |= odd ? ~stronger | VORN_HASHRID : 0;
              for (const bool cut_off : {false, true})
                probe(by_name ? vorn_test::member(vorn::probe_members, "vorn_ht_probe_" + name)
                              : vorn_global_ctx.vorn_ht_probe_dydi,
                      t, model, looked_up, s.first, cut_off);
              visited.insert(by_name ? "vorn_ht_probe_" + name : "");
              if (HasFailure())
                return;
            }
      stronger |= form;
    }
  }
  EXPECT_EQ(visited.size(), generic ? 57 + 52 + 1 : 1);
}

// One flag of keys at a time, for every type, and no function: what is known has to be hashed.
TEST_P(hash_tables, and_hashing_leave_alone_what_they_refuse) {
  hash_width = 64;
  hashing_now = hashings;
  for (const uint32_t type : {1U,    2U,    4U,    8U,    0x1004U, 0x1008U, 0x1005U, 0x100cU, 0U,      3U,     5U,
                              0x10U, 0x20U, 0x40U, 0x80U, 0x100U,  0x200U,  0x1000U, 0x1001U, 0x1002U, 0x2001U})
    for (uint32_t flag = 1; flag != 0; flag *= 2) {
      SCOPED_TRACE(testing::Message() << "type " << type << " flag " << flag);
      constexpr uint32_t values = VORN_FIXED | VORN_LV_SEP | VORN_LV | VORN_LP_SEP | VORN_LP;
      const uint32_t known = type == 1 || type == 2 || type == 4 || type == 8 ? values | VORN_HASHRID | VORN_HASH_VALUES
                             : (type & 0x1004) == 0x1004                      ? codes
                             : (type & 0x1008) == 0x1008                      ? uint32_t{VORN_GD}
                                                                              : 0;
      const bucket_layout &layout = vorn_model::bucket_layouts[0];
      table t(layout, type, geometries[0], 0, 1);
      side rows(VORN_FIXED, layout, false, false, 1, 1), seeds(VORN_HASH_VALUES, layout, true, true, 1, 1);
      rows.keys->enc.vorn_enc_ctx_flags = flag;
      const std::vector<uint8_t> before(t.base, t.base + t.size);
      uint64_t pair[2] = {77, 77};
      vorn_cv res = vorn_test::vector_of(pair, seeds.keys->enc, 1);
      vorn_aux aux = {};
      const uint32_t built =
          flag & known & given_hashes
              ? 10
              : vorn_global_ctx.vorn_ht_build_dydi(&t.ht, &rows.keys->cv, &rows.numbers->cv, -1, nullptr, &aux);
      EXPECT_EQ(built, flag & known ? 10U : 2U);
      const uint32_t probed =
          flag & known & VORN_HASH_VALUES
              ? 10
              : vorn_global_ctx.vorn_ht_probe_dydi(&res, &rows.keys->cv, &rows.numbers->cv, &t.ht, nullptr, &aux);
      EXPECT_EQ(probed, flag & known & ~records ? 10U : 2U);
      EXPECT_EQ(vorn_global_ctx.vorn_hash_dydi(&res, &rows.keys->cv, &seeds.keys->cv, nullptr, &aux),
                flag & (values | VORN_DICT) ? 10U : 2U);
      EXPECT_EQ(vorn_global_ctx.vorn_hash_dydi(&res, &rows.keys->cv, &rows.numbers->cv, host_hash, &aux), 2U);
      EXPECT_TRUE(std::equal(before.begin(), before.end(), t.base) && aux.vorn_aux_start_slot == 0 && pair[0] == 77 &&
                  res.vorn_cv_nrows == 1);
    }
}

VORN_TEST_ALL_IMPLEMENTATIONS(hash_tables);

} // namespace
