#include "api.rpc.h"

int main() {
#ifdef DEBUG
  log_everything();
#endif
}
