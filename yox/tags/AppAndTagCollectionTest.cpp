#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "yox/base/String.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPlatform.h"
#include "yox/tags/AppAndTagCollection.h"
#include "yox/tags/Persona.h"
#include "yox/tags/TestCollection.h"

#include "tests/faults/FailingPlatform.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PrivateMember.h"

namespace {

using namespace yox::literals;
using testing::HasSubstr;
using testing::Not;
using YOX::String;
using yox::WString;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryType;
using yox::platform::RegistryValue;
using yox::platform::RegistryView;
using yox_test::TestCollection;

// The private operations.
struct ReadKey
    : yox_test::PrivateMember<ReadKey, void (*)(const WString&, AppAndTagCollection::List*)> {};
struct QueryValues
    : yox_test::PrivateMember<QueryValues, void (*)(HKEY, AppAndTagCollection::List*)> {};
struct ReadAndSet : yox_test::PrivateMember<ReadAndSet, void (AppAndTagCollection::*)()> {};

}  // namespace

template struct yox_test::Reach<ReadKey, &AppAndTagCollection::ReadRegistryKeyTags>;
template struct yox_test::Reach<QueryValues, &AppAndTagCollection::QueryRegistryValues>;
template struct yox_test::Reach<ReadAndSet, &AppAndTagCollection::ReadFromRegAndSetTags>;

namespace {

class AppAndTagCollectionTest : public yox_test::OnEveryRegistry {
 protected:
  void Store(const WString& name, const RegistryValue& value) { Set(key_, name, value); }
  void Store(const WString& name, const WString& text) { Store(name, RegistryValue::Text(text)); }
  // The text stored under the name, "-" for none.
  std::string Stored(const WString& name) {
    RegistryValue value;
    if (registry().Get(key_, name, value) != RegistryStatus::kOk) return "-";
    return String::UTF16ToUTF8(value.FirstText());
  }
  std::string Text() { return String::UTF16ToUTF8(tags_.getTagsAsString()); }
  std::string TextOf(const AppAndTagCollection::List& list) {
    TestCollection collection;
    collection.setTags(list);
    return String::UTF16ToUTF8(collection.getTagsAsString());
  }
  // What the last call logged of AddTags.
  std::string LogOf(AppAndTagCollection::List list, bool overwrite, bool persist) {
    const yox_test::CapturedLog log;
    tags_.AddTags(std::move(list), overwrite, persist);
    return log.Text();
  }

