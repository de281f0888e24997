// What the agent reads of its own computer object, and how it takes its flags.
#pragma once

namespace tolk {

class ADObject;

struct ComputerObjectHelper {
  /// The names of the attributes, a null-terminated list that lives as long as the process.
  static const char** getAttributes() noexcept;

  /// Whether the account is disabled (userAccountControl 0x2, MS-ADTS 2.2.16); without flags it is
  /// not. Throws SystemException for flags that are no number.
  static bool isDisabled(const ADObject& object);
};

}  // namespace tolk
