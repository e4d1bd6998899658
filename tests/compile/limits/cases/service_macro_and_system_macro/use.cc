#include <termios.h>

#include "api.rpc.h"

int main() { return ECHO == 0; }
