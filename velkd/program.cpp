// What the program does.
#include "velkd/program.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "tolk/base/standard_streams.h"
#include "velkd/adopt.h"
#include "velkd/daemon.h"
#include "velkd/exit_status.h"
#include "velkd/mfa_client.h"
#include "velkd/options.h"
#include "velkd/proxy_credential.h"
#include "velkd/reload.h"

namespace velkd {
namespace {

// The process holds keys and tickets: none of that into a core file, to a debugger, or into the
// file of TLS keys that libcurl writes for this variable.
void protectMemory() {
  (void)::unsetenv("SSLKEYLOGFILE");
  const rlimit none{};
  (void)::setrlimit(RLIMIT_CORE, &none);
  (void)::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

int runAction(const Options& options) {
  switch (options.action) {
    case Action::daemon:
      return runDaemon();
    case Action::adopt:
      adopt(options, std::cout);
      return exit_status::kSuccess;
    case Action::unadopt:
      unadopt(std::cout);
      return exit_status::kSuccess;
    case Action::setProxyCredential:
      return setProxyCredential(options.user);
    case Action::clearProxyCredential:
      return clearProxyCredential();
    case Action::mfa:
      return authenticateUser(options.user, options.command);
    case Action::reload:
      if (reloadDaemon()) return exit_status::kSuccess;
      std::cerr << "velkd: the daemon does not run\n";
      return exit_status::kMiscError;
    case Action::help:
      std::cout << kUsage;
      return exit_status::kSuccess;
    case Action::version:
      break;
  }
  std::cout << "velkd (Orvald " ORVALD_RELEASE ")\n";
  return exit_status::kSuccess;
}

bool forEverybody(Action action) {
  return action == Action::help || action == Action::version;
}

int run(const Options& options) {
  if (!options.problem.empty()) {
    std::cerr << "velkd: " << options.problem << '\n' << kUsage;
    return exit_status::kUsageError;
  }
  if (!forEverybody(options.action) && ::geteuid() != 0) {
    std::cerr << "You must be root to run velkd.\n";
    return exit_status::kNotRoot;
  }
  return runAction(options);
}

int finishOutput(int status) {
  std::cout.flush();
  if (std::cout.good()) return status;
  std::cerr << "velkd: Cannot write to standard output\n";
  return status == exit_status::kSuccess ? exit_status::kMiscError : status;
}

}  // namespace

int runProgram(int argc, char** argv) noexcept {
  tolk::holdStandardStreams();
  protectMemory();
  try {
    return finishOutput(run(parseOptions(argc, argv)));
  } catch (const AdoptRefusal& e) {
    std::cout.flush();
    std::cerr << "velkd: " << e.what() << '\n';
    return e.status();
  } catch (const std::exception& e) {
    std::cout.flush();
    std::cerr << "velkd: " << e.what() << '\n';
    return exit_status::kMiscError;
  }
}

}  // namespace velkd
