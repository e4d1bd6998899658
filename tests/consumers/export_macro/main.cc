// Makes a message and, with USES_SERVICE, prints where a method's description
// is.

#include <iostream>

#include "stock.rpc.h"

int main() {
  shop::stock::Item item;
#ifdef USES_SERVICE
  std::cout << &shop::stock::Stock::Stub::_rpcmethod_Look << "\n";
#endif
  return item.ByteSizeLong() == 0 ? 0 : 1;
}
