#include <gtest/gtest.h>

#include <string>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/DocumentLayout.h"
#include "yox/base/String.h"
#include "yox/decision/FilterDocument.h"

#include "tests/support/Generators.h"
#include "tests/support/TestRecord.h"

using yox::LayOutDocument;
using yox::decision::FilterField;
using yox::decision::kFilterFieldCount;
using yox::decision::ReadFilterDocument;
using yox::decision::WriteFilterDocument;

namespace yox_test {
namespace {

// The same document with other white space, and a comment in front of each filter's keys.
std::string Mangled(const std::string& document, Random& random) {
  std::string mangled;
  bool in_string = false;
  for (std::size_t i = 0; i < document.size(); ++i) {
    const char c = document[i];
    if (in_string && c == '\\') {
      mangled += c;
      mangled += document[++i];
      continue;
    }
    if (c == '"') in_string = !in_string;
    if (!in_string && (c == ' ' || c == '\n')) continue;
    mangled += c;
    if (in_string || c == '"') continue;
    if (c == '{' && document[i + 1] != '}' && random.Percent(30)) {
      mangled += "\"comment\":\"" + std::to_string(i) + "\"" +
                 (document.find('"', i) < document.find('}', i) ? "," : "");
    }
    for (int more = random.Between(0, 3); more > 0; --more)
      mangled += random.Percent(50) ? ' ' : '\n';
  }
  return mangled;
}

TEST(ListLayout, ReadsDecidesAndExplainsTheSame) {
  Random random(21);
  const auto record = MakeRecord();
  TestEvaluator evaluator;
  int comments = 0;
  for (int i = 0; i < 500; ++i) {
    const ApplicabilityFilter drawn = MakeList(random, Mix::kEverything, 5).ToFilters();
    const std::string document = Mangled(WriteFilterDocument(drawn), random);
    const std::string laid_out = LayOutDocument(document);
    ASSERT_EQ(LayOutDocument(laid_out), laid_out);
    const auto count = [](const std::string& text) {
      std::size_t found = 0;
      for (std::size_t at = 0; (at = text.find("\"comment\"", at)) != std::string::npos; ++at)
        ++found;
      return found;
    };
    ASSERT_EQ(count(document), count(laid_out));
    comments += static_cast<int>(count(document));
    const ApplicabilityFilter read = ReadFilterDocument(laid_out);
    ASSERT_EQ(read.filters().size(), drawn.filters().size()) << document;
    for (std::size_t k = 0; k < drawn.filters().size(); ++k) {
      for (std::size_t field = 0; field < kFilterFieldCount; ++field) {
        ASSERT_EQ(read.filters()[k].View(static_cast<FilterField>(field)),
                  drawn.filters()[k].View(static_cast<FilterField>(field)));
      }
    }
    yox::WString reason;
    yox::WString reason_of_drawn;
    const bool applies =
        evaluator.EvaluateApplicability(record, {}, read, nullptr, nullptr, {}, reason);
    ASSERT_EQ(applies, evaluator.EvaluateApplicability(record, {}, drawn, nullptr, nullptr, {},
                                                       reason_of_drawn));
    ASSERT_EQ(reason, reason_of_drawn);
  }
  EXPECT_GT(comments, 100);
}

}  // namespace
}  // namespace yox_test
