// Groups and sums: the turnover of each product in each region, of two columns of dictionary codes and one of amounts,
// in batches that stop wherever the room for keys ends.
#include "minimal_host.h"

#include <array>
#include <cstdio>

namespace {

constexpr uint32_t rows = 24, batch = 10, amount_bytes = 4 * rows;
constexpr std::array regions = {"north", "south", "west"};
constexpr std::array products = {"apples", "pears"};

uint32_t region_of(uint32_t row) { return row * 5 % 7 % 3; }
uint32_t product_of(uint32_t row) { return row / 3 % 2; }
int32_t amount_of(uint32_t row) {
  return row % 8 == 7 ? -100 : static_cast<int32_t>(row * 13 % 50);
} // some are given back

// Codes of 8 bits, one byte each.
class code_column {
public:
  code_column(uint32_t symbols, uint32_t (*code)(uint32_t)) {
    for (uint32_t row = 0; row < rows; ++row)
      codes_[row] = static_cast<uint8_t>(code(row));
    vorn_build_encoding_type_dict(&encoding_, 8, nullptr, nullptr, nullptr, symbols, VORN_DICT_ONE_LENGTH, 0);
  }
  code_column(const code_column &) = delete;
  code_column &operator=(const code_column &) = delete;

  vorn_cv vector() {
    vorn_cv cv = {};
    vorn_build_vector(&cv, codes_.data(), nullptr, nullptr, &encoding_, nullptr, nullptr, rows, 0, nullptr, 0);
    return cv;
  }

private:
  alignas(8) std::array<uint8_t, rows> codes_ = {};
  vorn_enc_ctx encoding_ = {};
};

} // namespace

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);
  code_column region(regions.size(), region_of), product(products.size(), product_of);
  std::array columns = {region.vector(), product.vector()};

  // Signed numbers of 32 bits, the first byte the most significant one.
  alignas(8) std::array<uint8_t, amount_bytes> amounts = {};
  for (uint32_t row = 0; row < rows; ++row)
    for (uint32_t byte = 0; byte < 4; ++byte)
      amounts[4 * row + byte] = static_cast<uint8_t>(static_cast<uint32_t>(amount_of(row)) >> (24 - 8 * byte));
  vorn_enc_ctx number;
  vorn_build_encoding_type_fixed(&number, 32, 0);
  number.vorn_enc_ctx_num_type = VORN_NUM_DSB;

  std::array<uint32_t, batch> keys = {}, room = {};
  std::array<int64_t, regions.size() * products.size()> sums = {}, expected = {};
  vorn_cv groups = {}, scratch = {}, numbers = {}, accumulators = {};
  groups.vorn_cv_vals = keys.data();
  groups.vorn_cv_nrows = batch;
  scratch.vorn_cv_vals = room.data();
  scratch.vorn_cv_nrows = batch;
  accumulators.vorn_cv_vals = sums.data();
  vorn_aux aux = {};
  aux.vorn_aux_flags = VORN_AUX_MULTIPLY; // key = region * 2 + product, without gaps
  uint32_t nkeys = 0;
  for (uint32_t code = VORN_RESULT_OUTPUT_FULL; code == VORN_RESULT_OUTPUT_FULL;) {
    const uint32_t first = aux.vorn_aux_start_slot;
    code = vorn_groupkey(&ctx, &groups, &nkeys, columns.data(), columns.size(), &scratch, &aux);
    vorn_build_vector(&numbers, amounts.data() + 4 * first, nullptr, nullptr, &number, nullptr, nullptr,
                      groups.vorn_cv_popc, 0, nullptr, 0);
    vorn_aux sum = {};
    vorn_gby_sum(&ctx, &accumulators, &numbers, &groups, &sum);
    std::printf("rows from %u: %u\n", first, groups.vorn_cv_popc);
    aux.vorn_aux_start_slot = first + groups.vorn_cv_popc;
  }

  for (uint32_t row = 0; row < rows; ++row)
    expected[region_of(row) * products.size() + product_of(row)] += amount_of(row);
  for (uint32_t key = 0; key < nkeys; ++key)
    std::printf("%s %s: %lld\n", regions[key / products.size()], products[key % products.size()],
                static_cast<long long>(sums[key]));
  return nkeys == sums.size() && sums == expected ? 0 : 1;
}
