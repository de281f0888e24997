// Which release this is, and which release of the product suite is installed beside it.
#pragma once

#include <iosfwd>
#include <string>

namespace joinscope {

/// Writes "joinscope (RELEASE)" and a line end to `out`.
void writeVersion(std::ostream& out);

/// The version line on standard output; returns status 0.
int printVersion();

/// The version line and the suite's on standard output; returns status 0. Throws what
/// readSuiteVersion() throws.
int printProductVersion();

/// The line that the suite's packages install in /usr/share/orvald/etc/orvald_suite_version. When
/// it cannot be had, writes a line that says so to standard output, then throws what
/// readSuiteVersionFrom() threw.
std::string readSuiteVersion();

/// The content of the file at `path` up to the first NUL byte, without white space at both ends.
/// Throws IOException with errno when the file cannot be opened, examined or read, IOException with
/// -1 when one read(2) gives less than stat(2) announced (or the file is over 1 MiB),
/// BadDataException when nothing is left.
std::string readSuiteVersionFrom(const char* path);

}  // namespace joinscope
