#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/foundation/YOXTag.h"

class AppAndTagCollection;

namespace yox {

// What the user who is logged on has said that the device is for, as the system's setup has stored
// it in the registry; false for what is not known. Asked afresh at every call.
class YOX_API PersonaUtility {
 public:
  virtual ~PersonaUtility() = default;

  virtual bool IsBusinessProfessional();
  virtual bool IsGamer();
  virtual bool IsStudent();
  virtual bool IsCreator();
  virtual bool IsEntertainer();
  virtual bool IsDeveloper();
  virtual bool IsFamily();
  // Whether the key of this name below the user's intent key holds the number 1 as "Intent".
  virtual bool RegistryPersonaValueExists(const yox::WChar* subkey);
};

// The tags of what the device is for: "User.Usage.Detected.Gaming" and the like, with the value
// "Windows". No lock is taken: the caller guards the list.
class YOX_API Persona {
 public:
  Persona() = delete;

  // Below a user's hive.
  static const yox::WString kIntentRegistryPath;

  // Appends one tag for each use, in a fixed order; what the list holds is not looked at.
  static void GeneratePersonaTags(std::vector<YOXTag>& tags);
  // Removes every tag of such a key, whatever its value.
  static void RemovePersonaTags(std::vector<YOXTag>& tags);

 protected:
  friend class ::AppAndTagCollection;
  static void GeneratePersonaTagsInternal(std::vector<YOXTag>& tags, PersonaUtility& utility);
};

}  // namespace yox
