// Exported arrays and schemas.  A record owns its parts until the other library releases it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <vorn/aligned.hpp>
#include <vorn/store/arrow_interface.h>

namespace store {

// Memory of any kind that is exported without a copy.
class arrow_buffer {
public:
  arrow_buffer() = default; // none
  template <class Element>
  explicit arrow_buffer(vorn_host::aligned_vector<Element> elements) {
    const auto owner = std::make_shared<vorn_host::aligned_vector<Element>>(std::move(elements));
    memory_ = std::shared_ptr<const void>(owner, owner->data());
  }
  const void *data() const { return memory_.get(); }

private:
  std::shared_ptr<const void> memory_;
};

struct array_parts {
  int64_t length = 0;
  int64_t null_count = 0;
  std::vector<arrow_buffer> buffers;
  std::vector<array_parts> children = {};
};
ArrowArray exported(array_parts parts);

struct schema_parts {
  std::string format;
  std::string name = {};
  std::string metadata = {};
  bool is_nullable = false;
  std::vector<schema_parts> children = {};
};
ArrowSchema exported(schema_parts parts);

} // namespace store
