// Serves echo.proto over TCP, on the loopback, until it is interrupted or told
// to terminate. Then it lets the calls that run end, for at most ten seconds.
//
//   echo_server [PORT]
//
// Without PORT it takes one that is free. It prints which.
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>

#include "echo_service.h"
#include "qarn/rpc.h"
#include "qarn/rpc/tcp.h"

int main(int argc, char** argv) {
  char* end = nullptr;
  const unsigned long port = argc > 1 ? std::strtoul(argv[1], &end, 10) : 0;
  if (argc > 2 || port > 65535 || (end && *end != '\0')) {
    std::cerr << "usage: echo_server [PORT]\n";
    return 2;
  }
  // From here on the signals wait for us, also those that come very soon.
  boost::asio::io_context io;
  boost::asio::signal_set signals(io, SIGINT, SIGTERM);

  // What serves must outlive the server, and all that uses the threads must go
  // before them: the order of these three lines is that of their lifetimes.
  echo_server::EchoServer echo;
  qarn_rpc::IoThreads threads(4);
  qarn_rpc::TcpServer server(&threads);

  std::string reason;
  if (!server.Register(echo.service()) ||
      !server.Listen("127.0.0.1", static_cast<unsigned short>(port), &reason)) {
    std::cerr << "echo_server: " << reason << "\n";
    return 1;
  }
  std::cout << "listening on port " << server.port() << std::endl;

  signals.async_wait([](const boost::system::error_code&, int) {});
  io.run();
  server.Stop(std::chrono::seconds(10));
  std::cout << "stopped" << std::endl;
  return 0;
}
