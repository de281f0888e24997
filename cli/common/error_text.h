// The text of an exception for standard error.
#pragma once

#include <exception>
#include <string>

namespace joinscope {

/// The message. It may quote names from the network: what a terminal would act on is escaped, line
/// ends are not.
std::string errorText(const std::exception& error);

}  // namespace joinscope
