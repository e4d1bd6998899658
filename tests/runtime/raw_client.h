// A client that knows as much of WebSocket as a test needs to break its rules.
#ifndef QARN_RPC_TESTS_RUNTIME_RAW_CLIENT_H_
#define QARN_RPC_TESTS_RUNTIME_RAW_CLIENT_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

class RawClient {
 public:
  explicit RawClient(unsigned short port)
      : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address),
                sizeof(address)) != 0) {
      Close();
    }
  }
  ~RawClient() { Close(); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  int socket_number() const { return socket_; }
  void Close() {
    if (socket_ >= 0) close(socket_);
    socket_ = -1;
  }

  // False if the connection does not take all of it.
  bool Write(const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
      const ssize_t count =
          send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (count <= 0) return false;
      sent += static_cast<std::size_t>(count);
    }
    return true;
  }
  // So many bytes, or what comes before the end.
  std::string Read(std::size_t count) {
    std::string bytes(count, '\0');
    const ssize_t got = recv(socket_, &bytes[0], count, MSG_WAITALL);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
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
    if (!Write(Request(target, headers))) return false;
    std::string answer;
    while (answer.find("\r\n\r\n") == std::string::npos) {
      const std::string byte = Read(1);
      if (byte.empty()) return false;
      answer += byte;
    }
    return answer.rfind("HTTP/1.1 101 ", 0) == 0;
  }

  // A whole frame below 126 bytes, masked with zeros. The opcode of a text is
  // 1, of a message 2, of a close 8.
  static std::string Frame(int opcode, const std::string& payload) {
    return std::string{static_cast<char>(0x80 | opcode),
                       static_cast<char>(0x80 | payload.size()),
                       0,
                       0,
                       0,
                       0} +
           payload;
  }
  // The payload of the next frame, below 126 bytes.
  std::string ReadFrame() {
    const std::string head = Read(2);
    return head.size() == 2 ? Read(static_cast<unsigned char>(head[1])) : "";
  }

 private:
  int socket_;
};

#endif  // QARN_RPC_TESTS_RUNTIME_RAW_CLIENT_H_
