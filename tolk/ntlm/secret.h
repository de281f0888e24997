// Keys and other small secrets that wipe themselves.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

namespace tolk {

/// A plain value, zero at first, whose bytes are overwritten with zeros at its end.
template <typename T>
class Secret {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  Secret() noexcept = default;
  Secret(const Secret&) noexcept = default;
  Secret& operator=(const Secret&) noexcept = default;
  ~Secret() { ::explicit_bzero(&value_, sizeof value_); }

  T& operator*() noexcept { return value_; }
  const T& operator*() const noexcept { return value_; }
  T* operator->() noexcept { return &value_; }
  const T* operator->() const noexcept { return &value_; }

 private:
  T value_{};
};

/// A hash or key of NTLM: all have this size.
using NtlmKey = Secret<std::array<std::uint8_t, 16>>;

/// The same bytes as the C libraries take them.
inline std::span<const std::uint8_t> octets(std::string_view bytes) noexcept {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): char to unsigned char
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

}  // namespace tolk
