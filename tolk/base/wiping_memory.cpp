// The block's usable size, not the asked one, is what has to be wiped (malloc_usable_size(3)).
#include "tolk/base/wiping_memory.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>

namespace tolk {

void wipeAndFree(void* block) noexcept {
  if (block != nullptr) ::explicit_bzero(block, ::malloc_usable_size(block));
  std::free(block);
}

void* wipingRealloc(void* block, std::size_t size) noexcept {
  if (block == nullptr) return std::malloc(size);
  const std::size_t usable = ::malloc_usable_size(block);
  if (size != 0 && size <= usable) return block;
  void* larger = std::malloc(size == 0 ? 1 : size);
  if (larger == nullptr) return nullptr;
  std::memcpy(larger, block, usable < size ? usable : size);
  wipeAndFree(block);
  return larger;
}

}  // namespace tolk
