// How long it takes until a watch in another process reports a change: this process changes one
// key, another one that watches it changes a second key, and this one watches that. Beside it the
// two changes alone, without a watch.

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"

#include "bench/Ratios.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using YOX::String;
using yox::platform::Registry;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;
using yox::platform::RegistryWatch;

RegistryKey Key(const char* name) {
  return {HKEY_CURRENT_USER,
          String::UTF8ToUTF16(std::string("Software\\YoxBenchmark\\") + name),
          {},
          {}};
}

// Another value each time: writing an equal value is no change.
void Set(Registry& registry, const RegistryKey& key) {
  static std::uint32_t number = 0;
  ++number;
  if (registry.SetValue(key, String::UTF8ToUTF16("Name"), RegistryValue::Dword(number)) !=
      RegistryStatus::kOk) {
    std::abort();
  }
}

std::unique_ptr<RegistryWatch> Watch(Registry& registry, const char* name,
                                     const std::function<void()>& told) {
  std::unique_ptr<RegistryWatch> watch;
  if (registry.CreateKey(Key(name)) != RegistryStatus::kOk ||
      registry.Watch(
          Key(name), [told](const auto&) { told(); }, watch) != RegistryStatus::kOk) {
    std::abort();
  }
  return watch;
}

// The other process. It says when it watches, and ends when its input does.
[[noreturn]] void Answer(int input, int output) {
  Registry& registry = yox::platform::Platform::Native().registry();
  registry.CreateKey(Key("Answer"));
  const auto watch = Watch(registry, "Question", [&] { Set(registry, Key("Answer")); });
  char word = '!';
  if (write(output, &word, 1) != 1) _exit(1);
  while (read(input, &word, 1) > 0) {
  }
  _exit(0);
}

void ThereAndBack(benchmark::State& state) {
  Registry& registry = yox::platform::Platform::Native().registry();
  yox::Mutex mutex;
  yox::ConditionVariable told;
  std::uint32_t answers = 0;
  const auto watch = Watch(registry, "Answer", [&] {
    const yox::MutexLock lock(mutex);
    ++answers;
    told.NotifyOne();
  });
  std::uint32_t asked = 0;
  for (auto _ : state) {
    ++asked;
    Set(registry, Key("Question"));
    yox::MutexLock lock(mutex);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (answers != asked) {
      if (!told.WaitUntil(lock, end)) std::abort();
    }
  }
}
BENCHMARK(ThereAndBack)->UseRealTime()->Unit(benchmark::kMicrosecond);

void TwoChanges(benchmark::State& state) {
  Registry& registry = yox::platform::Platform::Native().registry();
  for (const char* const name : {"One", "Two"}) registry.CreateKey(Key(name));
  for (auto _ : state) {
    Set(registry, Key("One"));
    Set(registry, Key("Two"));
  }
}
BENCHMARK(TwoChanges)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  const yox_test::TemporaryFolder folder;
  setenv("YOX_STATE_DIR", folder.path().c_str(), 1);
  int in[2];
  int out[2];
  if (pipe(in) != 0 || pipe(out) != 0) return 1;
  // Before this process opens the store: its connections do not survive a fork.
  const pid_t other = fork();
  if (other == 0) {
    close(in[1]);
    Answer(in[0], out[1]);
  }
  close(in[0]);
  close(out[1]);
  char word = 0;
  if (read(out[0], &word, 1) != 1) return 1;
  const int result =
      yox_bench::RunWithRatios(argc, argv,
                               {{"a change that another process answers, to the two changes alone",
                                 "ThereAndBack/real_time", "TwoChanges/real_time"}});
  close(in[1]);
  waitpid(other, nullptr, 0);
  return result;
}
