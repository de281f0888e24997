// The password of the user whose login is tried.
#pragma once

#include "check/options.h"
#include "tolk/base/shredder.h"

namespace joinscope::check {

/// From --password-file, else from the terminal, else the first line of standard input. Throws
/// NotFoundException when nobody gives one: nothing is sent then. Throws IOException.
tolk::Shredder readUserPassword(const Options& options);

}  // namespace joinscope::check
