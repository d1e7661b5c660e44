// The table of entries: how each is called, and which arguments it reports, in the order of its checks.
#include "tests/entry/call.hpp"

namespace vorn_test {

namespace {

using record = vorn_global_ctx_t;
using c = entry_call;
constexpr auto res = &c::res, src = &c::src, lo = &c::lo, hi = &c::hi, set = &c::set;

template <class Pointer>
void misalign(Pointer *&pointer) {
  const char *const moved = static_cast<const char *>(static_cast<const void *>(pointer)) + 1;
  std::memcpy(&pointer, &moved, sizeof moved);
}

constexpr step result_misaligned = [](c &call) { misalign(call.res.vorn_cv_bv); };
constexpr step source_misaligned = [](c &call) { misalign(call.src.vorn_cv_vals); };
constexpr step filter_misaligned = [](c &call) { misalign(call.aux.vorn_aux_filter_bv); };
constexpr step inverted = [](c &call) { call.aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER; };
constexpr step inverted_unfiltered = [](c &call) {
  inverted(call);
  call.aux.vorn_aux_filter_bv = nullptr;
};
constexpr step without_aux = [](c &call) { call.passed_aux = nullptr; };
constexpr step no_dictionary = [](c &call) { call.enc.vorn_enc_ctx_flags &= ~uint32_t{VORN_DICT}; };
constexpr step no_run_vector = [](c &call) {
  call.enc.vorn_enc_ctx_flags |= VORN_RLE;
  call.enc.vorn_enc_ctx_burst_res_bv = nullptr;
};
// Types differ in any of their bits.
template <auto constant>
constexpr step other_type = [](c &call) { (call.*constant).vorn_enc_ctx_type ^= uint64_t{1} << 40; };
template <auto constant>
constexpr step no_constant = [](c &call) { (call.*constant).vorn_enc_ctx_flags = VORN_DICT; };
constexpr step refused = [](c &call) {
  call.lo.vorn_cv_lens = call.constant_lengths;
  call.hi.vorn_cv_lens = call.constant_lengths + 1;
  script.code = VORN_RESULT_REFUSED;
};

// Constants that are too long, whichever kernel is in the table.
constexpr step generic_refuses_constants = [](c &call) {
  vorn_build_encoding_type_dynp(&call.enc, 64, 0, 0, 0);
  vorn_build_encoding_type_dynp(&call.lo_enc, 64, 0, 0, VORN_CONST);
  call.hi_enc = call.lo_enc;
  call.lo.vorn_cv_lens = call.hi.vorn_cv_lens = call.constant_lengths;
  std::ranges::fill(call.table, *std::ranges::find_if(call.table, [&](const vorn_kernel &kernel) {
                      return kernel.binary != call.table[0].binary;
                    }));
};
constexpr step generic_refuses_source = [](c &call) { call.enc.vorn_enc_ctx_flags = VORN_FIXED; };

constexpr uint32_t dict_8bit(uint32_t opcode) { return 7 << 7 | VORN_ENC_DICT << 5 | opcode; }
constexpr step room_for_40 = [](c &call) { call.res.vorn_cv_nrows = 40; };

// The source holds the big-endian hash values 0 to 63, lo is a map with the members 1, 3 and 5.
constexpr step hash_values = [](c &call) {
  static std::array<uint32_t, 64> hashes;
  for (uint32_t row = 0; row < 64; ++row)
    hashes[row] = __builtin_bswap32(row);
  call.src.vorn_cv_vals = hashes.data();
  vorn_build_encoding_type_hash_values(&call.enc);
  call.enc.vorn_enc_ctx_width = 32;
  call.lo.vorn_cv_bv = call.members.data();
  call.vals[0] = uint64_t{5} << 32 | 1;
};
constexpr step translated = [](c &call) {
  hash_values(call);
  call.members.items[0] = ~call.members.items[0];
  call.aux.vorn_aux_xlate_tbl = call.members.data();
  call.lo_enc.vorn_enc_ctx_type = 0;
};
// Doubles: canonical ones in src, native ones in lo, where there is one row more.
constexpr step doubles = [](c &call) {
  call.enc.vorn_enc_ctx_num_type = VORN_NUM_DOUBLE;
  call.lo_enc.vorn_enc_ctx_flags |= VORN_NATIVE;
  call.src.vorn_cv_vals = call.hi.vorn_cv_vals = call.vals.data();
  call.lo.vorn_cv_vals = call.rates.data();
  call.lo.vorn_cv_nrows = 65;
};
constexpr step summed_doubles = [](c &call) {
  doubles(call);
  call.aux.vorn_aux_flags = VORN_AUX_SUM;
};

uint64_t hash_nothing(const void *, uint64_t, uint64_t seed) { return seed; }

// An entry of hashing, hash tables, partitions, gather or transposition.
template <auto slot, auto function, auto... operands>
entry join(const char *name) {
  return {.name = name,
          .call = call_of<function, operands...>,
          .put_in_force = in_record<slot>,
          .needs_aux = true,
          .empty_slot = emptied<slot>};
}

// Without a kernel.
template <auto function, auto... operands>
entry empty(const char *name) {
  return {.name = name, .call = call_of<function, operands...>, .put_in_force = [](c &) {}, .needs_aux = true};
}

template <auto function, uint32_t slot>
entry arithmetic(const char *name, step set_up) {
  return {.name = name,
          .call = call_of<function, res, src, lo>,
          .put_in_force = in_table<vorn_binary_fn, slot>,
          .set_up = set_up,
          .empty_slot = emptied_in_table<slot>};
}

constexpr vorn_hashfn hashfn = hash_nothing;
constexpr const void *unread = nullptr;

} // namespace

const std::vector<entry> &entries() {
  static const std::vector<entry> table = {
      {.name = "vorn_cmp",
       .call = call_of<vorn_eq, res, src, lo>,
       .put_in_force = in_table<vorn_binary_fn, dict_8bit(VORN_OPC_EQ)>,
       .wrong = {no_run_vector, other_type<&c::lo_enc>, no_constant<&c::lo_enc>, result_misaligned, source_misaligned,
                 filter_misaligned, inverted, refused},
       .reports_refusal = true,
       .empty_slot = emptied_in_table<dict_8bit(VORN_OPC_EQ)>,
       .generic_refuses = generic_refuses_constants,
       .shows_self_check = true,
       .by_type = true},
      {.name = "vorn_range_cmp",
       .call = call_of<vorn_ge_le, res, src, lo, hi>,
       .put_in_force = in_table<vorn_ternary_fn, dict_8bit(VORN_OPC_GE_LE)>,
       .wrong = {no_run_vector, other_type<&c::lo_enc>, other_type<&c::hi_enc>, no_constant<&c::lo_enc>,
                 no_constant<&c::hi_enc>, result_misaligned, source_misaligned, filter_misaligned, inverted, refused},
       .reports_refusal = true,
       .empty_slot = emptied_in_table<dict_8bit(VORN_OPC_GE_LE)>,
       .generic_refuses = generic_refuses_constants,
       .by_type = true},
      {.name = "vorn_in_set",
       .call = call_of<vorn_in_set, res, src, set>,
       .put_in_force = in_table<vorn_binary_fn, dict_8bit(VORN_OPC_SET)>,
       .wrong = {no_run_vector, no_dictionary, result_misaligned, source_misaligned,
                 [](c &call) { misalign(call.set.vorn_cv_bv); }, filter_misaligned, inverted},
       .empty_slot = emptied_in_table<dict_8bit(VORN_OPC_SET)>,
       .generic_refuses = [](c &) {},
       .by_type = true},
      {.name = "vorn_decode",
       .call = call_of<vorn_decode, res, src>,
       .put_in_force = in_table<vorn_unary_fn, dict_8bit(VORN_OPC_DECODE)>,
       .set_up = room_for_40,
       .wrong = {no_dictionary, source_misaligned, without_aux, inverted_unfiltered},
       .empty_slot = emptied_in_table<dict_8bit(VORN_OPC_DECODE)>,
       .by_type = true},
      {.name = "vorn_decode_unpack",
       .call = call_of<vorn_decode_unpack, res, src>,
       .put_in_force = in_table<vorn_unary_fn, dict_8bit(VORN_OPC_DECODE_UNPACK)>,
       .set_up = room_for_40,
       .wrong = {result_misaligned, no_dictionary, source_misaligned, without_aux, inverted_unfiltered},
       .empty_slot = emptied_in_table<dict_8bit(VORN_OPC_DECODE_UNPACK)>,
       .by_type = true},
      {.name = "vorn_decode_symbol",
       .call = call_of<vorn_decode_symbol, res, src>,
       .put_in_force = in_table<vorn_unary_fn, dict_8bit(VORN_OPC_DECODE_SYMBOL)>,
       .set_up = room_for_40,
       .wrong = {no_dictionary, without_aux, inverted_unfiltered},
       .empty_slot = emptied_in_table<dict_8bit(VORN_OPC_DECODE_SYMBOL)>},
      {.name = "vorn_decode_rle_burst",
       .call = call_of<vorn_decode_rle_burst, res, src>,
       .put_in_force = in_table<vorn_unary_fn, 27 << 5 | VORN_OPC_BURST>,
       .set_up =
           [](c &call) {
             call.codes.items = {10, 20, 4, 30};
             vorn_add_encoding_type_rle(&call.enc, call.codes.data(), nullptr, 8, 4, nullptr);
             call.enc.vorn_enc_ctx_rle_cla = call.members.data(); // the kernel without one does not read it
             call.filter.items[0] = 0xa;
             call.enc.vorn_enc_ctx_flags |= VORN_STREAM;
           },
       .wrong = {[](c &call) { call.enc.vorn_enc_ctx_flags &= ~uint32_t{VORN_RLE}; }, result_misaligned,
                 [](c &call) { misalign(call.enc.vorn_enc_ctx_rle_lens); },
                 [](c &call) { misalign(call.enc.vorn_enc_ctx_rle_cla); }, filter_misaligned},
       .needs_aux = true,
       .empty_slot = emptied_in_table<27 << 5 | VORN_OPC_BURST>},
      {.name = "vorn_prefix_decode",
       .call = call_of<vorn_prefix_decode, res, src>,
       .put_in_force = in_record<&record::vorn_prefix_decode_dydi>,
       .set_up = room_for_40,
       .empty_slot = emptied<&record::vorn_prefix_decode_dydi>},
      join<&record::vorn_hash_dydi, vorn_hash, res, src, lo, hashfn>("vorn_hash"),
      join<&record::vorn_ht_build_dydi, vorn_ht_build, &c::hash_table, src, lo, int32_t{-3}, hashfn>("vorn_ht_build"),
      join<&record::vorn_ht_probe_dydi, vorn_ht_probe, res, src, lo, &c::hash_table, hashfn>("vorn_ht_probe"),
      join<&record::vorn_partition_dydi, vorn_partition, &c::areas, src, lo, hashfn>("vorn_partition"),
      join<&record::vorn_gather_dydi, vorn_gather, res, src, &c::store>("vorn_gather"),
      join<&record::vorn_transpose_reference_dydi, vorn_transpose_reference, &c::matrix, src, 0x10005U, int32_t{-7}>(
          "vorn_transpose_reference"),
      join<&record::vorn_transpose_convert_dydi, vorn_transpose_convert, &c::store, &c::matrix, int32_t{-7},
           int32_t{-8}, 3U, 500U>("vorn_transpose_convert"),
      {.name = "vorn_bloom",
       .call = call_of<vorn_bloom, res, src, lo>,
       .put_in_force = in_record<&record::vorn_bloom_dydi>,
       .set_up =
           [](c &call) {
             hash_values(call);
             vorn_add_encoding_type_bloom(&call.lo_enc, 0, 63, 0, 0);
           },
       .wrong = {result_misaligned, filter_misaligned},
       .empty_slot = emptied<&record::vorn_bloom_dydi>,
       .generic_refuses = generic_refuses_source,
       .compares_range = true,
       .shows_self_check = true},
      {.name = "vorn_xlate",
       .call = call_of<vorn_xlate, res, src, lo>,
       .put_in_force = in_table<vorn_binary_fn, VORN_OPC_XLATE>,
       .set_up = translated,
       .wrong = {result_misaligned, without_aux, [](c &call) { call.enc.vorn_enc_ctx_width = 64; }, filter_misaligned},
       .empty_slot = emptied_in_table<VORN_OPC_XLATE>,
       .generic_refuses = generic_refuses_source,
       .compares_range = true,
       .by_type = true},
      {.name = "vorn_groupkey",
       .call = call_of<vorn_groupkey, res, &c::lo_code, src, 1U, hi>,
       .put_in_force = in_record<&record::vorn_groupkey_dydi>,
       .set_up = [](c &call) { call.enc.vorn_enc_ctx_flags = 0; },
       .wrong = {result_misaligned, without_aux, inverted_unfiltered},
       .empty_slot = emptied<&record::vorn_groupkey_dydi>},
      {.name = "vorn_gby_sum",
       .call = call_of<vorn_gby_sum, res, src, lo>,
       .put_in_force = in_record<&record::vorn_gby_sum_dydi>,
       .set_up = doubles,
       .needs_aux = true,
       .empty_slot = emptied<&record::vorn_gby_sum_dydi>},
      {.name = "vorn_convert",
       .call = call_of<vorn_convert, res, src>,
       .put_in_force = in_record<&record::vorn_convert_dydi>,
       .set_up = doubles,
       .empty_slot = emptied<&record::vorn_convert_dydi>},
      {.name = "vorn_spatial_pip",
       .call = call_of<vorn_spatial_pip, res, src, lo, hi, hi>,
       .put_in_force = in_record<&record::vorn_spatial_pip_dydi>,
       .set_up = doubles,
       .empty_slot = emptied<&record::vorn_spatial_pip_dydi>},
      arithmetic<vorn_add, 5 << 7 | VORN_OPC_ADD>("vorn_add", doubles),
      arithmetic<vorn_sub, 1 << 12 | 5 << 7 | VORN_OPC_SUB>("vorn_sub", summed_doubles),
      empty<vorn_dk_create, unread, unread, unread, src, unread, unread>("vorn_dk_create"),
      empty<vorn_compare, unread, src, unread>("vorn_compare")};
  return table;
}

const entry &entry_of(std::string_view name) {
  return *std::ranges::find_if(entries(), [&](const entry &each) { return each.name == name; });
}

} // namespace vorn_test
