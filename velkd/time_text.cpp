// Times in the daemon's texts.
#include "velkd/time_text.h"

#include <array>

namespace velkd {

std::string timeText(std::time_t time) {
  if (time == 0) return {};
  constexpr std::size_t kMaxText = 50;
  std::tm local{};
  std::array<char, kMaxText> text{};
  if (::localtime_r(&time, &local) == nullptr) return {};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %T %Z", &local)};
}

}  // namespace velkd
