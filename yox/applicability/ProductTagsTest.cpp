#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "yox/base/LocalDate.h"
#include "yox/base/String.h"
#include "yox/decision/Filter.h"
#include "yox/decision/Lint.h"
#include "yox/decision/Vocabulary.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/registry/RegistryPlatform.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/tags/AppAndTagCollection.h"
#include "yox/tags/Persona.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::platform::RegistryKey;
using yox::platform::RegistryValue;

constexpr const char* kWithEverything = R"json({
  "clock": {"now": "2026-03-01T12:00:00"},
  "user": {"sid": "S-1-5-21-1-2-3-1001"},
  "join": {"domain": true},
  "accelerators": [{"manufacturer": "Contoso", "description": "Contoso AI Boost"}],
  "display_adapters": [{"description": "Intel(R) Arc(TM)", "dedicated_video_memory": 1073741824},
                       {"description": "NVIDIA GeForce", "dedicated_video_memory": 1073741824},
                       {"description": "AMD Radeon", "dedicated_video_memory": 1073741824},
                       {"description": "Contoso Graphics", "dedicated_video_memory": 1073741824}],
  "first_run_date": "2025-01-10"})json";

class FreshRecord : public MachineInformation {
 public:
  FreshRecord() = default;
};

class FreshCollection : public AppAndTagCollection {
 public:
  FreshCollection() = default;
  ~FreshCollection() = default;
};

// All tags that the device gets, as names with values.
std::multimap<std::string, std::string> TagsOfADeviceWithEverything() {
  yox::platform::SimulatedDevice device(yox::platform::ReadDeviceProfile(kWithEverything));
  const yox::platform::ScopedPlatform installed(device);
  for (const char* const intent :
       {"business", "gaming", "schoolWork", "creative", "entertainment", "developer", "family"}) {
    const RegistryKey key{HKEY_USERS,
                          "S-1-5-21-1-2-3-1001\\"_w + yox::Persona::kIntentRegistryPath + "\\"_w +
                              String::UTF8ToUTF16(intent),
                          {},
                          {}};
    EXPECT_EQ(device.registry().CreateKey(key), yox::platform::RegistryStatus::kOk);
    device.registry().SetValue(key, "Intent"_w, RegistryValue::Dword(1));
  }
  std::shared_ptr<MachineInformation> record = std::make_shared<FreshRecord>();
  yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(record);
  FreshCollection collection;
  collection.CollectTags(nullptr, false, false);
  std::multimap<std::string, std::string> tags;
  for (const YOXTag& tag : collection.getTagsFromRegistryAndMemory()) {
    tags.emplace(String::UTF16ToUTF8(tag.key()), String::UTF16ToUTF8(tag.value()));
  }
  record = nullptr;
  yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(record);
  return tags;
}

TEST(ProductTagsTest, LintKnowsEachTagThatTheProductSetsAndNoOther) {
  std::set<std::string> set;
  for (const auto& [name, value] : TagsOfADeviceWithEverything()) set.insert(name);
  std::set<std::string> known;
  for (const auto& row : yox::decision::ProductTags()) known.emplace(row.name);
  EXPECT_EQ(known, set);
}

TEST(ProductTagsTest, LintComplainsOfNoTagThatTheProductSets) {
  for (const auto& [name, value] : TagsOfADeviceWithEverything()) {
    for (const std::string& term : {name, name + "|" + value}) {
      ApplicabilityFilter::List list(1);
      list[0].set_tag(String::UTF8ToUTF16(term));
      for (const auto& finding :
           yox::decision::Lint(ApplicabilityFilter(list), yox::LocalDate{2026, 3, 1})) {
        EXPECT_FALSE(finding.field) << MessageOf(finding);
      }
    }
  }
}

}  // namespace
