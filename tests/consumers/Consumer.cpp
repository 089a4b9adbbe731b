// A program outside of the tree, as a consumer writes it: public headers, exported classes. Those
// whose instances read the machine or open logs are linked, not called.
#include <iostream>
#include <memory>
#include <string>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/FilterDocument.h"
#include "yox/base/String.h"
#include "yox/device/DeviceInfoProvider.h"
#include "yox/device/DeviceManagementStatus.h"
#include "yox/device/Environment.h"
#include "yox/device/MachineInformation.h"
#include "yox/device/RegionInformation.h"
#include "yox/foundation/KeyValuePair.h"
#include "yox/foundation/LogThrottler.h"
#include "yox/foundation/Version.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/foundation/YOXTag.h"
#include "yox/policy/PlatformPolicy.h"
#include "yox/status/YoxStatusManager.h"

using yox::decision::ReadFilterDocument;

using namespace yox::literals;

namespace {

struct Record : MachineInformation {
  yox::WString device_manufacturer() const override { return "Contoso"_w; }
};

struct Evaluator : ApplicabilityEvaluator {};

template <class... Functions>
bool AllThere(Functions... functions) {
  return ((functions != nullptr) && ...);
}

bool Decides() {
  const auto record = std::make_shared<Record>();
  record->set_os_region("DE"_w);
  const ApplicabilityFilter filter = ReadFilterDocument(
      R"([{"country": "US"}, {"country": "DE", "mfr": "con*", "version": ">=4.2", "tag": "Ring|beta"}])");
  yox::WString reason;
  Evaluator evaluator;
  const bool applies = evaluator.EvaluateApplicability(record, "4.2.10.0"_w, filter, nullptr,
                                                       nullptr, {{"Ring"_w, "beta"_w}}, reason);
  return applies && reason == "Filter [0]: country = false; Filter [1]: true; "_w;
}

// An exception of the library is caught by its type.
bool Refuses() {
  try {
    ReadFilterDocument("{");
  } catch (const yox::DocumentError&) {
    return true;
  }
  return false;
}

}  // namespace

int main() {
  Version version;
  LogThrottler throttler;
  const YOXTag tag("Ring"_w, "beta"_w);
  const PlatformPolicy policy = PlatformPolicy::DeSerialize("{}"_w, false);
  const bool good[] = {
      Decides(),
      Refuses(),
      Version::TryParse("1.2.3"_w, version) && version.CompareTo(Version(1, 2)) == 1,
      throttler.ShouldLogStatic("key"_w, "message"_w) &&
          !throttler.ShouldLogStatic("key"_w, "message"_w),
      tag.getKey() == "Ring"_w,
      yox::YOXHelperFactory::GetInstance() != nullptr,
      YOX::YoxStatusManager::GatewayToString({}).size() > 0,
      AllThere(&MachineInformation::GetInstance, &RegionInformation::GetInstance,
               &ApplicabilityEvaluator::GetInstance, &YOX::DeviceInfoProvider::GetInstance,
               &DeviceManagementStatus::IsDeviceManaged, &YOX::Environment::GetOsDescription,
               &YOX::YoxStatusManager::GetInstance)};
  yox::YOXHelperFactory::ReleaseInstance();
  int failed = 0;
  for (const bool one : good) failed += !one;
  std::cout << "consumer: " << failed << " of " << std::size(good) << " failed\n";
  return failed;
}
