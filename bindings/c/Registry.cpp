// SPDX-License-Identifier: Apache-2.0
#include "yox/platform/registry/Registry.h"

#include "yox/base/String.h"
#include "yox/platform/registry/RegistryPaths.h"

#include "bindings/c/Handles.h"

using namespace yox::c;  // NOLINT: only C functions are defined here
using yox::String;
using yox::platform::Registry;
using yox::platform::RegistryAction;
using yox::platform::RegistryChange;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryType;
using yox::platform::RegistryValue;

namespace {

RegistryKey KeyOf(const char* text) {
  const yox::WString wide = Wide(text, "key");
  const auto key = yox::platform::ParseRegistryPath(wide);
  if (!key || !yox::platform::IsRegistryPath(key->path)) {
    throw Failure(YOX_ARGUMENT, "key: expected HKLM\\..., HKCU\\... or HKU\\..., found \"" +
                                    std::string(text) + "\"");
  }
  return *key;
}

void Check(RegistryStatus status) {
  switch (status) {
    case RegistryStatus::kOk:
      return;
    case RegistryStatus::kNotFound:
      throw Failure(YOX_NOT_FOUND, "no such key or value");
    case RegistryStatus::kDenied:
      throw Failure(YOX_DENIED, "access to the registry is denied");
    case RegistryStatus::kInvalid:
      throw Failure(YOX_ARGUMENT, "not possible in a registry");
    case RegistryStatus::kFailed:
      break;
  }
  throw Failure(YOX_SYSTEM, "the registry cannot be read or written; the log says why");
}

RegistryValue ValueOf(yox_runtime* runtime, const char* key, const char* name) {
  RegistryValue value;
  Check(RegistryOf(runtime).Get(KeyOf(key), Wide(name, "name"), value));
  return value;
}

bool IsText(const RegistryValue& value) {
  return value.type == RegistryType::kText || value.type == RegistryType::kExpandableText;
}

void SetValue(yox_runtime* runtime, const char* key, const char* name, RegistryValue value) {
  Registry& registry = RegistryOf(runtime);
  const RegistryKey place = KeyOf(key);
  const yox::WString wide = Wide(name, "name");
  Check(registry.CreateKey(place));
  Check(registry.SetValue(place, wide, std::move(value)));
}

int32_t ActionOf(const RegistryChange& change) {
  if (change.lost) return YOX_CHANGES_LOST;
  switch (change.action) {
    case RegistryAction::kCreateKey:
      return YOX_KEY_CREATED;
    case RegistryAction::kDeleteKey:
      return YOX_KEY_DELETED;
    case RegistryAction::kSetValue:
      return YOX_VALUE_SET;
    case RegistryAction::kDeleteValue:
      return YOX_VALUE_DELETED;
  }
  return YOX_CHANGES_LOST;
}

}  // namespace

struct yox_registry_watch final : Registration {
  void End() override { watch.reset(); }

  std::unique_ptr<yox::platform::RegistryWatch> watch;
};

yox_status yox_registry_get(yox_runtime* runtime, const char* key, const char* name, uint32_t* type,
                            yox_string** bytes) {
  return Guarded([&] {
    Required(type, "type");
    Required(bytes, "bytes");
    const RegistryValue value = ValueOf(runtime, key, name);
    *bytes = NewString(std::string(value.data.begin(), value.data.end()));
    *type = static_cast<uint32_t>(value.type);
  });
}

yox_status yox_registry_get_text(yox_runtime* runtime, const char* key, const char* name,
                                 yox_string** text) {
  return Guarded([&] {
    Required(text, "text");
    const RegistryValue value = ValueOf(runtime, key, name);
    if (!IsText(value)) throw Failure(YOX_NOT_FOUND, "the value is no text");
    *text = NewString(String::UTF16ToUTF8(value.FirstText()));
  });
}

