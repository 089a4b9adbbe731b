#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/IndexedPairs.h"
#include "yox/applicability/KeptTags.h"
#include "yox/base/WString.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/FactsRecord.h"
#include "yox/device/MachineInformation.h"

// The facts of the device that the process runs on, for one decision: each is read from the machine
// record, the registry, the tag collection or the system when the decision first needs it. For one
// thread.
class YOX_LOCAL ApplicabilityEvaluator::RunningDevice final : public yox::decision::DeviceFacts {
 public:
  enum class Purpose : std::uint8_t {
    kDecide,   // trims the caller's texts if a version criterion is evaluated
    kExplain,  // changes nothing, and distinguishes an empty text from a missing source
  };

  // Throws std::invalid_argument("machineInformation") if `machine` is null. The arguments must
  // outlive the object; `tags` and `target_version` may be null.
  RunningDevice(ApplicabilityEvaluator& evaluator, const MachineInformation* machine,
                const yox::WString& client_version, AppAndTagCollection* tags,
                const yox::WString* target_version, const Pairs& extra_tags,
                Purpose purpose = Purpose::kDecide)
      : DeviceFacts(extra_tags),
        evaluator_(evaluator),
        machine_(machine != nullptr ? *machine : NotGiven()),
        client_version_(client_version),
        tags_(tags),
        target_version_(target_version),
        purpose_(purpose) {
    if (purpose == Purpose::kExplain) return;
    SetReady(&machine_.Folded(Text{}),
             machine_.MayOverrideManufacturer() ? kReady : kReadyWithManufacturer);
  }

  // From now on the tags, which must be those of the process's collection, are taken from the
  // evaluator as long as they have not changed.
  void UseKeptTags() { uses_kept_tags_ = true; }

  // Returns all facts, and of the registry the values that the lists require.
  yox::decision::FactsRecord Collect(std::span<const ApplicabilityFilter> lists);

  yox::decision::DayStart StartOfDay(int year, int month, int day) override;
  yox::decision::RegistryFact ReadRegistry(
      const yox::decision::CompiledRegistryRequirement& requirement) override;
  yox::decision::Truth MeetsRegistry(
      const yox::decision::CompiledRegistryRequirement& requirement) override;
  yox::decision::Truth MeetsHardwareId(
      yox::WStringView required, const yox::decision::HardwareIdRequirement& requirement) override;
  void VersionWasTrimmed(yox::decision::FilterField field) override;

 private:
  using Text = MachineInformation::Text;
  using TextFact = yox::decision::TextFact;

  struct Source;
  struct Sources;

  // The texts that the record has in the form in which they are compared.
  static const yox::decision::ReadyPlaces kReady;
  static const yox::decision::ReadyPlaces kReadyWithManufacturer;

  // Installed applications, then those of the store.
  struct Items final : yox::decision::PairSource {
    std::optional<yox::decision::PairView> First(const yox::decision::TextPattern& name,
                                                 const Pairs& except) const override;
    std::shared_ptr<const IndexedPairs> installed;
    Pairs store;
  };

  TextFact FetchText(yox::decision::FilterField field) override;
  yox::decision::VersionFact FetchVersion(yox::decision::FilterField field) override;
  yox::decision::TextsFact FetchSubscriptions() override;
  yox::decision::PairsFact FetchTags() override;
  yox::decision::PairsFact FetchInstalledItems() override;
  yox::decision::HardwareIdsFact FetchHardwareIds() override;
  yox::decision::BucketFact FetchBucket(bool of_organisation) override;
  std::int64_t FetchNow() override;
  yox::decision::LocalDays FetchToday() override;

  TextFact OfRecord(Text text, bool is_of_firmware) const;
  yox::decision::Knowledge KnowledgeOfFirmware() const;
  TextFact Manufacturer();
  TextFact OrganisationHash();
  TextFact OperatingSystem();
  TextFact Bitness();
  TextFact Sku();
  TextFact SerialNumberHash();

  [[noreturn]] static const MachineInformation& NotGiven();
  const yox::decision::PreparedPairs& StoredTags();
  static yox::decision::VersionText LastParsed(const yox::WString& text);
  const yox::WString& Realm();
  // Drops the facts that are views of texts that this object does not own.
  void ForgetViews();

  ApplicabilityEvaluator& evaluator_;
  const MachineInformation& machine_;
  const yox::WString& client_version_;
  AppAndTagCollection* const tags_;
  const yox::WString* const target_version_;
  const Purpose purpose_;

  // The texts that facts are views of, unless they belong to the record or the caller. Created on
  // demand: most decisions need none.
  struct Own {
    Own();
    ~Own();  // not inline: most decisions have nothing to destroy

    std::optional<yox::WString> sku;
    std::optional<yox::WString> realm;
    bool has_organisation;  // set with the realm
    std::optional<yox::WString> organisation_hash;
    yox::WString serial_number_hash;
    yox::WString registry_text;
    std::vector<yox::WString> subscriptions;
    Items items;
    std::unique_ptr<yox::decision::HardwareIds> hardware_ids;
  };
  Own& own();

  std::optional<yox::WString> manufacturer_;
  // The stored tags, leased from the evaluator or shared with it.
  struct TagsInUse {
    TagsInUse();
    ~TagsInUse();

    std::optional<yox::applicability::KeptTags::Lease> kept;
    std::shared_ptr<const IndexedPairs> shared;
  };
  bool uses_kept_tags_ = false;
  std::optional<TagsInUse> tags_in_use_;
  std::optional<Own> own_;
};
