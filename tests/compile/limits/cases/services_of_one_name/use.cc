#include "api.rpc.h"
#include "other.rpc.h"

int main() { return 0; }
