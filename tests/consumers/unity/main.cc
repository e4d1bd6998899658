// Prints the name of a service.

#include <iostream>

#include "v1/stock.rpc.h"

int Other();

int main() {
  std::cout << shop::v1::Stock::full_name() << "\n";
  return Other();
}
