#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/foundation/YOXTag.h"

class AppAndTagCollection;

namespace yox {

// Which uses of the device the logged-on user has chosen in the system's setup, as stored in the
// registry; false for what is unknown. Every call reads the registry. Safe from any thread.
class YOX_API PersonaUtility {
 public:
  virtual bool IsBusinessProfessional();
  virtual bool IsGamer();
  virtual bool IsStudent();
  virtual bool IsCreator();
  virtual bool IsEntertainer();
  virtual bool IsDeveloper();
  virtual bool IsFamily();
  // Returns whether the key `subkey` below the user's intent key has the DWORD value "Intent" = 1.
  // `subkey` is zero-terminated UTF-16.
  virtual bool RegistryPersonaValueExists(const yox::WChar* subkey);
  // Last, so that the questions above have the first slots of the table of virtual functions.
  virtual ~PersonaUtility() = default;
};

// Tags for the uses of the device: "User.Usage.Detected.Gaming" and the like, with the value
// "Windows". Takes no lock: the caller guards the list.
class YOX_API Persona {
 public:
  Persona() = delete;

  // A key path below a user's hive.
  static const yox::WString kIntentRegistryPath;

  // Appends one tag for each chosen use, in a fixed order; does not look for duplicates.
  static void GeneratePersonaTags(std::vector<YOXTag>& tags);
  // Removes every tag with one of these keys, whatever its value.
  static void RemovePersonaTags(std::vector<YOXTag>& tags);

 protected:
  friend class ::AppAndTagCollection;
  static void GeneratePersonaTagsInternal(std::vector<YOXTag>& tags, PersonaUtility& utility);
};

}  // namespace yox
