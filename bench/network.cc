// Measures the example runtime over TCP on the loopback, beside plain echoes of
// as many bytes as a call sends: the limit of what can be reached with Asio.
//
//   network_bench SECONDS ROUNDS
//
// Prints a JSON object. Each server is a process of its own, which this program
// starts: network_bench --serve rpc|chunks|messages THREADS BYTES. Each row is
// measured for SECONDS, in each of ROUNDS, in which the programs take turns.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/asio.hpp>
#include <boost/shared_ptr.hpp>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "echo.rpc.h"
#include "qarn/rpc.h"
#include "qarn/rpc/tcp.h"

extern char** environ;

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using demo::echo::api::Echo;
using demo::text::Line;
using Clock = std::chrono::steady_clock;
using boost::system::error_code;

// Of the servers and of the clients, in all programs the same.
constexpr std::size_t kThreads = 2;
constexpr std::size_t kText = 32;

Line MakeLine() {
  Line line;
  line.set_text(std::string(kText, 'x'));
  return line;
}

// What one Say sends over the connection.
std::size_t BytesOfACall() {
  using namespace qarn::rpc::tcp;
  const std::string method = std::string(Echo::full_name()) + "/Say";
  StartPayload start;
  start.service = Echo::full_name();
  start.method = method;
  start.label = "bench";
  return 3 * kHeaderSize + StartBytes(start).size() + MakeLine().ByteSizeLong();
}

[[noreturn]] void Fail(const std::string& what) {
  std::cerr << "network_bench: " << what << "\n";
  std::exit(1);
}

// -----------------------------------------------------------------------------
// The servers.

class EchoServer : public Echo::Service {
 public:
  void Say(qarn_rpc::CallContext*, const Line& request,
           const SayCallHandle& handle) override {
    handle->Send(request);
    handle->Close();
  }
  void Repeat(qarn_rpc::CallContext*, const demo::echo::RepeatRequest& request,
              const RepeatCallHandle& handle) override {
    for (int i = 0; i < request.times(); ++i) {
      if (!handle->Send(request.line())) return;
    }
    handle->Close();
  }
  LineCallObserverPtr Tally(qarn_rpc::CallContext*,
                            const TallyCallHandle& handle) override {
    class Tallier : public qarn_rpc::CallObserver<Line> {
     public:
      explicit Tallier(const TallyCallHandle& answer) : answer_(answer) {}
      void OnMessage(const Line&) override { ++lines_; }
      void OnEnd(const qarn_rpc::Status& status) override {
        demo::echo::Count count;
        count.set_lines(lines_);
        answer_->Send(count);
        answer_->Close(status);
      }

     private:
      const TallyCallHandle answer_;
      int lines_ = 0;
    };
    return new Tallier(handle);
  }
  LineCallObserverPtr Chat(qarn_rpc::CallContext*,
                           const ChatCallHandle&) override {
    return nullptr;
  }
};

// Sends back what comes: whatever is there, or a message of a fixed size at a
// time.
class PlainSession : public std::enable_shared_from_this<PlainSession> {
 public:
  PlainSession(tcp::socket socket, std::size_t message)
      : socket_(std::move(socket)), message_(message), buffer_(64 << 10) {
    socket_.set_option(tcp::no_delay(true));
  }
  void Read() {
    auto self = shared_from_this();
    auto then = [self](const error_code& error, std::size_t count) {
      if (!error) self->Write(count);
    };
    if (message_ == 0) {
      socket_.async_read_some(asio::buffer(buffer_), then);
    } else {
      asio::async_read(socket_, asio::buffer(buffer_.data(), message_), then);
    }
  }

 private:
  void Write(std::size_t count) {
    asio::async_write(
        socket_, asio::buffer(buffer_.data(), count),
        [self = shared_from_this()](const error_code& error, std::size_t) {
          if (!error) self->Read();
        });
  }

  tcp::socket socket_;
  const std::size_t message_;
  std::vector<char> buffer_;
};

