#include "host/yoxctl/OwnProgram.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

[[noreturn]] void Fail(int error) {
  throw Refusal("yoxctl cannot start itself: " + std::generic_category().message(error));
}

std::string ReadAll(int file) {
  std::string text;
  std::array<char, 4096> buffer;
  for (;;) {
    const ssize_t count = read(file, buffer.data(), buffer.size());
    if (count > 0) text.append(buffer.data(), static_cast<std::size_t>(count));
    if (count == 0 || (count < 0 && errno != EINTR)) return text;
  }
}

}  // namespace

Ended RunOwnProgram(const std::vector<std::string>& arguments) {
  std::array<int, 2> pipe{};
  if (pipe2(pipe.data(), O_CLOEXEC) != 0) Fail(errno);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);

  std::string name = "yoxctl";
  std::vector<std::string> copies = arguments;
  std::vector<char*> pointers = {name.data()};
  for (std::string& argument : copies) pointers.push_back(argument.data());
  pointers.push_back(nullptr);

  pid_t process = 0;
  const int error =
      posix_spawn(&process, "/proc/self/exe", &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pipe[1]);
  Ended ended;
  if (error == 0) ended.output = ReadAll(pipe[0]);
  close(pipe[0]);
  if (error != 0) Fail(error);

  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status)) throw Refusal("yoxctl was ended while it decided a case");
  ended.code = WEXITSTATUS(status);
  return ended;
}

}  // namespace yoxctl