  const RegistryKey key_{HKEY_LOCAL_MACHINE, AppAndTagCollection::szRegKeySubPath, {}, {}};
  TestCollection tags_;
};
YOX_ON_EVERY_REGISTRY(AppAndTagCollectionTest);

TEST_P(AppAndTagCollectionTest, TheTextOfTheListKeepsItsLastSeparator) {
  EXPECT_EQ(Text(), "");
  tags_.setTags({{"a"_w, "1"_w}, {"b"_w, ""_w}});
  EXPECT_EQ(Text(), "a:1, b:, ");
}

TEST_P(AppAndTagCollectionTest, ATagWithoutValueIsSkipped) {
  tags_.setTags({{"a"_w, "1"_w}});
  EXPECT_EQ(LogOf({{"a"_w, ""_w}, {"b"_w, ""_w}}, true, true), "");
  EXPECT_EQ(Text(), "a:1, ");
  EXPECT_FALSE(registry().Exists(key_));
}

TEST_P(AppAndTagCollectionTest, KeysThatDifferInLetterCaseAreTwoTags) {
  EXPECT_EQ(LogOf({{"Key"_w, "1"_w}, {"key"_w, "2"_w}}, false, false),
            "yox D AppAndTagCollection::AddTags Adding key to tag list Key 1\n"
            "yox D AppAndTagCollection::AddTags Adding key to tag list key 2\n");
  EXPECT_EQ(Text(), "Key:1, key:2, ");
}

TEST_P(AppAndTagCollectionTest, AnotherValueReplacesTheFirstOfTheKey) {
  tags_.setTags({{"a"_w, "1"_w}, {"b"_w, "2"_w}, {"a"_w, "3"_w}});
  EXPECT_EQ(
      LogOf({{"a"_w, "9"_w}}, false, false),
      "yox D AppAndTagCollection::AddTags Updated existing tag key: a old value: 1 new value: "
      "9\n");
  EXPECT_EQ(Text(), "a:9, b:2, a:3, ");
}

TEST_P(AppAndTagCollectionTest, AnEqualValueIsStillWrittenToTheRegistry) {
  tags_.setTags({{"a"_w, "1"_w}});
  EXPECT_EQ(LogOf({{"a"_w, "1"_w}}, false, true),
            "yox D AppAndTagCollection::AddTags Tag list already contains tag: a 1\n"
            "yox E AppAndTagCollection::AddTags Added key to registry a 1\n");
  EXPECT_EQ(Stored("a"_w), "1");
  EXPECT_EQ(LogOf({{"a"_w, "1"_w}}, false, false), "");
}

TEST_P(AppAndTagCollectionTest, AStoredValueDoesNotKeepATagFromBeingWritten) {
  Store("a"_w, "old"_w);
  LogOf({{"a"_w, "new"_w}}, false, true);
  EXPECT_EQ(Stored("a"_w), "new");
}

TEST_P(AppAndTagCollectionTest, AKeyOfTheTagsNameDoesUnlessItIsOverwritten) {
  ASSERT_EQ(registry().CreateKey({HKEY_LOCAL_MACHINE, key_.path + "\\a"_w, {}, {}}),
            RegistryStatus::kOk);
  LogOf({{"a"_w, "1"_w}}, false, true);
  EXPECT_EQ(Stored("a"_w), "-");
  EXPECT_EQ(Text(), "a:1, ");
  LogOf({{"a"_w, "1"_w}}, true, true);
  EXPECT_EQ(Stored("a"_w), "1");
}

TEST_P(AppAndTagCollectionTest, WithoutPersistingNothingIsWritten) {
  LogOf({{"a"_w, "1"_w}}, true, false);
  EXPECT_FALSE(registry().Exists(key_));
}

TEST_P(AppAndTagCollectionTest, TagsAreTheTextsOfTheKey) {
  Store("a"_w, "1"_w);
  Store("Number"_w, RegistryValue::Dword(1));
  Store("Expandable"_w, RegistryValue::ExpandableText("x"_w));
  Store(WString(263, yox::WChar{'n'}), "fits"_w);
  Store(WString(264, yox::WChar{'m'}), "too long"_w);
  AppAndTagCollection::List list;
  Reached(ReadKey{})(key_.path, &list);
  EXPECT_EQ(list.size(), 2U);
  EXPECT_THAT(TextOf(list), HasSubstr("a:1, "));
  EXPECT_THAT(TextOf(list), HasSubstr(std::string(263, 'n') + ":fits, "));
}

TEST_P(AppAndTagCollectionTest, TheLastCodeUnitIsDroppedUnseen) {
  Store("Open"_w, RegistryValue{RegistryType::kText, {'a', 0, 'b', 0}});
  Store("Byte"_w, RegistryValue{RegistryType::kText, {'a'}});
  Store("Nothing"_w, RegistryValue{RegistryType::kText, {}});
  Store("Empty"_w, ""_w);
  AppAndTagCollection::List list;
  Reached(ReadKey{})(key_.path, &list);
  EXPECT_EQ(list.size(), 4U);
  EXPECT_THAT(TextOf(list), HasSubstr("Open:a, "));
  EXPECT_THAT(TextOf(list), HasSubstr("Byte:, "));
  EXPECT_THAT(TextOf(list), HasSubstr("Nothing:, "));
  EXPECT_THAT(TextOf(list), HasSubstr("Empty:, "));
}

TEST_P(AppAndTagCollectionTest, AMissingKeyOrNullHandleGivesNoTagsAndNoLine) {
  const yox_test::CapturedLog log;
  AppAndTagCollection::List list{{"kept"_w, "1"_w}};
  Reached(ReadKey{})(key_.path, &list);
  Reached(QueryValues{})(nullptr, &list);
  EXPECT_EQ(TextOf(list), "kept:1, ");
  EXPECT_EQ(log.Text(), "");
}

TEST_P(AppAndTagCollectionTest, TheListCanBeThatOfTheRegistryAlone) {
  Store("a"_w, "1"_w);
  tags_.setTags({{"b"_w, "2"_w}});
  (tags_.*Reached(ReadAndSet{}))();
  EXPECT_EQ(Text(), "a:1, ");
}

TEST_P(AppAndTagCollectionTest, TheTagsThatAreWrittenOnceAreLookedForInTheRegistry) {
  const auto missing = [&](const char* name) {
    const yox_test::CapturedLog log;
    EXPECT_FALSE(tags_.CheckIfTagsAlreadyExist());
    EXPECT_EQ(
        log.Text(),
        std::string("yox E AppAndTagCollection::CheckIfTagsAlreadyExist tag does not exist in 64 "
                    "bit registry ") +
            name + "\n");
  };
  missing("Device.Hardware.Npu.Exists");
  Store("Device.Hardware.Npu.Exists"_w, "FALSE"_w);
  missing("OobeDate");
  Store("OobeDate"_w, "2025-01-10"_w);
  EXPECT_TRUE(tags_.CheckIfTagsAlreadyExist()) << "without accelerator nothing more is needed";
  Store("Device.Hardware.Npu.Exists"_w, "TRUE"_w);
  EXPECT_FALSE(tags_.CheckIfTagsAlreadyExist());
  Store("Device.Hardware.Npu.description"_w, "AI Boost"_w);
  EXPECT_FALSE(tags_.CheckIfTagsAlreadyExist());
  Store("Device.Hardware.Npu.mfr"_w, "Contoso"_w);
  EXPECT_TRUE(tags_.CheckIfTagsAlreadyExist());
}

TEST_P(AppAndTagCollectionTest, PairsAreThoseOfTheList) {
  EXPECT_TRUE(AppAndTagCollection::ExtractCollecitonOfKeys(nullptr).empty());
  EXPECT_TRUE(AppAndTagCollection::Shared(nullptr)->empty());
  tags_.setTags({{"a"_w, "1"_w}, {"b"_w, "2"_w}});
  const auto pairs = AppAndTagCollection::ExtractCollecitonOfKeys(&tags_);
  ASSERT_EQ(pairs.size(), 2U);
  EXPECT_EQ(pairs[1].getKey(), "b"_w);
  EXPECT_EQ(pairs[1].getValue(), "2"_w);
}

TEST_P(AppAndTagCollectionTest, ASharedListStaysAsItWas) {
  tags_.setTags({{"a"_w, "1"_w}});
  const auto before = AppAndTagCollection::Shared(&tags_);
  tags_.AddTags({{"a"_w, "2"_w}, {"b"_w, "3"_w}}, false, false);
  EXPECT_EQ(TextOf(*before), "a:1, ");
  EXPECT_EQ(Text(), "a:2, b:3, ");
}

TEST_P(AppAndTagCollectionTest, TheListIsThatOfRegistryAdaptersAndManagementInThisOrder) {
  Store("a"_w, "1"_w);
  Store("Device.Usage.IsManagedDevice"_w, "stored"_w);
  EXPECT_EQ(TextOf(tags_.getTagsFromRegistryAndMemory()),
            "a:1, Device.Usage.IsManagedDevice:stored, Device.Usage.IsManagedDevice:false, ")
      << "without a record no adapters, and nothing is merged";

  const std::shared_ptr<MachineInformation> record = MachineInformation::Publish();
  device().Change([](yox::platform::DeviceProfile& profile) {
    yox::platform::DisplayAdapter adapter;
    adapter.description = "Intel(R) Arc(TM)"_w;
    adapter.dedicated_video_memory = std::uint64_t{1} << 30;
    profile.display_adapters.push_back(adapter);
  });
  record->CollectGpuNames();
  ASSERT_EQ(record->gpu_names().size(), 1U);
  tags_.RefreshTags(nullptr, false);
  EXPECT_EQ(Text(),
            "a:1, Device.Usage.IsManagedDevice:stored, Device.Hardware.Gpu.Exists:, "
            "Device.Hardware.Gpu.Intel:, Device.Usage.IsManagedDevice:false, "
            "Device.Hardware.Npu.Exists:false, ");
  yox::YOXHelperFactory::ReleaseInstance();
}

TEST_P(AppAndTagCollectionTest, TheListHasTheUsesThatTheUserHasChosen) {
  device().Change([&](yox::platform::DeviceProfile& profile) { profile.user.sid = own_user(); });
  const WString intent = own_user() + "\\"_w + yox::Persona::kIntentRegistryPath;
  const RegistryKey gaming{HKEY_USERS, intent + "\\gaming"_w, {}, {}};
  Set(gaming, "Intent"_w, RegistryValue::Dword(1));
  Store("a"_w, "1"_w);
  EXPECT_EQ(TextOf(tags_.getTagsFromRegistryAndMemory()),
            "a:1, User.Usage.Detected.Gaming:Windows, Device.Usage.IsManagedDevice:false, ");
  registry().DeleteKey({HKEY_USERS, intent, {}, {}});
}

TEST_P(AppAndTagCollectionTest, AStoredTextOfAnyScriptIsRead) {
  Store("a"_w, String::UTF8ToUTF16("Größe Ω 試 😀"));
  EXPECT_EQ(TextOf(tags_.getTagsFromRegistryAndMemory()),
            "a:Größe Ω 試 😀, Device.Usage.IsManagedDevice:false, ");
}

TEST_P(AppAndTagCollectionTest, PersonaTagsAreReplacedAlone) {
  Store("stored"_w, "1"_w);
  tags_.setTags({{"a"_w, "1"_w}, {"User.Usage.Detected.Gaming"_w, "Windows"_w}});
  tags_.RefreshPersonaTags();
  EXPECT_EQ(Text(), "a:1, ");
}

TEST(AppAndTagCollectionSingletonTest, PersonaTagsFollowTheUsersAnswers) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  device.Change([](auto& profile) { profile.user.sid = "S-1-5-21-1-2-3-1001"_w; });
  const RegistryKey gaming{
      HKEY_CURRENT_USER, yox::Persona::kIntentRegistryPath + "\\gaming"_w, {}, {}};
  ASSERT_EQ(device.registry().CreateKey(gaming), RegistryStatus::kOk);
  device.registry().SetValue(gaming, "Intent"_w, RegistryValue::Dword(1));
  TestCollection tags;
  tags.setTags({{"a"_w, "1"_w}});
  tags.RefreshPersonaTags();
  EXPECT_EQ(String::UTF16ToUTF8(tags.getTagsAsString()),
            "a:1, User.Usage.Detected.Gaming:Windows, ");
}

