// What the program does: its command line, and failures as messages and statuses.
#pragma once

namespace velkd {

/// Runs the program and returns its exit status. Throws nothing.
int runProgram(int argc, char** argv) noexcept;

}  // namespace velkd
