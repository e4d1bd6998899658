// The main.cc of the README's greeter, which is generated with the parameter
// services_namespace=api: a call of each method, answered in the same program.

#include <boost/shared_ptr.hpp>
#include <iostream>
#include <string>

#include "greeter.rpc.h"
#include "qarn/rpc.h"

using demo::Greeting;
using demo::Name;
using demo::api::Greeter;

namespace {

Greeting MakeGreeting(const Name& name) {
  Greeting greeting;
  greeting.set_text("hello, " + name.text());
  return greeting;
}

// Greets each name of a GreetAll call.
class AllGreeter : public qarn_rpc::CallObserver<Name> {
 public:
  explicit AllGreeter(const Greeter::Service::GreetAllCallHandle& handle)
      : handle_(handle) {}

  void OnMessage(const Name& name) override {
    handle_->Send(MakeGreeting(name));
  }
  void OnEnd(const qarn_rpc::Status& status) override {
    handle_->Close(status);
  }

 private:
  const Greeter::Service::GreetAllCallHandle handle_;
};

class Server : public Greeter::Service {
 public:
  void Greet(qarn_rpc::CallContext*, const Name& request,
             const GreetCallHandle& handle) override {
    handle->Send(MakeGreeting(request));
    handle->Close();
  }
  NameCallObserverPtr GreetAll(qarn_rpc::CallContext*,
                               const GreetAllCallHandle& handle) override {
    return new AllGreeter(handle);
  }
};

class Printer : public qarn_rpc::CallObserver<Greeting> {
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
  Greeter::Stub stub("test", "in-process", qarn_rpc::ClientContext(), channel);

  Printer printer;
  Name name;
  name.set_text("one");
  stub.Greet(name, &printer);
  const Greeter::GreetAllClientCallPtr call = stub.GreetAll(&printer);
  for (const char* text : {"two", "three"}) {
    name.set_text(text);
    call->Send(name);
  }
  call->Close();
  return 0;
}
