#include "stock.rpc.h"

int main() {
  return shop::NAMESPACE::Stock::full_name() == "shop.Stock" ? 0 : 1;
}
