#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <type_traits>

#include "yox/decision/FilterFields.h"

// The facts of a device by name, as facts documents and Verdict::needs spell them, each with the
// form that its value has in a document. In the order in which a document is written.
// clang-format off
#define YOX_FACTS(X)                  \
  X(id, kId)                          \
  X(time_zone, kTimeZone)             \
  X(country, kText)                   \
  X(language, kText)                  \
  X(firmware, kFirmware)              \
  X(enclosure, kFirmwareText)         \
  X(family, kFirmwareText)            \
  X(mfr, kFirmwareText)               \
  X(model, kFirmwareText)             \
  X(sku, kFirmwareText)               \
  X(os, kText)                        \
  X(os_bitness, kText)                \
  X(os_description, kText)            \
  X(os_version, kText)                \
  X(version, kText)                   \
  X(serial_number, kHashedText)       \
  X(sn_hash, kHash)                   \
  X(rollout_bucket, kBucket)          \
  X(realm, kHashedText)               \
  X(org_hash, kHash)                  \
  X(organisation_bucket, kBucket)     \
  X(device_subscription, kTexts)      \
  X(tags, kTags)                      \
  X(installed_items, kItems)          \
  X(hardware_ids, kIds)               \
  X(registry, kRegistry)              \
  X(target_version, kOfTheQuestion)
// clang-format on

namespace yox::decision {

enum class FactForm : std::uint8_t {
  kId,             // a string
  kTimeZone,       // a string that TimeZone::Parse reads
  kText,           // a string, or null, which means the empty text
  kFirmware,       // false: the device has no firmware tables
  kFirmwareText,   // as kText; a device without firmware tables has none
  kHashedText,     // a string that is compared by its salted hash, or null
  kHash,           // such a hash, 64 hexadecimal digits, or null
  kBucket,         // a whole number from 0 to 4095, or null
  kTexts,          // an array of strings, or null
  kTags,           // an object of strings, or null
  kItems,          // an array of pairs of strings, or null
  kIds,            // an array of strings, or null
  kRegistry,       // an object of objects of strings and nulls
  kOfTheQuestion,  // not in a document: the caller of a decision gives it
};

#define YOX_ENUMERATOR(name, form) name,
// The facts, in the order of the table.
enum class Fact : std::uint8_t { YOX_FACTS(YOX_ENUMERATOR) };
#undef YOX_ENUMERATOR

// A row of the table: the key in a facts document, and the form of its value.
struct FactRow {
  std::string_view name;
  FactForm form;
};

#define YOX_ROW(name, form) FactRow{#name, FactForm::form},
inline constexpr std::array kFacts = {YOX_FACTS(YOX_ROW)};
#undef YOX_ROW

// The keys of a document: all but the last, which is of the question.
inline constexpr auto kDocumentKeys = [] {
  std::array<std::string_view, kFacts.size() - 1> keys;
  for (std::size_t i = 0; i < keys.size(); ++i) keys[i] = kFacts[i].name;
  return keys;
}();
static_assert(kFacts.back().form == FactForm::kOfTheQuestion);

constexpr std::string_view NameOf(Fact fact) { return kFacts[static_cast<std::size_t>(fact)].name; }
constexpr FactForm FormOf(Fact fact) { return kFacts[static_cast<std::size_t>(fact)].form; }

// A perfect hash of the names, for FactOfKey. After a change of the table, search other factors.
inline constexpr std::size_t kFactSlots = 64;
constexpr std::size_t FactSlot(std::string_view name) {
  return (static_cast<unsigned char>(name.front()) + 12U * static_cast<unsigned char>(name.back()) +
          19 * name.size()) %
         kFactSlots;
}
inline constexpr auto kSlottedFacts = [] {
  std::array<std::uint8_t, kFactSlots> slots{};  // 0: empty; otherwise one more than the index
  for (std::size_t i = 0; i < kFacts.size(); ++i) {
    std::uint8_t& slot = slots[FactSlot(kFacts[i].name)];
    if (slot != 0) throw "two names in one slot";
    slot = static_cast<std::uint8_t>(i + 1);
  }
  return slots;
}();

// Whether two names of the same size are equal, in less time than a call of memcmp takes for them.
constexpr bool IsSameName(std::string_view a, std::string_view b) {
  if (std::is_constant_evaluated() || a.size() > 24) return a == b;
  const auto same = [&]<class Word>(std::size_t at, Word) {
    Word words[2];
    std::memcpy(&words[0], a.data() + at, sizeof(Word));
    std::memcpy(&words[1], b.data() + at, sizeof(Word));
    return words[0] == words[1];
  };
  // Words at both ends, which may overlap.
  const std::size_t size = a.size();
  if (size >= 8) {
    return same(0, std::uint64_t{}) && same(size - 8, std::uint64_t{}) &&
           (size <= 16 || same(8, std::uint64_t{}));
  }
  if (size >= 4) return same(0, std::uint32_t{}) && same(size - 4, std::uint32_t{});
  return size == 0 ||
         (a.front() == b.front() && a[size / 2] == b[size / 2] && a.back() == b.back());
}

// The number of the fact that a key of a document names; that of a fact of the question, which no
// document has, if there is none.
constexpr std::size_t FactIndexOfKey(std::string_view key) {
  constexpr std::size_t kNone = kFacts.size() - 1;
  if (key.empty()) return kNone;
  const std::size_t slot = kSlottedFacts[FactSlot(key)];
  if (slot == 0) return kNone;
  const std::string_view name = kFacts[slot - 1].name;
  return name.size() == key.size() && IsSameName(name, key) ? slot - 1 : kNone;
}
constexpr std::optional<Fact> FactOfKey(std::string_view key) {
  const std::size_t index = FactIndexOfKey(key);
  if (index == kDocumentKeys.size()) return std::nullopt;
  return static_cast<Fact>(index);
}

inline constexpr auto kFieldsOfFacts = [] {
  std::array<FilterField, kFacts.size()> fields{};
  for (std::size_t i = 0; i < kFacts.size(); ++i) {
    const auto* const name = std::ranges::find(kFilterFieldNames, kFacts[i].name);
    if (name != std::end(kFilterFieldNames)) {
      fields[i] = static_cast<FilterField>(name - std::begin(kFilterFieldNames));
    }
  }
  return fields;
}();

// The field of the criterion that is compared with a fact of the form kText, kFirmwareText or
// kHash.
constexpr FilterField FieldOf(Fact fact) { return kFieldsOfFacts[static_cast<std::size_t>(fact)]; }

}  // namespace yox::decision
