// Arrow in and out: a record batch of another library is taken over and encoded, kernels compare its columns with
// constants, and the selected rows go back as a boolean array, as row numbers and as record batches.
#include <vorn/stand_in.hpp>
#include <vorn/store/arrow.hpp>

#include <array>
#include <cstdio>
#include <exception>
#include <string_view>

namespace {

namespace store = vorn::store;

// The other library: eight flights.  The origin is an index into a dictionary, and the delay may be NULL.  Its memory
// is static, so a release only prints a line.
namespace other_library {

constexpr std::array<int32_t, 4> airport_offsets = {0, 3, 6, 9};
constexpr std::string_view airport_bytes = "ORDATLSFO";
constexpr std::array<int8_t, 8> origins = {0, 1, 2, 1, 0, 1, 2, 1};
constexpr std::array<int32_t, 8> delays = {5, 42, 17, 0, 31, 12, 60, 75};
constexpr std::array<uint8_t, 1> delay_is_known = {0b11110111}; // all but the fourth

template <class Record>
void release(Record *record) {
  record->release = nullptr;
}
template <class Record>
void say_and_release(Record *record) {
  std::puts("released by the store");
  record->release = nullptr;
}

const void *airport_buffers[] = {nullptr, airport_offsets.data(), airport_bytes.data()};
const void *origin_buffers[] = {nullptr, origins.data()};
const void *delay_buffers[] = {delay_is_known.data(), delays.data()};
const void *no_bitmap[] = {nullptr};

ArrowSchema airport_type = {"u", "", nullptr, 0, 0, nullptr, nullptr, release, nullptr};
ArrowSchema origin_type = {"c", "origin", nullptr, 0, 0, nullptr, &airport_type, release, nullptr};
ArrowSchema delay_type = {"i", "delay", nullptr, ARROW_FLAG_NULLABLE, 0, nullptr, nullptr, release, nullptr};
ArrowSchema *types[] = {&origin_type, &delay_type};

ArrowArray airport_array = {3, 0, 0, 3, 0, airport_buffers, nullptr, nullptr, release, nullptr};
ArrowArray origin_array = {8, 0, 0, 2, 0, origin_buffers, nullptr, &airport_array, release, nullptr};
ArrowArray delay_array = {8, 1, 0, 2, 0, delay_buffers, nullptr, nullptr, release, nullptr};
ArrowArray *arrays[] = {&origin_array, &delay_array};

ArrowSchema flights_type = {"+s", "", nullptr, 0, 2, types, nullptr, say_and_release, nullptr};
ArrowArray flights = {8, 0, 0, 1, 2, no_bitmap, arrays, nullptr, say_and_release, nullptr};

void show(const ArrowArray &batch) {
  const ArrowArray &origin = *batch.children[0];
  const ArrowArray &delay = *batch.children[1];
  const auto *offsets = static_cast<const int32_t *>(origin.buffers[1]);
  const auto *bytes = static_cast<const char *>(origin.buffers[2]);
  const auto *minutes = static_cast<const int32_t *>(delay.buffers[1]);
  for (int64_t row = 0; row < batch.length; ++row)
    std::printf("%.*s %d\n", offsets[row + 1] - offsets[row], bytes + offsets[row], minutes[row]);
}

} // namespace other_library

// The rows on which a comparison of a column with a constant is true.
store::selection compared(const vorn_ctx &ctx, const store::table &table, const char *name, uint32_t comparison,
                          const char *value) {
  store::selection out(table);
  const store::column column = table.at(name);
  const auto codes = column.codes(comparison, value);
  if (!codes)
    return out;
  store::constant_vector first(column, codes->first);
  store::constant_vector last(column, codes->last);
  for (size_t group = 0; group < column.row_groups(); ++group) {
    store::source_vector source(column, group);
    vorn_cv result = {};
    vorn_build_vector(&result, nullptr, nullptr, nullptr, nullptr, nullptr, out.words(group), column.rows_of(group), 0,
                      nullptr, 0);
    vorn_aux aux = {};
    vorn_range_cmp(&ctx, &result, source.get(), first.get(), last.get(), &aux, VORN_OPC_GE_LE);
  }
  return out;
}

void run() {
  vorn_host::environment host;
  vorn_ctx ctx = host.context();
  vorn_nfy(VORN_NFY_LOAD, &ctx);

  const store::table table = store::from_arrow(other_library::flights_type, other_library::flights);
  for (const store::column &column : table.columns())
    std::printf("%s is stored as %s of %u bits\n", column.name().c_str(), store::name_of(column.form()),
                column.width());

  // origin = ATL and delay > 20 or delay >= 60
  store::selection late = compared(ctx, table, "origin", VORN_OPC_EQ, "ATL");
  late &= compared(ctx, table, "delay", VORN_OPC_GT, "20");
  late |= compared(ctx, table, "delay", VORN_OPC_GE, "60");

  store::arrow_column numbers = store::row_numbers_to_arrow(late);
  std::printf("rows");
  for (int64_t i = 0; i < numbers.array.length; ++i)
    std::printf(" %u", static_cast<const uint32_t *>(numbers.array.buffers[1])[i]);
  numbers.schema.release(&numbers.schema);
  numbers.array.release(&numbers.array);

  store::arrow_column bits = store::booleans_to_arrow(late);
  std::printf(", bits %02x\n", *static_cast<const uint8_t *>(bits.array.buffers[1]));
  bits.schema.release(&bits.schema);
  bits.array.release(&bits.array);

  ArrowArrayStream stream = store::to_arrow(ctx, table, late);
  for (ArrowArray batch = {}; stream.get_next(&stream, &batch) == 0 && batch.release != nullptr; batch.release(&batch))
    other_library::show(batch);
  stream.release(&stream);
}

} // namespace

int main() {
  try {
    run();
  } catch (const std::exception &e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
}
