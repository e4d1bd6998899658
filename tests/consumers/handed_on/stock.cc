#include "stock.rpc.h"

bool HasStock() { return shop::Stock::full_name() == "shop.Stock"; }
