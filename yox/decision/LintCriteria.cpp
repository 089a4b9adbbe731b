#include "yox/decision/LintCriteria.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <utility>

#include "yox/base/EnclosureNames.h"
#include "yox/base/NearestWord.h"
#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/KnownValues.h"
#include "yox/decision/RegistryRequirement.h"
#include "yox/decision/Vocabulary.h"

namespace yox::decision {
namespace {

using enum LintRule;

bool IsDigit(WChar unit) { return unit >= '0' && unit <= '9'; }

// Digits alone, a sign before them or not: nothing that reading it as a number would leave out.
bool IsWholeNumber(WStringView text) {
  text = String::Trimmed(text);
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  return !text.empty() && std::ranges::all_of(text, IsDigit);
}

std::size_t SizeOf(Comparison comparison) {
  if (comparison == Comparison::kNone) return 0;
  return comparison == Comparison::kAtLeast || comparison == Comparison::kAtMost ? 2 : 1;
}

bool StartsComparison(WStringView text) { return text.starts_with('<') || text.starts_with('>'); }

bool IsRealDay(const DateText& date) {
  using namespace std::chrono;
  const auto [year_text, month_text, day_text] = date.fields;
  // chrono keeps the lowest byte of a month or day. Numbers have no sign: "-" separates them.
  const auto byte = [](const IntegerText& text) {
    return static_cast<unsigned>(std::min(text.number, 255));
  };
  // The calendar repeats after 400 years.
  const year_month_day day = year{year_text.number % 400 + 2000} / month{byte(month_text)} /
                             std::chrono::day{byte(day_text)};
  return day.ok();
}

std::string Quoted(WStringView text) { return "\"" + String::UTF16ToUTF8(text) + "\""; }

class CriterionLint {
 public:
  CriterionLint(const CompiledList& list, const CompiledList::Program& program,
                const CompiledList::Step& step, std::size_t filter, Effort& effort,
                std::vector<LintFinding>& findings)
      : list_(list),
        step_(step),
        field_(step.field),
        text_(program.filter->View(field_)),
        filter_(filter),
        effort_(effort),
        first_(findings.size()),
        findings_(findings) {}

  void Texts() {
    CheckPieces([&](WStringView piece) {
      Alternative(piece);
      const TextPattern pattern = TextPattern::Parse(piece);
      if (Word(pattern) || OtherSyntax(pattern, String::Trimmed(piece))) return;
      const auto values = KnownValues(field_);
      const bool known = values.empty() || std::ranges::any_of(values, [&](WStringView value) {
                           return pattern.Matches(value);
                         });
      const bool possible = known && !(IsHash(field_) && !CanBeHash(pattern));
      if (!possible && HoldingOf(pattern) != Holding::kNever) Report(kNeverHolds, piece);
    });
    Covered(list_.Texts(step_));
  }

  void Versions() {
    std::size_t i = 0;
    CheckPieces([&](WStringView piece) { VersionText(piece, list_.Versions(step_)[i++]); });
    // Whether there is a target version is something to ask for.
    if (field_ != FilterField::target_version) Covered(list_.Versions(step_));
  }

  void Terms() {
    CheckPieces([&](WStringView piece) { Term(piece); });
    const auto terms = list_.Terms(step_);
    if (field_ != FilterField::tag) return Covered(terms);
    Related(kContradictingTerms, terms,
            [](const auto& a, const auto& b) { return Contradict(a, b); });
    Superfluous(terms);
  }

  void Range(const LocalDate& today) {
    const DateRange& range = list_.Range(step_);
    if (!range.has_two_pieces) return Report(kMalformed, text_);
    const bool start = !range.open_start && Date(range.start);
    const bool end = !range.open_end && Date(range.end);
    if (start && end && HoldingOf(range) == Holding::kNever) {
      Report(kWindowEmpty, text_);
      Fix(String::UTF16ToUTF8(range.end.text) + "|" + String::UTF16ToUTF8(range.start.text));
    } else if (end && range.end.CompareTo(today) < 0) {
      Report(kWindowPast, range.end.text);
    }
    if (HoldingOf(range) == Holding::kAlways) Report(kAlwaysHolds, text_);
  }

