// Whole texts to descriptors and files.
#pragma once

#include <string>
#include <string_view>

namespace joinscope::check {

/// Writes all of it; errno of what kept it from that, 0 for nothing.
int writeWhole(int descriptor, std::string_view text);

/// Makes or replaces a file that only this user can read. Throws IOException that names it.
void writePrivateFile(const std::string& path, std::string_view text);

}  // namespace joinscope::check
