// localtime_r(3) and strftime(3) with forms that the compiler can check.
#include "tolk/base/times.h"

#include <array>

namespace tolk {

std::string localTimeText(std::time_t time, TimeForm form) {
  std::tm local{};
  if (::localtime_r(&time, &local) == nullptr) return {};
  std::array<char, 64> text{};
  const auto write = [&] {
    switch (form) {
      case TimeForm::journal:
        return std::strftime(text.data(), text.size(), "%Y-%m-%d %T", &local);
      case TimeForm::syslog:
        return std::strftime(text.data(), text.size(), "%b %e %T", &local);
      case TimeForm::people:
        break;
    }
    return std::strftime(text.data(), text.size(), "%Y-%m-%d %T %Z", &local);
  };
  return {text.data(), write()};
}

}  // namespace tolk
