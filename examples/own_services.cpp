// A program with services of its own instead of the services of the minimal host: errors that unwind as exceptions, a
// format for compressed streams, and memory that belongs to the object that holds the column.
#include "minimal_host.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

// An internal error of the library is an exception of this host.  No resource is held when the library reports.
void host_raise_internal_error(void *, void *, const char *message, uint32_t, ...) {
  throw std::runtime_error(message);
}

// The format: pairs of a count and a byte, until a count of 0.
uint32_t qpak_decode(void *, void *, const void *in, void *out, uint32_t *written, uint32_t size, uint64_t, uint64_t,
                     uint64_t) {
  uint32_t done = 0;
  for (auto *pair = static_cast<const uint8_t *>(in); pair[0] != 0; pair += 2)
    for (uint32_t i = 0; i < pair[0]; ++i, ++done) {
      if (done == size)
        return 1;
      static_cast<uint8_t *>(out)[done] = pair[1];
    }
  *written = done;
  return done == size ? 0 : 1;
}

namespace {

// A column of codes of 8 bits in a compressed stream.  The library asks for the memory of the decompressed form by way
// of the heap of the context, once, and keeps the address in slot_.
class packed_column {
public:
  packed_column(std::vector<uint8_t> stream, uint32_t rows) : stream_(std::move(stream)) {
    vorn_build_encoding_type_dict(&encoding_, 8, nullptr, nullptr, nullptr, 256, VORN_DICT_ONE_LENGTH, VORN_STREAM);
    vorn_build_encoding_type_dict(&constant_, 8, nullptr, nullptr, nullptr, 256, VORN_DICT_ONE_LENGTH, VORN_CONST);
    vorn_build_vector(&vector_, stream_.data(), nullptr, nullptr, &encoding_, nullptr, nullptr, rows, rows, &slot_, 0);
  }
  packed_column(const packed_column &) = delete;
  packed_column &operator=(const packed_column &) = delete;

  // The rows that hold a code, of up to 64.
  uint32_t count(vorn_ctx ctx, uint32_t code) {
    ctx.vorn_ctx_heap = this;
    ctx.vorn_ctx_alloc = [](void *, void *heap, uint64_t size, const char *, uint32_t, uint32_t padding, uint64_t) {
      auto &self = *static_cast<packed_column *>(heap);
      std::printf("memory for %u bytes\n", unsigned(size));
      self.memory_ = std::make_unique<uint64_t[]>((size + padding) / sizeof(uint64_t) + 1);
      return static_cast<void *>(self.memory_.get());
    };
    ctx.vorn_ctx_decompress = vorn_qpak_decode;
    uint64_t bits[1];
    vorn_cv constant = {}, res = {};
    vorn_build_vector(&constant, &code, nullptr, nullptr, &constant_, nullptr, nullptr, 1, 0, nullptr, 0);
    vorn_build_vector(&res, nullptr, nullptr, nullptr, nullptr, nullptr, bits, vector_.vorn_cv_nrows, 0, nullptr, 0);
    try {
      vorn_eq(&ctx, &res, &vector_, &constant, nullptr);
    } catch (...) {
      slot_ = nullptr; // what stands there is no column
      throw;
    }
    return res.vorn_cv_popc;
  }

private:
  std::vector<uint8_t> stream_;
  std::unique_ptr<uint64_t[]> memory_;
  void *slot_ = nullptr;
  vorn_enc_ctx encoding_ = {}, constant_ = {};
  vorn_cv vector_ = {};
};

} // namespace

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);
  packed_column column({20, 'a', 30, 'b', 10, 'a', 0}, 60);
  const uint32_t a = column.count(ctx, 'a'), b = column.count(ctx, 'b');
  std::printf("%u rows of a, %u of b\n", a, b);

  packed_column damaged({20, 'a', 31, 'b', 0}, 60);
  try {
    damaged.count(ctx, 'a');
  } catch (const std::runtime_error &error) {
    std::printf("a damaged column: %s\n", error.what());
    return a == 30 && b == 30 ? 0 : 1;
  }
  return 1;
}