int Serve(const std::string& mode, std::size_t threads, std::size_t bytes) {
  qarn_rpc::IoThreads pool(threads);
  if (mode == "rpc") {
    EchoServer echo;
    qarn_rpc::TcpServer server(&pool);
    std::string reason;
    if (!server.Register(echo.service()) ||
        !server.Listen("127.0.0.1", 0, &reason)) {
      Fail(reason);
    }
    std::cout << server.port() << std::endl;
    std::cin.get();
    return 0;
  }
  auto acceptor = std::make_shared<tcp::acceptor>(
      pool.context(), tcp::endpoint(asio::ip::address_v4::loopback(), 0));
  std::function<void()> accept = [&] {
    acceptor->async_accept([&](const error_code& error, tcp::socket socket) {
      if (error) return;
      std::make_shared<PlainSession>(std::move(socket),
                                     mode == "chunks" ? 0 : bytes)
          ->Read();
      accept();
    });
  };
  accept();
  std::cout << acceptor->local_endpoint().port() << std::endl;
  std::cin.get();
  std::_Exit(0);
}

// A server in another process, until it is destroyed.
class ServerProcess {
 public:
  explicit ServerProcess(const std::string& mode) {
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) Fail("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    std::string words[] = {"network_bench", "--serve", mode,
                           std::to_string(kThreads),
                           std::to_string(BytesOfACall())};
    char* argv[] = {words[0].data(), words[1].data(), words[2].data(),
                    words[3].data(), words[4].data(), nullptr};
    if (posix_spawn(&pid_, "/proc/self/exe", &actions, nullptr, argv,
                    environ) != 0) {
      Fail("cannot start a server");
    }
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    input_ = in[1];
    std::FILE* const output = fdopen(out[0], "r");
    int port = 0;
    if (std::fscanf(output, "%d", &port) != 1) Fail("a server did not start");
    std::fclose(output);
    port_ = static_cast<unsigned short>(port);
  }
  ~ServerProcess() {
    close(input_);
    waitpid(pid_, nullptr, 0);
  }
  unsigned short port() const { return port_; }

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  unsigned short port_ = 0;
};

// -----------------------------------------------------------------------------
// The clients.

// What one connection has measured: the latencies while it counts.
struct Meter {
  const std::atomic<bool>* counting;
  std::vector<float> microseconds;

  void Count(Clock::time_point since) {
    if (counting->load(std::memory_order_relaxed)) {
      microseconds.push_back(
          std::chrono::duration<float, std::micro>(Clock::now() - since)
              .count());
    }
  }
};

// Keeps `in_flight` messages on their way, for as long as it is told to go on.
class PlainClient : public std::enable_shared_from_this<PlainClient> {
 public:
  PlainClient(asio::io_context* io, unsigned short port, std::size_t in_flight,
              const std::atomic<bool>* go_on, Meter* meter)
      : socket_(*io),
        strand_(asio::make_strand(*io)),
        size_(BytesOfACall()),
        go_on_(go_on),
        meter_(meter),
        room_(64 << 10),
        bytes_(in_flight * size_, 'x') {
    socket_.connect(tcp::endpoint(asio::ip::address_v4::loopback(), port));
    socket_.set_option(tcp::no_delay(true));
    to_send_ = in_flight;
  }
  void Start() {
    asio::post(strand_, [self = shared_from_this()] {
      self->Write();
      self->Read();
    });
  }

 private:
  void Write() {
    if (writing_ || to_send_ == 0) return;
    writing_ = true;
    const std::size_t count = std::exchange(to_send_, 0);
    sent_.insert(sent_.end(), count, Clock::now());
    asio::async_write(
        socket_, asio::buffer(bytes_.data(), count * size_),
        asio::bind_executor(strand_, [self = shared_from_this()](
                                         const error_code& error, std::size_t) {
          self->writing_ = false;
          if (!error) self->Write();
        }));
  }
  void Read() {
    socket_.async_read_some(
        asio::buffer(room_),
        asio::bind_executor(strand_, [self = shared_from_this()](
                                         const error_code& error,
                                         std::size_t count) {
          if (error) return;
          self->partly_ += count;
          for (; self->partly_ >= self->size_; self->partly_ -= self->size_) {
            self->meter_->Count(self->sent_.front());
            self->sent_.pop_front();
            if (*self->go_on_) ++self->to_send_;
          }
          self->Write();
          if (!self->sent_.empty() || self->to_send_ > 0) self->Read();
        }));
  }

