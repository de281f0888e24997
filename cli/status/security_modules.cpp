// Installed or not is told by files and units; the state by the modules' own programs.
#include "cli/status/security_modules.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>

#include "cli/common/command_runner.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

constexpr char kSelinuxDirectory[] = "/etc/selinux/";
constexpr char kProfileDirectory[] = "/etc/apparmor.d/abstractions/";
constexpr std::array kInitScripts{"/etc/init.d/boot.apparmor", "/etc/init.d/apparmor"};
constexpr char kSystemctl[] = "/bin/systemctl";

bool isDirectory(const char* path) {
  struct stat status {};
  return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

bool isExecutable(const char* path) {
  return ::access(path, X_OK) == 0;
}

void note(const std::string& text) {
  tolk::Logger::GetThreadPrivateLogger("cli.joinscope").log(tolk::LogLevel::debug, text);
}

bool systemdKnowsAppArmor() {
  const int status = shellStatus(std::string(kSystemctl) +
                                 " list-unit-files | /bin/grep -i apparmor.service > /dev/null");
  if (status > 0) {
    note(
        tolk::formatText("Cannot grep apparmor.service from systemctl output, pclose return %d. "
                         "apparmor might not be installed, skipping....",
                         {std::to_string(status)}));
  }
  return status == 0;
}

}  // namespace

int showSelinuxStatus() {
  if (!isDirectory(kSelinuxDirectory)) return 0;
  std::cout << '\n';
  const int status =
      runCommands({{"/usr/sbin/sestatus", "-v"}, {"/usr/sbin/semodule", "-l"}}, false);
  std::cout << '\n' << std::flush;
  return status;
}

int showAppArmorStatus() {
  if (!hasAppArmorInstalled()) return 0;
  std::cout << "\nAppArmor Status:\n";
  const int status = runCommands(
      {{"/usr/sbin/aa-status"},
       {"/usr/bin/grep", "-n", "orvald", "/etc/apparmor.d/abstractions/orvald",
        "/etc/apparmor.d/abstractions/authentication", "/etc/apparmor.d/abstractions/nameservice"}},
      false);
  std::cout << '\n' << std::flush;
  return status;
}

bool hasAppArmorInstalled() {
  if (!isDirectory(kProfileDirectory)) {
    note(tolk::formatText(
        "Profile dir \"%s\" does not exist, apparmor might not be installed, skipping....",
        {kProfileDirectory}));
    return false;
  }
  if (std::any_of(kInitScripts.begin(), kInitScripts.end(), isExecutable)) return true;
  note("Apparmor init script does not exist");
  if (!isExecutable(kSystemctl)) {
    note("Systemd does not exist, apparmor might not be installed, skipping....");
    return false;
  }
  return systemdKnowsAppArmor();
}

}  // namespace joinscope
