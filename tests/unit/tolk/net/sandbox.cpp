#include "tests/unit/tolk/net/sandbox.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "tolk/base/handle.h"

namespace tolk::test {
namespace {

std::string failed(const char* what) {
  return std::string(what) + ": " + std::generic_category().message(errno);
}

bool raiseLoopback() {
  const UniqueFd fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  return fd && ::ioctl(fd.get(), SIOCSIFFLAGS, &request) == 0;
}

bool hide(const char* path) {
  return ::mount("tmpfs", path, "tmpfs", 0, "mode=755") == 0;
}

// Empty when the process is in the sandbox, else what stood in the way.
std::string enter() {
  constexpr int kSpaces = CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWUTS;
  if (::geteuid() == 0) {
    if (::unshare(kSpaces) != 0) return failed("unshare");
  } else {
    const std::string uid = std::to_string(::geteuid());
    const std::string gid = std::to_string(::getegid());
    if (::unshare(kSpaces | CLONE_NEWUSER) != 0) return failed("unshare");
    // Both ids must be mapped before a file can be made (user_namespaces(7)).
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " + uid + " 1";
    std::ofstream("/proc/self/gid_map") << "0 " + gid + " 1";
  }
  if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return failed("mount");
  if (!hide("/etc") || !hide("/var")) return failed("mount tmpfs");
  return raiseLoopback() ? "" : failed("loopback");
}

}  // namespace

void Sandbox::SetUp() {
  static const std::string obstacle = enter();
  if (obstacle.empty()) return;
  const char* ci = std::getenv("CI");
  if (ci != nullptr && std::string(ci) == "true") FAIL() << "no sandbox: " << obstacle;
  GTEST_SKIP() << "no sandbox: " << obstacle;
}

void Sandbox::write(const std::string& path, const std::string& content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream file(path, std::ios::trunc);
  file << content;
  ASSERT_TRUE(file.flush()) << path;
}

void Sandbox::setHostName(const std::string& name) {
  ASSERT_EQ(::sethostname(name.data(), name.size()), 0);
}

}  // namespace tolk::test
