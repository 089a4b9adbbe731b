#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstddef>

namespace yox_test {

// While it lives, writing a file beyond so many bytes fails in the middle, as on a full disk. Linux
// only; for a process with one thread.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::size_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &former_), 0);
    const rlimit limit{bytes, former_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &former_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit former_{};
  void (*handler_)(int);
};

}  // namespace yox_test
