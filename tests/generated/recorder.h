// An observer that writes down what it sees, for tests of generated code.
#ifndef QARN_RPC_TESTS_GENERATED_RECORDER_H_
#define QARN_RPC_TESTS_GENERATED_RECORDER_H_

#include <vector>

#include "qarn/rpc.h"

// Keeps every message and every end. A correct call has exactly one end.
template <class T>
class Recorder : public qarn::rpc::CallObserver<T> {
 public:
  void OnMessage(const T& message) override { messages.push_back(message); }
  void OnEnd(const qarn::rpc::Status& status) override {
    ends.push_back(status);
  }

  // True if there was one end and it was a success.
  bool succeeded() const { return ends.size() == 1 && ends[0].ok(); }
  // The code of the one end; kOk is not told apart from "not yet ended".
  qarn::rpc::StatusCode code() const {
    return ends.size() == 1 ? ends[0].code() : qarn::rpc::StatusCode::kOk;
  }

  std::vector<T> messages;
  std::vector<qarn::rpc::Status> ends;
};

#endif  // QARN_RPC_TESTS_GENERATED_RECORDER_H_
