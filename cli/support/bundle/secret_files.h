// Files that hold nothing but secrets, and files that cannot be searched for them.
#pragma once

#include <string_view>

namespace joinscope {

/// What the first bytes of a file say about it.
struct FileKind {
  enum class Handling { search, keep, leaveOut };
  Handling handling = Handling::search;
  std::string_view what = {};  ///< "a keytab", "a compressed file"; empty for what is searched
};

/// How many first bytes recogniseFile() wants to see.
inline constexpr std::size_t kRecognisingBytes = 4096;

/// Keys, keytabs and caches of any format are left out; formats whose bytes hide the text in them
/// are kept as they are, and so is what is no text.
FileKind recogniseFile(std::string_view firstBytes);

/// Whether files of this name hold secrets, whatever their bytes look like. `name` has no folder.
bool isSecretFileName(std::string_view name);

}  // namespace joinscope
