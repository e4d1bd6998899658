#include "api.rpc.h"

int main() { return demo::ECHO_METHOD(Ping); }
