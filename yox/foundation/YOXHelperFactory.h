#pragma once

#include <atomic>
#include <memory>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"

class ApplicabilityEvaluator;
class MachineInformation;
namespace YOX {
class DeviceInfoProvider;
class YoxStatusManager;
}  // namespace YOX

namespace yox {

// A process-wide holder of four shared pointers, through which the components of the library find
// objects that the host supplies. Despite its name it creates nothing: every pointer is null until
// the host sets it, and callers test for null.
//
// The library itself looks for the machine record only. A host supplies it with
// MachineInformation::Publish at its start. Do not wrap another `GetInstance` pointer of the
// library in a shared pointer of your own: it would be deleted with the factory.
//
// Threads: `GetInstance` and `ReleaseInstance` are safe from any thread. The stored pointers are
// not guarded, by design: set them before other threads read them.
class YOX_API YOXHelperFactory {
 public:
  // Returns the factory, never null. Created, with four null pointers, by the first call and by the
  // first call after `ReleaseInstance`.
  static YOXHelperFactory* GetInstance();
  // Deletes the factory and with it its references, in the reverse order of the fields below. For
  // shutdown: a pointer from `GetInstance` is invalid afterwards. Does nothing without a factory.
  static void ReleaseInstance();

  // A copy shares ownership of the four objects.
  YOXHelperFactory(const YOXHelperFactory&) = default;
  YOXHelperFactory& operator=(const YOXHelperFactory&) = default;

  // Setters share ownership of the object. Getters return the stored pointer itself; copy it to
  // keep the object alive.
  void SetMachineInformationAgent(std::shared_ptr<MachineInformation>& agent) {
    machine_information_ = agent;
  }
  std::shared_ptr<MachineInformation>& GetMachineInformationAgent() { return machine_information_; }

  // For the host's own use; no component of the library reads it.
  void SetDeviceInfoProviderAgent(std::shared_ptr<YOX::DeviceInfoProvider>& agent) {
    device_info_provider_ = agent;
  }
  std::shared_ptr<YOX::DeviceInfoProvider>& GetDeviceInfoProviderAgent() {
    return device_info_provider_;
  }

  // The setter and the getter are spelled differently; both spellings are the interface.
  void SetApplicablityEvaluatorAgent(std::shared_ptr<ApplicabilityEvaluator>& agent) {
    applicability_evaluator_ = agent;
  }
  std::shared_ptr<ApplicabilityEvaluator>& GetApplicablilityEvaluatorAgent() {
    return applicability_evaluator_;
  }

  // For the host's own use; no component of the library reads it.
  void SetYoxStatusManager(std::shared_ptr<YOX::YoxStatusManager>& manager) {
    status_manager_ = manager;
  }
  std::shared_ptr<YOX::YoxStatusManager>& GetYoxStatusManager() { return status_manager_; }

 private:
  YOXHelperFactory() = default;
  ~YOXHelperFactory() = default;

  static std::atomic<YOXHelperFactory*> _YOXHelperFactory;  // NOLINT: its known name
  static Mutex mutex_;                                      // for creation and deletion

  std::shared_ptr<MachineInformation> machine_information_;
  std::shared_ptr<YOX::DeviceInfoProvider> device_info_provider_;
  std::shared_ptr<ApplicabilityEvaluator> applicability_evaluator_;
  std::shared_ptr<YOX::YoxStatusManager> status_manager_;
};

}  // namespace yox
