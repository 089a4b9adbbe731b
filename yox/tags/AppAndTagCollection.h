#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/SharedSnapshot.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"
#include "yox/foundation/KeyValuePair.h"
#include "yox/foundation/YOXTag.h"
#include "yox/platform/registry/RegistryRoots.h"
#include "yox/platform/waits/Waits.h"

// The tags that describe the device and its user: those in the registry key szRegKeySubPath, where
// other programs may put tags too, and those that are computed when the list is built. A
// process-wide singleton; every operation is safe from any thread.
//
// The list is an immutable snapshot that is replaced as a whole, so readers share it. Operations
// that "hold the lock" also wait until a refresh on another thread has ended. AddTags does not take
// the lock; it replaces the list by compare and swap, so it loses no other change.
//
// Texts are UTF-16, see WString.h.
class YOX_API AppAndTagCollection {
 public:
  using List = std::vector<YOXTag>;

  // Below HKEY_LOCAL_MACHINE, 64-bit view: one REG_SZ value per tag, named after the tag's key.
  static const yox::WString szRegKeySubPath;
  // The keys of the tags that are kept in the registry.
  static const yox::WString npuExistsTag;
  static const yox::WString npuMfrTag;
  static const yox::WString npuDescriptionTag;
  static const yox::WString oobeDateTag;
  static const yox::WString daysSinceOobe;

  // Never returns null. Fills the list when it is empty, and computes whether the device is managed
  // again after the registry's keys that say so have changed (RegistryTracker), after an hour, and
  // whenever the registry cannot say that they have not.
  static AppAndTagCollection* GetInstance();

  // Returns a copy of the list, in order. Holds the lock.
  List getTags() const;
  // Returns "key:value, " for each tag, for example "a:1, b:2, ". Holds the lock.
  yox::WString getTagsAsString() const;
  // Replaces the list. Holds the lock.
  void setTags(const List& tags);

  // Builds a new list: the registry's tags, then those of the user's persona, the display adapters
  // and the management state. Duplicate keys are kept. Does not read or change the collection's own
  // list.
  List getTagsFromRegistryAndMemory();

  // Returns the collection's tags as pairs; empty for a null pointer. Holds the lock.
  static std::vector<KeyValuePair<yox::WString, yox::WString>> ExtractCollecitonOfKeys(
      AppAndTagCollection* collection);
  // Returns the same list without a copy, and without waiting for a refresh. Never null.
  static std::shared_ptr<const List> Shared(AppAndTagCollection* collection);
  // Changes whenever the list is replaced. Costs one load.
  std::uint64_t Generation() const { return tags_.Generation(); }

  // Merges tags into the list. A tag with an empty value is skipped. The first entry with an equal
  // key (case-sensitive) gets the new value; a tag without such an entry is appended. With
  // `persistToRegistry` the tag is also written to the registry, even if the list already had it.
  // Without `overwriteExisting` it is not written if the tags' key has a subkey of the tag's name;
  // a value of that name does not matter.
  void AddTags(List tags, bool overwriteExisting, bool persistToRegistry);

  // Returns whether the registry has the tags that are written only once.
  bool CheckIfTagsAlreadyExist();

  // Generates the device's own tags: DaysSinceOobe on every call; OobeDate and the NPU tags only
  // if CheckIfTagsAlreadyExist is false, otherwise it fills the machine record's NPU texts from the
  // registry. Does nothing without a machine record.
  // With `waitAfterBoot`, on a device that has been up for less than a minute, it first waits for
  // a whole minute, so do not call it with a lock that other threads need. The wait ends early,
  // and nothing is collected, when `stopEvent` is signalled or null. DateTimeUtility.h describes
  // `dateFlag`.
  void CollectTags(yox::platform::WaitHandle stopEvent, bool dateFlag, bool waitAfterBoot);

  // Builds the list again and runs CollectTags without its wait. Holds the lock throughout.
  void RefreshTags(yox::platform::WaitHandle stopEvent, bool dateFlag);
  // Replaces the tags of the user's persona only. Holds the lock throughout.
  void RefreshPersonaTags();

 protected:
  AppAndTagCollection();
  ~AppAndTagCollection();

 private:
  // Append the REG_SZ values of a key, or of an open key. Values of another type, and values whose
  // names have 264 code units or more, are skipped.
  static void ReadRegistryKeyTags(const yox::WString& path, List* tags);
  static void QueryRegistryValues(HKEY key, List* tags);
  // Replaces the list by the registry's tags alone. The library does not call it.
  void ReadFromRegAndSetTags();
  const List& GetDynamicMemoryTags();
  // Fills an empty list, and puts into it whether the device is managed. Returns until when that is
  // known, a moment of the steady clock in nanoseconds.
  YOX_LOCAL std::int64_t UpdateManagement();

  void AddToList(const YOXTag& tag, bool persist);

  static constexpr const yox::WString* requiredRegistryTags[] = {&npuExistsTag, &oobeDateTag};

  // Recursive: RefreshTags has it while it calls CollectTags.
  mutable yox::RecursiveMutex lock_;
  yox::SharedSnapshot<List> tags_;
  // The list before the last refresh; never read.
  std::shared_ptr<const List> previousTags_ YOX_GUARDED_BY(lock_);
};
