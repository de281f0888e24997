// Security identifiers: text "S-1-5-21-..." and the binary form of objectSid (MS-DTYP 2.4.2).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tolk {

class SID {
 public:
  /// Parses "S-1-AUTHORITY-SUB-..."; throws BadDataException for anything else.
  explicit SID(std::string_view text);
  /// Reads the binary form; throws BadDataException unless the length fits exactly.
  [[nodiscard]] static SID fromBinary(std::string_view bytes);

  [[nodiscard]] std::string toString() const;
  /// The name that addresses the object with this identifier, "<SID=S-1-...>"
  /// (MS-ADTS 3.1.1.3.1.2.4).
  [[nodiscard]] std::string toDN() const;
  /// The last sub-authority: the account within its domain.
  [[nodiscard]] std::uint32_t rid() const noexcept { return subAuthorities_.back(); }

  /// Whether it is an account of the domain with the identifier `domain` (MS-DTYP 2.4.2.4).
  [[nodiscard]] bool isOfDomain(const SID& domain) const;

  bool operator==(const SID&) const = default;

 private:
  SID() = default;

  std::uint64_t authority_ = 0;                ///< 48 bits
  std::vector<std::uint32_t> subAuthorities_;  ///< 1 to 15
};

}  // namespace tolk
