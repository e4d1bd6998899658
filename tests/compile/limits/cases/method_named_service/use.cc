#include "api.rpc.h"

struct EchoServer : demo::Echo::Service {
  void service(::qarn::rpc::CallContext*, const Request&,
               const serviceCallHandle&) {}
};

int main() {
  EchoServer server;
  return server.service() == 0;
}