  void Growth(const LocalDate& today) {
    const Rollout& rollout = list_.RolloutOf(step_);
    if (!rollout.has_three_pieces) return Report(kMalformed, text_);
    const bool begins = Date(rollout.start) && IsRealDay(rollout.start);
    if (rollout.days.status != String::IntegerStatus::kOk) {
      Report(kNumberUnreadable, rollout.days.text);
    } else {
      Cut(rollout.days.text);
      if (rollout.days.number <= 0) {
        Report(kRolloutDays, rollout.days.text);
      } else if (begins && IsLongOver(rollout, today)) {
        Report(kRolloutOver, text_);
      }
    }
    if (!rollout.growth) Report(kRolloutGrowth, rollout.growth_word);
    const std::size_t fourth = static_cast<std::size_t>(rollout.growth_word.data() - text_.data()) +
                               rollout.growth_word.size() + 1;
    const WStringView behind = text_.substr(std::min(fourth, text_.size()));
    const WStringView segment = behind.substr(0, behind.find(WChar{'|'}));
    const bool by_device = segment.empty() || String::CaseInsesitiveEqual(segment, "device"_wv);
    if (!rollout.by_tenant && !by_device) Report(kRolloutSegment, segment);
    if (segment.size() != behind.size()) Report(kExtraPieces, behind.substr(segment.size()));
  }

  void Registry() {
    CheckPieces([&](WStringView piece) { RegistryPiece(piece); });
  }

  void HardwareIds() {
    CheckPieces([&](WStringView piece) {
      Alternative(piece);
      HardwareId(TextPattern::Parse(piece));
    });
  }

 private:
  void Report(LintRule rule, WStringView at, std::string detail = {}) {
    findings_.push_back({rule, filter_, field_, static_cast<std::size_t>(at.data() - text_.data()),
                         at.size(), String::UTF16ToUTF8(at), std::move(detail)});
  }

  // What to write in place of what was reported last. Returns true.
  bool Fix(std::string replacement) {
    findings_.back().fix = {findings_.back().offset, findings_.back().length,
                            std::move(replacement)};
    return true;
  }

  bool Reported(LintRule rule) const {
    return std::any_of(findings_.begin() + static_cast<std::ptrdiff_t>(first_), findings_.end(),
                       [&](const LintFinding& finding) { return finding.rule == rule; });
  }

  template <class Visit>
  void ForEachPiece(Visit visit) {
    for (auto rest = Pieces(text_); rest;) visit(NextPiece(rest, ','));
  }

  // The same until so much is found that further findings would only take memory.
  template <class Check>
  void CheckPieces(Check check) {
    constexpr std::size_t kMostFindings = 100;
    for (auto rest = Pieces(text_); rest;) {
      if (findings_.size() - first_ >= kMostFindings) {
        std::string& detail = findings_.back().detail;
        detail += (detail.empty() ? "" : "; ") + std::string("the text is not checked after this");
        return;
      }
      const WStringView piece = NextPiece(rest, ',');
      check(piece);
      Typography(String::Trimmed(piece));
    }
  }

  void Alternative(WStringView piece) {
    if (String::Trimmed(piece).empty()) return EmptyAlternative(piece);
    Pattern(piece);
  }

  // Its fix removes the piece and one comma beside it.
  void EmptyAlternative(WStringView piece) {
    Report(kEmptyAlternative, piece);
    LintFinding& finding = findings_.back();
    const bool comma_before = finding.offset > 0;
    finding.fix = LintFix{finding.offset - (comma_before ? 1 : 0), finding.length + 1, {}};
  }

  // A pattern that is not blank.
  void Pattern(WStringView piece) {
    const WStringView written = String::Trimmed(piece);
    const TextPattern pattern = TextPattern::Parse(piece);
    if (pattern.form == TextPattern::Form::kEverything) return Report(kInnerStar, written);
    if (pattern.text.find(WChar{'*'}) != WStringView::npos) Report(kLiteralStar, written);
    if (!pattern.text.empty() &&
        (String::IsWhiteSpace(pattern.text.front()) || String::IsWhiteSpace(pattern.text.back()))) {
      Report(kWhiteSpace, written);
    }
    if (HoldingOf(pattern) == Holding::kNever) {
      Report(MatchesNoSku() ? kOnlyWithoutFirmware : kNeverHolds, written);
    }
  }

