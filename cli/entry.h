// One run of the command.
#pragma once

namespace joinscope {

/// Parses the command line, prepares the run, checks the task's gate and runs its one handler.
/// Returns the exit status. Exceptions that are no failures of the agent library's kind leave it.
int main2(int argc, char** argv);

}  // namespace joinscope
