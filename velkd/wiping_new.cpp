// What the program gives back is zeroed: passwords and codes come in by a channel whose texts lie
// on the heap.
#include <cstdlib>
#include <new>

#include "tolk/base/wiping_memory.h"

void* operator new(std::size_t size) {
  if (void* block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}

// The library's own asks the one above; that of the address sanitizer would go its own way.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* block) noexcept {
  tolk::wipeAndFree(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  tolk::wipeAndFree(block);
}