  tcp::socket socket_;
  asio::strand<asio::io_context::executor_type> strand_;
  const std::size_t size_;
  const std::atomic<bool>* const go_on_;
  Meter* const meter_;
  std::vector<char> room_;
  const std::string bytes_;
  std::size_t to_send_ = 0;
  std::size_t partly_ = 0;
  bool writing_ = false;
  std::deque<Clock::time_point> sent_;
};

// One of the calls in flight: when it has ended, it makes the next. Those of
// one connection may run at once, so each has a meter.
class Caller : public Echo::Stub::LineCallObserverPtr {
 public:
  Caller(Echo::Stub* stub, const std::atomic<bool>* go_on, Meter* meter)
      : stub_(stub), go_on_(go_on), meter_(meter), line_(MakeLine()) {}

  void Call() {
    since_ = Clock::now();
    stub_->Say(line_, this);
  }
  void OnMessage(const Line& line) override {
    answered_ = line.text().size() == kText;
  }
  void OnEnd(const qarn_rpc::Status& status) override {
    if (!status.ok() || !answered_) Fail("a call failed: " + status.message());
    answered_ = false;
    meter_->Count(since_);
    if (*go_on_) {
      Call();
    } else {
      ended_ = true;
    }
  }
  bool ended() const { return ended_; }

 private:
  Echo::Stub* const stub_;
  const std::atomic<bool>* const go_on_;
  Meter* const meter_;
  const Line line_;
  Clock::time_point since_;
  bool answered_ = false;
  std::atomic<bool> ended_{false};
};

struct Row {
  double seconds = 0;
  std::vector<float> microseconds;
};

// Warms up, and then counts for so long.
void Count(double seconds, std::atomic<bool>* counting, Row* row) {
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const Clock::time_point start = Clock::now();
  *counting = true;
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  *counting = false;
  row->seconds += std::chrono::duration<double>(Clock::now() - start).count();
}

void MeasureCalls(const std::string& mode, std::size_t connections,
                  std::size_t in_flight, double seconds, Row* row) {
  const ServerProcess server(mode);
  std::atomic<bool> counting{false};
  std::atomic<bool> go_on{true};
  std::deque<Meter> meters;
  if (mode == "rpc") {
    qarn_rpc::IoThreads threads(kThreads);
    std::deque<Echo::Stub> stubs;
    std::deque<Caller> callers;
    for (std::size_t i = 0; i < connections; ++i) {
      const boost::shared_ptr<qarn_rpc::TcpChannel> channel(
          new qarn_rpc::TcpChannel(&threads, "127.0.0.1", server.port()));
      if (!channel->status().ok()) Fail(channel->status().message());
      stubs.emplace_back("bench", "", qarn_rpc::ClientContext("bench"),
                         channel);
      for (std::size_t j = 0; j < in_flight; ++j) {
        meters.push_back({&counting, {}});
        callers.emplace_back(&stubs.back(), &go_on, &meters.back());
      }
    }
    for (Caller& caller : callers) caller.Call();
    Count(seconds, &counting, row);
    go_on = false;
    for (const Caller& caller : callers) {
      while (!caller.ended()) std::this_thread::yield();
    }
  } else {
    asio::io_context io;
    for (std::size_t i = 0; i < connections; ++i) {
      meters.push_back({&counting, {}});
      std::make_shared<PlainClient>(&io, server.port(), in_flight, &go_on,
                                    &meters.back())
          ->Start();
    }
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
      threads.emplace_back([&io] { io.run(); });
    }
    Count(seconds, &counting, row);
    go_on = false;
    for (std::thread& thread : threads) thread.join();
  }
  for (const Meter& meter : meters) {
    row->microseconds.insert(row->microseconds.end(),
                             meter.microseconds.begin(),
                             meter.microseconds.end());
  }
}

