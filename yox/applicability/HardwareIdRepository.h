#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"

// The hardware IDs that are present, each once however many devices claim it. IDs are compared
// exactly as stored. Safe from any thread; adding, removing and looking up cost the same however
// many there are.
class YOX_API HardwareIdRepository {
 public:
  // Runs while the repository is locked: it must not call back into the repository.
  using Callback = std::function<void(const yox::WString& id)>;
  using Ids = std::vector<yox::WString>;

  HardwareIdRepository() = default;
  HardwareIdRepository(const HardwareIdRepository&) = delete;
  HardwareIdRepository& operator=(const HardwareIdRepository&) = delete;

  // One more claim; the first one makes the ID present.
  void Add(const yox::WString& id);
  // One claim less; with the last one the ID goes. An unknown ID changes nothing.
  void Remove(const yox::WString& id);
  bool Contains(const yox::WString& id) const;
  // Contains for a view, without copying it.
  bool IsPresent(yox::WStringView id) const;
  // The number of distinct IDs.
  std::size_t Size() const;
  // A copy of the IDs, in no particular order.
  Ids Snapshot() const;
  // The same without copying what another reader has copied since the last change. Never null.
  std::shared_ptr<const Ids> SharedSnapshot() const;
  // Drops every ID and claim; no callback runs.
  void Clear();

  // Replace what is called when an ID arrives for the first time, or its last claim goes. An empty
  // function: nothing.
  void SetOnAdded(Callback on_added);
  void SetOnRemoved(Callback on_removed);

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(yox::WStringView id) const { return std::hash<yox::WStringView>{}(id); }
  };
  template <class Value>
  using ById = std::unordered_map<yox::WString, Value, Hash, std::equal_to<>>;

  mutable yox::Mutex mutex_;
  Ids ids_ YOX_GUARDED_BY(mutex_);
  ById<std::size_t> index_ YOX_GUARDED_BY(mutex_);  // the position of each ID in ids_
  ById<std::uint32_t> counts_ YOX_GUARDED_BY(mutex_);
  Callback on_added_ YOX_GUARDED_BY(mutex_);
  Callback on_removed_ YOX_GUARDED_BY(mutex_);
  // Null once ids_ has changed.
  mutable std::shared_ptr<const Ids> shared_ YOX_GUARDED_BY(mutex_);
};
