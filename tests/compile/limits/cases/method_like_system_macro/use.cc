#include <sys/sysmacros.h>

#include "api.rpc.h"

int main() {}
