// Sections in their order: the reports of other tasks, files, output of commands.
#include "cli/support/support_report.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <iostream>
#include <memory>
#include <system_error>

#include "cli/common/command_runner.h"
#include "cli/common/exit_status.h"
#include "cli/common/task_context.h"
#include "cli/common/version.h"
#include "cli/diag/diag_report.h"
#include "cli/status/config_report.h"
#include "cli/status/join_status.h"
#include "cli/support/environment_script.h"
#include "cli/support/log_window.h"
#include "cli/support/support_paths.h"
#include "tolk/base/child_process.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/os_version.h"
#include "tolk/base/private_directory.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kerberos_paths.h"

namespace joinscope {
namespace {

constexpr char kScripts[] = "/usr/share/orvald/bin/";
constexpr char kPamDirectory[] = "/etc/pam.d/";
constexpr std::string_view kAgentBackup = ".pre_orv";

void closeDirectory(DIR* directory) noexcept {
  ::closedir(directory);
}
using Directory = std::unique_ptr<DIR, tolk::Releaser<closeDirectory>>;

bool exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

/// Whether an entry of the PAM directory belongs into the report. Throws tolk::IOException.
bool isPamFile(const std::string& name) {
  if (name == "." || name == ".." || name.find(kAgentBackup) != std::string::npos) return false;
  struct stat status {};
  if (::stat((kPamDirectory + name).c_str(), &status) != 0) {
    throw tolk::IOException("Cannot examine " + std::string(kPamDirectory) + name + ": " +
                                std::generic_category().message(errno),
                            errno);
  }
  return !S_ISDIR(status.st_mode);
}

bool isSolaris11() {
  std::string name;
  std::string version;
  tolk::OSVersion(name, version);
  return name == "Solaris" && tolk::split(version, '.').front() == "11";
}

}  // namespace

void SupportReport::announce(std::string_view section) {
  if (watcher_ == -1) return;
  const std::string line = std::string(tolk::trim(section)) + '\n';
  // A watcher who is gone is no reason to stop.
  if (::write(watcher_, line.data(), line.size()) < 0) watcher_ = -1;
}

void SupportReport::begin(const std::string& heading) {
  announce(heading);
  std::cout << '\n' << heading << std::flush;
}

void SupportReport::fileSection(const std::string& path) {
  begin(path + ":\n");
  printFile(path);
}

int SupportReport::write() {
  const std::time_t now = std::time(nullptr);
  std::array<char, 64> text{};
  std::cout << ::ctime_r(&now, text.data()) << '\n';
  printVersion();
  agentReports();
  nameServiceFiles();
  keytab();
  fileSection(tolk::krb5ConfPath());
  fileSection("/etc/nsswitch.conf");
  if (exists(kPamDirectory)) pamFiles();
  nameServiceCache();
  libraries();
  environment();
  log();
  std::cout.flush();
  return exit_status::kSuccess;
}

void SupportReport::agentReports() {
  begin("Join Status:\n");
  joinStatusReport(run_.context, run_.server, &run_.verbose);
  begin("Diagnostics:\n");
  try {
    diagReport(run_.context, run_.server, &run_.verbose);
  } catch (const std::exception& failure) {
    std::cout.flush();
    std::cerr << "Error: " << tolk::printable(failure.what()) << '\n';
  }
  begin("Configuration:\n");
  printConfig();
}

void SupportReport::nameServiceFiles() {
  fileSection("/etc/hosts");
  fileSection("/etc/resolv.conf");
  if (run_.context.joined) return;
  begin("Showing content of the previous kset files ..... ");
  showPreviousKsets();
}

void SupportReport::keytab() {
  const std::string path = tolk::keytabPath();
  begin("Cached Kerberos tickets (" + path + "):\n");
  const int status = runCommands({{"/usr/share/orvald/kerberos/bin/klist", "-ket", path}}, false);
  if (status == -1) {
    std::cout << "Error: unable to fork\n";
  } else if (status != 0) {
    std::cout << "Error: klist exited with status " << status << '\n';
  }
}

void SupportReport::pamFiles() {
  const Directory directory(::opendir(kPamDirectory));
  if (!directory) {
    throw tolk::NotFoundException(tolk::formatText("Cannot open directory %s", {kPamDirectory}) +
                                      ": " + std::generic_category().message(errno),
                                  errno);
  }
  while (const dirent* entry = ::readdir(directory.get())) {
    const std::string name = static_cast<const char*>(entry->d_name);
    try {
      if (isPamFile(name)) fileSection(kPamDirectory + name);
    } catch (const std::exception& failure) {
      std::cout << "Error: " << failure.what() << '\n';
    }
  }
}

void SupportReport::nameServiceCache() {
  announce("nscd status:");
  runPiped("nscd status:\n", std::string(kScripts) + "nscdrestart.sh status", "");
  if (isSolaris11()) {
    runPiped("nscd configurations:\n", "/usr/bin/svcs -lv name-service/cache", "");
  }
}

void SupportReport::libraries() {
  const std::string verify = std::string(kScripts) + "joinscope_pkgverify.sh";
  const std::array<std::pair<const char*, CommandTable>, 4> sections{{
      {"PAM library reference information:\n", {{"/usr/bin/ldd", "/lib64/security/pam_orvald.so"}}},
      {"NSS library reference information:\n", {{"/usr/bin/ldd", "/lib64/libnss_orvald.so.2"}}},
      {"System Patch Levels:\n", {{"/bin/rpm", "-qa"}}},
      {"Orvald package verify results:\n", {{verify}, {verify, "list"}}},
  }};
  for (const auto& [heading, commands] : sections) {
    begin(heading);
    runCommands(commands, true);
  }
}

void SupportReport::environment() {
  announce("Environment variables and velkd reference information:");
  std::cout << '\n';
  showEnvironment(privateTempDirectory() + "/.joinscope.tmp");
}

void SupportReport::log() {
  if (!run_.context.useJournal) {
    fileSection(kAgentLog);
    return;
  }
  announce("System logging information:");
  std::cout << '\n';
  showJournal(run_.context);
}

int ShowSupportInfo(TaskContext& context, const char* server, std::ostream* verbose) {
  return SupportReport(Run(context, server, verbose), -1).write();
}

std::string privateTempDirectory() {
  constexpr std::size_t kPathBytes = 256;
  std::array<char, kPathBytes> path{};
  const int error = tolk::GetPellionTempDirForCurrentUser(path.data(), path.size());
  if (error == 0) return path.data();
  throw tolk::IOException(tolk::formatText("Failed to create directory:'%s'\n", {path.data()}) +
                              ": " + std::generic_category().message(error),
                          error);
}

void showPreviousKsets() {
  std::cout << '\n';
  for (const std::string_view setting :
       {tolk::SETTING_MACHINE_SITE, tolk::SETTING_DOMAIN_NAME, tolk::SETTING_HOST_NAME,
        tolk::SETTING_ZONE_GUID, tolk::SETTING_ZONE_REALNAME, tolk::SETTING_DOMAIN_CONTROLLER,
        tolk::SETTING_SCHEMA, tolk::SETTING_DES_SALT}) {
    const std::string path =
        tolk::kStateDirectory + std::string("/previous/kset.") + std::string(setting);
    if (!exists(path)) continue;
    std::cout << path << '\n';
    printFile(path);
    std::cout << '\n';
  }
}

}  // namespace joinscope
