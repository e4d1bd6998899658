// The other process of tcp_test.cc.
//
//   runtime_peer serve THREADS CALLS
//     Serves kinds.proto on a free port, with a pool of THREADS and CALLS a
//     connection, and prints "port N". Commands on its standard input:
//       stop     stops the server, prints "stopped", and ends
//       handles  prints "handles N": those that are kept and still open
//       peak     prints "peak N": the largest memory so far, in KiB
//       release  gives free what sleeps or holds back
//     When the observer of a call's requests sees its end, it prints
//     "end METHOD CODE MESSAGES".
//   runtime_peer call PORT
//     Makes a call of each kind that does not end, and prints "called" when all
//     have arrived. Then it waits to be killed.
//
// What the server does with a call is said by the text of the first request:
//   never        it is not answered; of Watch, after the first answer
//   gather N     once N such calls are there, all of them are answered
//   sleep MS     the handler sleeps, and then answers
//   count N      Watch: N answers, with their numbers
//   hold         Upload, Chat: the observer waits for "release"
// Any other request of Ask and Chat is sent back.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kinds.rpc.h"
#include "qarn/rpc.h"
#include "qarn/rpc/tcp.h"

namespace {

using ::lab::kinds::Answer;
using ::lab::kinds::Query;
using ::lab::kinds::api::Kinds;
typedef boost::intrusive_ptr<qarn::rpc::CallHandle<Answer>> Handle;

void Say(const std::string& line) {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  std::cout << line << std::endl;
}

Answer MakeAnswer(const std::string& text) {
  Answer answer;
  answer.set_text(text);
  return answer;
}

// What the handlers share.
class Shelf {
 public:
  void Keep(const Handle& handle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    kept_.push_back(handle);
  }
  std::size_t open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::size_t count = 0;
    for (const Handle& handle : kept_) count += handle->closed() ? 0 : 1;
    return count;
  }

  void Gather(const Handle& handle, std::size_t wanted) {
    std::vector<Handle> all;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      gathered_.push_back(handle);
      if (gathered_.size() == wanted) all.swap(gathered_);
    }
    for (const Handle& each : all) {
      each->Send(MakeAnswer("gathered"));
      each->Close();
    }
  }

  void WaitForRelease() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return released_; });
  }
  void Release() {
    const std::lock_guard<std::mutex> lock(mutex_);
    released_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool released_ = false;
  std::vector<Handle> kept_;
  std::vector<Handle> gathered_;
};

class Requests : public qarn::rpc::CallObserver<Query> {
 public:
  Requests(const char* method, bool echo, Shelf* shelf, const Handle& handle)
      : method_(method), echo_(echo), shelf_(shelf), handle_(handle) {}

  void OnMessage(const Query& query) override {
    if (count_++ == 0) first_ = query.text();
    if (count_ == 1 && first_ == "hold") shelf_->WaitForRelease();
    if (echo_) handle_->Send(MakeAnswer(query.text()));
  }
  void OnEnd(const qarn::rpc::Status& status) override {
    if (first_ == "never") {
      shelf_->Keep(handle_);
    } else {
      if (!echo_) handle_->Send(MakeAnswer(std::to_string(count_)));
      handle_->Close(status);
    }
    Say(std::string("end ") + method_ + " " +
        std::to_string(static_cast<int>(status.code())) + " " +
        std::to_string(count_));
  }

 private:
  const char* const method_;
  const bool echo_;
  Shelf* const shelf_;
  const Handle handle_;
  std::string first_;
  std::int64_t count_ = 0;
};

class Server : public Kinds::Service {
 public:
  explicit Server(Shelf* shelf) : shelf_(shelf) {}