  // Whether the criterion is `sku` and matches no SKU: it is satisfied where none is looked at.
  bool MatchesNoSku() const {
    return field_ == FilterField::sku &&
           std::ranges::all_of(list_.Texts(step_), [](const TextPattern& one) {
             return HoldingOf(one) == Holding::kNever;
           });
  }

  // Checks the word of a pattern that is compared with words of a closed set. Returns whether it
  // was reported.
  bool Word(const TextPattern& pattern) {
    const bool closed = field_ == FilterField::country || field_ == FilterField::language ||
                        field_ == FilterField::enclosure || field_ == FilterField::os_bitness ||
                        field_ == FilterField::device_subscription;
    if (!closed || pattern.text.empty() || String::Trimmed(pattern.text) != pattern.text) {
      return false;
    }
    if (const std::string commas = WithCommas(pattern.text); !commas.empty()) {
      Report(kSeparator, pattern.text);
      return Fix(commas);
    }
    return pattern.form == TextPattern::Form::kEqual ? WholeWord(pattern.text)
                                                     : PartOfWord(pattern);
  }

  // Checks a pattern of free text for what other languages have. Returns whether it was reported.
  bool OtherSyntax(const TextPattern& pattern, WStringView written) {
    const bool is_free = field_ == FilterField::os || field_ == FilterField::os_description;
    if (is_free) return Foreign(pattern.text);
    const bool is_maker = field_ == FilterField::mfr;
    const bool is_product =
        field_ == FilterField::family || field_ == FilterField::model || field_ == FilterField::sku;
    if (!is_maker && !is_product) return false;
    if (Foreign(pattern.text)) return true;
    if (const std::string commas = WithCommas(pattern.text); !commas.empty()) {
      Report(kSeparator, pattern.text);
      return Fix(commas);
    }
    if (is_maker && written.data() != text_.data() && IsFormOfCompany(written)) {
      Report(kCommaInName, written);
      return true;
    }
    // A maker's name may end with a dot: `Contoso Ltd.*`.
    const bool dot_star = is_product && written.find(".*"_wv) != WStringView::npos;
    const bool anchored = pattern.text.starts_with('^') || pattern.text.ends_with('$');
    const bool of_sql = pattern.text.starts_with('%') || pattern.text.ends_with('%');
    const bool one_letter = pattern.text.find(WChar{'?'}) != WStringView::npos;
    const std::size_t open = pattern.text.find(WChar{'['});
    const bool set =
        open != WStringView::npos && pattern.text.find(WChar{']'}, open) != WStringView::npos;
    if (!dot_star && !anchored && !of_sql && !one_letter && !set) return false;
    Report(kWildcard, written);
    return true;
  }

  // Reports "=a", "\"a\"" and "not a", which other languages read as more than a text. Returns
  // whether it was reported.
  bool Foreign(WStringView text) {
    constexpr auto kSigns = "=<>!"_wv;
    const auto quoted = [&](char mark) {
      return text.size() > 2 && text.starts_with(static_cast<WChar>(mark)) &&
             text.ends_with(static_cast<WChar>(mark));
    };
    const std::size_t begin = text.find_first_not_of("= "_wv);
    if (quoted('"') || quoted('\'')) {
      Report(kForeignText, text);
      return Fix(String::UTF16ToUTF8(text.substr(1, text.size() - 2)));
    }
    const bool negated_in_words =
        text.size() > 4 && String::CaseInsesitiveEqual(text.substr(0, 4), "not "_wv);
    const bool signs = !text.empty() && kSigns.find(text.front()) != WStringView::npos;
    if (!negated_in_words && !signs) return false;
    Report(kForeignText, text);
    if (text.starts_with('=') && begin != WStringView::npos &&
        kSigns.find(text[begin]) == WStringView::npos) {
      Fix(String::UTF16ToUTF8(text.substr(begin)));
    }
    return true;
  }

  // "7.0+", which other languages read as "from 7.0 on".
  static bool IsFromOn(WStringView text) {
    const WStringView number = text.substr(0, text.size() - (text.empty() ? 0 : 1));
    return text.ends_with('+') && !number.empty() && IsDigit(number.front()) &&
           number.find_first_not_of("0123456789."_wv) == WStringView::npos;
  }

