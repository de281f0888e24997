// The cloud platform as a program, for a host of the lab:
//
//   platform ADDRESS PORT CERTIFICATE KEY RECORD    the script on standard input
//
// Says "ready" on standard error once it listens and serves until it is killed. RECORD gets one
// JSON object a line; see platform_server.h for both formats.
#include <unistd.h>

#include <iostream>
#include <iterator>
#include <string>

#include "tests/support/platform_server.h"

int main(int argc, char** argv) {
  if (argc != 6) return 7;
  try {
    const std::string script{std::istreambuf_iterator<char>(std::cin), {}};
    const joinscope::test::PlatformServer server({.address = argv[1],
                                                  .port = std::stoi(argv[2]),
                                                  .certificate = argv[3],
                                                  .key = argv[4],
                                                  .record = argv[5]},
                                                 script);
    std::cerr << "ready" << std::endl;
    while (true) ::pause();
  } catch (const std::exception& e) {
    std::cerr << e.what() << '\n';
    return 6;
  }
}
