// What the host's join settings say, as the reports show it.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

namespace joinscope {

struct TaskContext;

/// One join setting, `fallback` when it is missing or cannot be read. With `resolveZone`, the
/// setting SETTING_ZONE_REALNAME becomes the zone's name for people, which for the layout
/// SCHEMA_ORV_V1_0 is read from the directory through the run's binding: `verbose` is flushed
/// before and told about progress, `server` goes to getBinding(); both may be null. Nothing is
/// thrown; why a setting that is there gives no value is a trouble (tolk/base/troubles.h).
std::string getJoinSetting(TaskContext& context, std::string_view key, const std::string& fallback,
                           std::ostream* verbose, const char* server, bool resolveZone);

/// The domain controller that the agent uses: what the daemon says, else what the join settings
/// record; "<unavailable>" when neither knows one. Nothing is thrown.
std::string currentDC(TaskContext& context);

}  // namespace joinscope
