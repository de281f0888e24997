// Standard output and error go into the file for as long as the report is written; whether it
// took all is asked at the end.
#include "cli/support/report_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <system_error>

namespace joinscope {
namespace {

tolk::UniqueFd duplicate(int descriptor) {
  return tolk::UniqueFd(::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

// A new file there. A regular file or a link makes room; anything else (a device, a FIFO) stays,
// and the result is none with EEXIST.
tolk::UniqueFd makeAnew(const std::string& path) {
  constexpr mode_t kOwnerMayRead = 0400;
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0 && (S_ISREG(status.st_mode) || S_ISLNK(status.st_mode))) {
    ::unlink(path.c_str());
  }
  return tolk::UniqueFd(::open(
      path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, kOwnerMayRead));
}

bool sayCannotOpen(const std::string& path) {
  const int reason = errno;
  std::perror(("Unable to open " + path).c_str());
  if (reason == EEXIST) {
    std::cerr << path << " is no regular file and is left as it is; name a file with -o\n";
  }
  return false;
}

// What the file would not take must not come out on the terminal.
void discardOutput() {
  const tolk::UniqueFd nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  ::dup2(nowhere.get(), STDOUT_FILENO);
  std::cout.clear();
  std::cout.flush();
}

// Why the file took not all of it: errno, 0 when no call says. A child's failed write shows here as
// well: it ends where the room ends, and then there is none for another byte.
int writeError(int descriptor) {
  if (::fsync(descriptor) != 0) return errno;
  const off_t end = ::lseek(descriptor, 0, SEEK_END);
  if (::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, end, 1) != 0) {
    return errno == ENOSPC || errno == EDQUOT || errno == EFBIG ? errno : 0;
  }
  return ::ftruncate(descriptor, end) == 0 ? 0 : errno;  // gives that byte back
}

}  // namespace

ReportFile::ReportFile(std::string path) : path_(std::move(path)) {
  std::cout.flush();
  redirected_ = redirect();
}

bool ReportFile::redirect() {
  output_ = duplicate(STDOUT_FILENO);
  if (!output_) return std::perror("Unable to dup(1)"), false;
  error_ = duplicate(STDERR_FILENO);
  if (!error_) return std::perror("Unable to dup(2)"), false;
  const tolk::UniqueFd file = makeAnew(path_);
  if (!file) return sayCannotOpen(path_);
  if (::dup2(file.get(), STDOUT_FILENO) == -1) return std::perror("Unable to dup2(1)"), false;
  if (::dup2(file.get(), STDERR_FILENO) == -1) {
    ::dup2(output_.get(), STDOUT_FILENO);
    return std::perror("Unable to dup2(2)"), false;
  }
  return true;
}

ReportFile::~ReportFile() {
  if (redirected_) restore();
}

bool ReportFile::restore() {
  std::cout.flush();
  const int reason = writeError(STDOUT_FILENO);
  const bool complete = reason == 0 && std::cout.good() && std::cerr.good();
  redirected_ = false;
  if (!complete) discardOutput();
  const bool error = putBack(error_, STDERR_FILENO, "Problem while restoring stderr");
  const bool output = putBack(output_, STDOUT_FILENO, "Problem while restoring stdout");
  std::cerr.clear();
  if (!complete) {
    std::cerr << "WARNING: " << path_ << " is not complete";
    if (reason != 0) std::cerr << ": " << std::generic_category().message(reason);
    std::cerr << '\n';
  }
  return error && output;
}

bool ReportFile::putBack(const tolk::UniqueFd& saved, int descriptor, const char* complaint) {
  if (::dup2(saved.get(), descriptor) != -1) return true;
  std::perror(complaint);
  return false;
}

int ReportFile::watcher() const noexcept {
  return ::isatty(error_.get()) == 1 ? error_.get() : -1;
}

}  // namespace joinscope
