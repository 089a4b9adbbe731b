#include "yox/decision/Lint.h"

#include <json/value.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "yox/base/Interruption.h"
#include "yox/base/NearestWord.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/FilterReading.h"
#include "yox/decision/Implications.h"
#include "yox/decision/LintCriteria.h"

namespace yox::decision {
namespace {

using enum LintRule;
using Control = CompiledList::Control;
using Program = CompiledList::Program;

class ListLint {
 public:
  ListLint(const CompiledList& list, const LocalDate& today, std::uint32_t effort)
      : list_(list), today_(today), effort_(effort) {}

  std::vector<LintFinding> Run() {
    for (const Program& program : list_.programs()) {
      ThrowIfInterrupted();
      Controls(program);
      Blanks(program);
      for (const auto& step : list_.Steps(program)) {
        LintCriterion(list_, program, step, index_, today_, effort_, findings_);
      }
      Outside(program);
      Follow(program);
      ++index_;
    }
    // An empty list applies; one that nothing decides does not.
    const bool falls_through = !decided_;
    if (falls_through) (list_.programs().empty() ? may_apply_ : may_not_apply_) = true;
    const bool explained = std::ranges::any_of(findings_, [](const LintFinding& finding) {
      return RowOf(finding.rule).severity == LintSeverity::kError;
    });
    if (may_apply_ != may_not_apply_ && !explained) {
      findings_.push_back({.rule = kConstantList,
                           .filter = {},
                           .field = {},
                           .detail = may_apply_ ? "it always applies" : "it never applies"});
    }
    return std::move(findings_);
  }

 private:
  void Controls(const Program& program) {
    for (const FilterField field : {FilterField::default_, FilterField::value}) {
      const WString& text = program.filter->View(field);
      if (!program.filter->IsSet(field) || String::CaseInsesitiveEqual(text, "true"_wv) ||
          String::CaseInsesitiveEqual(text, "false"_wv)) {
        continue;
      }
      const bool counts =
          field == FilterField::default_ ? program.decides == Control::kTrue : program.value;
      Whole(kControlWord, field, text, std::string("counts as ") + (counts ? "true" : "false"));
    }
    const bool more = program.step_count != 0 || program.filter->IsSet(FilterField::value);
    if (program.decides != Control::kNotSet && more) {
      findings_.push_back({kDefaultAndCriteria, index_, {}});
    }
  }

  void Blanks(const Program& program) {
    for (std::size_t i = 0; i < kFilterFieldCount; ++i) {
      const auto field = static_cast<FilterField>(i);
      const WString& text = program.filter->View(field);
      if (!text.empty() && !program.filter->IsSet(field)) Whole(kBlankText, field, text);
    }
  }

  // A roll-out that begins after the filter's window.
  void Outside(const Program& program) {
    const DateRange* range = nullptr;
    const CompiledList::Step* rollout = nullptr;
    for (const auto& step : list_.Steps(program)) {
      if (step.field == FilterField::date_range) range = &list_.Range(step);
      if (step.field == FilterField::date_function) rollout = &step;
    }
    if (range == nullptr || rollout == nullptr || range->open_end || !range->has_two_pieces) return;
    const auto& end = range->end;
    const bool is_day = end.has_three_pieces && std::ranges::all_of(end.fields, [](const auto& f) {
                          return f.status == String::IntegerStatus::kOk;
                        });
    if (!is_day) return;
    const LocalDate last{end.fields[0].number, end.fields[1].number, end.fields[2].number};
    if (list_.RolloutOf(*rollout).start.CompareTo(last).value_or(0) <= 0) return;
    Whole(kRolloutOutside, FilterField::date_function,
          program.filter->View(FilterField::date_function));
  }

  void Whole(LintRule rule, FilterField field, const WString& text, std::string detail = {}) {
    findings_.push_back(
        {rule, index_, field, 0, text.size(), String::UTF16ToUTF8(text), std::move(detail)});
  }

  // What the filter adds to the answers that the list can give.
  void Follow(const Program& program) {
    if (decided_) {
      // A `default` after two filters that leave no device ends the list as is usual.
      if (takes_rest_ && program.decides != Control::kNotSet) return;
      return Unreachable(
          *decided_, takes_rest_ ? "takes every device that is left" : "decides for every device");
    }
    if (program.decides != Control::kNotSet) {
      (program.decides == Control::kTrue ? may_apply_ : may_not_apply_) = true;
      decided_ = index_;
      return;
    }
    const Holding holding = HoldingOf(list_, program, effort_);
    if (holding == Holding::kNever) return;
    for (const std::size_t earlier : reached_) {
      if (effort_.spent()) break;
      if (!Implies(list_, program, list_.programs()[earlier], effort_)) continue;
      return Unreachable(earlier, "takes every device that this one matches");
    }
    (program.value ? may_apply_ : may_not_apply_) = true;
    takes_rest_ = holding != Holding::kAlways && TakesRest(program);
    if (holding == Holding::kAlways || takes_rest_) {
      decided_ = index_;
    } else {
      reached_.push_back(index_);
    }
  }

