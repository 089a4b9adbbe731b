#include "yox/decision/FleetLint.h"

#include <algorithm>
#include <atomic>
#include <tuple>
#include <utility>

#include "yox/base/NearestWord.h"
#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Decide.h"
#include "yox/decision/KnownValues.h"

namespace yox::decision {
namespace {

// Of one field or key no more different values are kept: what has more, such as serial numbers, has
// no nearest one that helps.
constexpr std::size_t kMostValues = 20'000;

bool IsPairs(FilterField field) {
  return field == FilterField::tag || field == FilterField::installed_items;
}

bool IsVersion(FilterField field) {
  return field == FilterField::os_version || field == FilterField::version;
}

// Whether the device alone decides the criterion.
bool IsOfDevice(const CompiledList::Step& step) {
  switch (kCriteria[step.criterion].language) {
    case Language::kText:
    case Language::kTerms:
    case Language::kRegistry:
    case Language::kHardwareId:
      return true;
    case Language::kVersion:
      return IsVersion(step.field);
    case Language::kDateRange:
    case Language::kRollout:
      return false;
  }
  return false;
}

ApplicabilityFilter ListOf(FilterField field, WStringView text) {
  Filter filter;
  filter.Set(field, WString(text));
  return ApplicabilityFilter({filter});
}

// One alternative or term. Key and value are views of the list's text.
struct Asked {
  WString text = {};          // without its "!"
  bool negated = false;       // the text is excluded
  WStringView key = {};       // of a term
  WStringView value = {};     // of a text or of a term with a text; without "*"
  bool value_is_all = false;  // there is no "*"
};

Asked AskedOf(FilterField field, WStringView piece) {
  Asked asked{.text = WString(piece)};
  if (field == FilterField::registry || field == FilterField::hardware_id) return asked;
  const std::size_t bar = IsPairs(field) ? piece.find(WChar{'|'}) : WStringView::npos;
  const std::size_t mark = bar == WStringView::npos ? 0 : bar + 1;
  asked.negated = piece.substr(mark).starts_with('!');
  if (asked.negated) asked.text.erase(mark, 1);
  if (IsVersion(field)) {
    if (VersionRequirement::Parse(piece).comparison == Comparison::kNone) asked.value = piece;
    return asked;
  }
  TextPattern pattern = TextPattern::Parse(piece);
  if (IsPairs(field)) {
    const KeyValueTerm term = KeyValueTerm::Parse(piece);
    asked.key = term.key.text;
    const auto* const value = std::get_if<TextPattern>(&term.value);
    pattern = value != nullptr ? *value : TextPattern();
  }
  asked.value = pattern.text;
  asked.value_is_all = pattern.form == TextPattern::Form::kEqual;
  return asked;
}

// A key of the pairs that every name matches, as PairSource wants it: of a compiled list.
const TextPattern& AnyName() {
  static const auto list = ListOf(FilterField::tag, WString(1, WChar{'*'})).snapshot();
  return list->Terms(list->Steps(list->programs().front()).front()).front().key;
}

// A value with the number of its devices.
using Counted = std::pair<std::string, std::uint64_t>;

std::vector<Counted> MostFrequentFirst(const std::map<WString, std::uint64_t>& counts) {
  std::vector<Counted> values;
  for (const auto& [value, devices] : counts) {
    values.emplace_back(String::UTF16ToUTF8(value), devices);
  }
  std::ranges::stable_sort(values, std::ranges::greater(), &Counted::second);
  return values;
}

std::string Folded(std::string_view text) {
  return String::UTF16ToUTF8(String::ToLower(String::UTF8ToUTF16(text)));
}

// The value that has the text in it or is in the text, or else the one with the fewest other
// letters; of several, the one that most devices have. Null for none, and for texts of so few
// letters that any other code would be near.
const Counted* NearestOf(const std::string& written, const std::vector<Counted>& values) {
  constexpr std::size_t kShortestPart = 3;
  if (written.size() < kShortestPart) return nullptr;
  const std::string text = Folded(written);
  for (const Counted& value : values) {
    const std::string candidate = Folded(value.first);
    const auto& [part, whole] =
        candidate.size() < text.size() ? std::tie(candidate, text) : std::tie(text, candidate);
    if (part.size() >= kShortestPart && whole.find(part) != std::string::npos) return &value;
  }
  std::vector<std::string_view> words;
  for (const Counted& value : values) words.emplace_back(value.first);
  const std::string_view nearest = NearestWord(written, words);
  const auto found = std::ranges::find(words, nearest);
  return nearest.empty() ? nullptr : &values[static_cast<std::size_t>(found - words.begin())];
}

}  // namespace

// What is asked for, in all places where the list does.
struct FleetLint::Question {
  struct Place {
    std::size_t filter;
    std::size_t offset;  // in the criterion's text
    std::size_t length;
    std::size_t key;    // offset
    std::size_t value;  // the same
  };

