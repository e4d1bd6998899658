// A process that a test talks to through its standard input and output.
#ifndef QARN_RPC_TESTS_RUNTIME_PROCESS_H_
#define QARN_RPC_TESTS_RUNTIME_PROCESS_H_

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

class Process {
 public:
  // Starts it; the first argument is the program.
  explicit Process(const std::vector<std::string>& command);
  // Ends its input and kills it, if it still runs.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void Say(const std::string& line);
  // The next line that it prints, without the newline; "" at its end.
  std::string Line();
  // What follows `name` and a blank in the next line that begins so. Lines of
  // other kinds before it are kept for later calls. "" if the output ends.
  std::string Value(const std::string& name);

  void Kill();
  // Waits for its end: the exit status, or -1 if a signal ended it.
  int Wait();

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  std::FILE* output_ = nullptr;
  std::vector<std::string> lines_;
};

#endif  // QARN_RPC_TESTS_RUNTIME_PROCESS_H_
