// The library says that some file is malformed, not which: each file's own lines, without what it
// includes, are parsed alone from memory.
#include "tolk/krb5/config_files.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "tolk/base/text.h"
#include "tolk/krb5/krb5_library.h"
#include "tolk/krb5/memory_file.h"

namespace tolk {
namespace {

namespace fs = std::filesystem;

constexpr int kMostIncludes = 5;  // of one another: a file may include itself

/// One file: its own lines, and where the others are.
struct ConfigFile {
  std::string ownLines;
  std::vector<std::string> includes;
};

/// Names in a directory that the library takes: letters, digits, "-" and "_", or "*.conf".
bool isIncluded(const fs::path& path) {
  const std::string name = path.filename();
  if (name.starts_with('.')) return false;
  return name.ends_with(".conf") || std::ranges::all_of(name, [](unsigned char c) {
           return std::isalnum(c) != 0 || c == '-' || c == '_';
         });
}

void addDirectory(const std::string& directory, std::vector<std::string>& out) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory, error)) {
    if (isIncluded(entry.path())) out.push_back(entry.path());
  }
  std::ranges::sort(out);
}

ConfigFile readFile(const std::string& path) {
  ConfigFile file;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("includedir ")) {
      addDirectory(std::string(trim(line.substr(11))), file.includes);
    } else if (line.starts_with("include ")) {
      file.includes.emplace_back(trim(line.substr(8)));
    } else {
      file.ownLines += line + '\n';
    }
  }
  return file;
}

bool isMalformed(const std::string& text) {
  constexpr std::array<long, 5> kSyntaxErrors{PROF_SECTION_NOTOP, PROF_SECTION_SYNTAX,
                                              PROF_RELATION_SYNTAX, PROF_EXTRA_CBRACE,
                                              PROF_MISSING_OBRACE};
  const UniqueFd memory = memoryFile(text);
  const std::string path = memoryFilePath(memory);
  const std::array<const char*, 2> paths{path.c_str(), nullptr};
  profile_t profile = nullptr;
  // The list is not written to; the library's type only says so by a typedef.
  const long code = profile_init(const_cast<const char**>(paths.data()), &profile);
  if (profile != nullptr) profile_abandon(profile);
  return std::ranges::find(kSyntaxErrors, code) != kSyntaxErrors.end();
}

std::string malformedOf(const std::string& path, int depth) {
  const ConfigFile file = readFile(path);
  if (isMalformed(file.ownLines)) return path;
  if (depth == 0) return {};
  for (const std::string& included : file.includes) {
    std::string found = malformedOf(included, depth - 1);
    if (!found.empty()) return found;
  }
  return {};
}

}  // namespace

std::vector<std::string> configFiles() {
  const char* named = std::getenv("KRB5_CONFIG");
  return split(named == nullptr ? "/etc/krb5.conf" : named, ':');
}

std::string malformedConfigFile(const std::vector<std::string>& files) {
  for (const std::string& path : files) {
    std::string found = malformedOf(path, kMostIncludes);
    if (!found.empty()) return found;
  }
  return {};
}

}  // namespace tolk
