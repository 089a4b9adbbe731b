#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"

// The set of hardware IDs that are present, with the number of devices that have each of them.
// PnPDeviceTracker fills it. IDs are compared exactly as stored. Safe from any thread; adding,
// removing and finding take constant time.
class YOX_API HardwareIdRepository {
 public:
  // Runs while the repository is locked: it must not call back into the repository.
  using Callback = std::function<void(const yox::WString& id)>;
  using Ids = std::vector<yox::WString>;

  HardwareIdRepository() = default;
  HardwareIdRepository(const HardwareIdRepository&) = delete;
  HardwareIdRepository& operator=(const HardwareIdRepository&) = delete;

  // Adds one device with the ID; the first one makes the ID present.
  void Add(const yox::WString& id);
  // Removes one device with the ID; after the last one the ID is no longer present. An unknown ID
  // changes nothing.
  void Remove(const yox::WString& id);
  bool Contains(const yox::WString& id) const;
  // As Contains, for a view.
  bool IsPresent(yox::WStringView id) const;
  // Returns the number of distinct IDs.
  std::size_t Size() const;
  // Returns a copy of the IDs, in no particular order.
  Ids Snapshot() const;
  // The IDs at one moment, and an index of them. Never changes.
  class YOX_LOCAL Index {
   public:
    explicit Index(Ids ids);

    const Ids& ids() const { return ids_; }
    // Returns the position of the first ID that is equal to the text, whose letter case is folded,
    // without regard to letter case and to white space around the ID. Takes logarithmic time.
    std::optional<std::size_t> Find(yox::WStringView folded) const;

   private:
    struct Entry {
      std::uint64_t fingerprint;
      std::size_t position;
      auto operator<=>(const Entry&) const = default;
    };

    const Ids ids_;
    std::vector<Entry> entries_;  // sorted
  };
  // Returns the IDs with an index, shared between callers until the next change. Never null.
  std::shared_ptr<const Index> SharedIndex() const;
  // Returns the IDs of the same object.
  std::shared_ptr<const Ids> SharedSnapshot() const;
  // Removes all IDs without calling the callbacks.
  void Clear();

  // Set the function that is called when an ID becomes present, or is no longer present. An empty
  // function removes it.
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
  mutable std::shared_ptr<const Index> shared_ YOX_GUARDED_BY(mutex_);
};
