// A check that is made again until it finds nothing broken.
#pragma once

#include <functional>
#include <string>

namespace joinscope::check {

/// What one check came to.
struct Checked {
  std::string report;
  int status = 0;           ///< ExitStatus
  bool keyRefused = false;  ///< a KDC refused a key: each further try may lock the account out
};

/// Makes the check, each time in a process of its own, which remembers nothing of the last: until
/// it is sound or has warnings only, `seconds` are over, a key was refused or a signal came. The
/// last one that was made.
Checked checkUntilSound(double seconds, const std::function<Checked()>& check);

}  // namespace joinscope::check
