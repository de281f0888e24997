// The script that shows the environment and what the agent daemon is linked with.
#pragma once

#include <string>

namespace joinscope {

/// Text for sh(1).
extern const char* const kEnvironmentScript;

/// Writes the script to `path` as a new file, runs it with its output on standard output, and
/// removes it. A file that cannot be made is said on standard error.
void showEnvironment(const std::string& path);

}  // namespace joinscope
