#pragma once

#include <memory>
#include <span>

#include "yox/applicability/HardwareIdRepository.h"
#include "yox/base/WString.h"
#include "yox/decision/HardwareIdRequirement.h"

namespace yox::applicability {

// The repository of the process, filled by the one tracker from the first call on that can start
// it; null as long as none could. Both live until the process ends. Safe from any thread; throws
// std::system_error when a lock fails.
const HardwareIdRepository* PresentIds();

// Whether a device with a required ID is present. Writes what it does into the evaluator's log;
// a standard exception is logged and counts as false. `required` is the text of the requirement.
bool MatchHardwareId(WStringView required, const decision::HardwareIdRequirement& requirement);

// The IDs of one moment.
class HardwareIdSnapshot final : public decision::HardwareIds {
 public:
  explicit HardwareIdSnapshot(const HardwareIdRepository& repository)
      : ids_(repository.SharedSnapshot()) {}

  bool Contains(WStringView id) const override;
  bool ContainsAnyFolded(std::span<const WStringView> ids) const override;
  std::span<const WString> All() const override { return *ids_; }

 private:
  std::shared_ptr<const HardwareIdRepository::Ids> ids_;
};

}  // namespace yox::applicability