yox_status yox_registry_get_number(yox_runtime* runtime, const char* key, const char* name,
                                   uint64_t* number) {
  return Guarded([&] {
    Required(number, "number");
    const RegistryValue value = ValueOf(runtime, key, name);
    if (const auto dword = value.AsDword()) {
      *number = *dword;
    } else if (const auto qword = value.AsQword()) {
      *number = *qword;
    } else {
      throw Failure(YOX_NOT_FOUND, "the value is no number");
    }
  });
}

yox_status yox_registry_set(yox_runtime* runtime, const char* key, const char* name, uint32_t type,
                            const void* bytes, size_t size) {
  return Guarded([&] {
    const std::string_view data = Document(static_cast<const char*>(bytes), size, "bytes");
    SetValue(runtime, key, name,
             {static_cast<RegistryType>(type), std::vector<uint8_t>(data.begin(), data.end())});
  });
}

yox_status yox_registry_set_text(yox_runtime* runtime, const char* key, const char* name,
                                 const char* text) {
  return Guarded([&] { SetValue(runtime, key, name, RegistryValue::Text(Wide(text, "text"))); });
}

yox_status yox_registry_set_number(yox_runtime* runtime, const char* key, const char* name,
                                   uint32_t number) {
  return Guarded([&] { SetValue(runtime, key, name, RegistryValue::Dword(number)); });
}

yox_status yox_registry_delete(yox_runtime* runtime, const char* key, const char* name) {
  return Guarded([&] {
    Registry& registry = RegistryOf(runtime);
    const RegistryKey place = KeyOf(key);
    Check(name == nullptr ? registry.DeleteKey(place)
                          : registry.DeleteValue(place, Wide(name, "name")));
  });
}

yox_status yox_registry_keys(yox_runtime* runtime, const char* key, yox_pairs** keys) {
  return Guarded([&] {
    Required(keys, "keys");
    std::vector<yox::WString> names;
    Check(RegistryOf(runtime).SubKeys(KeyOf(key), names));
    auto pairs = std::make_unique<yox_pairs>();
    for (const yox::WString& name : names) {
      pairs->pairs.emplace_back(String::UTF16ToUTF8(name), "");
    }
    *keys = pairs.release();
  });
}

yox_status yox_registry_values(yox_runtime* runtime, const char* key, yox_pairs** values) {
  return Guarded([&] {
    Required(values, "values");
    std::vector<yox::platform::RegistryEntry> entries;
    Check(RegistryOf(runtime).Values(KeyOf(key), entries));
    auto pairs = std::make_unique<yox_pairs>();
    for (const auto& entry : entries) {
      pairs->pairs.emplace_back(
          String::UTF16ToUTF8(entry.name),
          IsText(entry.value) ? String::UTF16ToUTF8(entry.value.FirstText()) : "");
    }
    *values = pairs.release();
  });
}

yox_status yox_registry_watch_key(yox_runtime* runtime, const char* key,
                                  yox_registry_changed changed, void* context,
                                  yox_registry_watch** watch) {
  return Guarded([&] {
    Required(changed, "changed");
    Required(watch, "watch");
    auto created = std::make_unique<yox_registry_watch>();
    Check(RegistryOf(runtime).Watch(
        KeyOf(key),
        [changed, context](const std::vector<RegistryChange>& changes) {
          for (const RegistryChange& change : changes) {
            const std::string below = String::UTF16ToUTF8(change.key);
            const std::string name = String::UTF16ToUTF8(change.name);
            const yox_registry_change given = {.size = sizeof given,
                                               .action = ActionOf(change),
                                               .key = Text(below),
                                               .name = Text(name)};
            changed(context, &given);
          }
        },
        created->watch));
    Add(*runtime, *created);
    *watch = created.release();
  });
}

void yox_registry_watch_free(yox_registry_watch* watch) {
  if (watch == nullptr) return;
  Guarded([&] {
    const std::unique_ptr<yox_registry_watch> freed(watch);
    Remove(*freed);
  });
}
