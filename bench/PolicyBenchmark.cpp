// Merging a policy document with long lists into a record that has as many entries of its own,
// beside a merge written by hand with a sorted set; and the growth of the cost from 200 to 800 KB
// of entries.
#include <benchmark/benchmark.h>

#include <set>
#include <string>

#include "yox/base/String.h"
#include "yox/policy/PlatformPolicy.h"

#include "bench/Ratios.h"

namespace {

using List = PlatformPolicy::List;

constexpr int kEntrySize = 40;  // bytes of a JSON document

// About `kilobytes` of entries.
List Entries(const char* prefix, std::int64_t kilobytes) {
  List list;
  for (std::int64_t i = 0; i < kilobytes * 1024 / kEntrySize; ++i) {
    std::string entry = prefix + std::to_string(i);
    entry.resize(kEntrySize, 'x');
    list.push_back(YOX::String::UTF8ToUTF16(entry));
  }
  return list;
}

void Accumulate(benchmark::State& state) {
  PlatformPolicy base;
  base.set_tls_leaf_cn_list(Entries("a", state.range(0)));
  PlatformPolicy other;
  other.set_tls_leaf_cn_list(Entries("b", state.range(0)));
  for (auto _ : state) {
    PlatformPolicy policy(base);
    policy.accumulatePlatformPolicy(other, false);
    benchmark::DoNotOptimize(policy);
  }
}
BENCHMARK(Accumulate)->Arg(200)->Arg(400)->Arg(800)->Unit(benchmark::kMillisecond);

void MergedByHand(benchmark::State& state) {
  const List base = Entries("a", state.range(0));
  const List other = Entries("b", state.range(0));
  for (auto _ : state) {
    List list = base;
    std::set<yox::WString> known(list.begin(), list.end());
    for (const yox::WString& entry : other) {
      if (known.insert(entry).second) list.push_back(entry);
    }
    benchmark::DoNotOptimize(list);
  }
}
BENCHMARK(MergedByHand)->Arg(800)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  return yox_bench::RunWithRatios(
      argc, argv,
      {{"merging 800 KB, to a sorted set by hand", "Accumulate/800", "MergedByHand/800", 1},
       {"four times the entries, to the time of one", "Accumulate/800", "Accumulate/200", 6}});
}
