// One run of the command, and what the process arranges with the system before and after it.
#pragma once

namespace joinscope {

/// Parses the command line, prepares the run, checks the task's gate and runs its one handler.
/// Returns the exit status. Exceptions that are no failures of the agent library's kind leave it.
int main2(int argc, char** argv);

/// To be called first. Keeps secrets out of core files. Opens a missing standard descriptor so that
/// its use fails, as otherwise the next file or socket would take its number and receive the
/// report. Makes a write to a reader that has gone fail instead of ending the process; programs
/// started later are not affected.
void prepareProcess();

/// To be called last: writes out standard output. When something could not be written and `status`
/// is 0, returns 6 instead; says so on standard error, unless it was a pipe whose reader had
/// enough.
int finishOutput(int status);

}  // namespace joinscope
