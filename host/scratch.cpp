// Scratch memory, from the heap so that an overrun meets the checks of the heap.
#include "host/state.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

using namespace vorn_host;

void *vornu_stack_alloc_align(void *env, uint64_t size, const char *name, uint64_t align, uint64_t padding,
                              void **token) {
  environment &owner = environment_of(env);
  record(&owner, {.service = "vornu_stack_alloc_align",
                  .text = text_or_null(name),
                  .values = {size, align, padding},
                  .source = {}});
  const size_t alignment = std::bit_ceil(std::max<size_t>(align, 8));
  auto block =
      std::make_unique<scratch_block>(scratch_block{text_or_null(name), aligned_memory(size + padding, alignment)});
  void *memory = block->memory.get();
  if (owner.scratch_fill)
    std::memset(memory, *owner.scratch_fill, size + padding);

  *token = block.get();
  environment::state &state = owner.internals();
  const std::lock_guard lock(state.guard);
  state.scratch.emplace(block.get(), std::move(block));
  return memory;
}

void vornu_stack_free_align(void *env, void *memory, void *token) {
  environment &owner = environment_of(env);
  environment::state &state = owner.internals();
  std::unique_ptr<scratch_block> block;
  {
    const std::lock_guard lock(state.guard);
    const auto entry = state.scratch.find(token);
    if (entry != state.scratch.end() && entry->second->memory.get() == memory)
      block = std::move(state.scratch.extract(entry).mapped());
  }
  record(&owner, {.service = "vornu_stack_free_align",
                  .text = block ? block->name : std::string("<unknown>"),
                  .values = {},
                  .source = {}});
  if (!block)
    raise_internal_error(owner, owner.host_env_error_arg,
                         "vornu_stack_free_align: memory and token do not belong together",
                         {static_cast<const void *>(memory), static_cast<const void *>(token)});
}
