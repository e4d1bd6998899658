// Calls each method of an echo_server, and prints what both sides say.
//
//   echo_client PORT [HOST]
//
// HOST is 127.0.0.1 if it is not given. The exit status is 1 if a call failed.
#include <boost/shared_ptr.hpp>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>

#include "echo_calls.h"
#include "qarn/rpc.h"
#include "qarn/rpc/websocket.h"

int main(int argc, char** argv) {
  char* end = nullptr;
  const unsigned long port = argc > 1 ? std::strtoul(argv[1], &end, 10) : 0;
  if (argc < 2 || argc > 3 || port == 0 || port > 65535 || *end != '\0') {
    std::cerr << "usage: echo_client PORT [HOST]\n";
    return 2;
  }
  const std::string host = argc > 2 ? argv[2] : "127.0.0.1";

  qarn_rpc::Loop loop;
  const boost::shared_ptr<qarn_rpc::Channel> channel(
      new qarn_rpc::WebSocketChannel(&loop, host,
                                     static_cast<unsigned short>(port)));
  // What the context says holds for every call: here, that it must have ended
  // after ten seconds.
  demo::echo::api::Echo::Stub stub(
      "example", host,
      qarn_rpc::ClientContext("a friend", std::chrono::seconds(10)), channel);
  return echo_client::CallAll(&stub) ? 0 : 1;
}
