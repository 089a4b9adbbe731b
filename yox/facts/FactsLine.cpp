#include "yox/facts/FactsLine.h"

#include "yox/base/StrictJson.h"
#include "yox/decision/FactsReading.h"
#include "yox/decision/StrictNode.h"
#include "yox/facts/FastParser.h"
#include "yox/facts/LineValues.h"

namespace yox::facts {

class FactsLine::Document {
 public:
  void Read(std::string_view utf8, std::size_t first_line) {
    values.Clear();
    if (fast_.Read(utf8, values)) return;
    values.Clear();
    try {
      parsed_ = ParseDocument(utf8, first_line);
      const JsonNode root(parsed_, utf8, first_line);
      decision::FactsReading<decision::StrictNode, LineValues>(values).Read(
          decision::StrictNode(root));
    } catch (...) {
      values.Clear();
      throw;
    }
  }

  LineValues values;

 private:
  FastParser fast_;
  Json::Value parsed_;
};

FactsLine::FactsLine() : document_(std::make_unique<Document>()) { document_->values.Clear(); }
FactsLine::FactsLine(FactsLine&& other) noexcept = default;
FactsLine& FactsLine::operator=(FactsLine&& other) noexcept = default;
FactsLine::~FactsLine() = default;

void FactsLine::Read(std::string_view utf8, std::size_t first_line) {
  document_->Read(utf8, first_line);
}

std::string_view FactsLine::id() const { return document_->values.id(); }

LineFacts::LineFacts(const FactsLine& line, const decision::Question& question)
    : QuestionFacts(question, line.document_->values.time_zone()), document_(*line.document_) {}

decision::DayStart LineFacts::StartOfDay(int year, int month, int day) {
  return document_.values.StartOfDay(year, month, day);
}

decision::RegistryFact LineFacts::ReadRegistry(
    const decision::CompiledRegistryRequirement& requirement) {
  return document_.values.RegistryOf(requirement);
}

decision::TextFact LineFacts::FetchText(decision::FilterField field) {
  return document_.values.TextOf(field);
}

decision::VersionFact LineFacts::FetchDeviceVersion(decision::FilterField field) {
  return document_.values.VersionOf(field);
}

decision::TextsFact LineFacts::FetchSubscriptions() { return document_.values.Subscriptions(); }
decision::PairsFact LineFacts::FetchTags() { return document_.values.Tags(); }
decision::PairsFact LineFacts::FetchInstalledItems() { return document_.values.InstalledItems(); }
decision::HardwareIdsFact LineFacts::FetchHardwareIds() { return document_.values.HardwareIds(); }

decision::BucketFact LineFacts::FetchBucket(bool of_organisation) {
  return document_.values.BucketOf(of_organisation);
}

}  // namespace yox::facts
