#include "yox/platform/registry/linux/RegistryTransaction.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/registry/linux/CommitCounter.h"
#include "yox/platform/registry/linux/DatabaseError.h"
#include "yox/platform/registry/linux/StoreEditing.h"
#include "yox/platform/registry/linux/StoredText.h"

namespace yox::platform {
namespace {

constexpr WChar kSeparator = '\\';

std::string Folded(WStringView name) { return ToStored(FoldRegistryName(name)); }

std::string_view AsBytes(const std::vector<std::uint8_t>& data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

}  // namespace

// IMMEDIATE takes the write lock at once: a transaction that began by reading could not wait for
// it, since what it has read may be outdated by then.
RegistryTransaction::RegistryTransaction(RegistryStore& store)
    : store_(store), statements_(store.editing()) {
  store_.database().Run("BEGIN IMMEDIATE");
}

RegistryTransaction::~RegistryTransaction() {
  if (!store_.database().IsInTransaction()) return;
  try {
    store_.database().Run("ROLLBACK");
  } catch (
      const DatabaseError&) {  // NOLINT(bugprone-empty-catch): the connection is not used again
  }
}

RegistryStatus RegistryTransaction::Do(const RegistryEdit& edit, const WString& path) {
  switch (edit.action) {
    case RegistryAction::kCreateKey:
      CreateKey(path);
      return RegistryStatus::kOk;
    case RegistryAction::kDeleteKey:
      return IsRegistryRoot(edit.key) ? RegistryStatus::kInvalid : DeleteKey(path);
    case RegistryAction::kSetValue:
      return SetValue(path, edit);
    case RegistryAction::kDeleteValue:
      return DeleteValue(path, edit.name);
  }
  return RegistryStatus::kInvalid;
}

void RegistryTransaction::CreateKey(const WString& path) {
  Key above;
  for (std::size_t end = 0; end != WString::npos;) {
    end = path.find(kSeparator, end + 1);
    const WString prefix = path.substr(0, end);
    const std::string folded = Folded(prefix);
    Key key = Find(folded);
    if (key.id == 0) {
      // The keys above keep the letter case that they have.
      const std::size_t last = prefix.rfind(kSeparator);
      key.path = last == WString::npos ? ToStored(prefix)
                                       : above.path + ToStored(WStringView(prefix).substr(last));
      Statement& add = statements_.add_key;
      add.Bind(1, above.id).Bind(2, folded).Bind(3, key.path).Step();
      key.id = add.Number(0);
      add.Run();
      Record(RegistryAction::kCreateKey, key.path);
    }
    above = std::move(key);
  }
}

void RegistryTransaction::Commit() {
  if (changes_.empty()) return;
  Statement& add = statements_.add_change;
  if (std::ssize(changes_) > RegistryStore::kRecordedChanges) {
    add.Bind(1, RegistryStore::kTooManyChanges).Bind(2, {}).Bind(3, {}).Run();
  } else {
    for (const Change& change : changes_) {
      const auto action = static_cast<std::int64_t>(change.action);
      add.Bind(1, action).Bind(2, change.key).Bind(3, change.name).Run();
    }
  }
  statements_.forget_changes.Bind(1, RegistryStore::kRecordedChanges).Run();
  const CommitCounter::Commit commit(store_.folder());
  store_.database().Run("COMMIT");
}

void RegistryTransaction::Record(RegistryAction action, std::string key, std::string name) {
  changes_.push_back({action, std::move(key), std::move(name)});
}

RegistryTransaction::Key RegistryTransaction::Find(std::string_view folded) {
  Statement& find = statements_.find_key;
  Key key;
  if (find.Bind(1, folded).Step()) key = {find.Number(0), std::string(find.Bytes(1))};
  find.Reset();
  return key;
}

RegistryStatus RegistryTransaction::DeleteKey(const WString& path) {
  const WString name = FoldRegistryName(path);
  const std::string folded = ToStored(name);
  // Everything below begins with the name and a separator, which is the lowest of all units.
  const std::string first = ToStored(name + kFoldedSeparator);
  const std::string after = ToStored(name + static_cast<WChar>(kFoldedSeparator + 1));
  Key key = Find(folded);
  if (key.id == 0) return RegistryStatus::kNotFound;
  for (Statement* const all : {&statements_.delete_values_below, &statements_.delete_keys_below}) {
    all->Bind(1, folded).Bind(2, first).Bind(3, after).Run();
  }
  Record(RegistryAction::kDeleteKey, std::move(key.path));
  return RegistryStatus::kOk;
}

RegistryStatus RegistryTransaction::SetValue(const WString& path, const RegistryEdit& edit) {
  Key key = Find(Folded(path));
  if (key.id == 0) return RegistryStatus::kNotFound;
  const std::string folded = Folded(edit.name);
  const auto type = static_cast<std::int64_t>(edit.value.type);
  const std::string_view data = AsBytes(edit.value.data);
  Statement& find = statements_.find_value;
  std::string name;
  if (find.Bind(1, key.id).Bind(2, folded).Step()) {
    const bool same = find.Number(2) == type && find.Bytes(3) == data;
    const std::int64_t id = find.Number(0);
    name = find.Bytes(1);
    find.Reset();
    if (same) return RegistryStatus::kOk;
    statements_.set_value.Bind(1, id).Bind(2, type).Bind(3, data).Run();
  } else {
    name = ToStored(edit.name);
    Statement& add = statements_.add_value;
    add.Bind(1, key.id).Bind(2, folded).Bind(3, name).Bind(4, type).Bind(5, data).Run();
  }
  Record(RegistryAction::kSetValue, std::move(key.path), std::move(name));
  return RegistryStatus::kOk;
}

RegistryStatus RegistryTransaction::DeleteValue(const WString& path, const WString& name) {
  Key key = Find(Folded(path));
  const std::string folded = Folded(name);
  Statement& find = statements_.find_value;
  // A key that is missing has the number 0, and no value.
  if (!find.Bind(1, key.id).Bind(2, folded).Step()) return RegistryStatus::kNotFound;
  const std::int64_t id = find.Number(0);
  std::string stored(find.Bytes(1));
  find.Reset();
  statements_.delete_value.Bind(1, id).Run();
  Record(RegistryAction::kDeleteValue, std::move(key.path), std::move(stored));
  return RegistryStatus::kOk;
}

}  // namespace yox::platform
