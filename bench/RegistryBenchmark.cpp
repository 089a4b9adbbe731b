// A look-up among a hundred thousand keys, beside the same among a thousand, one that was asked for
// before, and by two threads at once: in this system's own registry, and in memory. On Windows that
// is the user's registry, whose keys are deleted at the end; elsewhere a store in a folder of its
// own, because the log of so many changes would slow the start of each program of the machine.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/simulated/SimulatedRegistry.h"

#include "bench/Ratios.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using YOX::String;
using yox::WString;
using yox::platform::Registry;
using yox::platform::RegistryAction;
using yox::platform::RegistryEdit;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;

constexpr std::uint32_t kFew = 1'000, kMany = 100'000;
// So many that none is remembered from the last time.
constexpr std::uint32_t kAsked = 300;

RegistryKey Key(std::uint32_t count, const std::string& name) {
  return {HKEY_CURRENT_USER,
          String::UTF8ToUTF16("Software\\YoxBenchmark\\" + std::to_string(count) + name),
          {},
          {}};
}

void Fill(Registry& registry, std::uint32_t count) {
  std::vector<RegistryEdit> edits;
  for (std::uint32_t i = 0; i < count; ++i) {
    const RegistryKey key = Key(count, "\\" + std::to_string(i));
    edits.push_back({RegistryAction::kCreateKey, key, {}, {}});
    edits.push_back(
        {RegistryAction::kSetValue, key, String::UTF8ToUTF16("Name"), RegistryValue::Dword(i)});
  }
  if (registry.Apply(edits) != RegistryStatus::kOk) std::abort();
}

void LookUp(benchmark::State& state, Registry& registry, std::uint32_t count, std::uint32_t asked) {
  const WString name = String::UTF8ToUTF16("Name");
  std::vector<RegistryKey> keys;
  for (std::uint32_t i = 0; i < asked; ++i) {
    keys.push_back(Key(count, "\\" + std::to_string(i * 7919 % count)));
  }
  RegistryValue value;
  std::size_t next = 0;
  for (auto _ : state) {
    if (registry.Get(keys[next++ % keys.size()], name, value) != RegistryStatus::kOk) std::abort();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const yox_test::TemporaryFolder folder;
  setenv("YOX_STATE_DIR", folder.path().c_str(), 1);  // of Linux
  Registry& native = yox::platform::Platform::Native().registry();
  yox::platform::SimulatedRegistry simulated;
  const auto add = [](const std::string& name, Registry& registry, std::uint32_t count,
                      std::uint32_t asked) {
    return benchmark::RegisterBenchmark(name.c_str(),
                                        [&registry, count, asked](benchmark::State& state) {
                                          LookUp(state, registry, count, asked);
                                        })
        ->UseRealTime();
  };
  for (const std::uint32_t count : {kFew, kMany}) {
    Fill(native, count);
    Fill(simulated, count);
    add("Native/" + std::to_string(count), native, count, kAsked)->Threads(1)->Threads(2);
    add("Simulated/" + std::to_string(count), simulated, count, kAsked);
  }
  add("AskedBefore", native, kFew, 1)->Threads(1)->Threads(2);
  const int result = yox_bench::RunWithRatios(
      argc, argv,
      {{"a look-up among 100,000 keys, to one among 1,000", "Native/100000/real_time/threads:1",
        "Native/1000/real_time/threads:1"},
       {"the same in memory", "Simulated/100000/real_time", "Simulated/1000/real_time"},
       {"one that was asked for before, to one that was not", "AskedBefore/real_time/threads:1",
        "Native/1000/real_time/threads:1"},
       {"two threads' time per look-up, to one's", "Native/1000/real_time/threads:2",
        "Native/1000/real_time/threads:1"},
       {"the same for one that was asked for before", "AskedBefore/real_time/threads:2",
        "AskedBefore/real_time/threads:1"}});
  native.DeleteKey({HKEY_CURRENT_USER, String::UTF8ToUTF16("Software\\YoxBenchmark"), {}, {}});
  return result;
}
