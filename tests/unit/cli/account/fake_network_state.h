// Controller discovery that answers as a test says; linked in place of the real one.
#pragma once

#include <netinet/in.h>

#include <string>
#include <vector>

namespace joinscope::test {

/// What the next discoveries say, and what they were asked.
struct FakeDiscovery {
  std::string controller;  ///< for getDCForDomain(); empty: it fails
  std::string site;        ///< in which every controller places this host
  std::vector<std::string> asked;
};

FakeDiscovery& discovery();

}  // namespace joinscope::test
