// Reads hosts(5) and nsswitch.conf(5) by their own lines: the C library answers from them without
// telling which of them spoke.
#include "facts/subjects/host.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/statvfs.h>
#include <sys/timex.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <memory>
#include <sstream>

#include "tolk/base/exceptions.h"
#include "tolk/base/file.h"
#include "tolk/base/handle.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/os_version.h"

namespace joinscope::facts {
namespace {

constexpr std::size_t kFileLimit = std::size_t{4} << 20;

/// The lines of a configuration file without comments; none when it cannot be read.
std::vector<std::string> configLines(const char* path) {
  std::vector<std::string> lines;
  try {
    std::istringstream text(tolk::readRegularFile(path, kFileLimit));
    for (std::string line; std::getline(text, line);)
      lines.push_back(line.substr(0, line.find('#')));
  } catch (const tolk::IOException&) {
    lines.clear();
  }
  return lines;
}

std::vector<HostsLine> readHostsFile() {
  std::vector<HostsLine> lines;
  for (const std::string& text : configLines("/etc/hosts")) {
    std::istringstream words(text);
    HostsLine line;
    if (!(words >> line.address)) continue;
    for (std::string name; words >> name;) line.names.push_back(name);
    lines.push_back(std::move(line));
  }
  return lines;
}

std::vector<std::string> readHostsSources() {
  for (const std::string& text : configLines("/etc/nsswitch.conf")) {
    std::istringstream words(text);
    std::string word;
    if (!(words >> word) || word != "hosts:") continue;
    std::vector<std::string> sources;
    while (words >> word) sources.push_back(word);
    return sources;
  }
  return {};
}

std::string addressText(const sockaddr& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const void* bytes = nullptr;
  if (address.sa_family == AF_INET) {
    bytes = &reinterpret_cast<const sockaddr_in&>(address).sin_addr;
  } else if (address.sa_family == AF_INET6) {
    const in6_addr& six = reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
    if (!IN6_IS_ADDR_LINKLOCAL(&six)) bytes = &six;
  }
  if (bytes == nullptr) return {};
  return ::inet_ntop(address.sa_family, bytes, text.data(), text.size()) != nullptr ? text.data()
                                                                                    : "";
}

std::vector<std::string> readAddresses() {
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) return {};
  const std::unique_ptr<ifaddrs, tolk::Releaser<::freeifaddrs>> owner(list);
  std::vector<std::string> addresses;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    const bool usable = (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_LOOPBACK) == 0;
    if (!usable || entry->ifa_addr == nullptr) continue;
    if (std::string text = addressText(*entry->ifa_addr); !text.empty()) addresses.push_back(text);
  }
  return addresses;
}

Room readRoom(const char* folder) {
  Room room{.folder = folder};
  struct statvfs state {};
  if (::statvfs(folder, &state) != 0) {
    room.asked = {.outcome = Outcome::failed, .reason = std::strerror(errno), .code = errno};
    return room;
  }
  room.asked.outcome = Outcome::answered;
  room.freeBytes =
      static_cast<std::int64_t>(state.f_bavail) * static_cast<std::int64_t>(state.f_frsize);
  // A file system that makes its inodes as it needs them says 0 of 0.
  constexpr std::int64_t kPlenty = INT32_MAX;
  room.freeFiles = state.f_files == 0 ? kPlenty : static_cast<std::int64_t>(state.f_favail);
  return room;
}

void readClock(Host& host) {
  timex clock{};
  const int state = ::adjtimex(&clock);
  if (state < 0) {
    host.clockSource = {.outcome = Outcome::failed, .reason = std::strerror(errno), .code = errno};
    return;
  }
  host.clockSource.outcome = Outcome::answered;
  host.synchronised = state != TIME_ERROR && (clock.status & STA_UNSYNC) == 0;
}

}  // namespace

Host readHost() {
  Host host;
  std::array<char, HOST_NAME_MAX + 1> name{};
  if (::gethostname(name.data(), HOST_NAME_MAX) == 0) host.name = name.data();
  std::string version;
  tolk::OSVersion(host.system, version);
  host.system += " " + version;
  host.root = ::geteuid() == 0;
  host.now = std::time(nullptr);
  host.addresses = readAddresses();
  host.hostsFile = readHostsFile();
  host.hostsSources = readHostsSources();
  for (const char* folder : {"/var", "/tmp"}) host.room.push_back(readRoom(folder));
  readClock(host);
  return host;
}

}  // namespace joinscope::facts