TEST(AppAndTagCollectionSingletonTest, ItFillsAnEmptyListAndAsksForManagementEachTime) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  const RegistryKey key{HKEY_LOCAL_MACHINE, AppAndTagCollection::szRegKeySubPath, {}, {}};
  ASSERT_EQ(device.registry().CreateKey(key), RegistryStatus::kOk);
  device.registry().SetValue(key, "a"_w, RegistryValue::Text("1"_w));
  AppAndTagCollection* const tags = AppAndTagCollection::GetInstance();
  const auto text = [&] { return String::UTF16ToUTF8(tags->getTagsAsString()); };
  EXPECT_EQ(text(), "a:1, Device.Usage.IsManagedDevice:false, ");

  const RegistryKey policy{HKEY_LOCAL_MACHINE, "SOFTWARE\\Policies\\Tervan\\YOX"_w, {}, {}};
  ASSERT_EQ(device.registry().CreateKey(policy), RegistryStatus::kOk);
  device.registry().SetValue(policy, "IsManagedDevice"_w, RegistryValue::Dword(1));
  EXPECT_EQ(text(), "a:1, Device.Usage.IsManagedDevice:false, ");
  EXPECT_EQ(AppAndTagCollection::GetInstance(), tags);
  EXPECT_EQ(text(), "a:1, Device.Usage.IsManagedDevice:true, ");

  tags->setTags({});
  AppAndTagCollection::GetInstance();
  EXPECT_EQ(text(), "a:1, Device.Usage.IsManagedDevice:true, ");
}

