// Whole pages for secrets.
#include "tolk/base/locked_memory.h"

#include <string.h>  // explicit_bzero
#include <sys/mman.h>
#include <unistd.h>

#include <limits>
#include <new>
#include <utility>

namespace tolk {
namespace {

std::size_t wholePages(std::size_t bytes) {
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  if (bytes > std::numeric_limits<std::size_t>::max() - page) throw std::bad_alloc();
  return bytes == 0 ? page : (bytes + page - 1) / page * page;
}

}  // namespace

LockedMemory::LockedMemory(std::size_t bytes) : size_(wholePages(bytes)) {
  void* pages = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) throw std::bad_alloc();
  // Both are best effort: a low lock limit must not keep a password from being used.
  (void)::mlock(pages, size_);
  (void)::madvise(pages, size_, MADV_DONTDUMP);
  data_ = static_cast<char*>(pages);
}

LockedMemory::LockedMemory(LockedMemory&& from) noexcept
    : data_(std::exchange(from.data_, nullptr)), size_(std::exchange(from.size_, 0)) {}

LockedMemory& LockedMemory::operator=(LockedMemory&& from) noexcept {
  std::swap(data_, from.data_);
  std::swap(size_, from.size_);
  return *this;
}

LockedMemory::~LockedMemory() {
  if (data_ == nullptr) return;
  wipe();
  ::munmap(data_, size_);
}

void LockedMemory::wipe() noexcept {
  if (data_ != nullptr) ::explicit_bzero(data_, size_);
}

}  // namespace tolk
