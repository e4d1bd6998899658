#include "support/run_command.h"

#include <sys/wait.h>

#include <cstdlib>

#include "support/files.h"

namespace qarn {
namespace rpc {
namespace testing {

namespace {

// The argument as the shell reads it back: 'it'\''s'.
std::string Quoted(const std::string& argument) {
  std::string quoted = "'";
  for (const char c : argument) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return quoted + "'";
}

}  // namespace

CommandResult RunCommand(const std::vector<std::string>& arguments,
                         const std::string& input) {
  const TemporaryFolder folder;
  const auto file = [&](const char* name) {
    return Quoted((folder.path() / name).string());
  };
  folder.Write("in", input);
  std::string command;
  for (const std::string& argument : arguments) {
    command += Quoted(argument) + " ";
  }
  command += "<" + file("in") + " >" + file("out") + " 2>" + file("err");
  const int status = std::system(command.c_str());
  CommandResult result;
  result.exit_status =
      WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = ReadFile(folder.path() / "out");
  result.err = ReadFile(folder.path() / "err");
  return result;
}

}  // namespace testing
}  // namespace rpc
}  // namespace qarn
