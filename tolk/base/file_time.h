// Times as the directory keeps them: intervals of 100 ns since 1601-01-01 UTC (MS-DTYP 2.3.3,
// FILETIME).
#pragma once

#include <cstdint>
#include <ctime>

namespace tolk {

/// The same time in seconds since 1970; parts of a second are left out.
[[nodiscard]] constexpr std::time_t unixTimeOf(std::int64_t intervals) noexcept {
  constexpr std::int64_t kIntervalsPerSecond = 10'000'000;
  constexpr std::int64_t kSecondsFrom1601 = 11'644'473'600;  // to 1970
  return static_cast<std::time_t>(intervals / kIntervalsPerSecond - kSecondsFrom1601);
}

}  // namespace tolk
