#include "store/arrow/exported.hpp"

#include <list>

#include "store/arrow/owner.hpp"

namespace store {

namespace {

// The parts and children that a record owns.  The other library may have moved a child away.
template <class Record, class Parts>
struct owned_record {
  explicit owned_record(Parts made) : parts(std::move(made)) {
    for (Parts &child : parts.children) {
      // The owner is there before its record, which would be lost if there were no memory for the owner.
      Record &place = *children.emplace_back();
      addresses.push_back(&place);
      place = exported(std::move(child));
    }
  }

  static void release(Record *record) {
    delete static_cast<owned_record *>(record->private_data);
    record->release = nullptr;
  }

  Parts parts;
  std::list<arrow_owner<Record>> children;
  std::vector<Record *> addresses;
  std::vector<const void *> buffers;
};

} // namespace

ArrowArray exported(array_parts parts) {
  using record = owned_record<ArrowArray, array_parts>;
  auto owned = std::make_unique<record>(std::move(parts));
  for (const arrow_buffer &buffer : owned->parts.buffers)
    owned->buffers.push_back(buffer.data());
  ArrowArray out{};
  out.length = owned->parts.length;
  out.null_count = owned->parts.null_count;
  out.n_buffers = static_cast<int64_t>(owned->buffers.size());
  out.buffers = owned->buffers.data();
  out.n_children = static_cast<int64_t>(owned->children.size());
  out.children = owned->addresses.data();
  out.release = record::release;
  out.private_data = owned.release();
  return out;
}

ArrowSchema exported(schema_parts parts) {
  using record = owned_record<ArrowSchema, schema_parts>;
  auto owned = std::make_unique<record>(std::move(parts));
  ArrowSchema out{};
  out.format = owned->parts.format.c_str();
  out.name = owned->parts.name.c_str();
  out.metadata = owned->parts.metadata.empty() ? nullptr : owned->parts.metadata.data();
  out.flags = owned->parts.is_nullable ? ARROW_FLAG_NULLABLE : 0;
  out.n_children = static_cast<int64_t>(owned->children.size());
  out.children = owned->addresses.data();
  out.release = record::release;
  out.private_data = owned.release();
  return out;
}

} // namespace store
