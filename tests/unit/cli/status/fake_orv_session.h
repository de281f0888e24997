// The C interface to the daemon, answering as a test says; linked in place of the real one.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace joinscope::test {

struct FakeDaemon {
  int openCode = 0;
  std::vector<int> codes;  ///< of the questions; the last one is repeated
  std::vector<std::pair<std::string, std::string>> ranges;
  int asked = 0;
  int open = 0;  ///< sessions that are not closed
};

FakeDaemon& daemon();

}  // namespace joinscope::test
