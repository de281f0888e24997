// NTLM messages as a server makes and reads them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tolk::test {

/// AV pairs with the end of the list.
std::string avPairs(const std::vector<std::pair<unsigned, std::string>>& pairs);

constexpr std::uint32_t kServerFlags = 0xe2898215;  ///< what a domain controller offers

/// A challenge message with the server challenge 01 23 45 67 89 ab cd ef.
std::string challengeMessage(const std::string& targetInfo, std::uint32_t flags = kServerFlags);

/// The bytes that the eight bytes of a field at `at` point to. Throws std::out_of_range.
std::string fieldAt(const std::string& message, std::size_t at);

}  // namespace tolk::test