  // What is at an end of a word, in its middle or between words and looks like another character,
  // or like none.
  void Typography(WStringView text) {
    struct Look {
      WChar first;
      WChar last;
      std::string_view plain;
      bool everywhere;  // else only in what firmware says, which has plain letters
    };
    static constexpr Look kLooks[] = {
        {0x00A0, 0x00A0, " ", true},    // no-break space
        {0x00AD, 0x00AD, "", true},     // soft hyphen
        {0x200B, 0x200B, "", true},     // space of no width
        {0x200E, 0x200F, "", true},     // marks of direction
        {0x2010, 0x2015, "-", false},   // hyphens and dashes
        {0x2018, 0x201B, "'", false},   // single quotation marks
        {0x201C, 0x201F, "\"", false},  // double ones
        {0x202A, 0x202E, "", true},     // embeddings
        {0x202F, 0x202F, " ", true},    // narrow no-break space
        {0x2060, 0x2064, "", true},     // joiners and invisible operators
        {0xFEFF, 0xFEFF, "", true}};    // byte order mark
    const bool of_firmware = field_ == FilterField::mfr || field_ == FilterField::family ||
                             field_ == FilterField::model || field_ == FilterField::sku;
    if (std::ranges::all_of(text, [](WChar unit) { return unit < kLooks[0].first; })) return;
    std::string plain;
    bool found = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const auto* const look = std::ranges::find_if(kLooks, [&](const Look& one) {
        return text[i] >= one.first && text[i] <= one.last && (one.everywhere || of_firmware);
      });
      if (look == std::end(kLooks)) {
        plain += String::UTF16ToUTF8(text.substr(i, IsHighSurrogate(text[i]) ? 2 : 1));
        i += IsHighSurrogate(text[i]) ? 1 : 0;
      } else {
        plain += look->plain;
        found = true;
      }
    }
    if (!found) return;
    Report(kTypography, text);
    Fix(plain);
  }

  static bool IsHighSurrogate(WChar unit) { return unit >= 0xD800 && unit <= 0xDBFF; }

  // Whether at most two letters differ, or the end of the last word is left out.
  static bool IsSlipOf(std::string_view name, std::string_view tag) {
    constexpr std::size_t kFewLetters = 2;
    constexpr std::size_t kShortestWord = 3;
    if (name.size() > tag.size() + kFewLetters) return false;
    const bool as_long = name.size() + kFewLetters >= tag.size();
    if (as_long && EditDistance(name, tag) <= kFewLetters) return true;
    const std::size_t word = tag.rfind('.') + 1;  // 0 if there is no dot
    return word != 0 && name.size() >= word + kShortestWord &&
           EditDistance(name, tag.substr(0, name.size())) == 0;
  }

  // A term about a tag that only the product sets.
  void ProductTag(const KeyValueTerm& term, WStringView key, WStringView value) {
    if (field_ != FilterField::tag || term.key.form != TextPattern::Form::kEqual) return;
    const std::string name = String::UTF16ToUTF8(term.key.text);
    const auto tags = ProductTags();
    const auto found = std::ranges::find_if(tags, [&](const TagRow& row) {
      return row.name.size() == name.size() && EditDistance(row.name, name) == 0;
    });
    if (found == tags.end()) {
      // Other programs set tags of any name: only what is nearly one of the product's is a slip.
      const auto near =
          std::ranges::find_if(tags, [&](const TagRow& row) { return IsSlipOf(name, row.name); });
      if (near == tags.end()) return;
      const std::string meant(near->name);
      Report(kTagUnknown, key, "did you mean \"" + meant + "\"?");
      Fix((term.negated || term.key.negated ? "!" : "") + meant);
      return;
    }
    const auto* const pattern = std::get_if<TextPattern>(&term.value);
    if (found->is_open || value.empty() || (pattern != nullptr && pattern->text.empty())) return;
    bool known = false;
    std::string_view rest = found->values;
    for (bool more = true; more && pattern != nullptr && !known;) {
      const std::size_t comma = rest.find(',');
      TextPattern positive = *pattern;
      positive.negated = false;
      known = positive.Matches(String::UTF8ToUTF16(rest.substr(0, comma)));
      more = comma != std::string_view::npos;
      rest.remove_prefix(more ? comma + 1 : 0);
    }
    if (known) return;
    const std::string values(found->values);
    Report(kTagValue, value, values.empty() ? "it has none" : "it has " + values);
  }

