#include "yox/applicability/ClientVersion.h"

#include <algorithm>
#include <utility>

#include "yox/base/String.h"
#include "yox/device/YoxInfo.h"

namespace yox::applicability {

const WString& ClientVersion::Get(WString& own) {
  const Kept* const kept = current_.load(std::memory_order_acquire);
  const bool is_current = kept != nullptr && kept->generation.load(std::memory_order_acquire) ==
                                                 YoxInfo::ServiceVersionGeneration();
  return is_current ? kept->text : Read(own);
}

const WString& ClientVersion::Read(WString& own) {
  // Before the text: if that changes meanwhile, the next call reads it again.
  const std::uint64_t generation = YoxInfo::ServiceVersionGeneration();
  own = YoxInfo::GetInstance()->GetYoxServiceVersion();
  // YoxInfo looks for a version that is not known at every call.
  if (own.empty() || String::Trimmed(own).size() != own.size()) return own;
  const MutexLock lock(mutex_);
  auto kept = std::ranges::find_if(all_, [&](const auto& each) { return each->text == own; });
  if (kept == all_.end()) {
    all_.push_back(std::make_unique<Kept>());
    kept = all_.end() - 1;
    (*kept)->text = std::move(own);
  }
  (*kept)->generation.store(generation, std::memory_order_release);
  current_.store(kept->get(), std::memory_order_release);
  return (*kept)->text;
}

}  // namespace yox::applicability
