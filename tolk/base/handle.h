// Ownership of C library handles and descriptors: each is released once, at scope exit; null
// releases nothing.
#pragma once

#include <unistd.h>

#include <utility>

namespace tolk {

/// Deleter that calls the C function `Release` on the pointer, for std::unique_ptr.
template <auto Release>
struct Releaser {
  template <typename T>
  void operator()(T* handle) const noexcept {
    Release(handle);
  }
};

/// Owns a file descriptor; -1 owns nothing.
class UniqueFd {
 public:
  UniqueFd() noexcept = default;
  explicit UniqueFd(int fd) noexcept : fd_(fd) {}
  UniqueFd(UniqueFd&& from) noexcept : fd_(std::exchange(from.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& from) noexcept {
    reset(std::exchange(from.fd_, -1));
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() { reset(); }

  [[nodiscard]] int get() const noexcept { return fd_; }
  [[nodiscard]] explicit operator bool() const noexcept { return fd_ >= 0; }
  [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }
  void reset(int fd = -1) noexcept {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

}  // namespace tolk
