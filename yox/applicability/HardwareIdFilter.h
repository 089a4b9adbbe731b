#pragma once

#include <memory>
#include <span>

#include "yox/applicability/HardwareIdRepository.h"
#include "yox/base/WString.h"
#include "yox/decision/HardwareIdRequirement.h"

namespace yox::applicability {

// Returns the hardware IDs that are present on this device. The first call starts the tracker that
// fills the repository and follows devices; both live until the process ends. Returns null if the
// tracker cannot be started; the next call tries again. Safe from any thread; throws
// std::system_error if a lock fails.
const HardwareIdRepository* PresentIds();

// Returns whether a device with a required ID is present. `required` is the text of the
// requirement, for the evaluator's log. An exception is logged and counts as false.
bool MatchHardwareId(WStringView required, const decision::HardwareIdRequirement& requirement);

// The hardware IDs that were present when it was constructed.
class HardwareIdSnapshot final : public decision::HardwareIds {
 public:
  explicit HardwareIdSnapshot(const HardwareIdRepository& repository)
      : index_(repository.SharedIndex()) {}

  bool Contains(WStringView id) const override;
  bool ContainsAnyFolded(std::span<const WStringView> ids) const override;
  std::span<const WString> All() const override { return index_->ids(); }

 private:
  std::shared_ptr<const HardwareIdRepository::Index> index_;
};

}  // namespace yox::applicability