  // "Inc.", "Co. Ltd".
  static bool IsFormOfCompany(WStringView written) {
    constexpr std::array kForms = {"inc"_wv, "ltd"_wv,  "llc"_wv,     "gmbh"_wv,        "co"_wv,
                                   "ag"_wv,  "corp"_wv, "coltd"_wv,   "corporation"_wv, "sa"_wv,
                                   "bv"_wv,  "plc"_wv,  "limited"_wv, "kg"_wv,          "oy"_wv};
    WString letters;
    for (const WChar unit : written) {
      if (unit != '.' && unit != '*' && !String::IsWhiteSpace(unit)) letters += unit;
    }
    return std::ranges::any_of(
        kForms, [&](WStringView form) { return String::CaseInsesitiveEqual(letters, form); });
  }

  bool WholeWord(WStringView word) {
    const std::string text = String::UTF16ToUTF8(word);
    switch (field_) {
      case FilterField::country:
        return Unknown(kCountryUnknown, word, CheckCountry(text));
      case FilterField::language:
        if (Unknown(kLanguageUnknown, word, CheckLanguage(text))) return true;
        if (text.find('-') != std::string::npos) return false;
        Report(kLanguageBare, word);
        return Fix(text + "*");
      case FilterField::enclosure:
        return Unknown(kEnclosureUnknown, word, CheckEnclosure(text));
      case FilterField::os_bitness:
        return Unknown(kNeverHolds, word, CheckBitness(text));
      default:
        if (!IsGuid(text)) Report(kSubscriptionForm, word);
        return !IsGuid(text);
    }
  }

  // A pattern with "*" that is in no word of the set.
  bool PartOfWord(const TextPattern& pattern) {
    if (pattern.negated) return false;
    const auto matches = [&](std::string_view word) {
      return pattern.Matches(String::UTF8ToUTF16(word));
    };
    if (field_ == FilterField::country &&
        std::ranges::none_of(Countries(), matches, &CodeRow::code)) {
      Report(kCountryUnknown, pattern.text);
      return true;
    }
    if (field_ == FilterField::enclosure && std::ranges::none_of(kEnclosureNames, matches)) {
      Report(kEnclosureUnknown, pattern.text);
      return true;
    }
    if (field_ == FilterField::language && pattern.text.find(WChar{'_'}) != WStringView::npos) {
      Report(kLanguageUnknown, pattern.text);
      std::string meant = String::UTF16ToUTF8(pattern.text);
      std::ranges::replace(meant, '_', '-');
      return Fix(meant);
    }
    return false;
  }

  bool Unknown(LintRule rule, WStringView word, const WordCheck& check) {
    if (check.good) return false;
    Report(rule, word, check.meant.empty() ? "" : "did you mean \"" + check.meant + "\"?");
    if (!check.meant.empty()) Fix(check.meant);
    return true;
  }

  // The text with commas in place of other separators; empty if there are none.
  std::string WithCommas(WStringView text) const {
    std::string commas = String::UTF16ToUTF8(text);
    const bool codes = field_ == FilterField::country || field_ == FilterField::language;
    bool replaced = false;
    for (char& c : commas) {
      const bool separates = c == ';' || c == '|' || (codes && (c == '/' || c == ' ' || c == '+'));
      if (separates) c = ',';
      replaced = replaced || separates;
    }
    if (!replaced || commas.front() == ',' || commas.back() == ',') return {};
    std::string result;
    for (const char c : commas) {
      if (c != ',' || !result.ends_with(',')) result += c;
    }
    return !codes || AreCodes(result) ? result : std::string();
  }

  // Names of several words, such as a country's, are no alternatives.
  bool AreCodes(std::string_view commas) const {
    constexpr std::size_t kLongestCountry = 3;
    for (bool more = true; more;) {
      const std::size_t comma = commas.find(',');
      const std::string_view word = commas.substr(0, comma);
      const bool code = field_ == FilterField::country ? word.size() <= kLongestCountry
                                                       : CheckLanguage(word).good;
      if (!code) return false;
      more = comma != std::string_view::npos;
      commas.remove_prefix(more ? comma + 1 : 0);
    }
    return true;
  }

