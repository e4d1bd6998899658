// One method, implemented and called in the same program. The code is generated
// with the parameter services_namespace=api.
#include <boost/shared_ptr.hpp>
#include <iostream>

#include "greeter.rpc.h"
#include "qarn/rpc.h"

using demo::Greeting;
using demo::Name;
using demo::api::Greeter;

namespace {

class Server : public Greeter::Service {
 public:
  void Greet(qarn_rpc::CallContext*, const Name& request,
             const GreetCallHandle& handle) override {
    Greeting greeting;
    greeting.set_text("hello, " + request.text());
    handle->Send(greeting);
    handle->Close();
  }
};

class Printer : public Greeter::Stub::GreetingCallObserverPtr {
 public:
  void OnMessage(const Greeting& greeting) override {
    std::cout << greeting.text() << "\n";
  }
  void OnEnd(const qarn_rpc::Status&) override {}
};

}  // namespace

int main() {
  Server server;
  const boost::shared_ptr<qarn_rpc::LocalChannel> channel(
      new qarn_rpc::LocalChannel);
  if (!channel->Register(server.service())) return 1;

  Greeter::Stub stub("greeter", "local", qarn_rpc::ClientContext(), channel);
  Printer printer;  // Prints each response.
  Name name;
  name.set_text("world");
  stub.Greet(name, &printer);
  return 0;
}
