// Writes the persisted join settings that join_settings.h reads.
#pragma once

#include <map>
#include <string>

namespace tolk {

/// Settings by name (SETTING_...); one with an empty value is not written.
using JoinSettingValues = std::map<std::string, std::string, std::less<>>;

/// Replaces all join settings below `directory`, which is made when it is missing. Every value is
/// first written and synced to a temporary file in the same directory (mode 0644) and only then are
/// all renamed; domain and host name come last, so that a join that is not complete does not show
/// as one. Settings that are not in `values` are removed. Throws IOException with errno; a failure
/// before the first rename leaves the settings as they were.
void writeJoinSettings(const std::string& directory, const JoinSettingValues& values);

/// Moves all settings below `directory` into its subdirectory "previous", in place of those of an
/// earlier join; the domain goes first. Throws NotFoundException when there is none, IOException
/// with errno.
void retireJoinSettings(const std::string& directory);

}  // namespace tolk