  void HardwareId(const TextPattern& pattern) {
    using enum TextPattern::Form;
    if (pattern.form != kEqual && pattern.form != kStartsWith) return;
    const WString upper = String::ToUpper(pattern.text);
    const WStringView id = upper;  // clang 14 crashes on find_first_of of the string itself
    if (id.find_first_of("\\/"_wv) != WStringView::npos) return;
    const bool usb = id.starts_with("VID_"_wv) || id.starts_with("PID_"_wv);
    const bool pci = id.starts_with("VEN_"_wv) || id.starts_with("DEV_"_wv);
    if (!usb && !pci && id.find(WChar{'&'}) == WString::npos) return;
    Report(kHardwareIdBus, pattern.text);
    if (usb || pci) Fix((usb ? "USB\\" : "PCI\\") + String::UTF16ToUTF8(pattern.text));
  }

  static bool IsLongOver(const Rollout& rollout, const LocalDate& today) {
    using namespace std::chrono;
    constexpr days kLongAgo{30};
    if (rollout.start.CompareTo(today) > 0) return false;
    const auto day_of = [](int y, int m, int d) {
      return sys_days{year{y} / month{static_cast<unsigned>(m)} / day{static_cast<unsigned>(d)}};
    };
    const auto& fields = rollout.start.fields;
    const sys_days first = day_of(fields[0].number, fields[1].number, fields[2].number);
    return day_of(today.year, today.month, today.day) - first >
           days{rollout.days.number} + kLongAgo;
  }

  void VersionText(WStringView piece, const VersionRequirement& requirement) {
    if (requirement.text.empty()) return Report(kVersionUnreadable, piece);
    if (!requirement.valid) return Report(kVersionUnreadable, requirement.text);
    const WStringView number = requirement.text.substr(SizeOf(requirement.comparison));
    const bool plain = std::ranges::all_of(number, [](WChar unit) {
      return IsDigit(unit) || unit == '.' || String::IsWhiteSpace(unit);
    });
    const bool compared_as_text = requirement.comparison == Comparison::kNone;
    if (compared_as_text && number.find_first_not_of("0123456789."_wv) != WStringView::npos) {
      Report(kVersionText, requirement.text);
      return PlainVersion(number);
    }
    if (!plain) Report(kVersionLetters, requirement.text);
    if (HoldingOf(requirement) == Holding::kNever) Report(kNeverHolds, requirement.text);
  }

  // The fix of "=>4.2", "==4.2" or "v4.2".
  void PlainVersion(WStringView written) {
    const std::size_t begin = written.find_first_of("0123456789"_wv);
    const WStringView number = written.substr(begin);
    if (number.find_first_not_of("0123456789."_wv) != WStringView::npos) return;
    const WStringView before = written.substr(0, begin);
    const bool less = before.find(WChar{'<'}) != WStringView::npos;
    const bool greater = before.find(WChar{'>'}) != WStringView::npos;
    Fix((less ? "<=" : greater ? ">=" : "") + String::UTF16ToUTF8(number));
  }

  void Term(WStringView piece) {
    if (String::Trimmed(piece).empty()) return EmptyAlternative(piece);
    const std::size_t bar = piece.find(WChar{'|'});
    const WStringView key = String::Trimmed(piece.substr(0, bar));
    const KeyValueTerm term = KeyValueTerm::Parse(piece);
    if (bar == WStringView::npos) {
      if (term.key.form == TextPattern::Form::kEverything && term.key.text.empty() &&
          key.find(WChar{'*'}) == WStringView::npos) {
        return Report(kEmptyAlternative, key);
      }
      // "Score|>5,000"
      const bool thousands = key.size() == 3 && std::ranges::all_of(key, IsDigit);
      if (thousands && is_after_number_) return Report(kNumberCut, key, "the comma ends it");
      is_after_number_ = false;
      Separator(key);
      ProductTag(term, key, {});
      return KeyPattern(key, term);
    }
    is_after_number_ = std::holds_alternative<IntegerRequirement>(term.value);
    if (key.empty()) {
      Report(kEmptyAlternative, piece.substr(0, bar));
    } else {
      KeyPattern(key, term);
    }
    if (term.key.negated) Report(kNegatedKey, key);
    Value(piece.substr(bar + 1), term);
    ProductTag(term, key, String::Trimmed(piece.substr(bar + 1)));
  }

