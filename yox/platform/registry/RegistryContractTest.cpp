#include <algorithm>
#include <array>
#include <atomic>
#include <thread>
#include <utility>

#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/registry/TestTracking.h"

#include "tests/support/Latch.h"

namespace yox_test {

using namespace yox::literals;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::UnorderedElementsAre;
using YOX::String;
using yox::WChar;
using yox::WString;
using yox::platform::Registry;
using yox::platform::RegistryAction;
using yox::platform::RegistryChange;
using yox::platform::RegistryEdit;
using yox::platform::RegistryEntry;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryTracker;
using yox::platform::RegistryType;
using yox::platform::RegistryValue;
using yox::platform::RegistryView;
using yox::platform::RegistryWatch;
using enum yox::platform::RegistryStatus;

RegistryKey RegistryContract::Key(const WString& below, HKEY root) const {
  RegistryKey key;
  key.root = root;
  key.path = "SOFTWARE\\"_w + under_test_->scratch();
  if (!below.empty()) key.path += "\\"_w + below;
  return key;
}

Registry::Changed RegistryReports::Callback() {
  return [this](const std::vector<RegistryChange>& changes) {
    const yox::MutexLock lock(mutex_);
    for (const RegistryChange& change : changes) {
      constexpr const char* kWords[] = {"create ", "delete ", "set ", "unset "};
      std::string text = change.lost ? "lost" : kWords[static_cast<int>(change.action)];
      text += String::UTF16ToUTF8(change.key);
      if (change.action == RegistryAction::kSetValue ||
          change.action == RegistryAction::kDeleteValue) {
        text += ":" + String::UTF16ToUTF8(change.name);
      }
      changes_.push_back(std::move(text));
    }
    changed_.NotifyAll();
  };
}

bool RegistryReports::WaitFor(const std::string& change) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  yox::MutexLock lock(mutex_);
  while (std::ranges::find(changes_, change) == changes_.end()) {
    if (!changed_.WaitUntil(lock, end)) {
      return std::ranges::find(changes_, change) != changes_.end();
    }
  }
  return true;
}

std::vector<std::string> RegistryReports::All() const {
  const yox::MutexLock lock(mutex_);
  return changes_;
}

namespace {

YOX_ON_EVERY_REGISTRY(RegistryContract);

std::vector<std::string> SubKeysOf(Registry& registry, const RegistryKey& key) {
  std::vector<WString> names;
  EXPECT_EQ(registry.SubKeys(key, names), kOk);
  std::vector<std::string> texts;
  for (const WString& name : names) texts.push_back(String::UTF16ToUTF8(name));
  return texts;
}

std::vector<std::string> ValueNamesOf(Registry& registry, const RegistryKey& key,
                                      std::size_t longest_name = 16383) {
  std::vector<RegistryEntry> values;
  EXPECT_EQ(registry.Values(key, values, longest_name), kOk);
  std::vector<std::string> names;
  for (const RegistryEntry& entry : values) names.push_back(String::UTF16ToUTF8(entry.name));
  return names;
}

RegistryKey KeyBelow(HKEY root, const WString& path = {}) { return {root, path, {}, {}}; }

TEST_P(RegistryContract, TheRootsAreThereAndCannotBeDeleted) {
  for (HKEY const root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_USERS}) {
    EXPECT_TRUE(registry_->Exists(KeyBelow(root)));
    EXPECT_EQ(registry_->DeleteKey(KeyBelow(root)), kInvalid);
    EXPECT_TRUE(registry_->Exists(KeyBelow(root)));
  }
}

TEST_P(RegistryContract, ANullOrForeignRootIsInvalid) {
  EXPECT_EQ(registry_->CreateKey(KeyBelow(nullptr, "SOFTWARE"_w)), kInvalid);
  EXPECT_FALSE(registry_->Exists(KeyBelow(nullptr)));
}

TEST_P(RegistryContract, CreatingAKeyMakesEveryKeyOnItsWay) {
  ASSERT_EQ(registry_->CreateKey(Key("A\\B\\C"_w)), kOk);
  EXPECT_TRUE(registry_->Exists(Key("A"_w)));
  EXPECT_TRUE(registry_->Exists(Key("A\\B"_w)));
  EXPECT_THAT(SubKeysOf(*registry_, Key("A\\B"_w)), ElementsAre("C"));
  EXPECT_THAT(SubKeysOf(*registry_, Key("A\\B\\C"_w)), ElementsAre());
  EXPECT_THAT(ValueNamesOf(*registry_, Key("A\\B\\C"_w)), ElementsAre());
}