// Waits for the end of a stream.
template <class T>
class StreamEnd : public qarn_rpc::CallObserver<T> {
 public:
  void OnMessage(const T&) override { ++count_; }
  void OnEnd(const qarn_rpc::Status& status) override {
    if (!status.ok()) Fail("a stream failed: " + status.message());
    ended_ = true;
  }
  int Wait() {
    while (!ended_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return count_;
  }

 private:
  int count_ = 0;
  std::atomic<bool> ended_{false};
};

// Messages a second, to the client or to the server.
double MeasureStream(bool to_client) {
  constexpr int kMessages = 1000000;
  const ServerProcess server("rpc");
  qarn_rpc::IoThreads threads(kThreads);
  const boost::shared_ptr<qarn_rpc::TcpChannel> channel(
      new qarn_rpc::TcpChannel(&threads, "127.0.0.1", server.port()));
  Echo::Stub stub("bench", "", qarn_rpc::ClientContext("bench"), channel);
  const Clock::time_point start = Clock::now();
  if (to_client) {
    StreamEnd<Line> end;
    demo::echo::RepeatRequest request;
    *request.mutable_line() = MakeLine();
    request.set_times(kMessages);
    stub.Repeat(request, &end);
    if (end.Wait() != kMessages) Fail("a stream lost messages");
  } else {
    StreamEnd<demo::echo::Count> end;
    const Echo::TallyClientCallPtr call = stub.Tally(&end);
    const Line line = MakeLine();
    for (int i = 0; i < kMessages; ++i) call->Send(line);
    call->Close();
    end.Wait();
  }
  return kMessages /
         std::chrono::duration<double>(Clock::now() - start).count();
}

int Measure(double seconds, int rounds) {
  constexpr std::array<const char*, 3> modes = {"rpc", "messages", "chunks"};
  constexpr std::array<std::array<std::size_t, 2>, 4> loads = {
      {{1, 1}, {1, 64}, {8, 1}, {8, 64}}};
  std::map<std::string, Row> rows;
  std::vector<double> streams[2];
  for (int round = 0; round < rounds; ++round) {
    for (const auto& load : loads) {
      // The order changes from round to round.
      for (std::size_t i = 0; i < modes.size(); ++i) {
        const std::string mode =
            modes[(i + static_cast<std::size_t>(round)) % modes.size()];
        Row& row = rows["\"mode\": \"" + mode +
                        "\", \"connections\": " + std::to_string(load[0]) +
                        ", \"in_flight\": " + std::to_string(load[1])];
        MeasureCalls(mode, load[0], load[1], seconds, &row);
      }
    }
    streams[0].push_back(MeasureStream(true));
    streams[1].push_back(MeasureStream(false));
  }
  std::cout << "{\"bytes\": " << BytesOfACall() << ", \"text\": " << kText
            << ", \"threads\": " << kThreads << ", \"seconds\": " << seconds
            << ", \"rounds\": " << rounds << ", \"rows\": [";
  const char* comma = "";
  for (auto& [name, row] : rows) {
    std::sort(row.microseconds.begin(), row.microseconds.end());
    const std::size_t count = row.microseconds.size();
    if (count == 0) Fail("nothing was counted for " + name);
    std::cout << comma << "\n{" << name
              << ", \"rate\": " << static_cast<double>(count) / row.seconds
              << ", \"p50\": " << row.microseconds[count / 2]
              << ", \"p99\": " << row.microseconds[count * 99 / 100] << "}";
    comma = ",";
  }
  for (std::vector<double>& rates : streams) {
    std::sort(rates.begin(), rates.end());
  }
  std::cout << "],\n\"stream_to_client\": " << streams[0][streams[0].size() / 2]
            << ", \"stream_to_server\": " << streams[1][streams[1].size() / 2]
            << "}" << std::endl;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  if (argc == 5 && std::string(argv[1]) == "--serve") {
    return Serve(argv[2], std::strtoul(argv[3], nullptr, 10),
                 std::strtoul(argv[4], nullptr, 10));
  }
  const double seconds = argc == 3 ? std::atof(argv[1]) : 0;
  const int rounds = argc == 3 ? std::atoi(argv[2]) : 0;
  if (seconds <= 0 || rounds <= 0) {
    std::cerr << "usage: network_bench SECONDS ROUNDS\n";
    return 2;
  }
  return Measure(seconds, rounds);
}
