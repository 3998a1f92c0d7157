// ended_program.h: a program run to its end, by a shell or on a terminal of its own.
#pragma once

#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace colx::test {

struct EndedProgram {
  int status = -1;     // its exit status; -1: ended by a signal, or never begun
  int signal = 0;      // that ended it; 0: none
  std::string output;  // standard output as the command has it, or all that a terminal received

  void end(int wait_status) {
    status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
    signal = WIFSIGNALED(wait_status) ? WTERMSIG(wait_status) : 0;
  }
};

// `command` is a shell's: "program 2>&1" has what goes to standard error in the output, too.
inline EndedProgram run_command(const std::string& command) {
  EndedProgram program;
  FILE* const pipe = popen(command.c_str(), "r");
  if (!pipe) return program;
  std::array<char, 4096> block;
  while (const size_t bytes = std::fread(block.data(), 1, block.size(), pipe))
    program.output.append(block.data(), bytes);
  program.end(pclose(pipe));
  return program;
}

// The program `words[0]` with the other words as arguments. `interrupt` is sent to it once, as soon
// as the terminal has received a line of progress.
inline EndedProgram run_on_terminal(std::vector<std::string> words,
                                    std::optional<int> interrupt = {}) {
  EndedProgram program;
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child < 0) return program;
  if (child == 0) {
    setenv("TERM", "xterm", 1);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  std::array<char, 4096> block;
  for (ssize_t bytes; (bytes = read(terminal, block.data(), block.size())) > 0;) {
    program.output.append(block.data(), static_cast<size_t>(bytes));
    if (interrupt && program.output.find(" %") != std::string::npos) {
      kill(child, *interrupt);
      interrupt.reset();
    }
  }
  int wait_status = 0;
  if (waitpid(child, &wait_status, 0) == child) program.end(wait_status);
  close(terminal);
  return program;
}

}  // namespace colx::test
