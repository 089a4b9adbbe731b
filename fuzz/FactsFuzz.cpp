#include <string>

#include "yox/base/Document.h"
#include "yox/decision/FactsDocument.h"
#include "yox/facts/FactsLine.h"

#include "fuzz/FuzzInput.h"

using yox::decision::Anonymity;
using yox::decision::FactsJson;
using yox::decision::ReadFacts;
using yox::facts::FactsLine;

namespace {

// What reading the document throws; empty when it is read.
template <class Read>
std::string ErrorOf(Read read) {
  try {
    read();
    return {};
  } catch (const yox::DocumentError& error) {
    return error.what();
  }
}

}  // namespace

// A facts document. What is read is written so that it reads as the same, with names and without; a
// line of a fleet is read or refused as the document is, in the same words.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view document(reinterpret_cast<const char*>(data), size);
  const std::string error = ErrorOf([&] {
    for (const Anonymity anonymity : {Anonymity::kNamed, Anonymity::kAnonymous}) {
      const std::string written = FactsJson(ReadFacts(document), anonymity);
      FUZZ_CHECK(FactsJson(ReadFacts(written), anonymity) == written);
    }
  });
  FUZZ_CHECK(error.find('\n') == std::string::npos);

  const std::string padded = std::string(document) + std::string(FactsLine::kPadding, '"');
  static FactsLine line;
  FUZZ_CHECK(ErrorOf([&] { line.Read(std::string_view(padded).substr(0, size)); }) == error);
  if (error.empty()) FUZZ_CHECK(line.id() == ReadFacts(document).id);
  return 0;
}
