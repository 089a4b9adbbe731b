// Hardware IDs: a look-up among a hundred thousand beside one among a hundred, and a filter of ten
// alternatives that none of ten thousand IDs matches beside a plain loop over texts that were
// folded and cut apart beforehand.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "yox/applicability/HardwareIdRepository.h"
#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/platform/Platform.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "bench/Ratios.h"

namespace {

using YOX::String;
using yox::WString;
using yox::WStringView;

constexpr std::uint32_t kFew = 100, kMany = 100'000, kPresent = 10'000;

WString Id(std::uint32_t number) {
  char text[64];
  std::snprintf(text, sizeof text, "PCI\\VEN_8086&DEV_%04X&SUBSYS_%08X&REV_21", number % 0x10000,
                number * 2654435761U);
  return String::UTF8ToUTF16(text);
}

// --- the exact look-up

// A batch of the same size for each count, so that what is asked for lies as near for both.
void LookUp(benchmark::State& state, std::uint32_t count) {
  HardwareIdRepository repository;
  for (std::uint32_t i = 0; i < count; ++i) repository.Add(Id(i));
  std::vector<WString> asked;
  for (std::uint32_t i = 0; i < 64; ++i) asked.push_back(Id(i * 7919 % count));
  std::size_t next = 0;
  for (auto _ : state) {
    if (!repository.Contains(asked[next++ % asked.size()])) std::abort();
  }
}
BENCHMARK_CAPTURE(LookUp, 100, kFew);
BENCHMARK_CAPTURE(LookUp, 100000, kMany);

// --- the wildcard pass

enum class Form { kEqual, kStartsWith, kEndsWith, kContains };

struct Alternative {
  Form form;
  const char* text;
};

// Each agrees with the IDs for some way, as the filters of real lists do.
constexpr Alternative kAlternatives[] = {
    {Form::kStartsWith, "USB\\VID_1050"},
    {Form::kStartsWith, "PCI\\VEN_10DE"},
    {Form::kStartsWith, "PCI\\VEN_8086&DEV_7D45&SUBSYS_1D2D1043"},
    {Form::kStartsWith, "HID\\VID_046D&PID_C52B"},
    {Form::kEqual, "PCI\\VEN_8086&DEV_9D29&SUBSYS_1D2D1043&REV_21"},
    {Form::kEqual, "ACPI\\LEN0020"},
    {Form::kEndsWith, "&REV_22"},
    {Form::kEndsWith, "&MI_01"},
    {Form::kContains, "&SUBSYS_0000"},
    {Form::kContains, "CONTOSO"},
};

std::string FilterText() {
  std::string text;
  for (const auto& [form, wanted] : kAlternatives) {
    if (!text.empty()) text += ", ";
    if (form == Form::kEndsWith || form == Form::kContains) text += '*';
    text += wanted;
    if (form == Form::kStartsWith || form == Form::kContains) text += '*';
  }
  return text;
}

struct FoldedAlternative {
  Form form;
  WString text;
};

bool MatchesByHand(const std::vector<WString>& folded_ids,
                   const std::vector<FoldedAlternative>& alternatives) {
  for (const WStringView id : folded_ids) {
    for (const auto& [form, text] : alternatives) {
      switch (form) {
        case Form::kEqual:
          if (id == text) return true;
          break;
        case Form::kStartsWith:
          if (id.starts_with(text)) return true;
          break;
        case Form::kEndsWith:
          if (id.ends_with(text)) return true;
          break;
        case Form::kContains:
          if (id.find(text) != WStringView::npos) return true;
          break;
      }
    }
  }
  return false;
}

struct Present {
  Present() {
    for (std::uint32_t i = 0; ids.size() < kPresent; ++i) {
      const WString id = Id(i);
      if (id.find(String::UTF8ToUTF16("&SUBSYS_0000")) != WString::npos) continue;
      device.device_tree().Plug({id, {id}});
      ids.push_back(String::ToLower(id));
    }
    for (const auto& [form, text] : kAlternatives) {
      alternatives.push_back({form, String::ToLower(String::UTF8ToUTF16(text))});
    }
  }

  yox::platform::SimulatedDevice device;
  yox::platform::ScopedPlatform installed{device};
  std::vector<WString> ids;
  std::vector<FoldedAlternative> alternatives;
  WString filter = String::UTF8ToUTF16(FilterText());
};

Present& ThePresent() {
  static Present present;
  return present;
}

void Filter(benchmark::State& state) {
  const Present& present = ThePresent();
  yox_test::TestEvaluator evaluator;
  for (auto _ : state) {
    if (evaluator.EvaluateHardwareIdFilter(present.filter)) std::abort();
  }
}
BENCHMARK(Filter)->Unit(benchmark::kMicrosecond);

void ByHand(benchmark::State& state) {
  const Present& present = ThePresent();
  for (auto _ : state) {
    benchmark::ClobberMemory();  // otherwise the result is computed once for all rounds
    if (MatchesByHand(present.ids, present.alternatives)) std::abort();
  }
}
BENCHMARK(ByHand)->Unit(benchmark::kMicrosecond);

// What matches one alternative only is found by both, and is gone again for both.
void CheckThatBothAgree() {
  Present& present = ThePresent();
  yox_test::TestEvaluator evaluator;
  for (const auto& [form, text] : kAlternatives) {
    std::string id = text;
    if (form != Form::kEqual && form != Form::kStartsWith) id.insert(0, "X");
    if (form != Form::kEqual && form != Form::kEndsWith) id += "X";
    const WString wide = String::UTF8ToUTF16(id);
    for (const bool plugged : {true, false}) {
      if (plugged) {
        present.device.device_tree().Plug({wide, {wide}});
        present.ids.push_back(String::ToLower(wide));
      } else {
        present.device.device_tree().Unplug(wide);
        present.ids.pop_back();
      }
      if (evaluator.EvaluateHardwareIdFilter(present.filter) != plugged ||
          MatchesByHand(present.ids, present.alternatives) != plugged) {
        std::fprintf(stderr, "the two disagree over %s\n", id.c_str());
        std::exit(1);
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  CheckThatBothAgree();
  return yox_bench::RunWithRatios(
      argc, argv,
      {{"a look-up among 100,000 IDs, to one among 100", "LookUp/100000", "LookUp/100"},
       {"ten alternatives over 10,000 IDs, to by hand", "Filter", "ByHand", 2}});
}
