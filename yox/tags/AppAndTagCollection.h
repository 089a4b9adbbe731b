#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/foundation/KeyValuePair.h"
#include "yox/foundation/YOXTag.h"
#include "yox/platform/registry/RegistryRoots.h"
#include "yox/platform/waits/Waits.h"

// The tags that describe the device and its user: those of the registry key szRegKeySubPath, where
// other programs may put them too, and those computed when the list is built. A process-wide
// singleton; every operation is safe from any thread.
//
// The list is replaced whole, never changed in place, so that readers share it. What holds the
// collection's lock below waits for a refresh that is under way. AddTags takes none, on purpose:
// of two callers at once one may lose.
class YOX_API AppAndTagCollection {
 public:
  using List = std::vector<YOXTag>;

  // Below HKEY_LOCAL_MACHINE, 64-bit view: one text per tag, its name the tag's key.
  static const yox::WString szRegKeySubPath;
  // The names of the tags that last over restarts.
  static const yox::WString npuExistsTag;
  static const yox::WString npuMfrTag;
  static const yox::WString npuDescriptionTag;
  static const yox::WString oobeDateTag;
  static const yox::WString daysSinceOobe;

  // Never null. Fills an empty list, and at every call asks anew whether the device is managed.
  static AppAndTagCollection* GetInstance();

  // A copy of the list, in order; the collection's lock is held.
  List getTags();
  // "key:value, " for each tag; the collection's lock is held.
  yox::WString getTagsAsString();
  // Replaces the list; the collection's lock is held.
  void setTags(const List& tags);

  // A new list: the registry's tags, and behind them those of persona, display adapters and
  // management. A key can stand there twice. The collection's own list is neither read nor changed.
  List getTagsFromRegistryAndMemory();

  // The collection's tags as pairs, its lock held; none for null.
  static std::vector<KeyValuePair<yox::WString, yox::WString>> ExtractCollecitonOfKeys(
      AppAndTagCollection* collection);
  // The same list without a copy, and without waiting for a refresh. Never null.
  static std::shared_ptr<const List> Shared(AppAndTagCollection* collection);

  // Merges tags into the list: a tag without value is skipped, the first of an equal key (letter
  // case counts) gets the new value, others are appended. With `persistToRegistry` each is written
  // to the registry too, also when the list had it; without `overwriteExisting` not if there is a
  // key, not a value, of the tag's name.
  void AddTags(List tags, bool overwriteExisting, bool persistToRegistry);

  // Whether the registry holds the tags that are written once.
  bool CheckIfTagsAlreadyExist();

  // Makes the tags that the device gives of itself: the days since it was first put to use, each
  // time; its accelerator and the day of its first use once, which the registry tells; otherwise
  // the machine record gets the accelerator's texts from there. Nothing without a machine record.
  // With `waitAfterBoot` it waits for a whole minute first when the device has been up for less
  // than one: do not call it so with a lock that others need. A stop that is signalled meanwhile,
  // and a null `stopEvent`, end it there. `dateFlag` is told in DateTimeUtility.h.
  void CollectTags(yox::platform::WaitHandle stopEvent, bool dateFlag, bool waitAfterBoot);

  // Builds the list anew, the collection's lock held throughout.
  void RefreshTags(yox::platform::WaitHandle stopEvent, bool dateFlag);
  // Replaces the tags of the user's persona alone, the collection's lock held throughout.
  void RefreshPersonaTags();

 protected:
  AppAndTagCollection();
  ~AppAndTagCollection();

  // Append the texts of a key, or of an opened one; other types, and names of 264 code units or
  // more, are passed over.
  static void ReadRegistryKeyTags(const yox::WString& path, List* tags);
  static void QueryRegistryValues(HKEY key, List* tags);
  // Replaces the list by the registry's tags alone.
  void ReadFromRegAndSetTags();

 private:
  List GetDynamicMemoryTags();

  std::shared_ptr<const List> Snapshot() const;
  void Replace(List tags);

  static const std::vector<yox::WString> requiredRegistryTags;

  std::recursive_mutex lock_;
  mutable std::mutex snapshot_mutex_;
  std::shared_ptr<const List> tags_;          // guarded by snapshot_mutex_
  std::shared_ptr<const List> previousTags_;  // before the last refresh; guarded by lock_
};
