// Measures whole programs: runs the commands of a list in turn, so that a slow
// spell of the machine hits all of them alike, and prints medians. Each round
// has an order of its own, since a program starts up to a tenth faster behind a
// small one, which leaves the caches as they are, than behind a large one.
//
//   run_in_turn RUNS SEED LIST
//
// The orders follow from the number SEED. Each line of the file LIST is one
// command, its fields separated by tabs: a name, the file to give it as
// standard input, and the program with its arguments. Standard output is thrown
// away. There is no shell in between: its start-up would drown that of the
// program. For each command a line is printed: name, median wall time, median
// processor time, the median of the part of it that the kernel took, all in
// microseconds, and the peak memory in KiB, separated by tabs.
//
// The kernel hands a process's peak memory down to its children, so no figure
// is below this program's own; it stays small.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Command {
  std::string name;
  std::string input;
  std::vector<std::string> arguments;

  std::vector<double> wall;
  std::vector<double> processor;
  std::vector<double> kernel;
  std::vector<double> memory;
};

[[noreturn]] void Fail(const std::string& message) {
  std::cerr << "run_in_turn: " << message << "\n";
  std::exit(1);
}

std::vector<Command> ReadList(const std::string& path) {
  std::ifstream list(path);
  if (!list) {
    Fail("cannot read the list of commands " + path);
  }
  std::vector<Command> commands;
  for (std::string line; std::getline(list, line);) {
    Command command;
    std::istringstream fields(line);
    std::getline(fields, command.name, '\t');
    std::getline(fields, command.input, '\t');
    for (std::string field; std::getline(fields, field, '\t');) {
      command.arguments.push_back(field);
    }
    if (command.arguments.empty()) {
      Fail("a line needs a name, an input file and a program: " + line);
    }
    commands.push_back(command);
  }
  return commands;
}

double Microseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e6 +
         static_cast<double>(time.tv_usec);
}

void RunOnce(Command* command) {
  std::vector<char*> argv;
  for (std::string& argument : command->arguments) {
    argv.push_back(&argument[0]);
  }
  argv.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, command->input.c_str(),
                                   O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY,
                                   0);
  const auto start = std::chrono::steady_clock::now();
  pid_t child = 0;
  const int failure =
      posix_spawn(&child, argv[0], &files, nullptr, argv.data(), environ);
  if (failure != 0) {
    Fail("cannot start " + command->arguments[0] + " with the input " +
         command->input + ": " + std::strerror(failure));
  }
  int status = 0;
  rusage usage;
  if (wait4(child, &status, 0, &usage) != child) {
    Fail("cannot wait for " + command->arguments[0]);
  }
  const std::chrono::duration<double, std::micro> wall =
      std::chrono::steady_clock::now() - start;
  posix_spawn_file_actions_destroy(&files);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    Fail(command->name + " failed; its command was " + command->arguments[0]);
  }
  command->wall.push_back(wall.count());
  command->processor.push_back(Microseconds(usage.ru_utime) +
                               Microseconds(usage.ru_stime));
  command->kernel.push_back(Microseconds(usage.ru_stime));
  command->memory.push_back(static_cast<double>(usage.ru_maxrss));
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle]
                                : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace

int main(int argc, char* argv[]) {
  const int runs = argc == 4 ? std::atoi(argv[1]) : 0;
  if (runs < 1) {
    Fail("usage: run_in_turn RUNS SEED LIST, with at least one run");
  }
  std::vector<Command> commands = ReadList(argv[3]);
  std::vector<Command*> round;
  for (Command& command : commands) {
    round.push_back(&command);
  }
  std::mt19937 random(static_cast<unsigned>(std::atoi(argv[2])));
  // The first round fills the page cache and is not counted.
  for (int run = -1; run < runs; ++run) {
    std::shuffle(round.begin(), round.end(), random);
    for (Command* command : round) {
      RunOnce(command);
      if (run < 0) {
        command->wall.clear();
        command->processor.clear();
        command->kernel.clear();
        command->memory.clear();
      }
    }
  }
  for (const Command& command : commands) {
    std::printf(
        "%s\t%.1f\t%.1f\t%.1f\t%.0f\n", command.name.c_str(),
        Median(command.wall), Median(command.processor), Median(command.kernel),
        *std::max_element(command.memory.begin(), command.memory.end()));
  }
  return 0;
}
