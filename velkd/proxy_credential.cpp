// The user for the web proxy.
#include "velkd/proxy_credential.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>

#include "cloud/http_proxy.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/lock_file.h"
#include "tolk/base/locked_memory.h"
#include "tolk/base/protected_credential.h"
#include "tolk/base/terminal.h"
#include "tolk/base/text.h"
#include "velkd/daemon.h"
#include "velkd/exit_status.h"

namespace velkd {
namespace {

constexpr std::size_t kMaxPassword = 1024;

/// The first line of standard input, without its end. Throws IOException.
tolk::Shredder readLine() {
  tolk::LockedMemory memory(kMaxPassword + 1);
  std::size_t length = 0;
  while (length <= kMaxPassword) {
    const ssize_t got = ::read(STDIN_FILENO, memory.data() + length, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw tolk::IOException("Cannot read the password from standard input", errno);
    if (got == 0 || memory.data()[length] == '\n') {
      return tolk::Shredder(std::string_view(memory.data(), length));
    }
    ++length;
  }
  throw tolk::IOException("The password is longer than 1024 bytes", EFBIG);
}

tolk::Shredder askPassword(const std::string& user) {
  if (::isatty(STDIN_FILENO) == 0) return readLine();
  return tolk::promptPassword(("Password of " + tolk::printable(user) + ": ").c_str());
}

void makeDirectory() {
  constexpr mode_t kMode = 0755;
  (void)::mkdir("/var/orvald", kMode);
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
