// The example in one program and one thread, without a network: the server is
// reached within the process. The program prints conversation.txt.
#include <boost/shared_ptr.hpp>

#include "echo_calls.h"
#include "echo_service.h"
#include "qarn/rpc.h"

int main() {
  // The server must outlive the calls, so it comes first.
  echo_server::EchoServer server;
  const boost::shared_ptr<qarn_rpc::LocalChannel> channel(
      new qarn_rpc::LocalChannel);
  if (!channel->Register(server.service())) return 1;

  demo::echo::api::Echo::Stub stub(
      "example", "in-process", qarn_rpc::ClientContext("a friend"), channel);
  return echo_client::CallAll(&stub) ? 0 : 1;
}
