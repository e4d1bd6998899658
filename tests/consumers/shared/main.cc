#include "order.rpc.h"

bool HasStock();

int main() {
  const int files = shop::order::Item::descriptor()->file()->dependency_count();
  return HasStock() && files == 1 ? 0 : 1;
}
