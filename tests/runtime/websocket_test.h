// What the tests of calls over the network share: a server of the Desk with a
// channel to it, and a client that knows as much of WebSocket as a test needs
// to break its rules.
#ifndef QARN_RPC_TESTS_RUNTIME_WEBSOCKET_TEST_H_
#define QARN_RPC_TESTS_RUNTIME_WEBSOCKET_TEST_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio.hpp>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "desk.h"
#include "qarn/rpc.h"
#include "qarn/rpc/websocket.h"

// A call over a raw socket, to a server of this machine.
class RawClient {
 public:
  explicit RawClient(unsigned short port) {
    socket_.connect({boost::asio::ip::address_v4::loopback(), port}, error_);
  }

  boost::asio::ip::tcp::socket* socket() { return &socket_; }

  // False if the connection does not take all of it.
  bool Write(const std::string& bytes) {
    boost::asio::write(socket_, boost::asio::buffer(bytes), error_);
    return !error_;
  }
  // So many bytes, or what comes before the end.
  std::string Read(std::size_t count) {
    std::string bytes(count, '\0');
    bytes.resize(
        boost::asio::read(socket_, boost::asio::buffer(bytes), error_));
    return bytes;
  }

  // The request that begins a call, with headers such as "A: b\r\n".
  static std::string Request(const std::string& target,
                             const std::string& headers = "") {
    return "GET " + target +
           " HTTP/1.1\r\nHost: x\r\nConnection: Upgrade\r\n"
           "Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
           "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n" +
           headers + "\r\n";
  }
  // Sends it. Whether the server takes it.
  bool Begin(const std::string& target, const std::string& headers = "") {
    std::string answer;
    Write(Request(target, headers));
    while (!error_ && answer.find("\r\n\r\n") == std::string::npos) {
      answer += Read(1);
    }
    return answer.rfind("HTTP/1.1 101 ", 0) == 0;
  }

  // A whole frame below 126 bytes, masked with zeros. The opcode of a text is
  // 1, of a message 2, of a close 8.
  static std::string Frame(int opcode, const std::string& payload) {
    std::string head(6, '\0');
    head[0] = static_cast<char>(0x80 | opcode);
    head[1] = static_cast<char>(0x80 | payload.size());
    return head + payload;
  }
  // The payload of the next frame, below 126 bytes.
  std::string ReadFrame() {
    const std::string head = Read(2);
    return head.size() == 2 ? Read(static_cast<unsigned char>(head[1])) : "";
  }

 private:
  boost::asio::io_context io_;
  boost::asio::ip::tcp::socket socket_{io_};
  boost::system::error_code error_;
};

// A server of the Desk, and a channel to it on another loop. Ask gives back
// what came, Talk logs the requests and keeps its handle for ServerHandle.
class WebSocketTest : public ::testing::Test {
 protected:
  WebSocketTest() {
    desk_.ask = [](const qarn::rpc::CallContext&, const Text& request,
                   const Handle& handle) {
      handle->Send(request);
      handle->Close();
    };
    desk_.talk = [this](qarn::rpc::CallContext*, const Handle& handle) {
      server_handle_.set_value(handle);
      return new Observer(&server_log_);
    };
  }

  void Serve(const qarn::rpc::Limits& limits = {}) {
    std::string reason;
    server_.reset(new qarn::rpc::WebSocketServer(&server_loop_, limits));
    server_->Register(&service_);
    ASSERT_TRUE(server_->Listen("127.0.0.1", 0, &reason)) << reason;
    port_ = server_->port();
    channel_ = NewChannel();
  }
  ChannelPtr NewChannel(const qarn::rpc::Limits& limits = {},
                        const std::string& host = "127.0.0.1") {
    return ChannelPtr(
        new qarn::rpc::WebSocketChannel(&client_loop_, host, port_, limits));
  }
  // Of one Talk call after the other.
  Handle ServerHandle() {
    const Handle handle = server_handle_.get_future().get();
    server_handle_ = std::promise<Handle>();
    return handle;
  }
  // Whether a call is answered, as others must be whatever one does.
  bool Answers() {
    Log log;
    Observer observer(&log);
    ::Ask(channel_, "hello", &observer);
    return log.Lines(3) ==
           std::vector<std::string>{"<hello", "hello>",
                                    EndLine(qarn::rpc::StatusCode::kOk)};
  }

  const std::string kLost = EndLine(qarn::rpc::StatusCode::kConnectionLost);
  const std::string kDeadline =
      EndLine(qarn::rpc::StatusCode::kDeadlinePassed, "the deadline passed");

  Log client_log_;
  Log server_log_;
  Observer client_{&client_log_};
  Desk::Service desk_;
  DeskService service_{&desk_};
  std::promise<Handle> server_handle_;
  qarn::rpc::Loop server_loop_;
  qarn::rpc::Loop client_loop_;
  std::unique_ptr<qarn::rpc::WebSocketServer> server_;
  unsigned short port_ = 0;
  ChannelPtr channel_;
};

#endif  // QARN_RPC_TESTS_RUNTIME_WEBSOCKET_TEST_H_
