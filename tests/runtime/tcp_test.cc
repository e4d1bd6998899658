// The runtime over TCP, between two processes: peer.cc is the other one.
#include "qarn/rpc/tcp.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "generated/recorder.h"
#include "kinds.rpc.h"
#include "process.h"
#include "qarn/rpc.h"

// Sanitizers take memory of their own, and time.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QARN_RPC_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QARN_RPC_SANITIZED 1
#endif
#endif

namespace {

using ::lab::kinds::Answer;
using ::lab::kinds::Query;
using ::lab::kinds::api::Kinds;
using ::qarn::rpc::CallObserver;
using ::qarn::rpc::ClientContext;
using ::qarn::rpc::IoThreads;
using ::qarn::rpc::Status;
using ::qarn::rpc::StatusCode;
using ::qarn::rpc::TcpChannel;
using ::qarn::rpc::TcpOptions;
using ::qarn::rpc::tcp::AppendFrame;
using ::qarn::rpc::tcp::Frame;
using ::qarn::rpc::tcp::FrameKind;
using ::testing::SizeIs;

#ifdef QARN_RPC_SANITIZED
constexpr bool kSanitized = true;
constexpr int kStream = 100000;
#else
constexpr bool kSanitized = false;
constexpr int kStream = 1000000;
#endif

Query MakeQuery(const std::string& text) {
  Query query;
  query.set_text(text);
  return query;
}

// The largest memory of this process so far, in KiB.
int Peak() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmHWM:", 0) == 0) return std::atoi(line.c_str() + 6);
  }
  return 0;
}