TEST(AppAndTagCollectionSingletonTest, TheManagementTagComesBackWhenTheListIsReplaced) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  AppAndTagCollection* const tags = AppAndTagCollection::GetInstance();
  for (const WString& name : {"a"_w, "b"_w}) {
    tags->setTags({{name, "1"_w}});
    AppAndTagCollection::GetInstance();
    AppAndTagCollection::GetInstance();
    EXPECT_EQ(String::UTF16ToUTF8(tags->getTagsAsString()),
              String::UTF16ToUTF8(name) + ":1, Device.Usage.IsManagedDevice:false, ");
  }
}

TEST(AppAndTagCollectionSingletonTest, APolicyThatAnotherThreadSetsIsSeen) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  const RegistryKey policy{HKEY_LOCAL_MACHINE, "SOFTWARE\\Policies\\Tervan\\YOX"_w, {}, {}};
  ASSERT_EQ(device.registry().CreateKey(policy), RegistryStatus::kOk);
  for (const std::uint32_t managed : {0U, 1U, 0U}) {
    std::thread([&] {
      device.registry().SetValue(policy, "IsManagedDevice"_w, RegistryValue::Dword(managed));
      AppAndTagCollection::GetInstance();
    }).join();
    EXPECT_THAT(String::UTF16ToUTF8(AppAndTagCollection::GetInstance()->getTagsAsString()),
                HasSubstr(managed != 0 ? "IsManagedDevice:true" : "IsManagedDevice:false"));
  }
}

