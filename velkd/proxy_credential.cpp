// The user for the web proxy.
#include "velkd/proxy_credential.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "cloud/http_proxy.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/lock_file.h"
#include "tolk/base/protected_credential.h"
#include "tolk/base/terminal.h"
#include "tolk/base/text.h"
#include "velkd/daemon.h"
#include "velkd/exit_status.h"

namespace velkd {
namespace {

tolk::Shredder askPassword(const std::string& user) {
  if (::isatty(STDIN_FILENO) == 0) return tolk::readSecretLine();
  return tolk::promptPassword(("Password of " + tolk::printable(user) + ": ").c_str());
}

void makeDirectory() {
  constexpr mode_t kMode = 0755;
  (void)::mkdir(tolk::kStateDirectory, kMode);
}

void tellDaemon() {
  pid_t holder = 0;
  const int lock = OrvLock(kDaemonLockFile, &holder);
  if (holder > 0) (void)::kill(holder, SIGHUP);
  OrvUnlock(lock);
}

}  // namespace

int setProxyCredential(const std::string& user) {
  tolk::Shredder password;
  if (user != tolk::kMachineUser) {
    password = askPassword(user);
    if (password.empty()) {
      std::cerr << "velkd: no password was given; nothing is stored\n";
      return exit_status::kUsageError;
    }
  }
  makeDirectory();
  tolk::ProtectedCredential credential(tolk::kProxyCredentialName);
  credential.saveToFile(user, password.view());
  tellDaemon();
  std::cout << "Stored the user for the web proxy in " << credential.path() << ".\n";
  return exit_status::kSuccess;
}

int clearProxyCredential() {
  tolk::ProtectedCredential credential(tolk::kProxyCredentialName);
  const bool removed = credential.removeFile();
  if (removed) tellDaemon();
  std::cout << (removed ? "Removed " + credential.path() + ".\n"
                        : std::string("No user for the web proxy is stored.\n"));
  return exit_status::kSuccess;
}

}  // namespace velkd
