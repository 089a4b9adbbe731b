#include "host/yoxctl/Output.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "host/yoxctl/CommandLine.h"

namespace yoxctl {
namespace {

namespace fs = std::filesystem;

bool WriteAll(const fs::path& file, std::string_view bytes) {
  std::ofstream stream(file, std::ios::binary);
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  return !stream.fail();
}

// Writes a new file and renames it to `file`, which need not exist.
bool Replace(const fs::path& file, std::string_view bytes) {
  std::error_code error;
  if (fs::exists(file, error) && !std::ofstream(file, std::ios::app)) return false;
  fs::path complete = file;
  complete += ".yoxctl";
  bool done = WriteAll(complete, bytes);
  if (done) {
    const fs::perms former = fs::status(file, error).permissions();
    if (!error) fs::permissions(complete, former, error);
    fs::rename(complete, file, error);
    done = !error;
  }
  if (!done) fs::remove(complete, error);
  return done;
}

}  // namespace

void Print(std::string_view text) {
  errno = 0;
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (written && std::fflush(stdout) == 0) return;
  if (IsClosedPipe(errno)) throw OutputClosed();
  throw Refusal("standard output: " + std::generic_category().message(errno));
}

void WriteFile(const std::string& argument, std::string_view bytes) {
  fs::path file = PathOf(argument);
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (fs::is_regular_file(status)) file = fs::canonical(file, error);  // not the link to it
  const bool written = fs::exists(status) && !fs::is_regular_file(status) ? WriteAll(file, bytes)
                                                                          : Replace(file, bytes);
  if (!written) throw Refusal(NameOf(argument) + ": cannot be written");
}

void Complain(std::string_view message) {
  const std::string line = "yoxctl: " + OneLine(message) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);  // Windows buffers it unless it is a console
}

}  // namespace yoxctl
