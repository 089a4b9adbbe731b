#pragma once

#include <atomic>
#include <string_view>
#include <thread>

#include "yox/base/Log.h"

namespace yox_test {

// Calls `get`, which logs a line with `creating` when it creates its singleton, and at that moment
// calls it on another thread too. Returns how often the line was logged.
template <class Get>
int CreationsByTwoThreads(std::string_view creating, Get get) {
  std::atomic<int> created{0};
  std::atomic<bool> begun{false};
  std::thread other;
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view line) {
    if (line.find(creating) == std::string_view::npos || ++created > 1) return;
    other = std::thread([&] {
      begun = true;
      get();
    });
    while (!begun) std::this_thread::yield();
    for (int i = 0; i < 300 && created == 1; ++i) std::this_thread::yield();
  });
  get();
  if (other.joinable()) other.join();
  YOX::Log::SetSink({});
  return created;
}

}  // namespace yox_test
