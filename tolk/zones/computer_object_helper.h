// What the agent reads of its own computer object.
#pragma once

namespace tolk {

struct ComputerObjectHelper {
  /// The names of the attributes, a null-terminated list that lives as long as the process.
  static const char** getAttributes() noexcept;
};

}  // namespace tolk
