// Runs a program as a user would.

#ifndef QARN_RPC_TESTS_SUPPORT_RUN_COMMAND_H_
#define QARN_RPC_TESTS_SUPPORT_RUN_COMMAND_H_

#include <string>
#include <vector>

namespace qarn {
namespace rpc {
namespace testing {

// What a program did.
struct CommandResult {
  int exit_status = -1;  // 128 and the signal's number if a signal ended it.
  std::string out;
  std::string err;
};

// Runs `arguments`, the first of which is the program, with `input` on standard
// input, and waits for its end.
CommandResult RunCommand(const std::vector<std::string>& arguments,
                         const std::string& input = "");

}  // namespace testing
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_RUN_COMMAND_H_
