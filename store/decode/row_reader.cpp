#include "store/decode/row_reader.hpp"

#include "store/decode/code_decoder.hpp"
#include "store/decode/key_decoder.hpp"
#include "store/decode/prefix_decoder.hpp"

namespace store {

namespace {

std::unique_ptr<batch_decoder> decoder_of(const vorn_ctx &ctx, const column &of) {
  switch (of.form) {
  case encoding::dict:
  case encoding::rle:
    break;
  case encoding::fixed:
    return std::make_unique<fixed_decoder>(ctx, of);
  case encoding::dynp:
    return std::make_unique<dynp_decoder>(ctx, of);
  case encoding::prefix:
    return std::make_unique<prefix_decoder>(ctx, of);
  }
  return std::make_unique<code_decoder>(ctx, of);
}

} // namespace

row_reader::row_reader(const vorn_ctx &ctx, const column &of, const selection *rows)
    : steps_(of, rows), decoder_(decoder_of(ctx, of)) {}

std::span<const cell> row_reader::next() {
  const row_steps::step step = steps_.next();
  cells_.resize(step.rows);
  if (step.rows == 0)
    return {};
  if (step.opens_batch)
    decoder_->open(steps_.rows(), steps_.filter(), steps_.count());
  decoder_->next(cells_);
  return cells_;
}

} // namespace store
