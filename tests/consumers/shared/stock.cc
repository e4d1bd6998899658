#include "stock.rpc.h"

__attribute__((visibility("default"))) bool HasStock() {
  return shop::stock::Item::descriptor()->file()->dependency_count() == 1;
}
