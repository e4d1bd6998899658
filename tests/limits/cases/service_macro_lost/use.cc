#include "api.rpc.h"

#include <termios.h>

int main() { return demo::ECHO::name()[0]; }
