// Runs the machine's protoc: what a build makes of protobuf's sources would.

#include <unistd.h>

int main(int, char** argv) {
  execv(REAL_PROTOC, argv);
  return 127;  // There is no such program.
}