  // What was meant to separate a key from its value, in a term without "|".
  void Separator(WStringView key) {
    const std::size_t comparison = key.find_first_of("<>"_wv);
    const std::size_t other = key.find_first_of(":="_wv);
    if (comparison != WStringView::npos) {
      Report(kComparisonInKey, key);
      Fix(Joined(key.substr(0, comparison), key.substr(comparison)));
    } else if (field_ == FilterField::tag && other != WStringView::npos) {
      Report(kTagSeparator, key);
      const std::size_t value = key.find_first_not_of(":="_wv, other);
      if (value != WStringView::npos) Fix(Joined(key.substr(0, other), key.substr(value)));
    } else if (other != WStringView::npos && key[other] == '=') {
      Report(kComparisonInKey, key);
    }
  }

  static std::string Joined(WStringView key, WStringView value) {
    return String::UTF16ToUTF8(String::Trimmed(key)) + "|" +
           String::UTF16ToUTF8(String::Trimmed(value));
  }

  // The key alone may have been freed of "!" before it was read as a pattern.
  void KeyPattern(WStringView key, const KeyValueTerm& term) {
    const TextPattern& pattern = term.key;
    if (pattern.form == TextPattern::Form::kEverything) return Report(kInnerStar, key);
    if (pattern.text.find(WChar{'*'}) != WStringView::npos) Report(kLiteralStar, key);
    if (!pattern.text.empty() &&
        (String::IsWhiteSpace(pattern.text.front()) || String::IsWhiteSpace(pattern.text.back()))) {
      Report(kWhiteSpace, key);
    }
    if (HoldingOf(pattern) == Holding::kNever) {
      Report(term.negated ? kAlwaysHolds : kNeverHolds, key);
    }
  }

  void Value(WStringView behind, const KeyValueTerm& term) {
    const std::size_t end = behind.find(WChar{'|'});
    const WStringView value = String::Trimmed(behind.substr(0, end));
    if (const auto* const version = std::get_if<VersionRequirement>(&term.value)) {
      VersionText(value, *version);
    } else if (const auto* const integer = std::get_if<IntegerRequirement>(&term.value)) {
      if (integer->status != String::IntegerStatus::kOk) {
        Report(kNumberUnreadable, value);
      } else {
        Cut(integer->operand);
      }
    } else if (!value.empty()) {
      Pattern(value);
      const TextPattern pattern = TextPattern::Parse(value);
      if (IsFromOn(pattern.text)) {
        Report(kForeignText, pattern.text);
        const WStringView number = pattern.text.substr(0, pattern.text.size() - 1);
        if (pattern.IsText()) Fix(">=" + String::UTF16ToUTF8(number));
      } else {
        Foreign(pattern.text);
      }
    }
    if (end != WStringView::npos) Report(kExtraPieces, behind.substr(end));
  }

  void Cut(WStringView number) {
    if (!IsWholeNumber(number)) Report(kNumberCut, number);
  }

  // Whether its numbers can be read.
  bool Date(const DateText& date) {
    const bool readable = date.has_three_pieces && std::ranges::all_of(date.fields, [](auto& f) {
                            return f.status == String::IntegerStatus::kOk;
                          });
    if (!readable) {
      Report(kDateUnreadable, date.text);
      return false;
    }
    for (const IntegerText& field : date.fields) Cut(field.text);
    constexpr int kFirstYear = 1900;
    if (!IsRealDay(date)) {
      Report(kDateImpossible, date.text);
    } else if (date.fields[0].number < kFirstYear) {
      Report(kDateYear, date.text);
    }
    return true;
  }

  void RegistryPiece(WStringView piece) {
    const auto requirement = RegistryRequirement::Parse(piece);
    if (requirement.form != RegistryRequirement::Form::kComplete) return Report(kMalformed, piece);
    const WStringView path = requirement.path;
    if (HasBlankBesideName(path) || String::Trimmed(requirement.name) != requirement.name) {
      Report(kRegistryBlank, piece.substr(0, path.size() + 1 + requirement.name.size()));
    }
    RegistryPath(path);
    if (String::Trimmed(requirement.data).empty()) return;
    Pattern(requirement.data);
    const WString data = String::ToLower(String::Trimmed(requirement.data));
    if (StartsComparison(data) || data.starts_with("0x"_wv) || data.starts_with("dword:"_wv) ||
        data.starts_with("reg_"_wv)) {
      Report(kRegistryNumber, requirement.data);
    }
  }

