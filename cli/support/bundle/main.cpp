// joinscope_bundle [PATH...] REPORT: packs the support report, what belongs to it and the paths
// into REPORT.tar.gz. joinscope_extra.sh runs it.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "cli/support/bundle/bundle.h"
#include "tolk/base/child_process.h"
#include "tolk/base/text.h"

namespace {

constexpr int kUsageError = 2;

int tell(const joinscope::BundleResult& result) {
  const std::string path = tolk::printable(result.path);
  if (!result.failure.empty()) {
    std::cout << "No support bundle: " << tolk::printable(result.failure) << '\n';
    return 1;
  }
  std::cout << result.notes << "Support bundle: " << path << '\n';
  if (result.reason.empty()) return 0;
  std::cout << "It is not complete: " << tolk::printable(result.reason)
            << "; left-out.txt in it says what is missing\n";
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  // The bundle must not become standard output because that is closed.
  for (int fd = ::open("/dev/null", O_RDWR); fd != -1 && fd <= STDERR_FILENO;) {
    fd = ::open("/dev/null", O_RDWR);
  }
  if (argc < 2) {
    std::cerr << "usage: joinscope_bundle [PATH...] REPORT\n";
    return kUsageError;
  }
  // A reader who has gone, and a limit on the size of files, are failed writes.
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  constexpr mode_t kOwnerOnly = 077;
  ::umask(kOwnerOnly);
  // A signal has its way when the bundle is in its place.
  const tolk::HeldSignals held;
  const std::vector<std::string> paths(argv + 1, argv + argc - 1);
  const int status = tell(joinscope::makeBundle(argv[argc - 1], paths, held));
  std::cout.flush();
  return status;
}
