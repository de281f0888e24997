// Facts files on the disk.
#pragma once

#include <string>

#include "facts/facts.h"

namespace joinscope::check {

/// Reads one. Throws IOException or BadDataException that names the file and what is wrong with
/// it: more than 64 MiB, no JSON, a member of another type, a newer schema.
facts::Facts loadFacts(const std::string& path);

/// Writes one that only this user can read. Throws IOException that names the file.
void saveFacts(const facts::Facts& facts, const std::string& path);

}  // namespace joinscope::check
