#include "process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

extern char** environ;

Process::Process(const std::vector<std::string>& command) {
  // A process that is gone must not take the test with it.
  std::signal(SIGPIPE, SIG_IGN);
  int in[2];
  int out[2];
  // Not inherited by other children, or their ends would keep the pipes open.
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  std::vector<char*> argv;
  argv.reserve(command.size() + 1);
  for (const std::string& word : command) {
    argv.push_back(const_cast<char*>(word.c_str()));
  }
  argv.push_back(nullptr);
  if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) !=
      0) {
    std::perror(argv[0]);
    std::abort();
  }
  posix_spawn_file_actions_destroy(&actions);
  close(in[0]);
  close(out[1]);
  input_ = in[1];
  output_ = fdopen(out[0], "r");
}

Process::~Process() {
  close(input_);
  Kill();
  std::fclose(output_);
}

void Process::Say(const std::string& line) {
  const std::string text = line + "\n";
  if (write(input_, text.data(), text.size()) < 0) std::perror("write");
}

std::string Process::Line() {
  std::string line;
  for (int c = std::getc(output_); c != EOF && c != '\n';
       c = std::getc(output_)) {
    line.push_back(static_cast<char>(c));
  }
  return line;
}

std::string Process::Value(const std::string& name) {
  const std::string start = name + " ";
  for (auto line = lines_.begin(); line != lines_.end(); ++line) {
    if (line->compare(0, start.size(), start) == 0) {
      const std::string value = line->substr(start.size());
      lines_.erase(line);
      return value;
    }
  }
  for (std::string line = Line(); !line.empty(); line = Line()) {
    if (line.compare(0, start.size(), start) == 0) {
      return line.substr(start.size());
    }
    lines_.push_back(line);
  }
  return "";
}

void Process::Kill() {
  if (pid_ < 0) return;
  kill(pid_, SIGKILL);
  Wait();
}

int Process::Wait() {
  if (pid_ < 0) return -1;
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
