// clang-format off: the generated header comes first here.
#include "api.rpc.h"

#include <termios.h>
// clang-format on

int main() { return demo::ECHO::name()[0]; }
