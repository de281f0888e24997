// A process in the daemon's place that does not do what a daemon should: broken_daemon SOCKET
// half|junk|mute|gathering|slow. Takes one connection after the other until it is killed; says
// "ready" on standard error once it listens.
#include <unistd.h>

#include <array>
#include <iostream>
#include <map>
#include <string>

#include "tests/support/unix_socket.h"

namespace {

using namespace std::string_literals;

/// What every caller hears to Authenticate.
const std::string kWelcome = R"({"parameters":{"uid":0,"privileged":true}})"s + '\0';

const std::string kGathering =
    R"({"error":"org.orvald.velkd.StillGathering","parameters":{}})"s + '\0';

/// What it writes for any other message; none at all leaves the caller waiting. Only "half" then
/// ends the connection.
const std::map<std::string, std::string>& answers() {
  static const std::map<std::string, std::string> all{
      {"half", R"({"parameters":{"ui)"},
      {"junk", "\x7f\x45\x4c\x46 HTTP/1.1 400\0"s},
      {"mute", ""},
      {"gathering", kGathering},
      {"slow", R"({"parameters":{"ranges":[{"key":"LAB.TEST","value":"7-9"}]}})"s + '\0'}};
  return all;
}

void serve(const tolk::UniqueFd& caller, const std::string& kind) {
  std::array<char, 4096> bytes;
  std::string message;
  for (ssize_t count = 0; (count = ::read(caller.get(), bytes.data(), bytes.size())) > 0;) {
    message.append(bytes.data(), static_cast<std::size_t>(count));
    if (message.back() != '\0') continue;
    static int rangesAsked = 0;
    const bool early =
        kind == "slow" && message.find(".GetDomainId") != std::string::npos && ++rangesAsked == 1;
    const bool welcome = message.find(".Authenticate\"") != std::string::npos;
    const std::string& answer = welcome ? kWelcome : early ? kGathering : answers().at(kind);
    if (::send(caller.get(), answer.data(), answer.size(), MSG_NOSIGNAL) < 0) return;
    if (!welcome && kind == "half") return;
    message.clear();
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || !answers().contains(argv[2])) return 7;
  ::unlink(argv[1]);
  const tolk::UniqueFd listener = joinscope::test::listenAt(argv[1]);
  std::cerr << "ready" << std::endl;
  while (true) serve(tolk::UniqueFd(::accept(listener.get(), nullptr, nullptr)), argv[2]);
}
