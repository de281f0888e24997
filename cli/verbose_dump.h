// What --verbose shows of the parsed command line.
#pragma once

#include <string>
#include <vector>

namespace joinscope {

struct Options;
struct UserCredentials;

/// The lines, without line ends. A text that is absent or empty is "null"; the password is not
/// among them.
std::vector<std::string> verboseLines(const Options& options, const UserCredentials& credentials);

/// Writes the lines to standard error and logs them at debug level.
void dumpOptions(const Options& options, const UserCredentials& credentials);

}  // namespace joinscope
