#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/registry/Registry.h"

#include "tests/support/Rows.h"

// The contract of every registry, as one suite of tests: RegistryContractTest.cpp. Tests of what
// uses a registry run on each of them like this:
//   class X : public testing::TestWithParam<yox_test::RegistryMaker> {};
//   YOX_ON_EVERY_REGISTRY(X);
namespace yox_test {

// A registry under test, with keys of its own to write in.
class RegistryUnderTest {
 public:
  virtual ~RegistryUnderTest() = default;

  virtual yox::platform::Registry& registry() = 0;
  // The same store as another process sees it.
  virtual yox::platform::Registry& other() { return registry(); }
  // The security identifier of the account of HKEY_CURRENT_USER.
  virtual yox::WString own_user() = 0;
  // Whether edits that fail change nothing.
  virtual bool is_atomic() const { return true; }
  // Puts an empty HKEY_LOCAL_MACHINE, which has no 32-bit view, in the place of the machine's.
  virtual void Isolate() {}

  // The name of a key below "SOFTWARE" of both HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER that is
  // there while the object lives, empty at first.
  const yox::WString& scratch() const { return scratch_; }

 protected:
  yox::WString scratch_;
};

struct RegistryMaker {
  std::string name;
  std::function<std::unique_ptr<RegistryUnderTest>()> make;

  friend void PrintTo(const RegistryMaker& maker, std::ostream* out) { *out << maker.name; }
};

RegistryMaker SimulatedRegistryMaker();
RegistryMaker NativeRegistryMaker();  // the system's that the tests run on

#define YOX_ON_EVERY_REGISTRY(Suite)                                                        \
  INSTANTIATE_TEST_SUITE_P(                                                                 \
      , Suite,                                                                              \
      testing::Values(yox_test::SimulatedRegistryMaker(), yox_test::NativeRegistryMaker()), \
      yox_test::RowName())

class RegistryContract : public testing::TestWithParam<RegistryMaker> {
 protected:
  void SetUp() override {
    under_test_ = GetParam().make();
    registry_ = &under_test_->registry();
  }

  // A key below the scratch key.
  yox::platform::RegistryKey Key(const yox::WString& below = {},
                                 HKEY root = HKEY_LOCAL_MACHINE) const;

  std::unique_ptr<RegistryUnderTest> under_test_;
  yox::platform::Registry* registry_ = nullptr;
};

// Collects what a watch reports, each change as one text: "set Sub:Name", "unset Sub:Name",
// "create Sub", "delete Sub", "lost".
class RegistryReports {
 public:
  yox::platform::Registry::Changed Callback();

  // Waits until the change was reported; false when it is not within ten seconds.
  bool WaitFor(const std::string& change);
  std::vector<std::string> All() const;

 private:
  mutable yox::Mutex mutex_;
  yox::ConditionVariable changed_;
  std::vector<std::string> changes_ YOX_GUARDED_BY(mutex_);
};

}  // namespace yox_test