  // Whether a filter matches every device that an earlier one leaves, each of one criterion.
  bool TakesRest(const Program& program) {
    if (program.step_count != 1) return false;
    const CompiledList::Step& step = list_.Steps(program).front();
    auto& earlier = alone_[step.field];
    for (const CompiledList::Step* const one : earlier) {
      if (effort_.spent()) break;
      if (Cover(list_, *one, step, effort_)) return true;
    }
    earlier.push_back(&step);
    return false;
  }

  void Unreachable(std::size_t earlier, const char* why) {
    findings_.push_back({.rule = kUnreachable,
                         .filter = index_,
                         .field = {},
                         .detail = "filter [" + std::to_string(earlier) + "] " + why,
                         .covered_by = earlier});
  }

  const CompiledList& list_;
  const LocalDate today_;
  Effort effort_;
  std::vector<LintFinding> findings_;
  std::vector<std::size_t> reached_;  // filters that may match, but do not always
  std::map<FilterField, std::vector<const CompiledList::Step*>> alone_;  // of those with no other
  std::optional<std::size_t> decided_;  // the filter after which no device is left
  bool takes_rest_ = false;             // it does not match every device itself
  bool may_apply_ = false;
  bool may_not_apply_ = false;
  std::size_t index_ = 0;
};

// What a comment allows.
struct Allowance {
  LintRule rule;
  std::optional<std::size_t> filter;  // absent: everywhere
  std::string reason;
  std::size_t comment;  // its index in `comments`
  bool used = false;
};

// The sentences "lint: allow RULE, RULE: REASON" in a list's comments.
class Allowances {
 public:
  Allowances(const Json::Value& document, const Json::Value& filters) {
    if (document.isObject()) Read(document, std::nullopt);
    for (Json::ArrayIndex i = 0; i < filters.size(); ++i) Read(filters[i], i);
  }

  // Marks what is allowed, and adds what is wrong with the comments. The findings that are added
  // are at `places()`, in their order.
  void Apply(std::vector<LintFinding>& findings) {
    for (LintFinding& finding : findings) {
      for (Allowance& allowance : all_) {
        const bool here = !allowance.filter || allowance.filter == finding.filter;
        if (allowance.rule != finding.rule || !here) continue;
        finding.allowed = allowance.reason;
        allowance.used = true;
      }
    }
    for (const auto& [finding, comment] : wrong_) Add(findings, finding, comment);
    for (const Allowance& allowance : all_) {
      // Whether a fleet has something changes with the fleet, which may not be looked at here.
      if (allowance.used || allowance.rule == kNoDevice) continue;
      Add(findings,
          {.rule = kSuppressionUnused,
           .filter = allowance.filter,
           .field = {},
           .detail = std::string(RowOf(allowance.rule).id)},
          allowance.comment);
    }
  }

  const std::vector<const Json::Value*>& places() const { return places_; }

 private:
  void Add(std::vector<LintFinding>& findings, const LintFinding& finding, std::size_t comment) {
    findings.push_back(finding);
    places_.push_back(comments_[comment]);
  }

  void Read(const Json::Value& object, std::optional<std::size_t> filter) {
    const Json::Value& comment = object["comment"];
    if (comment.isString()) ReadText(comment, filter);
    for (Json::ArrayIndex i = 0; comment.isArray() && i < comment.size(); ++i) {
      ReadText(comment[i], filter);
    }
  }

  void ReadText(const Json::Value& comment, std::optional<std::size_t> filter) {
    constexpr std::string_view kMark = "lint:";
    constexpr std::string_view kAllow = "allow ";
    const std::string text = comment.asString();
    std::string_view rest = Trim(text);
    if (!rest.starts_with(kMark)) return;
    rest = Trim(rest.substr(kMark.size()));
    comments_.push_back(&comment);
    if (!rest.starts_with(kAllow)) return Wrong(filter, "expected `allow`");
    rest.remove_prefix(kAllow.size());
    const std::size_t colon = rest.find(':');
    const std::string_view reason =
        colon == std::string_view::npos ? std::string_view() : Trim(rest.substr(colon + 1));
    if (reason.empty()) return Wrong(filter, "there is no reason");
    std::string_view rules = rest.substr(0, colon);
    for (bool more = true; more;) {
      const std::size_t comma = rules.find(',');
      Allow(Trim(rules.substr(0, comma)), reason, filter);
      more = comma != std::string_view::npos;
      rules.remove_prefix(more ? comma + 1 : 0);
    }
  }

  void Allow(std::string_view id, std::string_view reason, std::optional<std::size_t> filter) {
    const auto row = std::ranges::find(kLintRules, id, &LintRuleRow::id);
    if (row != kLintRules.end()) {
      all_.push_back({row->rule, filter, std::string(reason), comments_.size() - 1});
      return;
    }
    std::vector<std::string_view> ids;
    for (const LintRuleRow& rule : kLintRules) ids.push_back(rule.id);
    Wrong(filter, "there is no rule \"" + std::string(id) + "\"" + DidYouMean(id, ids));
  }

