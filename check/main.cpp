// joincheck: what is the first cause, and what to do about it.
#include "check/command.h"

int main(int argc, char** argv) {
  return joinscope::check::run(argc, argv);
}
