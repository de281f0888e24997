// Files that exist in memory only, for libraries that read nothing but files.
#pragma once

#include <string>

#include "tolk/base/handle.h"

namespace tolk {

/// A file with that text, which ends with its descriptor. Throws IOException.
UniqueFd memoryFile(const std::string& text);

/// How this process opens it.
std::string memoryFilePath(const UniqueFd& file);

}  // namespace tolk