TEST(AppAndTagCollectionSingletonTest, AManagementServiceIsSeenWithinAnHour) {
  yox::platform::DeviceProfile profile;
  profile.clock.emplace();
  profile.clock->now = yox::platform::LocalTime{{2026, 3, 1}};
  profile.clock->uptime_seconds = 7200;
  yox::platform::SimulatedDevice device(profile);
  const yox::platform::ScopedPlatform installed(device);
  const auto is_managed = [] {
    const std::string text =
        String::UTF16ToUTF8(AppAndTagCollection::GetInstance()->getTagsAsString());
    return text.find("IsManagedDevice:true") != std::string::npos;
  };
  EXPECT_FALSE(is_managed());
  device.Change([](yox::platform::DeviceProfile& changed) {
    changed.services["ccmexec"_w] = yox::platform::DeviceProfile::ServiceState::kRunning;
  });
  device.clock().Advance(3599);
  EXPECT_FALSE(is_managed());
  device.clock().Advance(1);
  EXPECT_TRUE(is_managed());
  device.Change([](yox::platform::DeviceProfile& changed) { changed.services.clear(); });
  EXPECT_TRUE(is_managed());
  device.clock().Advance(3600);
  EXPECT_FALSE(is_managed());
}

// Counts its reads, and has the trackers of the registry that it forwards to.
class CountingRegistry final : public yox_test::failing::Registry {
 public:
  CountingRegistry(yox::platform::Registry& base, yox_test::FailingCall& calls)
      : Registry(base, calls), base_(base) {}
  std::unique_ptr<yox::platform::RegistryTracker> Track(
      std::span<const RegistryKey> keys) override {
    return base_.Track(keys);
  }

 private:
  yox::platform::Registry& base_;
};

TEST(AppAndTagCollectionSingletonTest, TheRegistryIsReadAgainOnlyAfterAChange) {
  yox::platform::DeviceProfile profile;
  profile.clock.emplace().now.emplace();
  yox::platform::SimulatedDevice device(profile);
  yox_test::FailingCall calls;
  CountingRegistry registry(device.registry(), calls);
  yox_test::SubstitutedPlatform platform(device);
  platform.Set(registry);
  const yox::platform::ScopedPlatform installed(platform);
  const auto reads = [&] {
    calls.Choose(0);
    AppAndTagCollection::GetInstance();
    return calls.calls();
  };
  AppAndTagCollection::GetInstance()->setTags({{"a"_w, "1"_w}});
  EXPECT_GT(reads(), 0) << "the list was replaced";
  EXPECT_GT(reads(), 0) << "by this the list has the tag";
  EXPECT_EQ(reads(), 0);
  device.registry().CreateKey({HKEY_LOCAL_MACHINE, "SOFTWARE\\Changed"_w, {}, {}});
  EXPECT_GT(reads(), 0);
  EXPECT_EQ(reads(), 0);
  device.clock().Advance(3600);
  EXPECT_GT(reads(), 0);
  EXPECT_EQ(reads(), 0);
}

