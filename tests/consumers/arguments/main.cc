#include "first.rpc.h"

int main() { return shop::First::full_name() == "shop.First" ? 0 : 1; }
