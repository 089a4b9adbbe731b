#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "yox/base/Export.h"

class ApplicabilityEvaluator;
class MachineInformation;
namespace YOX {
class DeviceInfoProvider;
class YoxStatusManager;
}  // namespace YOX

namespace yox {

// Where the library's parts find one another, and where the host puts in its own objects. It makes
// nothing: the host fills it, and whoever asks must expect an empty pointer. The two static
// operations are safe from any thread. The four pointers are unguarded on purpose: they are set
// before other threads read them.
class YOX_API YOXHelperFactory {
 public:
  // Never null; created by the first call, and anew by the first call after `ReleaseInstance`.
  static YOXHelperFactory* GetInstance();
  // Deletes the object, which drops its references, the last one first; what goes with them still
  // finds the factory. At shutdown: whoever holds the object's pointer must not use it again.
  static void ReleaseInstance();

  YOXHelperFactory(const YOXHelperFactory&) = default;
  YOXHelperFactory& operator=(const YOXHelperFactory&) = default;

  // Setters share ownership. Getters hand out the stored pointer itself: take a copy to keep it.
  void SetMachineInformationAgent(std::shared_ptr<MachineInformation>& agent) {
    machine_information_ = agent;
  }
  std::shared_ptr<MachineInformation>& GetMachineInformationAgent() { return machine_information_; }

  void SetDeviceInfoProviderAgent(std::shared_ptr<YOX::DeviceInfoProvider>& agent) {
    device_info_provider_ = agent;
  }
  std::shared_ptr<YOX::DeviceInfoProvider>& GetDeviceInfoProviderAgent() {
    return device_info_provider_;
  }

  // Spelled as its callers know it.
  void SetApplicablityEvaluatorAgent(std::shared_ptr<ApplicabilityEvaluator>& agent) {
    applicability_evaluator_ = agent;
  }
  std::shared_ptr<ApplicabilityEvaluator>& GetApplicablilityEvaluatorAgent() {
    return applicability_evaluator_;
  }

  void SetYoxStatusManager(std::shared_ptr<YOX::YoxStatusManager>& manager) {
    status_manager_ = manager;
  }
  std::shared_ptr<YOX::YoxStatusManager>& GetYoxStatusManager() { return status_manager_; }

 private:
  YOXHelperFactory() = default;
  ~YOXHelperFactory() = default;

  static std::atomic<YOXHelperFactory*> _YOXHelperFactory;  // NOLINT: its known name
  static std::mutex mutex_;                                 // creation and deletion

  std::shared_ptr<MachineInformation> machine_information_;
  std::shared_ptr<YOX::DeviceInfoProvider> device_info_provider_;
  std::shared_ptr<ApplicabilityEvaluator> applicability_evaluator_;
  std::shared_ptr<YOX::YoxStatusManager> status_manager_;
};

}  // namespace yox
