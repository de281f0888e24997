#include "tolk/krb5/scoped_variable.h"

#include <cstdlib>

namespace tolk {
namespace {

void apply(const char* name, const std::optional<std::string>& value) noexcept {
  if (value)
    ::setenv(name, value->c_str(), 1);
  else
    ::unsetenv(name);
}

}  // namespace

ScopedVariable::ScopedVariable(const char* name, const std::optional<std::string>& value)
    : name_(name) {
  if (const char* before = std::getenv(name)) former_ = before;
  apply(name, value);
}

ScopedVariable::~ScopedVariable() {
  apply(name_, former_);
}

}  // namespace tolk
