#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/linux/RegistryStore.h"

namespace yox::platform {

// Edits of one store that become visible together at the commit, and are taken back without one.
// Every failure is a DatabaseError or a std::system_error. One thread at a time.
class RegistryTransaction {
 public:
  // Waits for the transactions of other connections to end. The store must outlive the object.
  explicit RegistryTransaction(RegistryStore& store);
  ~RegistryTransaction();
  RegistryTransaction(const RegistryTransaction&) = delete;
  RegistryTransaction& operator=(const RegistryTransaction&) = delete;

  // Does one edit; `path` is the resolved path of its key.
  RegistryStatus Do(const RegistryEdit& edit, const WString& path);
  // Creates the key and every missing key above it.
  void CreateKey(const WString& path);

  // Records the changes and makes everything visible. Without a change nothing is written.
  void Commit();

 private:
  struct Key {
    std::int64_t id = 0;  // 0: there is none
    std::string path;
  };
  struct Change {
    RegistryAction action;
    std::string key;
    std::string name;
  };

  void Record(RegistryAction action, std::string key, std::string name = {});
  Key Find(std::string_view folded);
  RegistryStatus DeleteKey(const WString& path);
  RegistryStatus SetValue(const WString& path, const RegistryEdit& edit);
  RegistryStatus DeleteValue(const WString& path, const WString& name);

  RegistryStore& store_;
  StoreEditing& statements_;
  std::vector<Change> changes_;
};

}  // namespace yox::platform
