// The generated header comes first here.
// clang-format off
#include "api.rpc.h"

#include <termios.h>
// clang-format on

int main() { return demo::ECHO::name()[0]; }