TEST(AppAndTagCollectionSingletonTest, ARegistryThatTracksNothingIsReadByEveryCall) {
  yox::platform::SimulatedDevice device;
  yox_test::FailingCall calls;
  yox_test::failing::Registry registry(device.registry(), calls);
  ASSERT_EQ(registry.Track({})->Generation(), 0U);
  yox_test::SubstitutedPlatform platform(device);
  platform.Set(registry);
  const yox::platform::ScopedPlatform installed(platform);
  for (int call = 0; call < 4; ++call) {
    calls.Choose(0);
    AppAndTagCollection::GetInstance();
    EXPECT_GT(calls.calls(), 0) << call;
  }
}

class ManagementOnEveryRegistry : public testing::TestWithParam<yox_test::RegistryMaker> {};
YOX_ON_EVERY_REGISTRY(ManagementOnEveryRegistry);

TEST_P(ManagementOnEveryRegistry, IsKeptUntilItsKeysChange) {
  const auto under_test = GetParam().make();
  under_test->Isolate();
  ASSERT_EQ(under_test->registry().CreateKey({HKEY_LOCAL_MACHINE, "SOFTWARE"_w, {}, {}}),
            RegistryStatus::kOk);
  yox::platform::SimulatedDevice device;
  yox_test::FailingCall calls;
  CountingRegistry registry(under_test->registry(), calls);
  yox_test::SubstitutedPlatform platform(device);
  platform.Set(registry);
  const yox::platform::ScopedPlatform installed(platform);
  const auto is_managed = [] {
    const std::string text =
        String::UTF16ToUTF8(AppAndTagCollection::GetInstance()->getTagsAsString());
    return text.find("IsManagedDevice:true") != std::string::npos;
  };
  const auto is_kept = [&] {
    const bool managed = is_managed();  // from now on, if the list had another tag until now
    is_managed();
    calls.Choose(0);
    return is_managed() == managed && calls.calls() == 0;
  };
  const RegistryKey policy{HKEY_LOCAL_MACHINE, "SOFTWARE\\Policies\\Tervan\\YOX"_w, {}, {}};
  const RegistryKey organisation{
      HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX\\Organisation"_w, RegistryView::k64Bit, {}};
  const WString subscriptions[] = {"6f1c9e3a"_w};
  yox::platform::Registry& other = under_test->other();

  EXPECT_FALSE(is_managed());
  EXPECT_TRUE(is_kept());
  ASSERT_EQ(other.CreateKey(policy), RegistryStatus::kOk);
  EXPECT_TRUE(is_kept());
  for (const bool managed : {true, false, true}) {
    other.SetValue(policy, "IsManagedDevice"_w, RegistryValue::Dword(managed));
    EXPECT_EQ(is_managed(), managed);
    EXPECT_TRUE(is_kept());
  }
  ASSERT_EQ(other.DeleteKey(policy), RegistryStatus::kOk);
  EXPECT_FALSE(is_managed());
  EXPECT_TRUE(is_kept());
  ASSERT_EQ(other.CreateKey(organisation), RegistryStatus::kOk);
  EXPECT_TRUE(is_kept());
  other.SetValue(organisation, "Subscriptions"_w, RegistryValue::MultiText(subscriptions));
  EXPECT_TRUE(is_managed());
  EXPECT_TRUE(is_kept());
  ASSERT_EQ(other.DeleteValue(organisation, "Subscriptions"_w), RegistryStatus::kOk);
  EXPECT_FALSE(is_managed());
}

// Notes the access with which keys are opened.
class OpenedRegistry final : public yox_test::failing::Registry {
 public:
  using Registry::Registry;
  RegistryStatus Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) override {
    accesses.push_back(access);
    return Registry::Open(key, access, opened);
  }

  std::vector<std::uint32_t> accesses;
};

TEST(AppAndTagCollectionSingletonTest, TheTagsKeyIsOpenedWithAllRights) {
  yox::platform::SimulatedDevice device;
  yox_test::FailingCall calls;
  OpenedRegistry registry(device.registry(), calls);
  yox_test::SubstitutedPlatform platform(device);
  platform.Set(registry);
  const yox::platform::ScopedPlatform installed(platform);
  AppAndTagCollection::List list;
  Reached(ReadKey{})(AppAndTagCollection::szRegKeySubPath, &list);
  EXPECT_EQ(registry.accesses, std::vector<std::uint32_t>{0xF003F});
}

