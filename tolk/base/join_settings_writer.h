// Writes the persisted join settings that join_settings.h reads.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace tolk {

/// Settings by name (SETTING_...); one with an empty value is not written.
using JoinSettingValues = std::map<std::string, std::string, std::less<>>;

/// Replaces all join settings below `directory`, which is made when it is missing. Every value is
/// first written and synced to a temporary file in the same directory (mode 0644) and only then are
/// all renamed; domain and host name come last, so that a join that is not complete does not show
/// as one. Settings that are not in `values` are removed. Throws IOException with errno; a failure
/// before the first rename leaves the settings as they were. BadDataException for a value that is
/// no text of one line: what the network says is kept here for all programs to show.
void writeJoinSettings(const std::string& directory, const JoinSettingValues& values);

/// Replaces one setting below `directory` and leaves the others alone; an empty value removes it. A
/// reader sees the old value or the new one, whole. Throws IOException with errno, and then the old
/// value still stands.
void writeJoinSetting(const std::string& directory, std::string_view name,
                      const std::string& value);

/// Moves all settings below `directory` into its subdirectory "previous", in place of those of an
/// earlier join; the domain goes first. Throws NotFoundException when there is none, IOException
/// with errno.
void retireJoinSettings(const std::string& directory);

}  // namespace tolk
