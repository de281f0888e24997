// A script that prints, and beside it a file with this process's variables, which the script
// itself does not get.
#include "cli/support/environment_script.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>

#include "cli/common/command_runner.h"
#include "tolk/base/child_process.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

constexpr mode_t kOwnerOnly = 0700;

void writeFile(const std::string& path, std::string_view text) {
  ::unlink(path.c_str());
  const tolk::UniqueFd file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kOwnerOnly));
  if (!file || ::write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
      ::fchmod(file.get(), kOwnerOnly) != 0) {
    throw tolk::IOException(std::generic_category().message(errno), errno);
  }
}

// One line a variable, whatever is in its value.
std::string environmentLines() {
  std::string lines;
  for (char** variable = ::environ; *variable != nullptr; ++variable) {
    lines += tolk::printable(*variable) + '\n';
  }
  return lines;
}

}  // namespace

const char* const kEnvironmentScript = R"sh(#!/bin/sh
line="--------------------------------------------"
echo "Environment Variables:"
echo "$line"
# Of joinscope: what it starts has an environment without them.
sed 's/^/    /' <"$0.environment"
echo ""

lister=
if [ "$(uname)" = Darwin ]; then
  release=$(sw_vers -productVersion 2>/dev/null)
  case $release in
    10.[0-8] | 10.[0-8].*) ;;
    *)
      if ! command -v xcode-select >/dev/null 2>&1; then
        echo "xcodeselect not found"
        exit 1
      fi
      if ! xcode-select -p >/dev/null 2>&1; then
        echo "xcodeselect returned an error, xcode likely is not installed on 10.9+, skip otool check"
        exit 1
      fi
      ;;
  esac
  if ! command -v otool >/dev/null 2>&1; then
    echo "otool not found"
    exit 1
  fi
  lister="otool -L"
else
  if ! command -v ldd >/dev/null 2>&1; then
    echo "ldd not found"
    exit 1
  fi
  lister=ldd
fi

echo "Print /usr/sbin/velkd reference information"
echo "$line"
echo "    $lister /usr/sbin/velkd"
$lister /usr/sbin/velkd 2>&1 | sed 's/^/    /'
)sh";

void showEnvironment(const std::string& path) {
  const std::string variables = path + ".environment";
  const tolk::HeldSignals untilFilesAreGone;
  try {
    writeFile(variables, environmentLines());
    writeFile(path, kEnvironmentScript);
    // By the shell's name: the directory may be mounted without leave to run programs in it.
    runPiped("Environment variables and velkd reference information:",
             "/bin/sh " + shellQuoted(path), "  ");
  } catch (const tolk::IOException& failure) {
    std::cerr << "Cannot create file " << path << ":" << failure.what() << '\n';
  }
  ::unlink(path.c_str());
  ::unlink(variables.c_str());
}

}  // namespace joinscope
