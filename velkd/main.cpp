// Process entry of the agent daemon.
#include "velkd/program.h"

int main(int argc, char** argv) {
  return velkd::runProgram(argc, argv);
}
