#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <new>

#include "yox/foundation/YOXHelperFactory.h"

namespace {

using yox::YOXHelperFactory;

// The factory never dereferences its pointers, so a pointer to an int serves as any object.
template <class T>
std::shared_ptr<T> Object(const std::shared_ptr<int>& owner) {
  return {owner, reinterpret_cast<T*>(owner.get())};
}

TEST(YOXHelperFactoryTest, ReleasingWithoutAnInstanceDoesNothing) {
  YOXHelperFactory::ReleaseInstance();
  YOXHelperFactory::ReleaseInstance();
  EXPECT_NE(YOXHelperFactory::GetInstance(), nullptr);
  YOXHelperFactory::ReleaseInstance();
}

TEST(YOXHelperFactoryTest, ThereIsOneInstance) {
  EXPECT_EQ(YOXHelperFactory::GetInstance(), YOXHelperFactory::GetInstance());
}

TEST(YOXHelperFactoryTest, AnInstanceIsBornEmptyAlsoAfterARelease) {
  const auto owner = std::make_shared<int>();
  auto record = Object<MachineInformation>(owner);
  YOXHelperFactory::GetInstance()->SetMachineInformationAgent(record);
  YOXHelperFactory::ReleaseInstance();
  YOXHelperFactory* const factory = YOXHelperFactory::GetInstance();
  EXPECT_EQ(factory->GetMachineInformationAgent(), nullptr);
  EXPECT_EQ(factory->GetDeviceInfoProviderAgent(), nullptr);
  EXPECT_EQ(factory->GetApplicablilityEvaluatorAgent(), nullptr);
  EXPECT_EQ(factory->GetYoxStatusManager(), nullptr);
}

template <class T>
void ExpectSharedBy(void (YOXHelperFactory::*set)(std::shared_ptr<T>&),
                    std::shared_ptr<T>& (YOXHelperFactory::*get)()) {
  YOXHelperFactory* const factory = YOXHelperFactory::GetInstance();
  const auto owner = std::make_shared<int>();
  auto object = Object<T>(owner);
  const long count = owner.use_count();
  (factory->*set)(object);
  EXPECT_EQ(owner.use_count(), count + 1);
  EXPECT_EQ((factory->*get)(), object);
  EXPECT_EQ(&(factory->*get)(), &(factory->*get)());
  YOXHelperFactory::ReleaseInstance();
  EXPECT_EQ(owner.use_count(), count);
}

TEST(YOXHelperFactoryTest, EachObjectIsSharedWithItsOwnerUntilTheRelease) {
  using Factory = YOXHelperFactory;
  ExpectSharedBy(&Factory::SetMachineInformationAgent, &Factory::GetMachineInformationAgent);
  ExpectSharedBy(&Factory::SetDeviceInfoProviderAgent, &Factory::GetDeviceInfoProviderAgent);
  ExpectSharedBy(&Factory::SetApplicablityEvaluatorAgent,
                 &Factory::GetApplicablilityEvaluatorAgent);
  ExpectSharedBy(&Factory::SetYoxStatusManager, &Factory::GetYoxStatusManager);
}

// The destructor of a held object may still use those that are destroyed after it.
TEST(YOXHelperFactoryTest, ADestructorOfAHeldObjectFindsThoseBeforeIt) {
  YOXHelperFactory* const factory = YOXHelperFactory::GetInstance();
  const auto owner = std::make_shared<int>();
  auto record = Object<MachineInformation>(owner);
  factory->SetMachineInformationAgent(record);
  std::shared_ptr<MachineInformation> found;
  {
    const std::shared_ptr<int> held(new int, [&](const int* object) {
      found = YOXHelperFactory::GetInstance()->GetMachineInformationAgent();
      delete object;
    });
    auto manager = Object<YOX::YoxStatusManager>(held);
    factory->SetYoxStatusManager(manager);
  }
  YOXHelperFactory::ReleaseInstance();
  EXPECT_EQ(found, record);
}

TEST(YOXHelperFactoryTest, ACopySharesTheObjects) {
  const auto owner = std::make_shared<int>();
  auto record = Object<MachineInformation>(owner);
  auto provider = Object<YOX::DeviceInfoProvider>(owner);
  auto evaluator = Object<ApplicabilityEvaluator>(owner);
  auto manager = Object<YOX::YoxStatusManager>(owner);
  const auto expect_all = [&](YOXHelperFactory& factory) {
    EXPECT_EQ(factory.GetMachineInformationAgent(), record);
    EXPECT_EQ(factory.GetDeviceInfoProviderAgent(), provider);
    EXPECT_EQ(factory.GetApplicablilityEvaluatorAgent(), evaluator);
    EXPECT_EQ(factory.GetYoxStatusManager(), manager);
  };
  YOXHelperFactory* const factory = YOXHelperFactory::GetInstance();
  factory->SetMachineInformationAgent(record);
  factory->SetDeviceInfoProviderAgent(provider);
  factory->SetApplicablityEvaluatorAgent(evaluator);
  factory->SetYoxStatusManager(manager);
  // The destructor is private: a copy cannot be destroyed, and lives as long as the process.
  alignas(YOXHelperFactory) static std::byte storage[sizeof(YOXHelperFactory)];
  auto* const copy = new (storage) YOXHelperFactory(*factory);
  expect_all(*copy);
  EXPECT_EQ(owner.use_count(), 13);  // owner, and four each of the test, the factory and the copy
  YOXHelperFactory::ReleaseInstance();
  expect_all(*copy);
  EXPECT_EQ(owner.use_count(), 9);
  *YOXHelperFactory::GetInstance() = *copy;
  expect_all(*YOXHelperFactory::GetInstance());
  YOXHelperFactory::ReleaseInstance();
}

}  // namespace