TEST(AppAndTagCollectionSingletonTest, AnotherPlatformIsQueriedAnew) {
  const auto prepare = [](yox::platform::SimulatedDevice& device, std::uint32_t managed) {
    const RegistryKey policy{HKEY_LOCAL_MACHINE, "SOFTWARE\\Policies\\Tervan\\YOX"_w, {}, {}};
    ASSERT_EQ(device.registry().CreateKey(policy), RegistryStatus::kOk);
    device.registry().SetValue(policy, "IsManagedDevice"_w, RegistryValue::Dword(managed));
  };
  const auto text = [] {
    AppAndTagCollection::GetInstance();
    return String::UTF16ToUTF8(AppAndTagCollection::GetInstance()->getTagsAsString());
  };
  yox::platform::SimulatedDevice managed;
  prepare(managed, 1);
  const yox::platform::ScopedPlatform installed(managed);
  EXPECT_THAT(text(), HasSubstr("IsManagedDevice:true"));
  {
    yox::platform::SimulatedDevice unmanaged;
    prepare(unmanaged, 0);
    const yox::platform::ScopedPlatform inner(unmanaged);
    EXPECT_THAT(text(), HasSubstr("IsManagedDevice:false"));
    prepare(unmanaged, 1);
    EXPECT_THAT(text(), HasSubstr("IsManagedDevice:true"));
    prepare(unmanaged, 0);
    EXPECT_THAT(text(), HasSubstr("IsManagedDevice:false"));
  }
  EXPECT_THAT(text(), HasSubstr("IsManagedDevice:true"));
}

TEST(AppAndTagCollectionSingletonTest, ATagThatTheListHasAlreadyIsNotLogged) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  AppAndTagCollection::GetInstance();
  device.registry().CreateKey({HKEY_LOCAL_MACHINE, "SOFTWARE\\Changed"_w, {}, {}});
  const yox_test::CapturedLog log;
  AppAndTagCollection::GetInstance();
  EXPECT_EQ(log.Text().find("AddTags"), std::string::npos) << log.Text();
}

TEST(AppAndTagCollectionSingletonTest, FillingItCollectsTheDisplayAdapters) {
  yox::platform::DeviceProfile profile;
  yox::platform::DisplayAdapter adapter;
  adapter.description = "AMD Radeon"_w;
  adapter.dedicated_video_memory = std::uint64_t{1} << 30;
  profile.display_adapters.push_back(adapter);
  yox::platform::SimulatedDevice device(profile);
  const yox::platform::ScopedPlatform installed(device);
  std::shared_ptr<MachineInformation> record(MachineInformation::GetInstance(),
                                             [](MachineInformation*) {});
  yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(record);
  AppAndTagCollection::GetInstance()->setTags({});
  EXPECT_EQ(String::UTF16ToUTF8(AppAndTagCollection::GetInstance()->getTagsAsString()),
            "Device.Hardware.Gpu.Exists:, Device.Hardware.Gpu.AMD:, "
            "Device.Usage.IsManagedDevice:false, ");
  yox::YOXHelperFactory::ReleaseInstance();
}

TEST(AppAndTagCollectionSingletonTest, ManagementIsLoggedWhenItChanges) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  const RegistryKey policy{HKEY_LOCAL_MACHINE, "SOFTWARE\\Policies\\Tervan\\YOX"_w, {}, {}};
  ASSERT_EQ(device.registry().CreateKey(policy), RegistryStatus::kOk);
  const auto lines = [&](std::uint32_t managed) {
    device.registry().SetValue(policy, "IsManagedDevice"_w, RegistryValue::Dword(managed));
    const yox_test::CapturedLog log;
    AppAndTagCollection::GetInstance();
    std::string text;
    for (const auto& line : log.Lines()) {
      if (line.text.find("GetDynamicMemoryTags") != std::string::npos) text += line.text + "\n";
    }
    return text;
  };
  AppAndTagCollection::GetInstance();
  EXPECT_EQ(lines(1),
            "AppAndTagCollection::GetDynamicMemoryTags: Device.Usage.IsManagedDevice true\n");
  EXPECT_EQ(lines(1), "");
  EXPECT_EQ(lines(0),
            "AppAndTagCollection::GetDynamicMemoryTags: Device.Usage.IsManagedDevice false\n");
}

}  // namespace
