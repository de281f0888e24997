// joincheck: what is the first cause, and what to do about it.
#include <unistd.h>

#include "check/command.h"

int main(int argc, char** argv) {
  const int status = joinscope::check::run(argc, argv);
  // Threads may still be asking where a run was cut, and what they use has to stay until the end.
  ::_exit(status);
}
