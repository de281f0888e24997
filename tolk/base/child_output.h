// What a program prints, taken as a whole.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace tolk {

struct ChildOutput {
  int status = 0;    ///< as ChildProcess::wait gives it
  std::string text;  ///< standard output, at most 64 KiB of it
};

/// Runs `arguments` without a shell, at most for `limit`. Throws IOException when it cannot start.
ChildOutput runForOutput(const std::vector<std::string>& arguments,
                         std::chrono::milliseconds limit);

}  // namespace tolk