TEST_P(RegistryContract, CreatingAnExistingKeySucceedsAndKeepsItsValues) {
  ASSERT_EQ(registry_->SetValue(Key(), "Name"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_EQ(registry_->CreateKey(Key()), kOk);
  EXPECT_THAT(ValueNamesOf(*registry_, Key()), ElementsAre("Name"));
}

TEST_P(RegistryContract, WhatIsNotThereIsNotFound) {
  RegistryValue value{RegistryType::kQword, {1}};
  std::vector<WString> names{"kept"_w};
  std::vector<RegistryEntry> values(1);
  EXPECT_EQ(registry_->Get(Key(), "Missing"_w, value), kNotFound);
  EXPECT_EQ(registry_->Get(Key("Missing"_w), "Name"_w, value), kNotFound);
  EXPECT_EQ(value, (RegistryValue{RegistryType::kQword, {1}}));
  EXPECT_EQ(registry_->SubKeys(Key("Missing"_w), names), kNotFound);
  EXPECT_EQ(registry_->Values(Key("Missing"_w), values), kNotFound);
  EXPECT_EQ(names.size(), 1U);
  EXPECT_EQ(values.size(), 1U);
  EXPECT_EQ(registry_->DeleteKey(Key("Missing"_w)), kNotFound);
  EXPECT_EQ(registry_->DeleteValue(Key(), "Missing"_w), kNotFound);
  EXPECT_EQ(registry_->DeleteValue(Key("Missing"_w), "Name"_w), kNotFound);
  std::unique_ptr<RegistryWatch> watch;
  EXPECT_EQ(registry_->Watch(
                Key("Missing"_w), [](const auto&) {}, watch),
            kNotFound);
  EXPECT_EQ(watch, nullptr);
}

TEST_P(RegistryContract, AValueIsSetOnlyInAnExistingKey) {
  EXPECT_EQ(registry_->SetValue(Key("Missing"_w), "Name"_w, RegistryValue::Dword(1)), kNotFound);
  EXPECT_FALSE(registry_->Exists(Key("Missing"_w)));
}

TEST_P(RegistryContract, ValuesOfEveryTypeComeBackByteForByte) {
  const WString texts[] = {"one"_w, "two"_w};
  const std::pair<const char*, RegistryValue> rows[] = {
      {"Text", RegistryValue::Text("text"_w)},
      {"Expandable", RegistryValue::ExpandableText("%PATH%"_w)},
      {"Multi", RegistryValue::MultiText(texts)},
      {"Dword", RegistryValue::Dword(0x12345678)},
      {"Qword", RegistryValue::Qword(0x123456789abcdef0)},
      {"Binary", RegistryValue::Binary({0, 1, 0xab})},
      {"None", {RegistryType::kNone, {7}}},
      {"BigEndian", {RegistryType::kDwordBigEndian, {1, 2, 3, 4}}},
      {"Other", {RegistryType{4711}, {9, 9}}},
      {"NoBytes", RegistryValue::Binary({})},
      {"OddText", {RegistryType::kText, {'a', 0, 'b'}}},
      {"ShortDword", {RegistryType::kDword, {1}}},
      {"Large", RegistryValue::Binary(std::vector<std::uint8_t>(1'000'000, 0x5a))},
  };
  for (const auto& [name, value] : rows) {
    ASSERT_EQ(registry_->SetValue(Key(), String::UTF8ToUTF16(name), value), kOk) << name;
  }
  std::vector<RegistryEntry> all;
  ASSERT_EQ(under_test_->other().Values(Key(), all), kOk);
  EXPECT_EQ(all.size(), std::size(rows));
  for (const auto& [name, value] : rows) {
    RegistryValue read;
    ASSERT_EQ(registry_->Get(Key(), String::UTF8ToUTF16(name), read), kOk) << name;
    EXPECT_TRUE(read == value) << name;
    EXPECT_THAT(all, Contains(RegistryEntry{String::UTF8ToUTF16(name), value})) << name;
  }
}

TEST_P(RegistryContract, TextIsStoredInUtf16WithItsTerminator) {
  ASSERT_EQ(registry_->SetValue(Key(), "Name"_w, RegistryValue::Text("a\u00e9\u6f22"_w)), kOk);
  RegistryValue value;
  ASSERT_EQ(registry_->Get(Key(), "Name"_w, value), kOk);
  EXPECT_EQ(value.type, RegistryType::kText);
  EXPECT_THAT(value.data, ElementsAre('a', 0, 0xe9, 0, 0x22, 0x6f, 0, 0));
  EXPECT_EQ(value.FirstText(), "a\u00e9\u6f22"_w);
}

TEST_P(RegistryContract, ASecondWriteReplacesValueAndType) {
  ASSERT_EQ(registry_->SetValue(Key(), "Name"_w, RegistryValue::Text("long before"_w)), kOk);
  ASSERT_EQ(registry_->SetValue(Key(), "Name"_w, RegistryValue::Dword(5)), kOk);
  RegistryValue value;
  ASSERT_EQ(registry_->Get(Key(), "Name"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(5));
  const RegistryValue same_bytes = RegistryValue::Binary(value.data);
  ASSERT_EQ(registry_->SetValue(Key(), "Name"_w, same_bytes), kOk);
  ASSERT_EQ(registry_->Get(Key(), "Name"_w, value), kOk);
  EXPECT_EQ(value, same_bytes);
}

TEST_P(RegistryContract, WhatIsReadReplacesWhatTheCallerHad) {
  ASSERT_EQ(registry_->SetValue(Key(), "Name"_w, RegistryValue::Dword(1)), kOk);
  ASSERT_EQ(registry_->CreateKey(Key("Sub"_w)), kOk);
  std::vector<RegistryEntry> values(2);
  EXPECT_EQ(registry_->Values(Key(), values), kOk);
  EXPECT_THAT(values, ElementsAre(RegistryEntry{"Name"_w, RegistryValue::Dword(1)}));
  std::vector<WString> names{"former"_w, "names"_w};
  EXPECT_EQ(registry_->SubKeys(Key(), names), kOk);
  EXPECT_THAT(names, ElementsAre("Sub"_w));
}

TEST_P(RegistryContract, LetterCaseDoesNotMatterAndStaysAsFirstWritten) {
  ASSERT_EQ(registry_->CreateKey(Key("Caf\u00c9\\Sub"_w)), kOk);
  ASSERT_EQ(registry_->SetValue(Key("caf\u00e9"_w), "N\u00c4me"_w, RegistryValue::Dword(1)), kOk);
  ASSERT_EQ(registry_->SetValue(Key("CAF\u00c9"_w), "n\u00e4ME"_w, RegistryValue::Dword(2)), kOk);
  ASSERT_EQ(registry_->CreateKey(Key("caf\u00e9\\SUB\\Deep"_w)), kOk);
  EXPECT_THAT(SubKeysOf(*registry_, Key()), ElementsAre("Caf\u00c9"));
  EXPECT_THAT(SubKeysOf(*registry_, Key("caf\u00e9"_w)), ElementsAre("Sub"));
  EXPECT_THAT(ValueNamesOf(*registry_, Key("caf\u00e9"_w)), ElementsAre("N\u00c4me"));
  RegistryValue value;
  ASSERT_EQ(registry_->Get(Key("caf\u00e9"_w), "N\u00c4ME"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(2));
}

TEST_P(RegistryContract, AnEmptyNameIsTheDefaultValue) {
  ASSERT_EQ(registry_->SetValue(Key(), {}, RegistryValue::Text("default"_w)), kOk);
  ASSERT_EQ(registry_->SetValue(Key(), "Name"_w, RegistryValue::Text("other"_w)), kOk);
  RegistryValue value;
  ASSERT_EQ(registry_->Get(Key(), {}, value), kOk);
  EXPECT_EQ(value, RegistryValue::Text("default"_w));
  EXPECT_THAT(ValueNamesOf(*registry_, Key()), UnorderedElementsAre("", "Name"));
  EXPECT_EQ(registry_->DeleteValue(Key(), {}), kOk);
  EXPECT_THAT(ValueNamesOf(*registry_, Key()), ElementsAre("Name"));
}

TEST_P(RegistryContract, OneSeparatorAtTheEndIsIgnored) {
  ASSERT_EQ(registry_->CreateKey(Key("A\\"_w)), kOk);
  EXPECT_THAT(SubKeysOf(*registry_, Key()), ElementsAre("A"));
  EXPECT_TRUE(registry_->Exists(Key("A\\"_w)));
  EXPECT_EQ(registry_->SetValue(Key("A\\"_w), "Name"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_EQ(registry_->DeleteKey(Key("A\\"_w)), kOk);
}

TEST_P(RegistryContract, AnEmptyKeyNameIsInvalid) {
  for (const WString& path : {"\\A"_w, "A\\\\B"_w, "A\\\\"_w, "\\"_w}) {
    EXPECT_EQ(registry_->CreateKey(KeyBelow(HKEY_LOCAL_MACHINE, path)), kInvalid);
    EXPECT_EQ(registry_->CreateKey(Key(path)), kInvalid);
    RegistryValue value;
    EXPECT_EQ(registry_->Get(Key(path), "Name"_w, value), kInvalid);
  }
  EXPECT_THAT(SubKeysOf(*registry_, Key()), ElementsAre());
}

TEST_P(RegistryContract, NamesHaveTheirLongestLength) {
  const WString longest_key(255, WChar{'k'});
  EXPECT_EQ(registry_->CreateKey(Key(longest_key)), kOk);
  EXPECT_EQ(registry_->CreateKey(Key(longest_key + "k"_w)), kInvalid);
  EXPECT_THAT(SubKeysOf(*registry_, Key()), ElementsAre(std::string(255, 'k')));

  const WString longest_value(16383, WChar{'v'});
  EXPECT_EQ(registry_->SetValue(Key(), longest_value, RegistryValue::Dword(1)), kOk);
  EXPECT_EQ(registry_->SetValue(Key(), longest_value + "v"_w, RegistryValue::Dword(1)), kInvalid);
  EXPECT_THAT(ValueNamesOf(*registry_, Key()), ElementsAre(std::string(16383, 'v')));
}

TEST_P(RegistryContract, AZeroInANameIsInvalid) {
  const WString zero(1, WChar{0});
  EXPECT_EQ(registry_->CreateKey(Key("A"_w + zero + "B"_w)), kInvalid);
  EXPECT_EQ(registry_->SetValue(Key(), "A"_w + zero, RegistryValue::Dword(1)), kInvalid);
}

TEST_P(RegistryContract, NamesTooLongForTheCallerAreLeftOut) {
  for (const std::size_t size : {262U, 263U, 264U, 300U}) {
    ASSERT_EQ(registry_->SetValue(Key(), WString(size, WChar{'n'}), RegistryValue::Dword(1)), kOk);
  }
  EXPECT_THAT(ValueNamesOf(*registry_, Key(), 263),
              UnorderedElementsAre(std::string(262, 'n'), std::string(263, 'n')));
}

TEST_P(RegistryContract, DeletingAKeyTakesEverythingBelowAndNothingBeside) {
  for (const WString& path :
       {"A\\B\\C"_w, "A\\B!"_w, "A\\B b"_w, "A\\BB\\C"_w, "A\\b]"_w, "A\\B\x01"_w}) {
    ASSERT_EQ(registry_->CreateKey(Key(path)), kOk);
  }
  ASSERT_EQ(registry_->SetValue(Key("A\\B\\C"_w), "Name"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_THAT(SubKeysOf(*registry_, Key("A"_w)),
              UnorderedElementsAre("B", "B!", "B b", "BB", "b]", "B\x01"));
  ASSERT_EQ(registry_->DeleteKey(Key("a\\b"_w)), kOk);
  EXPECT_THAT(SubKeysOf(*registry_, Key("A"_w)),
              UnorderedElementsAre("B!", "B b", "BB", "b]", "B\x01"));
  EXPECT_FALSE(registry_->Exists(Key("A\\B\\C"_w)));
  EXPECT_TRUE(registry_->Exists(Key("A\\BB\\C"_w)));
  ASSERT_EQ(registry_->CreateKey(Key("A\\B\\C"_w)), kOk);
  EXPECT_THAT(ValueNamesOf(*registry_, Key("A\\B\\C"_w)), ElementsAre());
}

TEST_P(RegistryContract, AnOpenedKeyServesAsRoot) {
  ASSERT_EQ(registry_->CreateKey(Key("A\\B"_w)), kOk);
  HKEY opened = nullptr;
  ASSERT_EQ(registry_->Open(Key("A"_w), Registry::kFullAccess, opened), kOk);
  ASSERT_NE(opened, nullptr);
  EXPECT_EQ(registry_->SetValue(KeyBelow(opened), "Name"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_EQ(registry_->CreateKey(KeyBelow(opened, "C"_w)), kOk);
  EXPECT_THAT(SubKeysOf(*registry_, KeyBelow(opened)), UnorderedElementsAre("B", "C"));
  registry_->Close(opened);
  EXPECT_THAT(ValueNamesOf(*registry_, Key("A"_w)), ElementsAre("Name"));
  EXPECT_FALSE(registry_->Exists(KeyBelow(opened)));
}

TEST_P(RegistryContract, OpeningAMissingKeyGivesNoHandle) {
  HKEY opened = nullptr;
  EXPECT_EQ(registry_->Open(Key("Missing"_w), Registry::kRead, opened), kNotFound);
  EXPECT_EQ(opened, nullptr);
}

TEST_P(RegistryContract, TheCurrentUsersHiveStandsUnderHisIdentifier) {
  ASSERT_EQ(registry_->SetValue(Key({}, HKEY_CURRENT_USER), "Name"_w, RegistryValue::Dword(3)),
            kOk);
  RegistryKey key = Key({}, HKEY_USERS);
  key.path = under_test_->own_user() + "\\"_w + key.path;
  RegistryValue value;
  ASSERT_EQ(registry_->Get(key, "Name"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(3));
  EXPECT_EQ(registry_->Get(Key(), "Name"_w, value), kNotFound);
}

TEST_P(RegistryContract, AnotherUsersHiveIsReachedByHisIdentifier) {
  RegistryKey key = Key({}, HKEY_CURRENT_USER);
  key.user = under_test_->own_user();
  ASSERT_EQ(registry_->SetValue(key, "Name"_w, RegistryValue::Dword(4)), kOk);
  RegistryValue value;
  ASSERT_EQ(registry_->Get(Key({}, HKEY_CURRENT_USER), "Name"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(4));
  key.user = "S-1-5-21-1-2-3-999999"_w;
  EXPECT_EQ(registry_->Get(key, "Name"_w, value), kNotFound);
  // A user says nothing about the machine's half.
  key.root = HKEY_LOCAL_MACHINE;
  EXPECT_TRUE(registry_->Exists(key));
}

TEST_P(RegistryContract, The32BitViewHasItsOwnSoftware) {
  RegistryKey small = Key("Views"_w), large = Key("Views"_w), node = Key("Views"_w);
  small.view = RegistryView::k32Bit;
  large.view = RegistryView::k64Bit;
  node.view = RegistryView::k64Bit;
  node.path = "SOFTWARE\\WOW6432Node\\"_w + under_test_->scratch() + "\\Views"_w;

  ASSERT_EQ(registry_->CreateKey(large), kOk);
  EXPECT_FALSE(registry_->Exists(small));
  ASSERT_EQ(registry_->CreateKey(small), kOk);
  ASSERT_EQ(registry_->SetValue(small, "Bits"_w, RegistryValue::Dword(32)), kOk);
  ASSERT_EQ(registry_->SetValue(large, "Bits"_w, RegistryValue::Dword(64)), kOk);

  RegistryValue value;
  EXPECT_EQ(registry_->Get(small, "Bits"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(32));
  EXPECT_EQ(registry_->Get(large, "Bits"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(64));
  EXPECT_EQ(registry_->Get(node, "Bits"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(32));
  EXPECT_EQ(registry_->Get(Key("Views"_w), "Bits"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(64)) << "the default view of a 64-bit process";
  node.view = RegistryView::k32Bit;
  EXPECT_EQ(registry_->Get(node, "Bits"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(32)) << "redirected once only";
  node.path = "SOFTWARE\\WOW6432Node\\"_w + under_test_->scratch();
  EXPECT_EQ(registry_->DeleteKey(node), kOk);
}

TEST_P(RegistryContract, AUsersSoftwareIsTheSameInBothViews) {
  RegistryKey small = Key({}, HKEY_CURRENT_USER), large = small;
  small.view = RegistryView::k32Bit;
  large.view = RegistryView::k64Bit;
  ASSERT_EQ(registry_->SetValue(small, "Name"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_THAT(ValueNamesOf(*registry_, large), ElementsAre("Name"));
}

// One row of a list of edits.
RegistryEdit Edit(RegistryAction action, RegistryKey key, WString name = {},
                  RegistryValue value = {}) {
  return {action, std::move(key), std::move(name), std::move(value)};
}

TEST_P(RegistryContract, EditsAreDoneInOrder) {
  const std::vector<RegistryEdit> edits{
      Edit(RegistryAction::kCreateKey, Key("A"_w)),
      Edit(RegistryAction::kSetValue, Key("A"_w), "One"_w, RegistryValue::Dword(1)),
      Edit(RegistryAction::kSetValue, Key("A"_w), "Two"_w, RegistryValue::Dword(2)),
      Edit(RegistryAction::kDeleteValue, Key("A"_w), "One"_w),
      Edit(RegistryAction::kCreateKey, Key("B"_w)),
      Edit(RegistryAction::kDeleteKey, Key("B"_w)),
  };
  ASSERT_EQ(registry_->Apply(edits), kOk);
  EXPECT_THAT(ValueNamesOf(*registry_, Key("A"_w)), ElementsAre("Two"));
  EXPECT_THAT(SubKeysOf(*registry_, Key()), ElementsAre("A"));
}

TEST_P(RegistryContract, DeletingWhatIsMissingMaySucceed) {
  ASSERT_EQ(registry_->SetValue(Key(), "Gone"_w, RegistryValue::Dword(1)), kOk);
  std::vector<RegistryEdit> edits{
      Edit(RegistryAction::kDeleteKey, Key("Missing"_w)),
      Edit(RegistryAction::kDeleteValue, Key("Missing"_w), "Name"_w),
      Edit(RegistryAction::kDeleteValue, Key(), "Missing"_w),
      Edit(RegistryAction::kDeleteValue, Key(), "Gone"_w),
      Edit(RegistryAction::kCreateKey, Key("Then"_w)),
  };
  for (RegistryEdit& edit : edits) edit.if_there = true;
  EXPECT_EQ(registry_->Apply(edits), kOk);
  EXPECT_THAT(SubKeysOf(*registry_, Key()), ElementsAre("Then"));
  EXPECT_THAT(ValueNamesOf(*registry_, Key()), ElementsAre());

  edits[0].key.path += "\\\\"_w;
  edits[4].key = Key("Never"_w);
  EXPECT_EQ(registry_->Apply(edits), kInvalid);
  EXPECT_FALSE(registry_->Exists(Key("Never"_w)));
}

TEST_P(RegistryContract, EditsStopAtTheFirstThatFails) {
  ASSERT_EQ(registry_->CreateKey(Key("Full\\Sub"_w)), kOk);
  ASSERT_EQ(registry_->SetValue(Key("Full\\Sub"_w), "Name"_w, RegistryValue::Dword(1)), kOk);
  ASSERT_EQ(registry_->SetValue(Key("Full"_w), "Name"_w, RegistryValue::Dword(1)), kOk);
  const std::vector<RegistryEdit> edits{
      Edit(RegistryAction::kCreateKey, Key("New\\Sub"_w)),
      Edit(RegistryAction::kSetValue, Key("Full"_w), "Name"_w, RegistryValue::Dword(2)),
      Edit(RegistryAction::kSetValue, Key("Full"_w), "Other"_w, RegistryValue::Dword(2)),
      Edit(RegistryAction::kDeleteValue, Key("Full\\Sub"_w), "Name"_w),
      Edit(RegistryAction::kDeleteKey, Key("Full"_w)),
      Edit(RegistryAction::kDeleteValue, Key("Full"_w), "Name"_w),
      Edit(RegistryAction::kCreateKey, Key("Never"_w)),
  };
  EXPECT_EQ(registry_->Apply(edits), kNotFound);
  EXPECT_FALSE(registry_->Exists(Key("Never"_w)));
  if (!under_test_->is_atomic()) return;
  EXPECT_THAT(SubKeysOf(*registry_, Key()), ElementsAre("Full"));
  EXPECT_THAT(ValueNamesOf(*registry_, Key("Full"_w)), ElementsAre("Name"));
  RegistryValue value;
  ASSERT_EQ(registry_->Get(Key("Full"_w), "Name"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(1));
  ASSERT_EQ(registry_->Get(Key("Full\\Sub"_w), "Name"_w, value), kOk);
  EXPECT_EQ(value, RegistryValue::Dword(1));
}

TEST_P(RegistryContract, AWatchNamesWhatChangedInItsSubtree) {
  ASSERT_EQ(registry_->CreateKey(Key("W\\Sub\\Deep"_w)), kOk);
  ASSERT_EQ(registry_->SetValue(Key("W\\Sub"_w), "Gone"_w, RegistryValue::Dword(1)), kOk);
  RegistryReports reports;
  std::unique_ptr<RegistryWatch> watch;
  ASSERT_EQ(registry_->Watch(Key("w"_w), reports.Callback(), watch), kOk);
  Registry& other = under_test_->other();

  ASSERT_EQ(other.SetValue(Key("W"_w), "Name"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_TRUE(reports.WaitFor("set :Name"));
  ASSERT_EQ(other.SetValue(Key("W\\sub\\deep"_w), {}, RegistryValue::Dword(1)), kOk);
  EXPECT_TRUE(reports.WaitFor("set Sub\\Deep:"));
  ASSERT_EQ(other.DeleteValue(Key("W\\Sub"_w), "gone"_w), kOk);
  EXPECT_TRUE(reports.WaitFor("unset Sub:Gone"));
  ASSERT_EQ(other.CreateKey(Key("W\\New\\Newer"_w)), kOk);
  EXPECT_TRUE(reports.WaitFor("create New\\Newer"));
  ASSERT_EQ(other.DeleteKey(Key("W\\Sub"_w)), kOk);
  EXPECT_TRUE(reports.WaitFor("delete Sub"));
  // Windows deletes from below, and a watch may look in between.
  auto all = reports.All();
  std::erase(all, "delete Sub\\Deep");
  EXPECT_THAT(all, ElementsAre("set :Name", "set Sub\\Deep:", "unset Sub:Gone", "create New",
                               "create New\\Newer", "delete Sub"));
}

TEST_P(RegistryContract, AWatchSeesNothingBesideOrAboveItsKey) {
  ASSERT_EQ(registry_->CreateKey(Key("W"_w)), kOk);
  ASSERT_EQ(registry_->CreateKey(Key("W2"_w)), kOk);
  RegistryReports reports;
  std::unique_ptr<RegistryWatch> watch;
  ASSERT_EQ(registry_->Watch(Key("W"_w), reports.Callback(), watch), kOk);
  ASSERT_EQ(registry_->SetValue(Key(), "Above"_w, RegistryValue::Dword(1)), kOk);
  ASSERT_EQ(registry_->SetValue(Key("W2"_w), "Beside"_w, RegistryValue::Dword(1)), kOk);
  ASSERT_EQ(registry_->SetValue(Key("W"_w), "In"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_TRUE(reports.WaitFor("set :In"));
  EXPECT_THAT(reports.All(), ElementsAre("set :In"));
}

TEST_P(RegistryContract, AWriteOfWhatAlreadyStandsIsNotReported) {
  ASSERT_EQ(registry_->SetValue(Key(), "Same"_w, RegistryValue::Text("x"_w)), kOk);
  RegistryReports reports;
  std::unique_ptr<RegistryWatch> watch;
  ASSERT_EQ(registry_->Watch(Key(), reports.Callback(), watch), kOk);
  ASSERT_EQ(registry_->SetValue(Key(), "Same"_w, RegistryValue::Text("x"_w)), kOk);
  ASSERT_EQ(registry_->CreateKey(Key()), kOk);
  ASSERT_EQ(registry_->SetValue(Key(), "Other"_w, RegistryValue::Text("x"_w)), kOk);
  EXPECT_TRUE(reports.WaitFor("set :Other"));
  EXPECT_THAT(reports.All(), ElementsAre("set :Other"));
}

TEST_P(RegistryContract, FailedEditsAreNotReported) {
  if (!under_test_->is_atomic()) GTEST_SKIP() << "its edits are single ones";
  RegistryReports reports;
  std::unique_ptr<RegistryWatch> watch;
  ASSERT_EQ(registry_->Watch(Key(), reports.Callback(), watch), kOk);
  const std::vector<RegistryEdit> edits{
      Edit(RegistryAction::kCreateKey, Key("New"_w)),
      Edit(RegistryAction::kDeleteValue, Key("New"_w), "Missing"_w),
  };
  ASSERT_EQ(registry_->Apply(edits), kNotFound);
  ASSERT_EQ(registry_->SetValue(Key(), "Then"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_TRUE(reports.WaitFor("set :Then"));
  EXPECT_THAT(reports.All(), ElementsAre("set :Then"));
}

TEST_P(RegistryContract, DeletionOfTheWatchedKeyIsReported) {
  ASSERT_EQ(registry_->CreateKey(Key("A\\W\\Sub"_w)), kOk);
  RegistryReports reports;
  std::unique_ptr<RegistryWatch> watch;
  ASSERT_EQ(registry_->Watch(Key("A\\W"_w), reports.Callback(), watch), kOk);
  ASSERT_EQ(registry_->DeleteKey(Key("A"_w)), kOk);
  EXPECT_TRUE(reports.WaitFor("delete "));
}

TEST_P(RegistryContract, AnEndedWatchReportsNoMore) {
  RegistryReports ended, living;
  std::unique_ptr<RegistryWatch> first, second;
  ASSERT_EQ(registry_->Watch(Key(), ended.Callback(), first), kOk);
  ASSERT_EQ(registry_->Watch(Key(), living.Callback(), second), kOk);
  first.reset();
  ASSERT_EQ(registry_->SetValue(Key(), "Name"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_TRUE(living.WaitFor("set :Name"));
  EXPECT_THAT(ended.All(), ElementsAre());
}

TEST_P(RegistryContract, AnOverwrittenValueIsReportedByItsFirstName) {
  ASSERT_EQ(registry_->SetValue(Key(), "Name"_w, RegistryValue::Dword(1)), kOk);
  RegistryReports reports;
  std::unique_ptr<RegistryWatch> watch;
  ASSERT_EQ(registry_->Watch(Key(), reports.Callback(), watch), kOk);
  ASSERT_EQ(registry_->SetValue(Key(), "NAME"_w, RegistryValue::Dword(2)), kOk);
  EXPECT_TRUE(reports.WaitFor("set :Name"));
}

TEST_P(RegistryContract, EndingAWatchWaitsForItsCallback) {
  Latch called;
  std::atomic<bool> ended{false};
  std::unique_ptr<RegistryWatch> watch;
  const auto changed = [&](const auto&) {
    called.CountDown();
    for (int i = 0; i < 500; ++i) std::this_thread::yield();
    EXPECT_FALSE(ended);
  };
  ASSERT_EQ(registry_->Watch(Key(), changed, watch), kOk);
  std::thread changing([&] { registry_->SetValue(Key(), "Name"_w, RegistryValue::Dword(1)); });
  EXPECT_TRUE(called.Wait());
  watch.reset();
  ended = true;
  changing.join();
}

TEST_P(RegistryContract, ACallbackMayEndAnotherWatch) {
  std::atomic<bool> ended{false};
  RegistryReports reports;
  const Registry::Changed report = reports.Callback();
  std::unique_ptr<RegistryWatch> first, second;
  const auto end_the_other = [&](const std::vector<RegistryChange>& changes) {
    second.reset();
    ended = true;
    report(changes);
  };
  ASSERT_EQ(registry_->Watch(Key(), end_the_other, first), kOk);
  ASSERT_EQ(registry_->Watch(
                Key(), [&](const auto&) { EXPECT_FALSE(ended); }, second),
            kOk);
  ASSERT_EQ(registry_->SetValue(Key(), "Name"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_TRUE(reports.WaitFor("set :Name"));
}

TEST_P(RegistryContract, AnEndedWatchFreesItsCallback) {
  auto token = std::make_shared<int>();
  const std::weak_ptr<int> freed = token;
  std::unique_ptr<RegistryWatch> watch, other;
  Registry::Changed changed = [token = std::move(token)](const auto&) {};
  ASSERT_EQ(registry_->Watch(Key(), std::move(changed), watch), kOk);
  changed = {};
  ASSERT_EQ(registry_->Watch(
                Key(), [](const auto&) {}, other),
            kOk);
  watch.reset();
  // The registry's thread may have it for a moment longer.
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!freed.expired() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  EXPECT_TRUE(freed.expired());
}

TEST_P(RegistryContract, SeveralThreadsUseItAtOnce) {
  const auto use = [this](const WString& own) {
    const RegistryKey key = Key(own);
    for (std::uint32_t round = 0; round < 10; ++round) {
      std::unique_ptr<RegistryWatch> watch;
      EXPECT_EQ(registry_->Watch(
                    Key(), [](const auto&) {}, watch),
                kOk);
      EXPECT_EQ(registry_->CreateKey(Key(own + "\\Sub"_w)), kOk);
      EXPECT_EQ(registry_->SetValue(key, "Name"_w, RegistryValue::Dword(round)), kOk);
      RegistryValue value;
      EXPECT_EQ(registry_->Get(key, "Name"_w, value), kOk);
      EXPECT_EQ(value, RegistryValue::Dword(round));
      HKEY opened = nullptr;
      EXPECT_EQ(registry_->Open(key, Registry::kFullAccess, opened), kOk);
      EXPECT_THAT(SubKeysOf(*registry_, KeyBelow(opened)), ElementsAre("Sub"));
      EXPECT_THAT(ValueNamesOf(*registry_, KeyBelow(opened)), ElementsAre("Name"));
      registry_->Close(opened);
      EXPECT_EQ(registry_->DeleteValue(key, "Name"_w), kOk);
      EXPECT_EQ(registry_->DeleteKey(key), kOk);
    }
  };
  std::vector<std::thread> threads;
  for (const WString& own : {"A"_w, "B"_w, "C"_w}) threads.emplace_back(use, own);
  for (std::thread& thread : threads) thread.join();
}

TEST_P(RegistryContract, ACallbackMayUseTheRegistry) {
  RegistryReports reports;
  const Registry::Changed report = reports.Callback();
  std::unique_ptr<RegistryWatch> watch;
  const auto answer = [&](const std::vector<RegistryChange>& changes) {
    report(changes);
    RegistryValue value;
    if (registry_->Get(Key(), "Answer"_w, value) == kOk) return;
    registry_->SetValue(Key(), "Answer"_w, RegistryValue::Dword(42));
  };
  ASSERT_EQ(registry_->Watch(Key(), answer, watch), kOk);
  ASSERT_EQ(registry_->SetValue(Key(), "Question"_w, RegistryValue::Dword(1)), kOk);
  EXPECT_TRUE(reports.WaitFor("set :Answer"));
}

TEST_P(RegistryContract, WatchesOfOneKeyUnderTwoNamesBothReport) {
  RegistryKey by_identifier = Key({}, HKEY_USERS);
  by_identifier.path = under_test_->own_user() + "\\"_w + by_identifier.path;
  RegistryReports own, identified;
  std::unique_ptr<RegistryWatch> first, second;
  ASSERT_EQ(registry_->Watch(Key({}, HKEY_CURRENT_USER), own.Callback(), first), kOk);
  ASSERT_EQ(registry_->Watch(by_identifier, identified.Callback(), second), kOk);
  ASSERT_EQ(registry_->SetValue(Key({}, HKEY_CURRENT_USER), "Name"_w, RegistryValue::Dword(1)),
            kOk);
  EXPECT_TRUE(own.WaitFor("set :Name"));
  EXPECT_TRUE(identified.WaitFor("set :Name"));
}

// Keeps a value of the registry until the tracker's number changes.
class KeptValue {
 public:
  KeptValue(Registry& registry, RegistryKey key)
      : registry_(registry), key_(std::move(key)), tracker_(registry.Track({&key_, 1})) {}

  // The value, 0 when there is none.
  std::uint32_t Get() {
    const auto now = tracker_->Generation();
    if (now != 0 && now == generation_) return kept_;
    ++reads_;
    RegistryValue value;
    const bool found = registry_.Get(key_, "Name"_w, value) == kOk;
    kept_ = found ? value.AsDword().value_or(0) : 0;
    generation_ = tracker_->Generation() == now ? now : 0;
    return kept_;
  }
  int reads() const { return reads_; }

 private:
  Registry& registry_;
  const RegistryKey key_;
  const std::unique_ptr<RegistryTracker> tracker_;
  std::uint64_t generation_ = 0;
  std::uint32_t kept_ = 0;
  int reads_ = 0;
};

// Other processes change keys beside the scratch key, which may count as changes of it.
class RegistryTrackerContract : public RegistryContract {
 protected:
  void SetUp() override {
    RegistryContract::SetUp();
    under_test_->Isolate();
    ASSERT_EQ(registry_->CreateKey(Key()), kOk);
  }
};
YOX_ON_EVERY_REGISTRY(RegistryTrackerContract);

TEST_P(RegistryTrackerContract, AKeyIsReadAgainOnlyAfterAChange) {
  for (Registry* const writer : {registry_, &under_test_->other()}) {
    for (const WString& path : {"Sub"_w, "Sub\\Sub"_w}) {
      const RegistryKey key = Key(path);
      KeptValue kept(*registry_, key);
      EXPECT_EQ(kept.Get(), 0U) << "there is no such key";
      ASSERT_EQ(writer->CreateKey(key), kOk);
      EXPECT_EQ(kept.Get(), 0U) << "an empty one";
      for (const std::uint32_t number : {1U, 2U, 2U, 3U}) {
        ASSERT_EQ(writer->SetValue(key, "Name"_w, RegistryValue::Dword(number)), kOk);
        EXPECT_EQ(kept.Get(), number);
      }
      ASSERT_EQ(writer->DeleteValue(key, "Name"_w), kOk);
      EXPECT_EQ(kept.Get(), 0U) << "the value is gone";
      ASSERT_EQ(writer->SetValue(key, "Name"_w, RegistryValue::Dword(4)), kOk);
      EXPECT_EQ(kept.Get(), 4U);
      ASSERT_EQ(writer->DeleteKey(Key("Sub"_w)), kOk);
      EXPECT_EQ(kept.Get(), 0U) << "the key is gone";
      ASSERT_EQ(writer->CreateKey(key), kOk);
      ASSERT_EQ(writer->SetValue(key, "Name"_w, RegistryValue::Dword(5)), kOk);
      EXPECT_EQ(kept.Get(), 5U);
      const int reads = kept.reads();
      for (int again = 0; again < 10; ++again) EXPECT_EQ(kept.Get(), 5U);
      EXPECT_EQ(kept.reads(), reads);
      ASSERT_EQ(writer->DeleteKey(Key("Sub"_w)), kOk);
    }
  }
}

TEST_P(RegistryTrackerContract, EveryKeyCounts) {
  const std::array keys{Key("A"_w), Key("B"_w)};
  ASSERT_EQ(registry_->CreateKey(keys[0]), kOk);
  const auto tracker = registry_->Track(keys);
  auto last = tracker->Generation();
  ASSERT_TRUE(last);
  for (std::uint32_t round = 0; round < 3; ++round) {
    for (const RegistryKey& key : keys) {
      ASSERT_EQ(registry_->CreateKey(key), kOk);
      ASSERT_EQ(registry_->SetValue(key, "Name"_w, RegistryValue::Dword(round)), kOk);
      const auto next = tracker->Generation();
      ASSERT_TRUE(next);
      EXPECT_NE(next, last);
      EXPECT_EQ(tracker->Generation(), next);
      last = next;
    }
  }
}

TEST_P(RegistryTrackerContract, AChangeIsSeenAtOnceByEveryThread) {
  const RegistryKey key = Key("Sub"_w);
  const auto tracker = registry_->Track({&key, 1});
  const auto read = [&]() -> std::uint32_t {
    RegistryValue value;
    return registry_->Get(key, "Name"_w, value) == kOk ? value.AsDword().value_or(0) : 0;
  };
  const auto write = [&](std::uint32_t number) {
    if (number == 1) {
      EXPECT_EQ(under_test_->other().CreateKey(key), kOk);
    }
    EXPECT_EQ(under_test_->other().SetValue(key, "Name"_w, RegistryValue::Dword(number)), kOk);
  };
  EXPECT_EQ(CountLateReads(*tracker, 3, 300, read, write), 0);
}

TEST_P(RegistryTrackerContract, ItMayOutliveItsRegistry) {
  const RegistryKey key = Key();
  const auto tracker = registry_->Track({&key, 1});
  EXPECT_TRUE(tracker->Generation());
  under_test_.reset();
}

}  // namespace
}  // namespace yox_test
