// setenv(3) and unsetenv(3), with the former value kept.
#include "tolk/krb5/scoped_variable.h"

#include <cstdlib>

namespace tolk {
namespace {

void put(const char* name, const std::optional<std::string>& value) noexcept {
  if (value)
    ::setenv(name, value->c_str(), 1);
  else
    ::unsetenv(name);
}

}  // namespace

ScopedVariable::ScopedVariable(const char* name, const std::optional<std::string>& value)
    : name_(name) {
  if (const char* before = std::getenv(name)) former_ = before;
  put(name, value);
}

ScopedVariable::~ScopedVariable() {
  put(name_, former_);
}

}  // namespace tolk
