// Serves echo.proto over WebSocket, on the loopback, until it is interrupted or
// told to terminate. Then it ends within ten seconds, in which the calls that
// run may end.
//
//   echo_server [PORT]
//
// Without PORT it takes one that is free. It prints which.
#include <pthread.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>

#include "echo_service.h"
#include "qarn/rpc.h"
#include "qarn/rpc/websocket.h"

int main(int argc, char** argv) {
  char* end = nullptr;
  const unsigned long port = argc > 1 ? std::strtoul(argv[1], &end, 10) : 0;
  if (argc > 2 || port > 65535 || (end && *end != '\0')) {
    std::cerr << "usage: echo_server [PORT]\n";
    return 2;
  }
  // From here on the signals wait for us, in all threads.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  // What serves must outlive the server, and the loop all that runs on it: the
  // order of these three lines is that of their lifetimes.
  echo_server::EchoServer echo;
  qarn_rpc::Loop loop;
  qarn_rpc::WebSocketServer server(&loop);

  std::string reason;
  if (!server.Register(echo.service()) ||
      !server.Listen("127.0.0.1", static_cast<unsigned short>(port), &reason)) {
    std::cerr << "echo_server: " << reason << "\n";
    return 1;
  }
  std::cout << "listening on port " << server.port() << std::endl;

  int signal = 0;
  sigwait(&signals, &signal);
  server.Stop(std::chrono::seconds(8));
  std::cout << "stopped" << std::endl;
  return 0;
}
