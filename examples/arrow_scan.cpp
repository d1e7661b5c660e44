// Arrow in and out: a record batch of another library is taken over and encoded, a condition is put to its columns, and
// what it selects goes back as a boolean array, as row numbers and as record batches.
#include "store/arrow/export.hpp"
#include "store/arrow/import.hpp"
#include "store/query/condition.hpp"
#include "store/query/filter.hpp"
#include <vorn/stand_in.hpp>

#include <array>
#include <cstdio>
#include <exception>
#include <string_view>

namespace {

// The other library: eight flights, whose origin is an index into a dictionary and whose delay may be NULL.  Its memory
// is static, so that a release only says that it happened.
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

store::expression compared(const char *column, store::comparison op, const char *constant) {
  return {store::expression::kind::single,
          {column, false, store::comparison_test{op, {store::constant::form::text, constant}}},
          {}};
}

void run() {
  vorn_host::environment host;
  const vorn_ctx ctx = host.context();

  const store::arrow_table table = store::import_arrow(other_library::flights_type, other_library::flights);
  for (const store::column *c : table.in_order())
    std::printf("%s is stored as %s of %u bits\n", c->name.c_str(), store::encoding_name(c->form).data(), c->width);

  store::selection late;
  // origin = ATL and delay > 20 or delay >= 60
  using kind = store::expression::kind;
  const store::expression from_atlanta{
      kind::all_of,
      {},
      {compared("origin", store::comparison::eq, "ATL"), compared("delay", store::comparison::gt, "20")}};
  const store::query asked({kind::any_of, {}, {from_atlanta, compared("delay", store::comparison::ge, "60")}},
                           table.encoded);
  asked.run(ctx, late);

  store::arrow_column numbers = store::exported_row_numbers(late, table.rows);
  std::printf("rows");
  for (int64_t i = 0; i < numbers.array->length; ++i)
    std::printf(" %u", static_cast<const uint32_t *>(numbers.array->buffers[1])[i]);

  store::arrow_column bits = store::exported_booleans(late, table.rows);
  std::printf(", bits %02x\n", *static_cast<const uint8_t *>(bits.array->buffers[1]));

  store::arrow_owner stream = store::exported_rows(ctx, table.in_order(), late);
  for (ArrowArray batch{}; stream->get_next(&*stream, &batch) == 0 && batch.release != nullptr; batch.release(&batch))
    other_library::show(batch);
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
