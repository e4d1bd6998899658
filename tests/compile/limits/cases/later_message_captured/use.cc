#include "api.rpc.h"
#include "other.pb.h"

int main() {
  other::ECHO echo;
  return echo.ByteSizeLong() == 0 ? 0 : 1;
}