  FilterField field;
  Asked asked;
  std::shared_ptr<const CompiledList> alone;  // a list that asks for nothing else
  std::vector<Place> places = {};
  mutable std::atomic<bool> is_met = false;  // by a device
};

FleetLint::FleetLint(const ApplicabilityFilter& list) : list_(list.snapshot()), all_(*this) {
  std::map<std::pair<FilterField, WStringView>, Question*> known;
  std::size_t filter = 0;
  for (const auto& program : list_->programs()) {
    for (const auto& step : list_->Steps(program)) {
      if (!IsOfDevice(step)) continue;
      for (auto rest = Pieces(step.required); rest;) {
        const WStringView piece = NextPiece(rest, ',');
        const WStringView written =
            step.field == FilterField::registry ? piece : String::Trimmed(piece);
        Question*& question = known[{step.field, written}];
        if (question == nullptr) {
          Asked asked = AskedOf(step.field, written);
          auto alone = ListOf(step.field, asked.text).snapshot();
          questions_.push_back(std::unique_ptr<Question>(
              new Question{step.field, std::move(asked), std::move(alone)}));
          question = questions_.back().get();
          // Blank pieces ask for nothing, and a version that is excluded need not be there.
          question->is_met = String::Trimmed(question->asked.text).empty() ||
                             (question->asked.negated && IsVersion(step.field));
        }
        const auto offset = [&](WStringView part) {
          return part.empty() ? 0 : static_cast<std::size_t>(part.data() - step.required.data());
        };
        const Asked here = AskedOf(step.field, written);
        question->places.push_back(
            {filter, offset(written), written.size(), offset(here.key), offset(here.value)});
      }
    }
    ++filter;
  }
  all_.known_.resize(questions_.size());
}

FleetLint::~FleetLint() = default;

FleetLint::Tally::Tally(const FleetLint& lint) : lint_(&lint), known_(lint.questions_.size()) {}

void FleetLint::Tally::Count(Counts& counts, WStringView value) {
  if (value.empty()) return;
  const auto found = counts.find(WString(value));
  if (found != counts.end()) {
    ++found->second;
  } else if (counts.size() < kMostValues) {
    counts.emplace(value, 1);
  }
}

void FleetLint::Tally::CountPairs(const PairSource& pairs, FilterField field,
                                  std::span<const WStringView> keys) {
  constexpr std::size_t kMostPairs = 1000;  // of one device
  Pairs seen;
  while (seen.size() < kMostPairs) {
    const auto pair = pairs.First(AnyName(), seen);
    if (!pair) return;
    seen.emplace_back(WString(pair->key), WString(pair->value));
    const WStringView name = String::Trimmed(pair->key);
    Count(values_[field], name);
    for (const WStringView key : keys) {
      if (!String::CaseInsesitiveEqual(name, key)) continue;
      Count(values_of_keys_[{field, WString(key)}], String::Trimmed(pair->value));
    }
  }
}

void FleetLint::Tally::Add(DeviceFacts& facts) {
  std::map<FilterField, std::vector<WStringView>> open;  // with the keys that are asked for
  for (std::size_t i = 0; i < lint_->questions_.size(); ++i) {
    const Question& question = *lint_->questions_[i];
    if (question.is_met.load(std::memory_order_relaxed)) continue;
    const Truth met = Decide(*question.alone, facts).applies;
    if (met == Truth::kTrue) question.is_met.store(true, std::memory_order_relaxed);
    if (met != Truth::kFalse) continue;
    known_[i] = true;
    auto& keys = open[question.field];
    const WStringView key = question.asked.key;
    if (std::ranges::find(keys, key) == keys.end()) keys.push_back(key);
  }
  for (const auto& [field, keys] : open) {
    if (IsPairs(field)) {
      const PairsFact& fact = field == FilterField::tag ? facts.Tags() : facts.InstalledItems();
      if (fact.knowledge == Knowledge::kKnown) CountPairs(*fact.pairs, field, keys);
    } else if (field == FilterField::device_subscription) {
      for (const WString& text : facts.Subscriptions().texts) Count(values_[field], text);
    } else if (IsVersion(field)) {
      Count(values_[field], String::Trimmed(facts.Version(field).text.text()));
    } else if (field != FilterField::registry && field != FilterField::hardware_id) {
      Count(values_[field], String::Trimmed(facts.Text(field).given));
    }
  }
}

void FleetLint::Add(const Tally& tally) {
  for (std::size_t i = 0; i < questions_.size(); ++i) {
    if (tally.known_[i]) all_.known_[i] = true;
  }
  const auto add = [](auto& to, const auto& from) {
    for (const auto& [name, counts] : from) {
      for (const auto& [value, devices] : counts) to[name][value] += devices;
    }
  };
  add(all_.values_, tally.values_);
  add(all_.values_of_keys_, tally.values_of_keys_);
}

// What was probably meant; absent for nothing near.
std::optional<FleetLint::Meant> FleetLint::NearestTo(const Question& question) const {
  const Asked& asked = question.asked;
  const auto nearest = [](const Tally::Counts& counts, WStringView written, bool is_value,
                          bool is_all) -> std::optional<Meant> {
    if (written.empty()) return std::nullopt;
    const auto values = MostFrequentFirst(counts);
    const Counted* const found = NearestOf(String::UTF16ToUTF8(written), values);
    if (found == nullptr) return std::nullopt;
    // What has a meaning in a list cannot be written instead.
    const bool plain = is_all && found->first.find_first_of(",|*!") == std::string::npos;
    return Meant{found->first, found->second, written.size(), is_value, plain};
  };
  if (IsHash(question.field)) return std::nullopt;
  const auto of_key = all_.values_of_keys_.find({question.field, WString(asked.key)});
  if (of_key != all_.values_of_keys_.end()) {
    return nearest(of_key->second, asked.value, true, asked.value_is_all);
  }
  const auto values = all_.values_.find(question.field);
  if (values == all_.values_.end()) return std::nullopt;
  return asked.key.empty() ? nearest(values->second, asked.value, true, asked.value_is_all)
                           : nearest(values->second, asked.key, false, true);
}

std::vector<LintFinding> FleetLint::Findings() const {
  std::vector<LintFinding> findings;
  for (std::size_t i = 0; i < questions_.size(); ++i) {
    const Question& question = *questions_[i];
    if (question.is_met || !all_.known_[i]) continue;
    const auto meant = NearestTo(question);
    // To exclude what is not there yet is usual; what is nearly there was probably meant.
    if (question.asked.negated && !meant) continue;
    for (const Question::Place& place : question.places) {
      LintFinding finding{LintRule::kNoDevice, place.filter, question.field, place.offset,
                          place.length};
      finding.excerpt = String::UTF16ToUTF8(list_->programs()[place.filter]
                                                .filter->View(question.field)
                                                .substr(place.offset, place.length));
      if (meant) {
        finding.detail = "did you mean \"" + meant->text + "\": " + std::to_string(meant->devices) +
                         (meant->devices == 1 ? " device" : " devices");
      }
      if (meant && meant->is_fix) {
        finding.fix = LintFix{meant->is_value ? place.value : place.key, meant->size, meant->text};
      }
      findings.push_back(std::move(finding));
    }
  }
  std::ranges::stable_sort(findings, {}, [](const LintFinding& finding) {
    return std::pair(finding.filter, finding.offset);
  });
  return findings;
}

}  // namespace yox::decision
