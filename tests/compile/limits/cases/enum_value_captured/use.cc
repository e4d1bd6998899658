#include "api.rpc.h"

bool IsOrder(demo::Kind kind) { return (kind == demo::ORDER); }

int main() { return IsOrder(demo::Kind()) ? 0 : 1; }
