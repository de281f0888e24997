// An environment variable that is changed for a while.
#pragma once

#include <optional>
#include <string>

namespace tolk {

/// Sets the variable `name`, or removes it when there is no value, and puts the former state back
/// at the end of the scope. The environment belongs to the whole process: one thread only.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const std::optional<std::string>& value);
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;
  ~ScopedVariable();

  /// The value before, if there was one.
  [[nodiscard]] const std::optional<std::string>& former() const noexcept { return former_; }

 private:
  const char* name_;
  std::optional<std::string> former_;
};

}  // namespace tolk
