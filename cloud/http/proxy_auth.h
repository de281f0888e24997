// The words for the ways to log on to a web proxy.
#pragma once

#include <optional>
#include <string_view>

namespace tolk {

/// libcurl's authentication masks (CURLOPT_HTTPAUTH(3)) by number, so that the command, which only
/// reads settings, needs no libcurl.
struct ProxyAuthMask {
  static constexpr long basic = 1;
  static constexpr long digest = 2;
  static constexpr long negotiate = 4;
  static constexpr long ntlm = 8;
  static constexpr long any = -17;  ///< all but the digest that an old browser made
};

/// The mask of "negotiate", "ntlm", "digest", "basic" or "anyauth", in lower case; nothing for any
/// other word.
[[nodiscard]] std::optional<long> proxyAuthMask(std::string_view type) noexcept;

}  // namespace tolk