  static bool IsSeparator(WChar unit) { return unit == '\\' || unit == '/'; }

  static bool HasBlankBesideName(WStringView path) {
    for (std::size_t end = 0; end != WStringView::npos;) {
      end = path.find_first_of("\\/"_wv);
      const WStringView name = path.substr(0, end);
      if (String::Trimmed(name) != name) return true;
      path.remove_prefix(std::min(name.size() + 1, path.size()));
    }
    return false;
  }

  void RegistryPath(WStringView path) {
    const bool mixed =
        path.find(WChar{'/'}) != WStringView::npos && path.find(WChar{'\\'}) != WStringView::npos;
    if (mixed) return Report(kRegistrySeparators, path);
    const WStringView trimmed = String::Trimmed(path);
    WString below(trimmed);
    if (!TakeHive(below)) return Report(kRegistryHive, path);
    const auto hive_end = std::ranges::find_if(trimmed, IsSeparator);
    const WStringView written(hive_end + 1, trimmed.end());
    const WStringView eaten = written.substr(0, written.size() - below.size());
    const bool separators_only = std::ranges::all_of(eaten, IsSeparator);
    if (HasDoubledSeparator(below)) return Report(kRegistrySeparators, path);
    if (!separators_only) Report(kRegistryEaten, path, "looked up as " + Quoted(below));
  }

  // The alternatives as a whole, unless what stands before explains it.
  template <class Requirement>
  void Covered(std::span<const Requirement> all) {
    if (Reported(kInnerStar) || Reported(kEmptyAlternative)) return;
    if (!KnownValues(field_).empty()) return;
    std::size_t i = 0;
    bool always = false;
    ForEachPiece([&](WStringView piece) {
      // To have any subscription is something to ask for.
      const bool asked = field_ == FilterField::device_subscription;
      if (HoldingOf(all[i++]) != Holding::kAlways || asked || always) return;
      Report(kAlwaysHolds, String::Trimmed(piece));
      always = true;
    });
    if (always) return;
    Related(kCoveringAlternatives, all, [](const auto& a, const auto& b) { return Cover(a, b); });
    Superfluous(all);
  }

  // Unless something else is wrong with the criterion, which may explain it.
  template <class Requirement>
  void Superfluous(std::span<const Requirement> all) {
    if (findings_.size() != first_) return;
    Related(kSuperfluous, all,
            [](const auto& a, const auto& b) { return Implies(a, b) || Implies(b, a); });
  }

  // The first piece that is so related to one before it.
  template <class Requirement, class IsRelated>
  void Related(LintRule rule, std::span<const Requirement> all, IsRelated related) {
    std::vector<WStringView> pieces;
    ForEachPiece([&](WStringView piece) { pieces.push_back(piece); });
    for (std::size_t i = 1; i < all.size(); ++i) {
      for (std::size_t k = 0; k < i; ++k) {
        if (!effort_.Spend()) return;
        if (!related(all[k], all[i])) continue;
        return Report(rule, String::Trimmed(pieces[i]),
                      "with " + Quoted(String::Trimmed(pieces[k])));
      }
    }
  }

  const CompiledList& list_;
  const CompiledList::Step& step_;
  const FilterField field_;
  const WStringView text_;
  const std::size_t filter_;
  Effort& effort_;
  const std::size_t first_;
  std::vector<LintFinding>& findings_;
  bool is_after_number_ = false;  // the term before compares with a whole number
};

}  // namespace

void LintCriterion(const CompiledList& list, const CompiledList::Program& program,
                   const CompiledList::Step& step, std::size_t filter, const LocalDate& today,
                   Effort& effort, std::vector<LintFinding>& findings) {
  CriterionLint lint(list, program, step, filter, effort, findings);
  switch (kCriteria[step.criterion].language) {
    case Language::kText:
      return lint.Texts();
    case Language::kVersion:
      return lint.Versions();
    case Language::kTerms:
      return lint.Terms();
    case Language::kDateRange:
      return lint.Range(today);
    case Language::kRollout:
      return lint.Growth(today);
    case Language::kRegistry:
      return lint.Registry();
    case Language::kHardwareId:
      return lint.HardwareIds();
  }
}

}  // namespace yox::decision
