// The command line from argument vector to checked options.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/option_reader.h"
#include "cli/options.h"

namespace joinscope {

struct UserCredentials;

/// Parses the command line into both records and checks what can be checked without the directory.
/// Returns 0 to go on, or the exit status to end the run with, after telling why: a usage error (7)
/// with the usage text on standard output, or a task that only root may run (9). --help prints the
/// usage and returns 0 with the task set to help. May ask for a password on the terminal. A
/// password in the argument vector is overwritten with zero bytes.
int ParseCommandLineOpts(int argc, char** argv, UserCredentials& credentials, Options& options);

/// Takes the first word as the domain where the task takes one and has none yet.
void takeDomainWord(Options& options, std::vector<const char*>& words);

/// A server name has a "." and does not start with a digit: Kerberos knows servers by name, not by
/// address.
std::optional<Refusal> checkServerName(const char* serverName);

/// What --verbose shows of the parsed command line, without line ends. A text that is absent or
/// empty is "null"; the password is not among them.
std::vector<std::string> verboseLines(const Options& options, const UserCredentials& credentials);

}  // namespace joinscope
