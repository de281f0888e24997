// Times as the directory keeps them and as people read them.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace tolk {

/// A FILETIME, intervals of 100 ns since 1601-01-01 UTC (MS-DTYP 2.3.3), in seconds since 1970;
/// parts of a second are left out.
[[nodiscard]] constexpr std::time_t unixTimeOf(std::int64_t intervals) noexcept {
  constexpr std::int64_t kIntervalsPerSecond = 10'000'000;
  constexpr std::int64_t kSecondsFrom1601 = 11'644'473'600;  // to 1970
  return static_cast<std::time_t>(intervals / kIntervalsPerSecond - kSecondsFrom1601);
}

enum class TimeForm {
  people,   ///< "2026-11-23 15:04:05 UTC"
  journal,  ///< "2026-11-23 15:04:05", as journalctl(1) takes it
  syslog,   ///< "Nov 23 15:04:05", as log daemons take it
};

/// Local time; "" for a time that has none.
[[nodiscard]] std::string localTimeText(std::time_t time, TimeForm form = TimeForm::people);

}  // namespace tolk
