// Where the support report finds and puts things.
#pragma once

#include <string>

namespace joinscope {

inline constexpr char kAgentLog[] = "/var/log/orvald.log";

/// The current user's private temporary directory. Throws tolk::IOException.
std::string privateTempDirectory();

}  // namespace joinscope
