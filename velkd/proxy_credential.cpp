// The user for the web proxy.
#include "velkd/proxy_credential.h"

#include <unistd.h>

#include <iostream>

#include "cloud/http/http_proxy.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/open_directory.h"
#include "tolk/base/protected_credential.h"
#include "tolk/base/terminal.h"
#include "tolk/base/text.h"
#include "velkd/exit_status.h"
#include "velkd/reload.h"

namespace velkd {
namespace {

tolk::Shredder askPassword(const std::string& user) {
  if (::isatty(STDIN_FILENO) == 0) return tolk::readSecretLine();
  return tolk::promptPassword(("Password of " + tolk::printable(user) + ": ").c_str());
}

// What is stored is good without a daemon, or with one that does not answer.
void tellDaemon() noexcept {
  try {
    (void)reloadDaemon();
  } catch (const std::exception& e) {
    std::cerr << "velkd: the daemon was told, but has not answered: " << tolk::printable(e.what())
              << '\n';
  }
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
  (void)tolk::makeOpenDirectory(tolk::kStateDirectory);  // what fails shows when the file is made
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
