// The file takes the place of standard input, so that its line is in locked memory from the first
// byte on, too.
#include "check/user_password.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/terminal.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

void openAsInput(const std::string& path) {
  const tolk::UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file && ::dup2(file.get(), STDIN_FILENO) == STDIN_FILENO) return;
  const int code = errno;
  throw tolk::IOException(
      "Cannot read the password file " + path + ": " + std::generic_category().message(code), code);
}

}  // namespace

tolk::Shredder readUserPassword(const Options& options) {
  if (!options.passwordFile.empty()) openAsInput(options.passwordFile);
  const std::string prompt = "Password for " + tolk::printable(options.question.user) + ": ";
  tolk::Shredder password =
      ::isatty(STDIN_FILENO) == 1 ? tolk::promptPassword(prompt.c_str()) : tolk::readSecretLine();
  if (password.empty()) {
    throw tolk::NotFoundException("No password for " + options.question.user +
                                  ": give it on the terminal, by --password-file or on standard "
                                  "input; nothing has been sent");
  }
  return password;
}

}  // namespace joinscope::check