  void Ask(qarn::rpc::CallContext*, const Query& query,
           const AskCallHandle& handle) override {
    std::istringstream words(query.text());
    std::string word;
    int number = 0;
    words >> word >> number;
    if (word == "never") {
      shelf_->Keep(handle);
      return;
    }
    if (word == "gather") {
      shelf_->Gather(handle, static_cast<std::size_t>(number));
      return;
    }
    if (word == "sleep") {
      std::this_thread::sleep_for(std::chrono::milliseconds(number));
    }
    handle->Send(MakeAnswer(query.text()));
    handle->Close();
  }

  void Watch(qarn::rpc::CallContext*, const Query& query,
             const WatchCallHandle& handle) override {
    std::istringstream words(query.text());
    std::string word;
    int number = 1;
    words >> word >> number;
    for (int i = 0; i < number; ++i) {
      if (!handle->Send(MakeAnswer(std::to_string(i)))) return;
    }
    if (word == "never") {
      shelf_->Keep(handle);
    } else {
      handle->Close();
    }
  }

  QueryCallObserverPtr Upload(qarn::rpc::CallContext*,
                              const UploadCallHandle& handle) override {
    return new Requests("Upload", false, shelf_, handle);
  }

  QueryCallObserverPtr Chat(qarn::rpc::CallContext*,
                            const ChatCallHandle& handle) override {
    return new Requests("Chat", true, shelf_, handle);
  }

 private:
  Shelf* const shelf_;
};

std::string Peak() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmHWM:", 0) == 0) {
      return std::to_string(std::atoi(line.c_str() + 6));
    }
  }
  return "0";
}

int Serve(std::size_t thread_count, std::size_t calls) {
  // As many connections as the system lets us have; the tests say when that is
  // not enough.
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);

  Shelf shelf;
  Server kinds(&shelf);
  qarn::rpc::TcpOptions options;
  options.calls_per_connection = calls;
  qarn::rpc::IoThreads threads(thread_count);
  qarn::rpc::TcpServer server(&threads, options);
  std::string reason;
  if (!server.Register(kinds.service()) ||
      !server.Listen("127.0.0.1", 0, &reason)) {
    std::cerr << reason << "\n";
    return 1;
  }
  Say("port " + std::to_string(server.port()));
  for (std::string command; std::getline(std::cin, command);) {
    if (command == "stop") {
      server.Stop(std::chrono::seconds(20));
      Say("stopped");
      return 0;
    }
    if (command == "handles") Say("handles " + std::to_string(shelf.open()));
    if (command == "peak") Say("peak " + Peak());
    if (command == "release") shelf.Release();
  }
  // The test has ended or died.
  shelf.Release();
  return 0;
}

class Arrivals : public qarn::rpc::CallObserver<Answer> {
 public:
  void OnMessage(const Answer&) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++count_;
    changed_.notify_all();
  }
  void OnEnd(const qarn::rpc::Status&) override {}
  void WaitFor(int count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this, count] { return count_ >= count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
};

int Call(unsigned short port) {
  qarn::rpc::IoThreads threads;
  const boost::shared_ptr<qarn::rpc::TcpChannel> channel(
      new qarn::rpc::TcpChannel(&threads, "127.0.0.1", port));
  Kinds::Stub stub("client", "endpoint", qarn::rpc::ClientContext(), channel);
  Query never;
  never.set_text("never");
  Arrivals answers;
  stub.Ask(never, &answers);
  stub.Watch(never, &answers);
  const auto upload = stub.Upload(&answers);
  upload->Send(never);
  const auto chat = stub.Chat(&answers);
  chat->Send(never);
  // One from Watch and one from Chat: with these all have arrived.
  answers.WaitFor(2);
  Say("called");
  for (std::string line; std::getline(std::cin, line);) {
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "serve" && argc == 4) {
    return Serve(std::strtoul(argv[2], nullptr, 10),
                 std::strtoul(argv[3], nullptr, 10));
  }
  if (mode == "call" && argc == 3) {
    return Call(
        static_cast<unsigned short>(std::strtoul(argv[2], nullptr, 10)));
  }
  std::cerr << "usage: runtime_peer serve THREADS CALLS | call PORT\n";
  return 2;
}
