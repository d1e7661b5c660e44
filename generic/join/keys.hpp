// The keys of a vector, a batch at a time: hash values, codes and row identifiers.
#pragma once

#include <algorithm>

#include "generic/join/hash.hpp"

// The routines that hash a batch of rows, with the seed 0.
VORN_KERNELS_BEGIN
void vorn_hashfn_array_fixed(uint64_t *out, const void *data, uint16_t width, uint32_t count, vorn_hashfn hashfn);
void vorn_hashfn_array_lv_sep(uint64_t *out, uint64_t *offs, const void *data, const uint16_t *lens, uint32_t count,
                              vorn_hashfn hashfn);
void vorn_hashfn_array_lv(uint64_t *out, uint64_t *offs, const void *data, uint32_t count, vorn_hashfn hashfn);
void vorn_hashfn_array_lp_sep(uint64_t *out, const void *ptrs, const uint16_t *lens, uint32_t count,
                              vorn_hashfn hashfn);
void vorn_hashfn_array_lp(uint64_t *out, const void *recs, uint32_t count, vorn_hashfn hashfn);
VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL::join {

// The number is fixed, since the bits that a build leaves in the headers of buckets depend on it.
inline constexpr uint32_t batch_rows = 1024;

// Where the number of a row comes from.
enum class value_source : uint8_t {
  autorid, // the row number, counted from vorn_cv_autorid
  payload, // an array
  record   // the row identifier in the record of the key
};

// Row identifiers that count up.  Insertions and partitions have a loop for them, which is at least 7 % faster than a
// test of the source for each row.
struct counted_values {
  uint64_t first;

  template <class Value>
  Value get(uint64_t row) const {
    return static_cast<Value>(first + row);
  }
};

// Values in an array.
template <class Stored>
struct stored_values {
  const uint8_t *at;

  template <class Value>
  Value get(uint64_t row) const {
    return static_cast<Value>(load<Stored>(at, row));
  }
};

// The hash value and the tag of each row, if the hash values lie back to back and their low ends are the tags.
struct hash_tags {
  const uint8_t *at;

  uint64_t hash(uint64_t row) const { return load<uint64_t>(at, row); }
  template <class Tag>
  Tag tag(uint64_t row) const {
    return load<Tag>(at + row * sizeof(uint64_t));
  }
};
// The same, anywhere.
struct strided_tags {
  strided hashes, tags;

  uint64_t hash(uint64_t row) const { return hashes.get<uint64_t>(row); }
  template <class Tag>
  Tag tag(uint64_t row) const {
    return tags.get<Tag>(row);
  }
};

// The object holds the batch.  It lies on the stack of a kernel.
class key_batch {
public:
  // The buffers are written before they are read.  Clearing them would cost more than a small call.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  key_batch(const vorn_cv &src, row_form form, vorn_hashfn hashfn, const vorn_aux &aux)
      : src_(src), form_(form), hashfn_(hashfn), first_(aux.vorn_aux_start_slot),
        cursor_(has_byte_position(form) ? aux.vorn_aux_out_pos : 0) {}

  // The library has no hash function of its own.
  bool can_hash() const {
    return hashfn_ != nullptr || form_ == row_form::hash_values || form_ == row_form::hashrid ||
           form_ == row_form::hashgdrid;
  }

  // Loads the rows from first() on.  Returns false after the last row.
  bool load_batch() {
    if (first_ >= src_.vorn_cv_nrows)
      return false;
    count_ = std::min(left(), batch_rows);
    const auto *lens = static_cast<const uint16_t *>(src_.vorn_cv_lens);
    hashes_ = {reinterpret_cast<const uint8_t *>(values_), sizeof(uint64_t)};
    codes_ = {};
    row_ids_ = {};
    switch (form_) {
    case row_form::fixed:
      vorn_hashfn_array_fixed(values_, rows_of(stride_of(src_)), stride_of(src_), count_, hashfn_);
      break;
    case row_form::lv_sep:
      vorn_hashfn_array_lv_sep(values_, offsets_, vals() + cursor_, lens + first_, count_, hashfn_);
      break;
    case row_form::lv:
      vorn_hashfn_array_lv(values_, offsets_, vals() + cursor_, count_, hashfn_);
      break;
    case row_form::lp_sep:
      vorn_hashfn_array_lp_sep(values_, rows_of(sizeof(uint64_t)), lens + first_, count_, hashfn_);
      break;
    case row_form::lp:
      vorn_hashfn_array_lp(values_, rows_of(lp_size), count_, hashfn_);
      break;
    case row_form::gd:
      codes_ = {rows_of(sizeof(uint32_t)), sizeof(uint32_t)};
      vorn_hashfn_array_fixed(values_, codes_.at, sizeof(uint32_t), count_, hashfn_);
      break;
    case row_form::hash_values:
      hashes_ = {rows_of(sizeof(uint64_t)), sizeof(uint64_t)};
      break;
    case row_form::hashrid:
      row_ids_ = {rows_of(16), 16};
      hashes_ = {row_ids_.at + 8, 16};
      break;
    default: // hashgdrid
      hashes_ = {rows_of(24), 24};
      codes_ = {hashes_.at + 8, 24};
      row_ids_ = {hashes_.at + 16, 24};
      break;
    }
    return true;
  }

  uint32_t first() const { return first_; }
  uint32_t count() const { return count_; }
  // The number of rows from first() on whose hash values hashes() gives.  Stored hash values go on after the batch.
  uint32_t hashed() const { return hashes_.at == reinterpret_cast<const uint8_t *>(values_) ? count_ : left(); }
  const strided &hashes() const { return hashes_; }
  const strided &codes() const { return codes_; }     // of gd and hashgdrid
  const strided &row_ids() const { return row_ids_; } // of hashrid and hashgdrid

  // Calls call with the hash value and the tag of each row.  The tag is the low end of the hash value, or the code.
  template <class Call>
  auto with_tags(Call call) const {
    return codes_.at == nullptr && hashes_.step == sizeof(uint64_t)
               ? call(hash_tags{hashes_.at})
               : call(strided_tags{hashes_, codes_.at != nullptr ? codes_ : hashes_});
  }

  // Moves to the rows after the batch.
  void advance() {
    first_ += count_;
    if (has_byte_position(form_))
      cursor_ += offsets_[count_];
  }

  // Saves where a later call resumes: at a row of the batch, or after the last row.
  void save_position(uint32_t row_in_batch, vorn_aux &aux) const {
    aux.vorn_aux_start_slot = first_ + row_in_batch;
    if (has_byte_position(form_))
      aux.vorn_aux_out_pos = cursor_ + offsets_[row_in_batch];
  }
  void save_end(vorn_aux &aux) const {
    aux.vorn_aux_start_slot = src_.vorn_cv_nrows;
    if (has_byte_position(form_))
      aux.vorn_aux_out_pos = cursor_;
  }

private:
  uint32_t left() const { return src_.vorn_cv_nrows - first_; }
  const uint8_t *vals() const { return static_cast<const uint8_t *>(src_.vorn_cv_vals); }
  const uint8_t *rows_of(uint32_t stride) const { return vals() + uint64_t{first_} * stride; }

  const vorn_cv &src_;
  row_form form_;
  vorn_hashfn hashfn_;
  uint32_t first_;
  uint32_t count_ = 0;
  uint64_t cursor_;
  strided hashes_ = {}, codes_ = {}, row_ids_ = {};
  uint64_t values_[batch_rows];
  uint64_t offsets_[batch_rows + 1];
};

} // namespace vorn::inline VORN_LEVEL::join
