// The release of this program and of the suite that it is part of.
#include "cli/common/version.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <string_view>
#include <system_error>

#include "cli/common/exit_status.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

constexpr char kRelease[] = "Orvald " ORVALD_RELEASE;
constexpr char kSuiteVersionPath[] = "/usr/share/orvald/etc/orvald_suite_version";
constexpr char kSuiteUnavailable[] = "Pellion Infrastructure Services Version <unavailable>";
constexpr char kOrigin[] = "cli_info";           // the source that the records of a start name
constexpr std::size_t kMaxTextBytes = 511;       // of an exception's text, and of its pattern
constexpr std::size_t kMaxFileBytes = 1U << 20;  // bounds the memory, not the format

// A pattern is first joined with the place of the error text, then filled; each text is cut by
// itself.
std::string fill(const std::string& pattern, std::initializer_list<std::string> arguments) {
  return tolk::formatText(pattern, arguments).substr(0, kMaxTextBytes);
}

[[noreturn]] void throwWithErrno(const char* what, const char* path, int code) {
  const std::string pattern = fill("%s: %%s", {what});
  throw tolk::IOException(fill(pattern, {path, std::generic_category().message(code)}), code,
                          kOrigin, "IOException");
}

// Size and content are asked for apart, with one read(2): a file that is written to meanwhile shows
// as short.
std::string readWhole(const char* path) {
  // O_NONBLOCK: a FIFO without a writer must not keep the command waiting.
  const tolk::UniqueFd fd(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd) throwWithErrno("Cannot open file %s", path, errno);
  struct stat status {};
  if (::stat(path, &status) != 0) throwWithErrno("Cannot stat file to %s", path, errno);

  const auto size = static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
  std::string content(std::min(size, kMaxFileBytes), '\0');
  const ssize_t count = ::read(fd.get(), content.data(), content.size());
  if (count < 0) throwWithErrno("Cannot read file %s", path, errno);
  if (static_cast<std::size_t>(count) < size) {
    throw tolk::IOException(fill("Cannot read all data in file %s", {path}), -1, kOrigin,
                            "IOException");
  }
  return content;
}

}  // namespace

void writeVersion(std::ostream& out) {
  out << "joinscope (" << kRelease << ")\n";
}

int printVersion() {
  writeVersion(std::cout);
  return exit_status::kSuccess;
}

int printProductVersion() {
  writeVersion(std::cout);
  std::cout << readSuiteVersion() << '\n';
  return exit_status::kSuccess;
}

std::string readSuiteVersion() {
  try {
    return readSuiteVersionFrom(kSuiteVersionPath);
  } catch (const tolk::Base_Exception&) {
    std::cout << kSuiteUnavailable << '\n';
    throw;
  }
}

std::string readSuiteVersionFrom(const char* path) {
  const std::string content = readWhole(path);
  const std::string_view text = tolk::trim(content.c_str());
  if (text.empty()) {
    throw tolk::BadDataException(fill("Data in file %s is incorrect.", {path}), -1, kOrigin,
                                 "BadDataException");
  }
  return std::string(text);
}

}  // namespace joinscope
