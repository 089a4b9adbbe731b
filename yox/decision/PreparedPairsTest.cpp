#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FactsRecord.h"
#include "yox/decision/Filter.h"
#include "yox/decision/PreparedDevice.h"

#include "tests/support/Encodings.h"

namespace yox::decision {
namespace {

using YOX::String;
using yox_test::Wide;

// A term "KEY|VALUE" of a compiled list.
class Term {
 public:
  explicit Term(const std::string& text) {
    Filter filter;
    filter.set_tag(Wide(text));
    list_ = ApplicabilityFilter({filter}).snapshot();
  }
  const KeyValueTerm& operator*() const {
    return list_->Terms(list_->Steps(list_->programs().front()).front()).front();
  }

 private:
  std::shared_ptr<const CompiledList> list_;
};

std::string Shown(const std::optional<PairView>& pair) {
  return pair ? String::UTF16ToUTF8(pair->key) + "=" + String::UTF16ToUTF8(pair->value) : "none";
}

// The first pair whose name the pattern matches, by looking at each.
std::string FirstByLooking(const Pairs& pairs, const TextPattern& name, const Pairs& except) {
  for (const auto& pair : pairs) {
    bool is_excepted = false;
    for (const auto& other : except) is_excepted = is_excepted || other.key() == pair.key();
    if (!is_excepted && name.Matches(String::Trimmed(pair.key()))) {
      return Shown(PairView{pair.key(), pair.value()});
    }
  }
  return "none";
}

// Names that are equal but for letter case and white space, among others; from 0 to 9 of them, and
// from 0 to 150 of the others.
Pairs PairsOf(std::size_t size, std::size_t step) {
  static const char* const kNames[] = {"Ring",    " ring",    "RING ", "Ring", "Channel",
                                       "channel", "Channels", "Rin",   "",     " "};
  Pairs pairs;
  for (std::size_t i = 0; i < size; ++i) {
    const bool is_named = step != 0 && i % step == step - 1;
    pairs.emplace_back(
        is_named ? Wide(kNames[i / step % std::size(kNames)]) : Wide("Name" + std::to_string(i)),
        Wide(" Value" + std::to_string(i % 7) + " "));
  }
  return pairs;
}

TEST(PreparedPairs, FindTheFirstPairThatLookingAtEachFinds) {
  std::vector<Term> terms;
  for (const char* const text :
       {"ring", "channel|x", "channels", "rin", "none", "!ring|x", "ring*|x", "*el", "*", "name0",
        "name5", "Name16", "NAME63", "name64", "name149"}) {
    terms.emplace_back(text);
  }
  const Pairs excepts[] = {{}, {{"Ring"_w, ""_w}}, {{" ring"_w, ""_w}, {"Ring"_w, ""_w}}};
  for (const std::size_t size :
       {0U, 1U, 2U, 3U, 4U, 5U, 8U, 15U, 16U, 17U, 31U, 33U, 63U, 64U, 65U, 66U, 150U}) {
    for (const std::size_t step : {0U, 1U, 2U, 5U, 13U}) {
      const Pairs pairs = PairsOf(size, step);
      TextArena arena;
      const PreparedPairs prepared(pairs, arena);
      EXPECT_EQ(prepared.empty(), pairs.empty());
      for (const Term& term : terms) {
        for (const Pairs& except : excepts) {
          EXPECT_EQ(Shown(prepared.First((*term).key, except)),
                    FirstByLooking(pairs, (*term).key, except))
              << size << " " << step << " " << String::UTF16ToUTF8((*term).key.text);
        }
        EXPECT_EQ(Shown(FirstOf(pairs, (*term).key)), FirstByLooking(pairs, (*term).key, {}));
      }
    }
  }
}

TEST(PreparedPairs, KnowWhetherTheFirstPairHasAValue) {
  for (const std::size_t size : {1U, 16U, 17U, 64U, 65U, 150U}) {
    const Pairs pairs = PairsOf(size, 3);
    TextArena arena;
    const PreparedPairs prepared(pairs, arena);
    for (std::size_t i = 0; i < size; ++i) {
      const std::string name = String::UTF16ToUTF8(String::Trimmed(pairs[i].key()));
      if (name.empty()) continue;
      for (int value = 0; value < 7; ++value) {
        const Term term(name + "|vALUE" + std::to_string(value));
        const auto& of = *std::get_if<TextPattern>(&(*term).value);
        const std::string first = FirstByLooking(pairs, (*term).key, {});
        const bool is = first.ends_with("= Value" + std::to_string(value) + " ");
        const PreparedPairs::Folded* const named = prepared.FirstNamed((*term).key);
        EXPECT_EQ(named != nullptr && named->value() == of.text, is)
            << size << " " << name << " " << value;
        // Exact, unless two names look alike.
        EXPECT_EQ(prepared.FirstMayBe((*term).key.fingerprint, of.fingerprint), is)
            << size << " " << name << " " << value;
      }
    }
    const Term other("Another|Value1");
    const auto& value = *std::get_if<TextPattern>(&(*other).value);
    EXPECT_EQ(prepared.FirstNamed((*other).key), nullptr);
    EXPECT_FALSE(prepared.FirstMayBe((*other).key.fingerprint, value.fingerprint));
  }
}

TEST(PreparedPairs, ValuesThatLookAlikeAreToldApart) {
  // Two of one size, with fingerprints that are the same in the part that is compared first.
  std::unordered_map<std::uint64_t, std::string> values;
  std::string one;
  std::string other;
  for (int i = 10'000; one.empty(); ++i) {
    other = "value " + std::to_string(i);
    const auto [known, is_new] = values.try_emplace(Fingerprint(Wide(other)) >> 49, other);
    if (!is_new) one = known->second;
  }
  ASSERT_EQ(one.size(), other.size());
  FactsRecord record;
  record.tags = Pairs{{"Ring"_w, Wide(one)}};
  const PreparedDevice device(record);
  const Question question;
  PreparedFacts facts(device, question);
  const auto decide = [&](const std::string& value) {
    Filter filter;
    filter.set_tag(Wide("ring|" + value));
    return Applies(*ApplicabilityFilter({filter}).snapshot(), facts);
  };
  EXPECT_EQ(decide(one), Truth::kTrue);
  EXPECT_EQ(decide(other), Truth::kFalse);
}

}  // namespace
}  // namespace yox::decision
