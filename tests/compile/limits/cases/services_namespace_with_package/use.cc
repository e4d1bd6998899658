#include "api.rpc.h"

int main() { return *demo::Echo::name() == 'E' ? 0 : 1; }
