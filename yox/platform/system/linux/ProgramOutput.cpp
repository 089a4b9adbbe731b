#include "yox/platform/system/linux/ProgramOutput.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace yox::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Starts the program with `output` as its standard output; 0 when that fails.
pid_t Start(std::vector<std::string>& command, int output) {
  static char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
  static char language[] = "LC_ALL=C";
  char* const environment[] = {path, language, nullptr};
  std::vector<char*> arguments;
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  // A blocked or ignored signal is inherited, and a program that ignores SIGPIPE or SIGTERM does
  // not end when it should.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  pid_t process = 0;
  const bool started =
      posix_spawn(&process, arguments[0], &files, &attributes, arguments.data(), environment) == 0;
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return started ? process : 0;
}

// Everything up to the end of the pipe; std::nullopt when that does not come in time.
std::optional<std::string> ReadAll(int pipe, steady_clock::time_point end) {
  std::string text;
  char buffer[16384];
  for (;;) {
    const auto left = std::chrono::duration_cast<milliseconds>(end - steady_clock::now()).count();
    pollfd readable{pipe, POLLIN, 0};
    const int ready = left > 0 ? poll(&readable, 1, static_cast<int>(left)) : 0;
    if (ready == 0) return std::nullopt;
    const ssize_t count = ready > 0 ? read(pipe, buffer, sizeof buffer) : -1;
    if (count == 0) return text;
    if (count > 0) {
      text.append(buffer, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
}

}  // namespace

std::optional<std::string> ProgramOutput(std::vector<std::string> command, milliseconds limit) {
  const steady_clock::time_point end = steady_clock::now() + limit;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
  const pid_t process = Start(command, ends[1]);
  close(ends[1]);
  std::optional<std::string> output;
  if (process != 0) {
    output = ReadAll(ends[0], end);
    if (!output) kill(process, SIGKILL);
    int status = 0;
    pid_t ended = 0;
    do {
      ended = waitpid(process, &status, 0);
    } while (ended < 0 && errno == EINTR);
    // A host that ignores SIGCHLD leaves no status to wait for.
    if (ended == process && status != 0) output.reset();
  }
  close(ends[0]);
  return output;
}

}  // namespace yox::platform
