// What is checked once all options have been read, and before anything is asked of the directory.
#pragma once

#include <sys/types.h>

#include <optional>
#include <vector>

#include "cli/common/task.h"
#include "cli/refusal.h"

namespace joinscope {

struct Options;
struct UserCredentials;

/// Tasks that collect the files of the system are for root only. `uid` is the real user's.
std::optional<Refusal> checkRoot(Task task, uid_t uid);

/// Takes the first word as the domain where the task takes one and has none yet.
void takeDomainWord(Options& options, std::vector<const char*>& words);

/// Validating a password needs a user.
std::optional<Refusal> checkUserNamed(Task task, const UserCredentials& credentials);

/// A server name has a "." and does not start with a digit: Kerberos knows servers by name, not by
/// address.
std::optional<Refusal> checkServerName(const char* serverName);

/// A journal window means something to --support only.
std::optional<Refusal> checkLogWindow(const Options& options);

/// No words may be left over.
std::optional<Refusal> checkLeftoverWords(const std::vector<const char*>& words);

}  // namespace joinscope
