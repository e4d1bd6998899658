// An observer that writes down what it sees, for tests of generated code.
#ifndef QARN_RPC_TESTS_GENERATED_RECORDER_H_
#define QARN_RPC_TESTS_GENERATED_RECORDER_H_

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

#include "qarn/rpc.h"

// Keeps every message and every end. A correct call has exactly one end. Over
// the network it is called by another thread: what it has seen may be looked at
// after one of the functions that wait.
template <class T>
class Recorder : public qarn::rpc::CallObserver<T> {
 public:
  void OnMessage(const T& message) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    messages.push_back(message);
    changed_.notify_all();
  }
  void OnEnd(const qarn::rpc::Status& status) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    ends.push_back(status);
    changed_.notify_all();
  }

  // They wait for a minute at most, and say whether what they wait for is
  // there. Within the process it always is.
  bool WaitForMessages(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::minutes(1), [this, count] {
      return messages.size() >= count;
    });
  }
  bool WaitForEnd() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::minutes(1),
                             [this] { return !ends.empty(); });
  }

  bool ended() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return !ends.empty();
  }

  // Waits for the end. True if there was one and it was a success.
  bool succeeded() { return WaitForEnd() && ends.size() == 1 && ends[0].ok(); }
  // Waits for the end. The code of the one end; kOk is not told apart from "not
  // ended".
  qarn::rpc::StatusCode code() {
    return WaitForEnd() && ends.size() == 1 ? ends[0].code()
                                            : qarn::rpc::StatusCode::kOk;
  }

  std::vector<T> messages;
  std::vector<qarn::rpc::Status> ends;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
};

#endif  // QARN_RPC_TESTS_GENERATED_RECORDER_H_
