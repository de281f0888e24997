// Name and version of the operating system.
#include "tolk/base/os_version.h"

#include <sys/utsname.h>

#include <array>

#include "tolk/base/exceptions.h"
#include "tolk/base/file.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr std::array kReleaseFiles{"/etc/os-release", "/usr/lib/os-release"};
constexpr std::size_t kMaxFileBytes = std::size_t{1} << 20U;

// The first file that can be read, as os-release(5) says; they are never merged.
std::string readRelease() {
  for (const char* path : kReleaseFiles) {
    try {
      return readRegularFile(path, kMaxFileBytes);
    } catch (const IOException&) {
      continue;
    }
  }
  return {};
}

// Shell quoting: in double quotes and without quotes a backslash takes the next character as it is,
// in single quotes nothing does.
std::string unquoted(std::string_view text) {
  std::string out;
  char quote = '\0';
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\' && quote != '\'' && i + 1 < text.size()) {
      out += text[++i];
    } else if (quote != '\0' ? c == quote : c == '"' || c == '\'') {
      quote = quote == '\0' ? c : '\0';
    } else {
      out += c;
    }
  }
  return out;
}

const std::string& firstText(const std::string& first, const std::string& second) {
  return first.empty() ? second : first;
}

}  // namespace

std::string osReleaseValue(std::string_view text, std::string_view variable) {
  std::string value;
  for (const std::string& line : split(text, '\n')) {
    const std::string_view assignment = trim(line);
    if (assignment.starts_with(variable) && assignment.substr(variable.size()).starts_with('=')) {
      value = unquoted(assignment.substr(variable.size() + 1));
    }
  }
  return value;
}

void OSVersion(std::string& name, std::string& version) {
  utsname kernel{};
  const bool known = ::uname(&kernel) == 0;
  const std::string release = readRelease();
  name = firstText(osReleaseValue(release, "NAME"), known ? kernel.sysname : "Linux");
  version = firstText(osReleaseValue(release, "VERSION"), osReleaseValue(release, "VERSION_ID"));
  if (version.empty()) version = known ? kernel.release : "unknown";
}

}  // namespace tolk
