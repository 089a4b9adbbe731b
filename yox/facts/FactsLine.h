#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "yox/base/Export.h"
#include "yox/decision/FactsRecord.h"
#include "yox/decision/PreparedDevice.h"

// Deciding on facts documents line by line, as fast as they can be parsed: a fleet's file is read
// once, and of each device only what a list asks for is converted.
namespace yox::facts {

// The facts document of one device, checked as a whole and converted where a decision asks for it.
// The object keeps its memory from document to document; it is for one thread at a time.
class YOX_API FactsLine {
 public:
  // So many bytes after a document must be readable, whatever they are.
  static constexpr std::size_t kPadding = 64;

  FactsLine();
  FactsLine(FactsLine&& other) noexcept;
  FactsLine& operator=(FactsLine&& other) noexcept;
  ~FactsLine();

  // Reads a document in the place of the one before. `utf8` is not copied: it must stay as it is
  // until the next one is read. Means the same as decision::ReadFacts, and throws the same
  // DocumentError; there is no document after an error.
  void Read(std::string_view utf8, std::size_t first_line = 1);

  // Empty when the document has none. Valid until the next document is read.
  std::string_view id() const;

 private:
  friend class LineFacts;
  class Document;

  std::unique_ptr<Document> document_;
};

// The facts of the document that a line has read, for one question. Line and question must outlive
// the object, and no other document may be read meanwhile. May decide many lists; on the thread of
// the line.
class YOX_API LineFacts final : public decision::QuestionFacts {
 public:
  LineFacts(const FactsLine& line, const decision::Question& question);

  decision::DayStart StartOfDay(int year, int month, int day) override;
  decision::RegistryFact ReadRegistry(
      const decision::CompiledRegistryRequirement& requirement) override;

 private:
  decision::TextFact FetchText(decision::FilterField field) override;
  decision::VersionFact FetchDeviceVersion(decision::FilterField field) override;
  decision::TextsFact FetchSubscriptions() override;
  decision::PairsFact FetchTags() override;
  decision::PairsFact FetchInstalledItems() override;
  decision::HardwareIdsFact FetchHardwareIds() override;
  decision::BucketFact FetchBucket(bool of_organisation) override;

  FactsLine::Document& document_;
};

}  // namespace yox::facts