  void Wrong(std::optional<std::size_t> filter, std::string why) {
    wrong_.emplace_back(
        LintFinding{.rule = kSuppression, .filter = filter, .field = {}, .detail = std::move(why)},
        comments_.size() - 1);
  }

  static std::string_view Trim(std::string_view text) {
    constexpr const char* kSpace = " \t\n\r";
    const std::size_t begin = text.find_first_not_of(kSpace);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(kSpace) - begin + 1);
  }

  std::vector<const Json::Value*> comments_;
  std::vector<Allowance> all_;
  std::vector<std::pair<LintFinding, std::size_t>> wrong_;
  std::vector<const Json::Value*> places_;
};

// Fills in the places of findings. The last of them are those of `comments`.
void Locate(std::string_view utf8, const Json::Value& filters,
            const std::vector<const Json::Value*>& comments, std::vector<LintFinding>& findings) {
  const std::size_t first_comment = findings.size() - comments.size();
  struct Located {
    std::size_t byte;
    DocumentPlace* place;
  };
  std::vector<Located> located;
  const Json::Value* field_value = nullptr;
  std::optional<WrittenText> written;
  std::size_t last_unit = 0;
  for (std::size_t i = 0; i < findings.size(); ++i) {
    LintFinding& finding = findings[i];
    const Json::Value& whole =
        finding.filter ? filters[static_cast<Json::ArrayIndex>(*finding.filter)] : filters;
    const Json::Value& filter = i < first_comment ? whole : *comments[i - first_comment];
    if (!finding.field) {
      located.push_back({static_cast<std::size_t>(filter.getOffsetStart()), &finding.place});
      located.push_back({static_cast<std::size_t>(filter.getOffsetLimit()), &finding.end});
      continue;
    }
    const auto name = kFilterFieldNames[static_cast<std::size_t>(*finding.field)];
    const Json::Value& text = *filter.find(name.data(), name.data() + name.size());
    if (&text != field_value || finding.offset < last_unit) written.emplace(utf8, text);
    field_value = &text;
    last_unit = finding.offset;
    located.push_back({written->ByteOf(finding.offset), &finding.place});
    WrittenText end = *written;
    located.push_back({end.ByteOf(finding.offset + finding.length), &finding.end});
    if (!finding.fix) continue;
    WrittenText fixed(utf8, text);
    located.push_back({fixed.ByteOf(finding.fix->offset), &finding.fix->place});
    located.push_back({fixed.ByteOf(finding.fix->offset + finding.fix->length), &finding.fix->end});
  }
  std::ranges::stable_sort(located, {}, &Located::byte);
  PlaceFinder places(utf8);
  for (const auto& [byte, place] : located) *place = places.At(byte);
}

}  // namespace

std::vector<LintFinding> Lint(const ApplicabilityFilter& list, const LocalDate& today) {
  return ListLint(*list.snapshot(), today, kLintEffort).Run();
}

std::vector<LintFinding> LintDocument(std::string_view utf8, const LocalDate& today,
                                      std::uint32_t effort, const MoreFindings& more_findings) {
  const Json::Value document = ParseDocument(utf8);
  const ApplicabilityFilter list = ReadParsedFilterDocument(document, utf8);
  std::vector<LintFinding> findings = ListLint(*list.snapshot(), today, effort).Run();
  if (more_findings) {
    std::vector<LintFinding> more = more_findings(list);
    const auto filter_of = [](const LintFinding& one) { return one.filter.value_or(SIZE_MAX); };
    std::erase_if(more, [&](const LintFinding& one) {
      // They are in the order of the filters.
      const std::size_t filter = filter_of(one);
      const auto first = std::ranges::lower_bound(findings, filter, {}, filter_of);
      const auto last = std::ranges::upper_bound(findings, filter, {}, filter_of);
      return std::any_of(first, last, [&](const LintFinding& other) {
        return one.field == other.field && one.offset <= other.offset + other.length &&
               other.offset <= one.offset + one.length;
      });
    });
    std::ranges::move(more, std::back_inserter(findings));
  }
  const Json::Value& filters = document.isArray() ? document : document["filters"];
  Allowances allowances(document, filters);
  allowances.Apply(findings);
  Locate(utf8, filters, allowances.places(), findings);
  return findings;
}

std::string MessageOf(const LintFinding& finding) {
  std::string message;
  if (finding.field) {
    message += kFilterFieldNames[static_cast<std::size_t>(*finding.field)];
    message += ": \"" + Printable(finding.excerpt) + "\": ";
  }
  message += RowOf(finding.rule).finding;
  if (!finding.detail.empty()) message += " (" + Printable(finding.detail) + ")";
  return message;
}

}  // namespace yox::decision
