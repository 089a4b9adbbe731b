#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "yox/base/TimeZone.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/Facts.h"
#include "yox/decision/PreparedDevice.h"

#include "bindings/postgresql/Jsonb.h"

namespace yox::postgresql {

// What the keys of a document say: which facts it has, and at which place.
struct DocumentKeys {
  DocumentKeys() = default;
  // Throws BadJsonb for an unknown key.
  explicit DocumentKeys(const JsonbNode& document);

  bool Has(decision::Fact fact) const { return (present >> static_cast<unsigned>(fact) & 1) != 0; }

  std::uint32_t present = 0;  // one bit for each Fact
  std::array<std::uint32_t, decision::kFacts.size()> places{};
  std::optional<std::uint32_t> comment;
  std::optional<std::uint32_t> schema;
};

// Memory that the facts of one device after the other use, time zones by name, and the keys of
// the last documents: those of a fleet have few combinations of keys. For one thread at a time.
class FactsMemory {
 public:
  // The text as UTF-16, valid until Clear.
  WStringView Keep(std::string_view utf8);
  // Gives back what Keep used, and keeps it for the next device.
  void Clear();

  // Null for a text that names no time zone.
  const TimeZone* ZoneOf(std::string_view name);

  // Valid until the next call. Throws BadJsonb for an unknown key.
  const DocumentKeys& KeysOf(const JsonbNode& document, const JsonbNode::Members& members);

 private:
  struct KnownKeys {
    std::string lengths;
    std::string texts;
    DocumentKeys keys;
  };

  static constexpr std::size_t kBlock = 4096;
  static constexpr std::size_t kMostZones = 1000;
  static constexpr std::size_t kMostKeys = 16;

  std::vector<std::unique_ptr<WChar[]>> blocks_;  // of kBlock units each
  std::size_t block_ = 0;                         // in use
  std::size_t used_ = 0;                          // of that block
  std::vector<std::unique_ptr<WChar[]>> large_;
  std::unordered_map<std::string, std::optional<TimeZone>> zones_;
  std::array<KnownKeys, kMostKeys> known_keys_;
  std::size_t last_keys_ = 0;  // found last
  std::size_t next_keys_ = 0;  // replaced next
};

// The facts of a document in jsonb. A value is read when a criterion needs it, and what is never
// needed is never read. Tags and registry values are in the order of jsonb. Throws BadJsonb for a
// value that is not as docs/facts.md says, and for an unknown key.
class JsonbFacts final : public decision::DeviceFacts {
 public:
  // All three must outlive the object.
  JsonbFacts(const JsonbNode& document, const decision::Question& question, FactsMemory& memory);

  decision::DayStart StartOfDay(int year, int month, int day) override;
  decision::RegistryFact ReadRegistry(
      const decision::CompiledRegistryRequirement& requirement) override;

 private:
  class Sink;

  // Views of names and texts, looked at in order.
  class PairViews final : public decision::PairSource {
   public:
    std::optional<decision::PairView> First(const decision::TextPattern& name,
                                            const decision::Pairs& except) const override;
    std::vector<decision::PairView> pairs;
  };

  decision::TextFact FetchText(FilterField field) override;
  decision::VersionFact FetchVersion(FilterField field) override;
  decision::TextsFact FetchSubscriptions() override;
  decision::PairsFact FetchTags() override;
  decision::PairsFact FetchInstalledItems() override;
  decision::HardwareIdsFact FetchHardwareIds() override;
  decision::BucketFact FetchBucket(bool of_organisation) override;
  std::int64_t FetchNow() override { return question_.now; }
  decision::LocalDays FetchToday() override;

  JsonbNode ValueOf(decision::Fact fact) const {
    return members_.Value(keys_.places[static_cast<std::size_t>(fact)]);
  }
  // Reads the value of a fact, if the document has it.
  bool Read(decision::Fact fact, Sink& sink) const;
  bool HasNoFirmware() const;
  // The salted hash of the device, or of its organisation, and how it is known.
  decision::TextFact HashOf(bool of_organisation) const;
  const TimeZone* Zone() const;

  const decision::Question& question_;
  FactsMemory& memory_;
  JsonbNode::Members members_;
  const DocumentKeys& keys_;
  PairViews tags_;
  PairViews items_;
  std::vector<WString> subscriptions_;
  std::unique_ptr<decision::PreparedHardwareIds> hardware_ids_;
};

}  // namespace yox::postgresql
