// Times in the daemon's texts.
#pragma once

#include <ctime>
#include <string>

namespace velkd {

/// "2026-11-23 15:04:05 UTC" in local time; "" for 0.
[[nodiscard]] std::string timeText(std::time_t time);

}  // namespace velkd