bool Eventually(const std::function<bool()>& condition) {
  for (int i = 0; i < 2000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

// A server in another process.
class Server {
 public:
  explicit Server(int threads = 2, int calls = 4096)
      : process_({QARN_RPC_RUNTIME_PEER, "serve", std::to_string(threads),
                  std::to_string(calls)}),
        port_(static_cast<unsigned short>(
            std::atoi(process_.Value("port").c_str()))) {}

  Process& process() { return process_; }
  unsigned short port() const { return port_; }

  // The number that it answers to a command.
  int Ask(const std::string& command) {
    process_.Say(command);
    return std::atoi(process_.Value(command).c_str());
  }

 private:
  Process process_;
  const unsigned short port_;
};

// A channel to a server, and a stub.
struct Client {
  Client(IoThreads* threads, unsigned short port,
         const TcpOptions& options = TcpOptions())
      : channel(new TcpChannel(threads, "127.0.0.1", port, options)),
        stub("client", "endpoint", ClientContext(), channel) {
    EXPECT_TRUE(channel->status().ok()) << channel->status().message();
  }

  boost::shared_ptr<TcpChannel> channel;
  Kinds::Stub stub;
};

class TcpTest : public ::testing::Test {
 protected:
  // Whether a new connection is served.
  bool Serves(Server* server) {
    Client client(&threads_, server->port());
    Recorder<Answer> answers;
    client.stub.Ask(MakeQuery("are you there?"), &answers);
    return answers.succeeded() && answers.messages.size() == 1;
  }

  IoThreads threads_{2};
};

// A bare socket, which can say what no client would.
class Raw {
 public:
  explicit Raw(unsigned short port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval limit = {30, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    connected_ =
        socket_ >= 0 && connect(socket_, reinterpret_cast<sockaddr*>(&address),
                                sizeof address) == 0;
  }
  ~Raw() {
    if (socket_ >= 0) close(socket_);
  }
  Raw(const Raw&) = delete;
  Raw& operator=(const Raw&) = delete;

  bool connected() const { return connected_; }
  void Send(const std::string& bytes) {
    // The server may close at any byte.
    std::size_t at = 0;
    while (at < bytes.size()) {
      const ssize_t sent =
          send(socket_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
      if (sent <= 0) return;
      at += static_cast<std::size_t>(sent);
    }
  }
  void EndSending() { shutdown(socket_, SHUT_WR); }
  // Reads until the server closes; false if it does not.
  bool IsClosed() {
    char bytes[4096];
    for (;;) {
      const ssize_t count = recv(socket_, bytes, sizeof bytes, 0);
      if (count == 0) return true;
      if (count < 0) return errno == ECONNRESET || errno == EPIPE;
      received_ += static_cast<std::size_t>(count);
    }
  }
  // Reads so many bytes.
  bool Receives(std::size_t wanted) {
    char bytes[4096];
    while (received_ < wanted) {
      const ssize_t count = recv(socket_, bytes, sizeof bytes, 0);
      if (count <= 0) return false;
      received_ += static_cast<std::size_t>(count);
    }
    return true;
  }

 private:
  const int socket_;
  bool connected_ = false;
  std::size_t received_ = 0;
};

std::string Bytes(FrameKind kind, std::uint32_t call,
                  const std::string& payload) {
  Frame frame;
  frame.kind = kind;
  frame.call = call;
  frame.payload = payload;
  std::string bytes;
  AppendFrame(frame, &bytes);
  return bytes;
}

std::string Start(std::uint32_t call, const std::string& method) {
  qarn::rpc::tcp::StartPayload start;
  const std::string name = "lab.kinds.Kinds/" + method;
  start.service = "lab.kinds.Kinds";
  start.method = name;
  return Bytes(FrameKind::kStart, call, StartBytes(start));
}

// A whole call, which is answered.
std::string AskBytes(std::uint32_t call) {
  return Start(call, "Ask") +
         Bytes(FrameKind::kMessage, call,
               MakeQuery("hello").SerializeAsString()) +
         Bytes(FrameKind::kEnd, call, "");
}
// Of what is received: the answer's header and message, and the end's header.
const std::size_t kAskAnswer =
    2 * qarn::rpc::tcp::kHeaderSize + MakeQuery("hello").ByteSizeLong();

// -----------------------------------------------------------------------------
// One side goes away.

class KilledServerTest : public TcpTest,
                         public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Kinds, KilledServerTest,
                         ::testing::Values("Ask", "Watch", "Upload", "Chat"),
                         [](const auto& test) {
                           return std::string(test.param);
                         });

TEST_P(KilledServerTest, EndsTheCallOnce) {
  const std::string kind = GetParam();
  Server server;
  Client client(&threads_, server.port());
  Recorder<Answer> answers;
  boost::intrusive_ptr<qarn::rpc::CallHandle<Query>> handle;
  if (kind == "Ask") {
    handle = client.stub.Ask(MakeQuery("never"), &answers);
    ASSERT_TRUE(Eventually([&] { return server.Ask("handles") == 1; }));
  } else if (kind == "Watch") {
    handle = client.stub.Watch(MakeQuery("never"), &answers);
    ASSERT_TRUE(answers.WaitForMessages(1));
  } else if (kind == "Upload") {
    handle = client.stub.Upload(&answers);
    EXPECT_TRUE(handle->Send(MakeQuery("a")));
    Recorder<Answer> later;  // the upload has arrived before it
    client.stub.Ask(MakeQuery("q"), &later);
    ASSERT_TRUE(later.WaitForEnd());
  } else {
    handle = client.stub.Chat(&answers);
    EXPECT_TRUE(handle->Send(MakeQuery("a")));
    ASSERT_TRUE(answers.WaitForMessages(1));
  }
  EXPECT_FALSE(answers.ended());

  server.process().Kill();
  EXPECT_EQ(answers.code(), StatusCode::kConnectionLost);
  EXPECT_FALSE(handle->Send(MakeQuery("b")));
  EXPECT_TRUE(handle->closed());
  handle->Close();
  // A call that is made now ends at once.
  Recorder<Answer> late;
  EXPECT_TRUE(client.stub.Ask(MakeQuery("q"), &late)->closed());
  EXPECT_EQ(late.code(), StatusCode::kConnectionLost);
  // Nothing more comes once the channel is gone.
  handle.reset();
  client.stub = Kinds::Stub("", "", ClientContext(), nullptr);
  client.channel.reset();
  EXPECT_THAT(answers.ends, SizeIs(1));
}

// A sender that waits must not wait for ever.
TEST_F(TcpTest, ServerKilledWhileASendWaitsEndsTheWait) {
  Server server;
  Client client(&threads_, server.port());
  Recorder<Answer> answers;
  const auto upload = client.stub.Upload(&answers);
  std::atomic<int> sent{0};
  std::thread sender([&] {
    upload->Send(MakeQuery("hold"));
    while (upload->Send(MakeQuery(std::string(1000, 'x')))) ++sent;
  });
  // It stands still at the size of the window.
  ASSERT_TRUE(Eventually([&] {
    const int before = sent;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return before > 0 && sent == before;
  }));
  EXPECT_LE(sent, 66);
  server.process().Kill();
  sender.join();
  EXPECT_EQ(answers.code(), StatusCode::kConnectionLost);
}

TEST_F(TcpTest, KilledClientEndsItsCallsAtTheServer) {
  Server server;
  Process client(
      {QARN_RPC_RUNTIME_PEER, "call", std::to_string(server.port())});
  ASSERT_EQ(client.Line(), "called");
  // Those of Ask and Watch; Upload and Chat have not come to an end.
  EXPECT_EQ(server.Ask("handles"), 2);
  client.Kill();
  const int lost = static_cast<int>(StatusCode::kConnectionLost);
  const std::string end = " " + std::to_string(lost) + " 1";
  EXPECT_THAT((std::vector<std::string>{server.process().Value("end"),
                                        server.process().Value("end")}),
              ::testing::UnorderedElementsAre("Upload" + end, "Chat" + end));
  EXPECT_EQ(server.Ask("handles"), 0);
  EXPECT_TRUE(Serves(&server));
  // No call is left that it would have to wait for, and no observer sees a
  // second end.
  server.process().Say("stop");
  EXPECT_EQ(server.process().Line(), "stopped");
  EXPECT_EQ(server.process().Wait(), 0);
}

TEST_F(TcpTest, ChannelWithoutAServerEndsEveryCall) {
  unsigned short port = 0;
  {
    Server server;
    port = server.port();
  }
  const boost::shared_ptr<TcpChannel> channel(
      new TcpChannel(&threads_, "127.0.0.1", port));
  EXPECT_EQ(channel->status().code(), StatusCode::kConnectionLost);
  EXPECT_THAT(channel->status().message(),
              ::testing::StartsWith("cannot connect to 127.0.0.1 port " +
                                    std::to_string(port) + ": "));
  Kinds::Stub stub("client", "endpoint", ClientContext(), channel);
  Recorder<Answer> answers;
  EXPECT_TRUE(stub.Chat(&answers)->closed());
  EXPECT_EQ(answers.code(), StatusCode::kConnectionLost);
}

TEST_F(TcpTest, DestroyedChannelHasEndedItsCalls) {
  Server server;
  Recorder<Answer> answers[100];
  std::vector<Kinds::ChatClientCallPtr> handles;
  {
    Client client(&threads_, server.port());
    for (Recorder<Answer>& each : answers) {
      handles.push_back(client.stub.Chat(&each));
    }
  }
  for (const Recorder<Answer>& each : answers) {
    ASSERT_THAT(each.ends, SizeIs(1));
    EXPECT_EQ(each.ends[0].code(), StatusCode::kConnectionLost);
  }
  // Handles may be kept beyond it.
  EXPECT_FALSE(handles[0]->Send(MakeQuery("a")));
}

// -----------------------------------------------------------------------------
// The client ends a call.

TEST_F(TcpTest, DeadlineEndsTheCallAtBothSides) {
  Server server;
  Client client(&threads_, server.port());
  const ClientContext a_second("", std::chrono::seconds(1));
  Recorder<Answer> answers;
  Recorder<Answer> chat_answers;
  client.stub.Ask(a_second, MakeQuery("never"), &answers);
  const auto chat = client.stub.Chat(a_second, &chat_answers);
  EXPECT_TRUE(chat->Send(MakeQuery("a")));
  ASSERT_TRUE(chat_answers.WaitForMessages(1));
  EXPECT_EQ(server.Ask("handles"), 1);

  EXPECT_EQ(answers.code(), StatusCode::kDeadlinePassed);
  EXPECT_EQ(chat_answers.code(), StatusCode::kDeadlinePassed);
  EXPECT_FALSE(chat->Send(MakeQuery("b")));
  EXPECT_EQ(server.process().Value("end"),
            "Chat " +
                std::to_string(static_cast<int>(StatusCode::kDeadlinePassed)) +
                " 1");
  EXPECT_TRUE(Eventually([&] { return server.Ask("handles") == 0; }));
}

TEST_F(TcpTest, DeadlineThatIsKeptDoesNothing) {
  Server server;
  Client client(&threads_, server.port());
  Recorder<Answer> answers;
  client.stub.Ask(ClientContext("", std::chrono::seconds(1)), MakeQuery("q"),
                  &answers);
  EXPECT_TRUE(answers.succeeded());
  std::this_thread::sleep_for(std::chrono::milliseconds(1200));
  EXPECT_THAT(answers.ends, SizeIs(1));
  EXPECT_TRUE(Serves(&server));
}

TEST_F(TcpTest, CancelEndsTheCallAtBothSides) {
  Server server;
  Client client(&threads_, server.port());
  Recorder<Answer> answers;
  const auto chat = client.stub.Chat(&answers);
  chat->Send(MakeQuery("a"));
  ASSERT_TRUE(answers.WaitForMessages(1));
  chat->Cancel();
  EXPECT_FALSE(chat->Send(MakeQuery("b")));
  EXPECT_EQ(answers.code(), StatusCode::kCancelled);
  EXPECT_EQ(server.process().Value("end"),
            "Chat " + std::to_string(static_cast<int>(StatusCode::kCancelled)) +
                " 1");
  chat->Cancel();
}

TEST_F(TcpTest, CancelAndTheAnswerAndTheLossMayComeTogether) {
  Server server;
  Recorder<Answer> answers[2000];
  {
    Client client(&threads_, server.port());
    for (int i = 0; i < 2000; ++i) {
      const auto call = client.stub.Chat(&answers[i]);
      call->Send(MakeQuery("a"));
      std::thread canceller;
      if (i % 100 == 0) {
        canceller = std::thread([call] { call->Cancel(); });
      } else if (i % 3 == 0) {
        call->Cancel();
      }
      call->Close();
      if (canceller.joinable()) canceller.join();
      if (i == 1990) server.process().Kill();
    }
  }
  for (const Recorder<Answer>& each : answers) {
    ASSERT_THAT(each.ends, SizeIs(1));
  }
}

// -----------------------------------------------------------------------------
// Much at once.

TEST_F(TcpTest, TenThousandCallsAreOpenOnEightConnections) {
  Server server;
  std::vector<std::unique_ptr<Client>> clients;
  std::vector<Recorder<Answer>> answers(10000);
  for (int i = 0; i < 8; ++i) {
    clients.push_back(std::make_unique<Client>(&threads_, server.port()));
  }
  // None is answered before all are there.
  std::vector<std::thread> callers;
  for (int i = 0; i < 8; ++i) {
    callers.emplace_back([&, i] {
      for (int j = i; j < 10000; j += 8) {
        clients[static_cast<std::size_t>(i)]->stub.Ask(
            MakeQuery("gather 10000"), &answers[static_cast<std::size_t>(j)]);
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  for (Recorder<Answer>& each : answers) {
    ASSERT_TRUE(each.succeeded());
    ASSERT_THAT(each.messages, SizeIs(1));
    ASSERT_EQ(each.messages[0].text(), "gathered");
  }
}

// Checks that answers come in order and one at a time.
class Ordered : public CallObserver<Answer> {
 public:
  void OnMessage(const Answer& answer) override {
    if (busy_.exchange(true) || answer.text() != std::to_string(next_)) {
      wrong = true;
    }
    ++next_;
    if (on_message) on_message(next_);
    busy_ = false;
  }
  void OnEnd(const Status& status) override {
    if (busy_) wrong = true;
    end.OnEnd(status);
  }

  std::function<void(int)> on_message;
  std::atomic<bool> wrong{false};
  Recorder<Answer> end;

 private:
  std::atomic<bool> busy_{false};
  int next_ = 0;
};

TEST_F(TcpTest, ObserverSeesAnswersInOrderAndOneAtATime) {
  Server server(4);
  IoThreads many(4);
  Client client(&many, server.port());
  Ordered observers[8];
  std::vector<std::thread> senders;
  for (Ordered& observer : observers) {
    senders.emplace_back([&client, &observer] {
      const auto chat = client.stub.Chat(&observer);
      for (int i = 0; i < 5000; ++i) chat->Send(MakeQuery(std::to_string(i)));
      chat->Close();
    });
  }
  for (std::thread& sender : senders) sender.join();
  for (Ordered& observer : observers) {
    EXPECT_TRUE(observer.end.succeeded());
    EXPECT_FALSE(observer.wrong);
  }
}

// Threads may share a handle.
TEST_F(TcpTest, SeveralThreadsSendThroughOneHandle) {
  Server server;
  Client client(&threads_, server.port());
  Recorder<Answer> answers;
  const auto upload = client.stub.Upload(&answers);
  std::vector<std::thread> senders;
  for (int i = 0; i < 4; ++i) {
    senders.emplace_back([upload] {
      for (int j = 0; j < 5000; ++j) upload->Send(MakeQuery("x"));
    });
  }
  for (std::thread& sender : senders) sender.join();
  upload->Close();
  EXPECT_TRUE(answers.succeeded());
  ASSERT_THAT(answers.messages, SizeIs(1));
  EXPECT_EQ(answers.messages[0].text(), "20000");
}

// The receiver stands still in the middle; what is sent meanwhile would be some
// hundred MiB if it were kept.
TEST_F(TcpTest, LongStreamOfAnswersTakesLittleMemory) {
  Server server;
  Client client(&threads_, server.port());
  const int ours = Peak();
  const int theirs = server.Ask("peak");
  Ordered observer;
  observer.on_message = [](int count) {
    if (count == kStream / 2) {
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
  };
  client.stub.Watch(MakeQuery("count " + std::to_string(kStream)), &observer);
  EXPECT_TRUE(observer.end.succeeded());
  EXPECT_FALSE(observer.wrong);
  if (!kSanitized) {
    EXPECT_LT(Peak() - ours, 8 << 10) << "KiB more at the client";
    EXPECT_LT(server.Ask("peak") - theirs, 8 << 10) << "KiB more at the server";
  }
  RecordProperty("client_kib", Peak() - ours);
  RecordProperty("server_kib", server.Ask("peak") - theirs);
}

TEST_F(TcpTest, LongStreamOfRequestsTakesLittleMemory) {
  Server server;
  Client client(&threads_, server.port());
  const int ours = Peak();
  const int theirs = server.Ask("peak");
  Recorder<Answer> answers;
  const auto upload = client.stub.Upload(&answers);
  std::thread release([&server] {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    server.process().Say("release");
  });
  upload->Send(MakeQuery("hold"));
  for (int i = 1; i < kStream; ++i) {
    ASSERT_TRUE(upload->Send(MakeQuery("0123456789")));
  }
  upload->Close();
  release.join();
  EXPECT_TRUE(answers.succeeded());
  ASSERT_THAT(answers.messages, SizeIs(1));
  EXPECT_EQ(answers.messages[0].text(), std::to_string(kStream));
  if (!kSanitized) {
    EXPECT_LT(Peak() - ours, 8 << 10) << "KiB more at the client";
    EXPECT_LT(server.Ask("peak") - theirs, 8 << 10) << "KiB more at the server";
  }
}

// Each of these handlers waits in Send, which holds a thread; the only one that
// the pool began with would not do.
TEST_F(TcpTest, HandlersThatWaitInSendKeepNobodyElseWaiting) {
  Server server(1);
  std::vector<std::unique_ptr<Client>> clients;
  std::atomic<bool> go_on{false};
  Ordered observers[16];
  IoThreads slow(20);
  Client client(&slow, server.port());
  std::atomic<int> standing{0};
  for (Ordered& observer : observers) {
    observer.on_message = [&](int count) {
      if (count != 1) return;
      ++standing;
      while (!go_on) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    };
    client.stub.Watch(MakeQuery("count 5000"), &observer);
  }
  EXPECT_TRUE(Eventually([&] { return standing == 16; }));
  EXPECT_TRUE(Serves(&server));
  // On the same connection, too.
  Recorder<Answer> answers;
  client.stub.Ask(MakeQuery("q"), &answers);
  EXPECT_TRUE(answers.succeeded());
  go_on = true;
  for (Ordered& observer : observers) {
    EXPECT_TRUE(observer.end.succeeded());
    EXPECT_FALSE(observer.wrong);
  }
}

// Calls that arrive together are not handled one after the other.
TEST_F(TcpTest, SlowHandlerKeepsNoOtherCallOfItsConnectionWaiting) {
  Server server(2);
  Client client(&threads_, server.port());
  Recorder<Answer> slow;
  Recorder<Answer> quick[20];
  {
    const qarn::rpc::Channel::Gather together(client.channel.get());
    client.stub.Ask(MakeQuery("sleep 3000"), &slow);
    for (Recorder<Answer>& each : quick) {
      client.stub.Ask(MakeQuery("q"), &each);
    }
  }
  for (Recorder<Answer>& each : quick) EXPECT_TRUE(each.succeeded());
  EXPECT_FALSE(slow.ended());
  EXPECT_TRUE(slow.succeeded());
}

TEST_F(TcpTest, ThousandConnectionsThatSayNothingKeepNobodyWaiting) {
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur < 1100) {
    GTEST_SKIP() << "needs 1100 descriptors; the system's limit is "
                 << limit.rlim_cur;
  }
  Server server;
  std::vector<std::unique_ptr<Raw>> silent;
  for (int i = 0; i < 1000; ++i) {
    silent.push_back(std::make_unique<Raw>(server.port()));
    ASSERT_TRUE(silent.back()->connected()) << i;
  }
  EXPECT_TRUE(Serves(&server));
  // They are connections like all others.
  silent[500]->Send(AskBytes(1));
  EXPECT_TRUE(silent[500]->Receives(kAskAnswer));
}

// -----------------------------------------------------------------------------
// What is not as it should be.

TEST_F(TcpTest, CallsAboveTheLimitOfAConnectionAreRefused) {
  Server server(2, 3);
  Client client(&threads_, server.port());
  Recorder<Answer> held[3];
  std::vector<Kinds::ChatClientCallPtr> handles;
  for (Recorder<Answer>& each : held) {
    handles.push_back(client.stub.Chat(&each));
  }
  Recorder<Answer> refused;
  client.stub.Ask(MakeQuery("q"), &refused);
  EXPECT_EQ(refused.code(), StatusCode::kOverloaded);
  for (std::size_t i = 0; i < 3; ++i) {
    handles[i]->Close();
    EXPECT_TRUE(held[i].succeeded());
  }
  Recorder<Answer> served;
  client.stub.Ask(MakeQuery("q"), &served);
  EXPECT_TRUE(served.succeeded());
}

TEST_F(TcpTest, MessageAboveTheSendersLimitEndsItsDirection) {
  Server server;
  TcpOptions small;
  small.frame_limit = 1000;
  Client client(&threads_, server.port(), small);
  Recorder<Answer> answers;
  const auto upload = client.stub.Upload(&answers);
  EXPECT_TRUE(upload->Send(MakeQuery(std::string(900, 'x'))));
  EXPECT_FALSE(upload->Send(MakeQuery(std::string(1001, 'x'))));
  EXPECT_EQ(answers.code(), StatusCode::kTooLarge);
}

TEST_F(TcpTest, FrameAboveTheReceiversLimitEndsTheConnection) {
  Server server;
  TcpOptions large;
  large.frame_limit = 16 << 20;
  Client client(&threads_, server.port(), large);
  Recorder<Answer> fits;
  client.stub.Ask(MakeQuery(std::string((4 << 20) - 100, 'x')), &fits);
  EXPECT_TRUE(fits.succeeded());
  Recorder<Answer> answers;
  client.stub.Ask(MakeQuery(std::string(5 << 20, 'x')), &answers);
  EXPECT_EQ(answers.code(), StatusCode::kConnectionLost);
  EXPECT_TRUE(Serves(&server));
}

// The limits of a call alone would let many calls hold very much.
TEST_F(TcpTest, MoreThanAConnectionMayHoldEndsIt) {
  IoThreads server_threads(20);
  TcpOptions options;
  options.bytes_per_connection = 300000;
  // Observers that stand still.
  class Holder : public Kinds::Service {
   public:
    void Ask(qarn::rpc::CallContext*, const Query&,
             const AskCallHandle&) override {}
    void Watch(qarn::rpc::CallContext*, const Query&,
               const WatchCallHandle&) override {}
    QueryCallObserverPtr Upload(qarn::rpc::CallContext*,
                                const UploadCallHandle& handle) override {
      class Still : public CallObserver<Query> {
       public:
        explicit Still(const UploadCallHandle& answer) : answer_(answer) {}
        void OnMessage(const Query&) override {
          while (!answer_->closed()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
          }
        }
        void OnEnd(const Status&) override {}

       private:
        const UploadCallHandle answer_;
      };
      return new Still(handle);
    }
    QueryCallObserverPtr Chat(qarn::rpc::CallContext*,
                              const ChatCallHandle&) override {
      return nullptr;
    }
  };
  Holder holder;
  qarn::rpc::TcpServer server(&server_threads, options);
  ASSERT_TRUE(server.Register(holder.service()));
  std::string reason;
  ASSERT_TRUE(server.Listen("127.0.0.1", 0, &reason)) << reason;
  Client client(&threads_, server.port());
  Recorder<Answer> answers[8];
  std::vector<Kinds::UploadClientCallPtr> uploads;
  for (Recorder<Answer>& each : answers) {
    uploads.push_back(client.stub.Upload(&each));
  }
  // Each is within its own limit.
  for (const Kinds::UploadClientCallPtr& upload : uploads) {
    for (int i = 0; i < 10; ++i) {
      upload->Send(MakeQuery(std::string(5000, 'x')));
    }
  }
  for (Recorder<Answer>& each : answers) {
    EXPECT_EQ(each.code(), StatusCode::kConnectionLost);
  }
}

TEST_F(TcpTest, GarbageEndsItsConnectionAlone) {
  Server server;
  std::mt19937 random(20);
  for (int round = 0; round < 50; ++round) {
    std::string garbage(1 + random() % 5000, '\0');
    for (char& byte : garbage) byte = static_cast<char>(random());
    Raw raw(server.port());
    raw.Send(garbage);
    raw.EndSending();
    EXPECT_TRUE(raw.IsClosed()) << round;
  }
  Raw http(server.port());
  http.Send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_TRUE(http.IsClosed());
  EXPECT_TRUE(Serves(&server));
}

TEST_F(TcpTest, LengthOfAllOnesEndsTheConnection) {
  Server server;
  Raw raw(server.port());
  raw.Send(std::string("\xff\xff\xff\xff\1\0\0\0\2\0\0\0", 12));
  EXPECT_TRUE(raw.IsClosed());
  EXPECT_TRUE(Serves(&server));
}

TEST_F(TcpTest, FramesCutAtEachLengthDoNoHarm) {
  Server server;
  const std::string whole = AskBytes(1);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    Raw raw(server.port());
    raw.Send(whole.substr(0, size));
    raw.EndSending();
    EXPECT_TRUE(raw.IsClosed()) << size;
  }
  Raw raw(server.port());
  raw.Send(whole);
  EXPECT_TRUE(raw.Receives(kAskAnswer));
  EXPECT_TRUE(Serves(&server));
}

TEST_F(TcpTest, FramesThatNoClientSendsEndTheConnection) {
  const std::string message = Bytes(FrameKind::kMessage, 1, "");
  const std::string end = Bytes(FrameKind::kEnd, 1, "");
  std::string answer = message;
  answer[9] = 1;  // as if it came from a server
  std::string too_much =
      Start(1, "Upload") +
      Bytes(FrameKind::kMessage, 1, MakeQuery("hold").SerializeAsString());
  for (int i = 0; i < 70; ++i) {
    too_much += Bytes(FrameKind::kMessage, 1, std::string(1000, '\0'));
  }
  const std::pair<const char*, std::string> rows[] = {
      {"a message of no call", message},
      {"the end of no call", end},
      {"call 0", Start(0, "Ask")},
      {"a number twice", Start(1, "Chat") + Start(1, "Chat")},
      {"a smaller number", Start(2, "Chat") + Start(1, "Chat")},
      {"a start without names", Bytes(FrameKind::kStart, 1, "")},
      {"a message after the end", Start(1, "Upload") + message + end + message},
      {"two ends", Start(1, "Ask") + end + end},
      {"the wrong direction", Start(1, "Chat") + answer},
      {"credit of three bytes",
       Start(1, "Chat") + Bytes(FrameKind::kCredit, 1, "123")},
      {"credit for what was not sent",
       Start(1, "Chat") +
           Bytes(FrameKind::kCredit, 1, std::string("\1\0\0\0", 4))},
      {"more than there is credit for", too_much},
  };
  Server server;
  for (const auto& [what, bytes] : rows) {
    Raw raw(server.port());
    raw.Send(bytes);
    EXPECT_TRUE(raw.IsClosed()) << what;
  }
  server.process().Say("release");
  EXPECT_TRUE(Serves(&server));
}

// A client cannot know that the server has ended a call.
TEST_F(TcpTest, FramesOfACallThatHasEndedAreIgnored) {
  Server server;
  Raw raw(server.port());
  std::string unknown = Start(1, "Nothing");
  for (int i = 0; i < 3; ++i) unknown += Bytes(FrameKind::kMessage, 1, "");
  unknown += Bytes(FrameKind::kEnd, 1, "");
  raw.Send(unknown + Bytes(FrameKind::kAbort, 1, "") + AskBytes(2));
  EXPECT_TRUE(raw.Receives(kAskAnswer));
}

TEST_F(TcpTest, ConnectionThatSendsAByteASecondKeepsNobodyWaiting) {
  Server server;
  Raw slow(server.port());
  const std::string whole = AskBytes(1);
  const std::size_t seconds = 3;
  for (std::size_t i = 0; i < whole.size(); ++i) {
    slow.Send(whole.substr(i, 1));
    if (i < seconds) {
      std::this_thread::sleep_for(std::chrono::seconds(1));
      EXPECT_TRUE(Serves(&server));
    }
  }
  EXPECT_TRUE(slow.Receives(kAskAnswer));
}

// It must not write without end into a connection that nobody reads.
TEST_F(TcpTest, ClientThatNeverReadsHoldsNoMoreThanItsWindows) {
  Server server;
  const int before = server.Ask("peak");
  Raw raw(server.port());
  std::string calls;
  for (std::uint32_t i = 1; i <= 20; ++i) {
    calls += Start(i, "Watch") +
             Bytes(FrameKind::kMessage, i,
                   MakeQuery("count 1000000").SerializeAsString()) +
             Bytes(FrameKind::kEnd, i, "");
  }
  raw.Send(calls);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_TRUE(Serves(&server));
  if (!kSanitized) {
    EXPECT_LT(server.Ask("peak") - before, 16 << 10) << "KiB more";
  }
}

// -----------------------------------------------------------------------------
// Stopping.

TEST_F(TcpTest, StopLetsRunningCallsEndAndRefusesNewOnes) {
  Server server;
  Client client(&threads_, server.port());
  Recorder<Answer> running;
  Recorder<Answer> chat_answers;
  const auto chat = client.stub.Chat(&chat_answers);
  client.stub.Ask(MakeQuery("sleep 1000"), &running);
  chat->Send(MakeQuery("a"));
  ASSERT_TRUE(chat_answers.WaitForMessages(1));
  server.process().Say("stop");
  // The refusal is the sign that the command has arrived.
  StatusCode code = StatusCode::kOk;
  EXPECT_TRUE(Eventually([&] {
    Recorder<Answer> refused;
    client.stub.Ask(MakeQuery("q"), &refused);
    code = refused.code();
    return code != StatusCode::kOk;
  }));
  EXPECT_EQ(code, StatusCode::kStopping);
  const TcpChannel second(&threads_, "127.0.0.1", server.port());
  EXPECT_FALSE(second.status().ok());

  EXPECT_TRUE(running.succeeded());
  chat->Send(MakeQuery("b"));
  EXPECT_TRUE(chat_answers.WaitForMessages(2));
  chat->Close();
  EXPECT_TRUE(chat_answers.succeeded());
  EXPECT_EQ(server.process().Value("end"), "Chat 0 2");
  EXPECT_EQ(server.process().Line(), "stopped");
  EXPECT_EQ(server.process().Wait(), 0);

  Recorder<Answer> late;
  client.stub.Ask(MakeQuery("q"), &late);
  EXPECT_THAT(late.code(), ::testing::AnyOf(StatusCode::kConnectionLost,
                                            StatusCode::kStopping));
}

// A server in this process, since the test looks at its handlers.
TEST_F(TcpTest, StopWithoutPatienceEndsTheCallsThatRun) {
  class Keeper : public Kinds::Service {
   public:
    void Ask(qarn::rpc::CallContext*, const Query&,
             const AskCallHandle& handle) override {
      kept = handle;
    }
    void Watch(qarn::rpc::CallContext*, const Query&,
               const WatchCallHandle& handle) override {
      while (handle->Send(Answer())) {
      }
    }
    QueryCallObserverPtr Upload(qarn::rpc::CallContext*,
                                const UploadCallHandle&) override {
      return nullptr;
    }
    QueryCallObserverPtr Chat(qarn::rpc::CallContext*,
                              const ChatCallHandle&) override {
      return nullptr;
    }
    AskCallHandle kept;
  };
  Keeper keeper;
  Recorder<Answer> answers[2];
  {
    IoThreads server_threads(2);
    qarn::rpc::TcpServer server(&server_threads);
    ASSERT_TRUE(server.Register(keeper.service()));
    std::string reason;
    ASSERT_TRUE(server.Listen("127.0.0.1", 0, &reason)) << reason;
    Client client(&threads_, server.port());
    client.stub.Ask(MakeQuery("q"), &answers[0]);
    client.stub.Watch(MakeQuery("q"), &answers[1]);
    ASSERT_TRUE(answers[1].WaitForMessages(1));
    server.Stop(std::chrono::milliseconds(0));
    EXPECT_EQ(answers[0].code(), StatusCode::kConnectionLost);
    EXPECT_EQ(answers[1].code(), StatusCode::kConnectionLost);
    ASSERT_NE(keeper.kept, nullptr);
    EXPECT_TRUE(keeper.kept->closed());
  }
  // The handle is kept beyond the server and its threads.
  EXPECT_FALSE(keeper.kept->Send(Answer()));
}

TEST_F(TcpTest, PortThatIsTakenIsSaid) {
  Server server;
  qarn::rpc::TcpServer second(&threads_);
  std::string reason;
  EXPECT_FALSE(second.Listen("127.0.0.1", server.port(), &reason));
  EXPECT_THAT(reason, ::testing::StartsWith("cannot listen on 127.0.0.1 port " +
                                            std::to_string(server.port())));
}

}  // namespace
