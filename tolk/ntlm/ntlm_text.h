// Texts as NTLM has them: UTF-16 with the least significant byte first, upper-cased as Windows does
// it, and account names taken apart.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tolk {

/// UTF-8 to UTF-16LE; characters beyond the 16-bit range become surrogate pairs. Throws
/// TOLKException, without the text, when it is not UTF-8.
std::string toUtf16(std::string_view text);

/// The same into memory of the caller, for secrets: `out` must have twice the bytes of `text`.
/// Returns the bytes written.
std::size_t toUtf16(std::string_view text, std::span<char> out);

/// UTF-16LE to UTF-8; nothing when it is not well-formed.
std::optional<std::string> fromUtf16(std::string_view bytes);

/// Upper case of all letters, of UTF-8 text, whatever locale the process has. Throws as toUtf16().
std::string ntlmUpperCase(std::string_view text);

/// An account as a person types it.
struct AccountName {
  std::string domain;
  std::string user;
};

/// DOMAIN\user is taken apart. A user principal name (with "@") stays whole and has no domain; a
/// plain name is of `defaultDomain`.
AccountName splitAccountName(const std::string& account, const std::string& defaultDomain);

}  // namespace tolk
