#include "yox/applicability/HardwareIdRepository.h"

#include <algorithm>
#include <span>
#include <utility>

#include "yox/base/FoldedText.h"
#include "yox/base/String.h"

using yox::String;
using yox::WString;
using yox::WStringView;

void HardwareIdRepository::Add(const WString& id) {
  const yox::MutexLock lock(mutex_);
  if (const auto known = counts_.find(id); known != counts_.end()) {
    ++known->second;
    return;
  }
  counts_.emplace(id, 1);
  index_.emplace(id, ids_.size());
  ids_.push_back(id);
  shared_.reset();
  if (on_added_) on_added_(id);
}

void HardwareIdRepository::Remove(const WString& id) {
  const yox::MutexLock lock(mutex_);
  const auto count = counts_.find(id);
  if (count == counts_.end() || --count->second != 0) return;

  // The last one takes the place of the one that goes.
  if (const auto place = index_.find(id); place != index_.end()) {
    const std::size_t hole = place->second;
    std::swap(ids_[hole], ids_.back());
    index_.find(ids_[hole])->second = hole;
    ids_.pop_back();
    index_.erase(place);
  }
  const auto gone = counts_.extract(count);
  shared_.reset();
  if (on_removed_) on_removed_(gone.key());
}

bool HardwareIdRepository::Contains(const WString& id) const { return IsPresent(id); }

bool HardwareIdRepository::IsPresent(WStringView id) const {
  const yox::MutexLock lock(mutex_);
  return counts_.find(id) != counts_.end();
}

std::size_t HardwareIdRepository::Size() const {
  const yox::MutexLock lock(mutex_);
  return ids_.size();
}

HardwareIdRepository::Ids HardwareIdRepository::Snapshot() const {
  const yox::MutexLock lock(mutex_);
  return ids_;
}

std::shared_ptr<const HardwareIdRepository::Index> HardwareIdRepository::SharedIndex() const {
  const yox::MutexLock lock(mutex_);
  if (shared_ == nullptr) shared_ = std::make_shared<const Index>(ids_);
  return shared_;
}

std::shared_ptr<const HardwareIdRepository::Ids> HardwareIdRepository::SharedSnapshot() const {
  const std::shared_ptr<const Index> index = SharedIndex();
  return {index, &index->ids()};
}

HardwareIdRepository::Index::Index(Ids ids) : ids_(std::move(ids)) {
  for (std::size_t i = 0; i < ids_.size(); ++i) {
    entries_.push_back({yox::Fingerprint(String::Trimmed(ids_[i])), i});
  }
  std::ranges::sort(entries_);
}

std::optional<std::size_t> HardwareIdRepository::Index::Find(WStringView folded) const {
  const std::uint64_t wanted = yox::Fingerprint(folded);
  const auto first = std::ranges::lower_bound(entries_, wanted, {}, &Entry::fingerprint);
  for (const Entry& entry : std::span(first, entries_.end())) {
    if (entry.fingerprint != wanted) break;
    if (String::CaseInsesitiveEqual(String::Trimmed(ids_[entry.position]), folded)) {
      return entry.position;
    }
  }
  return std::nullopt;
}

void HardwareIdRepository::Clear() {
  const yox::MutexLock lock(mutex_);
  ids_.clear();
  index_.clear();
  counts_.clear();
  shared_.reset();
}

void HardwareIdRepository::SetOnAdded(Callback on_added) {
  const yox::MutexLock lock(mutex_);
  on_added_ = std::move(on_added);
}

void HardwareIdRepository::SetOnRemoved(Callback on_removed) {
  const yox::MutexLock lock(mutex_);
  on_removed_ = std::move(on_removed);
}
