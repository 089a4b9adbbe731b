#include "tests/border/Probe.h"

#include <atomic>
#include <filesystem>
#include <thread>

namespace border {
namespace {

std::atomic<int> destroyed_numbers{0};

struct Number {
  ~Number() { ++destroyed_numbers; }
  int value = 0;
};

thread_local Number number;

}  // namespace

ProbeError::ProbeError(const std::string& text, int code) : std::runtime_error(text), code_(code) {}
ProbeError::~ProbeError() = default;

void ThrowOutOfRange(const std::string& text) { throw std::out_of_range(text); }
void ThrowProbeError(const std::string& text, int code) { throw ProbeError(text, code); }
void ThrowSystemError(std::errc code) { throw std::system_error(std::make_error_code(code)); }

std::string CatchTextOf(const std::function<void()>& callback) {
  try {
    callback();
  } catch (const std::exception& error) {
    return error.what();
  }
  return {};
}

std::exception_ptr RunOnLibraryThread(const std::function<void()>& callback) {
  std::exception_ptr thrown;
  std::thread thread([&] {
    try {
      callback();
    } catch (...) {
      thrown = std::current_exception();
    }
  });
  thread.join();
  return thrown;
}

int UncaughtExceptions() { return std::uncaught_exceptions(); }

std::error_code MakeErrorCode(std::errc code) { return std::make_error_code(code); }

bool MeansMissingFile(const std::error_code& code) {
  return code == std::errc::no_such_file_or_directory;
}

std::error_code ErrorOfMissingFile() {
  std::error_code error;
  const auto missing = std::filesystem::temp_directory_path() / "yox-border-test" / "no such file";
  static_cast<void>(std::filesystem::file_size(missing, error));
  return error;
}

int& ThreadNumber() { return number.value; }
int DestroyedThreadNumbers() { return destroyed_numbers; }

}  // namespace border
