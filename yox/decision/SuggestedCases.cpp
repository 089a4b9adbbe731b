#include "yox/decision/SuggestedCases.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <variant>

#include "yox/base/DocumentLayout.h"
#include "yox/base/Json.h"
#include "yox/base/SaltedHash.h"
#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/MatchOperators.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/RegistryRequirement.h"

namespace yox::decision {
namespace {

using Outcome = ExplainedFilter::Outcome;
using Value = std::optional<WString>;  // std::nullopt: the device has none

// Something of a device that a list asks for, and the values worth trying, the first a neutral one.
struct Variable {
  FilterField
      field;  // date_range for the day, sn_hash for the serial number, org_hash for the realm
  WString name = {};  // of a tag, an application, or "PATH:NAME" of a registry value
  std::vector<Value> values = {};

  void Add(Value value) {
    constexpr std::size_t kMost = 60;
    if (values.size() < kMost && std::ranges::find(values, value) == values.end()) {
      values.push_back(std::move(value));
    }
  }
};

// For each variable the index of its value.
using Assignment = std::vector<std::size_t>;

std::vector<WString> NeutralTexts(FilterField field) {
  switch (field) {
    case FilterField::country:
      return {"CH"_w, "JP"_w};
    case FilterField::language:
      return {"fr-CH"_w, "ja-JP"_w};
    case FilterField::enclosure:
      return {"Desktop"_w, "Blade"_w};
    case FilterField::os_bitness:
      return {"64"_w, "32"_w, "ARM64"_w, "not supported"_w};
    case FilterField::os_version:
    case FilterField::version:
    case FilterField::target_version:
      return {"1.0.0.0"_w, "0.0.0.1"_w, "99999.0.0.0"_w};
    default:
      return {"Other"_w, "Another"_w};
  }
}

// The days since 1970 of a date that a calendar has.
std::optional<int> DayOf(const DateText& date) {
  using namespace std::chrono;
  if (!date.has_three_pieces) return std::nullopt;
  for (const auto& field : date.fields) {
    if (field.status != String::IntegerStatus::kOk || field.number < 1 || field.number > 9999) {
      return std::nullopt;
    }
  }
  const year_month_day day{year{date.fields[0].number},
                           month{static_cast<unsigned>(date.fields[1].number)},
                           std::chrono::day{static_cast<unsigned>(date.fields[2].number)}};
  if (!day.ok()) return std::nullopt;
  return sys_days{day}.time_since_epoch().count();
}

WString Number(long long number) { return String::UTF8ToUTF16(std::to_string(number)); }

// A version of a requirement, and those just below and above it.
std::vector<WString> VersionsNear(WStringView requirement) {
  std::vector<long long> numbers(1, 0);
  for (const WChar unit : requirement) {
    if (unit == '.') numbers.push_back(0);
    if (unit >= '0' && unit <= '9')
      numbers.back() = std::min(numbers.back() * 10 + (unit - '0'), 2'000'000'000LL);
  }
  const auto text = [&](long long last) {
    WString version;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      if (i != 0) version += '.';
      version += Number(i + 1 == numbers.size() ? last : numbers[i]);
    }
    return version;
  };
  const long long last = numbers.back();
  std::vector<WString> versions = {text(last), text(last + 1)};
  if (last > 0) versions.push_back(text(last - 1));
  // The written form, for requirements without an operator.
  const WStringView written = String::Trimmed(requirement, " !<>="_wv);
  versions.emplace_back(written);
  return versions;
}

// A serial number or realm whose hash a pattern such as `c0ffee*` matches, if a short search finds
// one.
std::optional<WString> TextOfHash(const TextPattern& pattern) {
  constexpr int kTries = 70'000;  // finds four digits nearly always
  for (int i = 0; i < kTries; ++i) {
    const std::string text = "C" + std::to_string(i);
    if (pattern.Matches(String::UTF8ToUTF16(YOX::utility::SHA256WithSalt(text)))) {
      return String::UTF8ToUTF16(text);
    }
  }
  return std::nullopt;
}

// The variables of a list.
class Variables {
 public:
  explicit Variables(const CompiledList& list) : list_(list) {
    for (const auto& program : list.programs()) {
      for (const auto& step : list.Steps(program)) Add(program.filter->View(step.field), step);
    }
  }

  std::vector<Variable> Take() && { return std::move(variables_); }

 private:
  Variable& Of(FilterField field, const WString& name = {}) {
    const auto found = std::ranges::find_if(variables_, [&](const Variable& variable) {
      return variable.field == field && String::CaseInsesitiveEqual(variable.name, name);
    });
    return found != variables_.end() ? *found : variables_.emplace_back(Variable{field, name, {}});
  }

  void Add(const WString& text, const CompiledList::Step& step) {
    switch (kCriteria[step.criterion].language) {
      case Language::kText:
        return AddTexts(text, step.field);
      case Language::kVersion:
        return AddVersions(text, step.field);
      case Language::kTerms:
        return AddTerms(text, step.field);
      case Language::kDateRange:
        AddDay(list_.Range(step).start, {-1, 0, 1});
        return AddDay(list_.Range(step).end, {-1, 0, 1});
      case Language::kRollout: {
        const auto& rollout = list_.RolloutOf(step);
        AddDay(rollout.start, {-1, 0, rollout.days.number});
        return;
      }
      case Language::kRegistry:
        return AddRegistry(step);
      case Language::kHardwareId:
        return AddTexts(text, step.field);
    }
  }

  template <class Visit>
  static void ForEachPiece(WStringView text, Visit visit) {
    for (auto rest = Pieces(text); rest;) visit(NextPiece(rest, ','));
  }

  void AddTexts(WStringView text, FilterField field) {
    if (field == FilterField::os) return;
    Variable& variable = Of(field);
    const bool hash = field == FilterField::sn_hash || field == FilterField::org_hash;
    const bool optional =
        field == FilterField::hardware_id || field == FilterField::device_subscription;
    if (variable.values.empty()) {
      if (optional) variable.Add(std::nullopt);
      if (field == FilterField::device_subscription) {
        variable.Add("00000000-0000-4000-8000-000000000000"_w);
      } else if (field == FilterField::hardware_id) {
        variable.Add("USB\\VID_0000&PID_0000"_w);
      } else {
        for (WString& neutral : NeutralTexts(field)) variable.Add(std::move(neutral));
      }
    }
    if (field == FilterField::os_bitness) return;
    ForEachPiece(text, [&](WStringView piece) {
      const TextPattern pattern = TextPattern::Parse(piece);
      if (hash) {
        TextPattern positive = pattern;
        positive.negated = false;
        if (const auto found = TextOfHash(positive)) variable.Add(*found);
      } else if (!pattern.text.empty()) {
        WString value(String::Trimmed(pattern.text));
        if (field == FilterField::hardware_id) {
          value = String::ToUpper(value);
          std::ranges::replace(value, WChar{'/'}, WChar{'\\'});
        }
        variable.Add(value);
      }
    });
  }

  void AddVersions(WStringView text, FilterField field) {
    Variable& variable = Of(field);
    if (variable.values.empty()) {
      if (field == FilterField::target_version) variable.Add(std::nullopt);
      for (WString& neutral : NeutralTexts(field)) variable.Add(std::move(neutral));
    }
    ForEachPiece(text, [&](WStringView piece) {
      for (WString& version : VersionsNear(piece)) variable.Add(std::move(version));
    });
  }

  void AddTerms(WStringView text, FilterField field) {
    ForEachPiece(text, [&](WStringView piece) {
      const auto term = KeyValueTerm::Parse(piece);
      if (term.key.text.empty()) return;
      Variable& variable = Of(field, WString(String::Trimmed(term.key.text)));
      variable.Add(std::nullopt);
      variable.Add(field == FilterField::tag ? "x"_w : "1.0"_w);
      if (const auto* const pattern = std::get_if<TextPattern>(&term.value)) {
        if (!pattern->text.empty()) variable.Add(WString(String::Trimmed(pattern->text)));
      } else if (const auto* const version = std::get_if<VersionRequirement>(&term.value)) {
        for (WString& near : VersionsNear(version->text)) variable.Add(std::move(near));
      } else if (const auto* const number = std::get_if<IntegerRequirement>(&term.value)) {
        for (const int more : {0, 1, -1})
          variable.Add(Number(static_cast<long long>(number->number) + more));
      }
    });
  }

  void AddDay(const DateText& date, std::initializer_list<int> distances) {
    Variable& variable = Of(FilterField::date_range);
    const auto day = DayOf(date);
    if (!day) return;
    for (const int distance : distances)
      variable.Add(Number(static_cast<long long>(*day) + distance));
  }

  void AddRegistry(const CompiledList::Step& step) {
    for (const auto& requirement : list_.Registry(step)) {
      if (!requirement.CanHold()) continue;
      WString place = *requirement.hive == Hive::kCurrentUser ? "HKCU"_w : "HKLM"_w;
      const WStringView key = String::Trimmed(requirement.key, "\\"_wv);
      if (key.empty()) continue;
      place += "\\"_w + WString(key) + ":"_w + WString(requirement.name);
      Variable& variable = Of(FilterField::registry, place);
      variable.Add(std::nullopt);
      variable.Add("Other"_w);
      const WStringView data = TextPattern::Parse(requirement.data).text;
      if (!data.empty()) variable.Add(WString(String::Trimmed(data)));
    }
  }

  const CompiledList& list_;
  std::vector<Variable> variables_;
};

// A device by its variables: decided on, or written as a case.
class MadeDevice {
 public:
  MadeDevice(const std::vector<Variable>& variables, const Assignment& assignment)
      : variables_(variables), assignment_(assignment) {}

  Explanation Explain(const CompiledList& list) const {
    constexpr std::int64_t kDaySeconds = 86'400;
    FactsRecord record;
    for (auto& text : record.texts) text = Given<WString>::Known({});
    record.text(FilterField::os) = Given<WString>::Known("Windows"_w);
    record.SetTimeZone("UTC");
    record.SetSerialNumber(Given<WString>::Known({}));
    record.SetRealm(Given<WString>::Missing());
    record.device_subscriptions = Given<std::vector<WString>>::Known({});
    record.tags = Pairs{{"Device.Usage.IsManagedDevice"_w, "false"_w}};
    record.installed_items.emplace();
    record.hardware_ids.emplace();
    Question question;
    ForEach([&](const Variable& variable, const Value& value) {
      switch (variable.field) {
        case FilterField::date_range:
          question.now = std::stoll(String::UTF16ToUTF8(*value)) * kDaySeconds + kDaySeconds / 2;
          break;
        case FilterField::sn_hash:
          record.SetSerialNumber(Given<WString>::Known(*value));
          break;
        case FilterField::org_hash:
          record.SetRealm(Given<WString>::Known(*value));
          break;
        case FilterField::target_version:
          question.target_version = value;
          break;
        case FilterField::tag:
          if (value) question.extra_tags.emplace_back(variable.name, *value);
          break;
        case FilterField::installed_items:
          if (value) record.installed_items->emplace_back(variable.name, *value);
          break;
        case FilterField::hardware_id:
          if (value) record.hardware_ids->push_back(*value);
          break;
        case FilterField::device_subscription:
          if (value) record.device_subscriptions.value.push_back(*value);
          break;
        case FilterField::registry:
          record.registry.push_back({PathOf(variable), NameOf(variable), value});
          break;
        default:
          record.text(variable.field) = Given<WString>::Known(*value);
      }
    });
    const PreparedDevice device(record);
    PreparedFacts facts(device, question);
    return decision::Explain(list, facts);
  }

  ListTestCase Case(const Explanation& explanation) const {
    ListTestCase test;
    Json::Value profile(Json::objectValue);
    ForEach([&](const Variable& variable, const Value& value) {
      if (value) Write(variable, String::UTF16ToUTF8(*value), profile, test);
    });
    if (!profile.empty()) test.changes = profile;
    test.applies = explanation.applies ? Truth::kTrue : Truth::kFalse;
    if (explanation.decided_by)
      test.decided_by = static_cast<std::uint32_t>(*explanation.decided_by);
    const std::string decided =
        explanation.decided_by ? "filter [" + std::to_string(*explanation.decided_by) + "] decides"
                               : "no filter decides";
    test.name =
        String::UTF8ToUTF16(decided + (explanation.applies ? ": applies" : ": does not apply"));
    return test;
  }

 private:
  template <class Visit>
  void ForEach(Visit visit) const {
    for (std::size_t i = 0; i < variables_.size(); ++i) {
      if (!variables_[i].values.empty()) visit(variables_[i], variables_[i].values[assignment_[i]]);
    }
  }

  static WString PathOf(const Variable& variable) {
    return variable.name.substr(0, variable.name.find(WChar{':'}));
  }
  static WString NameOf(const Variable& variable) {
    return variable.name.substr(variable.name.find(WChar{':'}) + 1);
  }

  static std::string DateText(long long day) {
    using namespace std::chrono;
    const year_month_day date{sys_days{days{day}}};
    const auto padded = [](unsigned number, std::size_t digits) {
      std::string text = std::to_string(number);
      return text.insert(0, digits - std::min(digits, text.size()), '0');
    };
    return padded(static_cast<unsigned>(static_cast<int>(date.year())), 4) + "-" +
           padded(static_cast<unsigned>(date.month()), 2) + "-" +
           padded(static_cast<unsigned>(date.day()), 2);
  }

  static void Write(const Variable& variable, const std::string& value, Json::Value& profile,
                    ListTestCase& test) {
    struct Key {
      FilterField field;
      const char* section;
      const char* key;
    };
    static constexpr std::array kKeys = std::to_array<Key>({
        {FilterField::country, "region", "country_code"},
        {FilterField::language, "region", "language_code"},
        {FilterField::enclosure, "firmware", "enclosure_type"},
        {FilterField::family, "firmware", "family"},
        {FilterField::mfr, "firmware", "manufacturer"},
        {FilterField::model, "firmware", "model_number"},
        {FilterField::sku, "firmware", "sku"},
        {FilterField::sn_hash, "firmware", "serial_number"},
        {FilterField::org_hash, "organisation", "realm"},
        {FilterField::os_description, "os", "caption"},
        {FilterField::os_version, "os", "version"},
        {FilterField::version, "client", "version"},
    });
    const auto* const row = std::ranges::find(kKeys, variable.field, &Key::field);
    if (row != kKeys.end()) {
      profile[row->section][row->key] = value;
      return;
    }
    const std::string name = String::UTF16ToUTF8(variable.name);
    switch (variable.field) {
      case FilterField::date_range:
        test.now = String::UTF8ToUTF16(DateText(std::stoll(value)) + "T12:00:00");
        break;
      case FilterField::os_bitness:
        profile["os"]["architecture"] = value == "64"      ? 9
                                        : value == "32"    ? 0
                                        : value == "ARM64" ? 12
                                                           : 5;
        break;
      case FilterField::target_version:
        test.target_version = String::UTF8ToUTF16(value);
        break;
      case FilterField::tag:
        test.tags[variable.name] = String::UTF8ToUTF16(value);
        break;
      case FilterField::installed_items: {
        Json::Value app;
        app["key"] = name;
        app["name"] = name;
        app["version"] = value;
        profile["installed_apps"].append(app);
        break;
      }
      case FilterField::hardware_id: {
        Json::Value device;
        device["instance_id"] = value + "\\1";
        device["hardware_ids"].append(value);
        profile["devices"].append(device);
        break;
      }
      case FilterField::device_subscription:
        profile["organisation"]["subscriptions"].append(value);
        break;
      case FilterField::registry: {
        Json::Value& data = profile["registry"][String::UTF16ToUTF8(PathOf(variable))]
                                   [String::UTF16ToUTF8(NameOf(variable))];
        data["type"] = "REG_SZ";
        data["data"] = value;
        break;
      }
      default:
        break;
    }
  }

  const std::vector<Variable>& variables_;
  const Assignment& assignment_;
};

bool Held(const ExplainedCriterion& criterion) {
  return criterion.result == CriterionResult::kHeld;
}

// What stands between a decision and a goal, and the criteria that could be changed for it.
struct Distance {
  std::size_t count = 0;
  std::vector<FilterField> fields;
};

// Counts what is missing for a filter to fail at a criterion first, or, without one, to match.
void AddDistance(const ExplainedFilter& filter, std::optional<FilterField> failing,
                 Distance& distance) {
  for (const auto& criterion : filter.criteria) {
    const bool fails = failing == criterion.field;
    if (Held(criterion) == fails) {
      ++distance.count;
      distance.fields.push_back(criterion.field);
    }
    if (fails) break;
  }
}

// A goal, and for filters before it where they are to fail; a filter past the last is that none
// decides.
struct Wish {
  CoverageGoal goal;
  std::vector<std::optional<FilterField>> failing_before = {};
};

Distance DistanceTo(const Wish& wish, const CompiledList& list, const Explanation& found) {
  Distance distance;
  const std::size_t before = std::min(wish.goal.filter, found.filters.size());
  for (std::size_t i = 0; i < before; ++i) {
    if (i < wish.failing_before.size() && wish.failing_before[i]) {
      AddDistance(found.filters[i], wish.failing_before[i], distance);
      continue;
    }
    const auto& criteria = found.filters[i].criteria;
    const bool passed = list.programs()[i].decides == CompiledList::Control::kNotSet &&
                        std::ranges::any_of(criteria, [](const auto& one) { return !Held(one); });
    if (passed) continue;
    ++distance.count;
    for (const auto& criterion : criteria) distance.fields.push_back(criterion.field);
  }
  if (before < found.filters.size()) {
    AddDistance(found.filters[before], wish.goal.failing, distance);
  }
  return distance;
}

// The variables that a criterion looks at.
bool Concerns(const Variable& variable, FilterField criterion) {
  return variable.field == criterion ||
         (variable.field == FilterField::date_range && criterion == FilterField::date_function);
}

// A minimum-conflicts search for each goal, with a limit on the decisions of all.
class Search {
 public:
  explicit Search(const CompiledList& list)
      : list_(list),
        variables_(Variables(list).Take()),
        best_(variables_.size()),
        left_(LimitOf(list)) {}

  std::optional<Assignment> Find(const Wish& wish) {
    for (int attempt = 0; attempt < 4 && left_ > 0; ++attempt) {
      Assignment assignment = attempt == 0   ? Assignment(variables_.size(), 0)
                              : attempt == 1 ? best_
                                             : Drawn();
      if (Descend(wish, assignment)) {
        best_ = assignment;
        return assignment;
      }
    }
    return std::nullopt;
  }

  Explanation Explain(const Assignment& assignment) const {
    return MadeDevice(variables_, assignment).Explain(list_);
  }
  ListTestCase Case(const Assignment& assignment) const {
    return MadeDevice(variables_, assignment).Case(Explain(assignment));
  }

 private:
  static long LimitOf(const CompiledList& list) {
    constexpr long kFilters = 2'000'000;  // some seconds
    return std::max(2'000L, kFilters / (static_cast<long>(list.programs().size()) + 1));
  }

  std::size_t Random(std::size_t below) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<std::size_t>(state_ % below);
  }

  Assignment Drawn() {
    Assignment drawn;
    for (const Variable& variable : variables_) {
      drawn.push_back(variable.values.empty() ? 0 : Random(variable.values.size()));
    }
    return drawn;
  }

  Distance Measure(const Wish& wish, const Assignment& assignment) {
    --left_;
    return DistanceTo(wish, list_, Explain(assignment));
  }

  bool Descend(const Wish& wish, Assignment& assignment) {
    constexpr int kSteps = 40;
    Distance distance = Measure(wish, assignment);
    for (int step = 0; step < kSteps && distance.count != 0 && left_ > 0; ++step) {
      std::size_t least = SIZE_MAX;
      std::vector<Assignment> moves;
      for (std::size_t i = 0; i < variables_.size(); ++i) {
        const bool concerned = std::ranges::any_of(
            distance.fields, [&](FilterField field) { return Concerns(variables_[i], field); });
        for (std::size_t k = 0; concerned && k < variables_[i].values.size() && left_ > 0; ++k) {
          if (k == assignment[i]) continue;
          Assignment moved = assignment;
          moved[i] = k;
          const std::size_t count = Measure(wish, moved).count;
          if (count > least) continue;
          if (count < least) moves.clear();
          least = count;
          moves.push_back(std::move(moved));
        }
      }
      if (moves.empty()) return false;
      assignment = moves[Random(moves.size())];
      distance = Measure(wish, assignment);
    }
    return distance.count == 0;
  }

  const CompiledList& list_;
  const std::vector<Variable> variables_;
  Assignment best_;
  long left_;
  std::uint64_t state_ = 0x9E3779B97F4A7C15U;
};

struct Candidate {
  Assignment assignment;
  std::set<CoverageGoal> goals;
};

// Takes the candidate that reaches most of what is left, until nothing is left; and then leaves out
// those that the others make needless.
std::vector<Candidate> FewOf(std::vector<Candidate> all) {
  std::set<CoverageGoal> left;
  for (const Candidate& one : all) left.insert(one.goals.begin(), one.goals.end());
  std::vector<Candidate> chosen;
  while (!left.empty()) {
    const auto gain = [&](const Candidate& one) {
      return std::ranges::count_if(one.goals,
                                   [&](const auto& goal) { return left.contains(goal); });
    };
    const auto best = std::ranges::max_element(all, {}, gain);
    for (const CoverageGoal& goal : best->goals) left.erase(goal);
    chosen.push_back(*best);
  }
  std::map<CoverageGoal, int> times;
  for (const Candidate& one : chosen) {
    for (const CoverageGoal& goal : one.goals) ++times[goal];
  }
  std::erase_if(chosen, [&](const Candidate& one) {
    const bool needless =
        std::ranges::all_of(one.goals, [&](const auto& goal) { return times[goal] > 1; });
    if (needless) {
      for (const CoverageGoal& goal : one.goals) --times[goal];
    }
    return needless;
  });
  return chosen;
}

// Wishes that need few cases: that a filter decides, and that each one before it fails at its
// first, its second, ... criterion. Empty for long lists, for which they would take long.
std::vector<Wish> Diagonals(const CompiledList& list) {
  constexpr std::size_t kMostFilters = 40;
  const auto& programs = list.programs();
  std::vector<Wish> wishes;
  if (programs.size() > kMostFilters) return wishes;
  std::size_t longest = 0;
  for (const auto& program : programs) longest = std::max(longest, list.Steps(program).size());
  for (std::size_t filter = programs.size() + 1; filter-- > 0;) {
    for (std::size_t turn = 0; turn < longest; ++turn) {
      Wish wish{{filter, {}}};
      for (std::size_t i = 0; i < filter; ++i) {
        const auto steps = list.Steps(programs[i]);
        const bool asked = programs[i].decides == CompiledList::Control::kNotSet && !steps.empty();
        wish.failing_before.push_back(asked ? std::optional(steps[turn % steps.size()].field)
                                            : std::nullopt);
      }
      wishes.push_back(std::move(wish));
    }
  }
  return wishes;
}

}  // namespace

std::vector<CoverageGoal> CoverageGoals(const ApplicabilityFilter& list) {
  std::vector<CoverageGoal> goals;
  const auto compiled = list.snapshot();
  for (std::size_t i = 0; i < compiled->programs().size(); ++i) {
    const auto& program = compiled->programs()[i];
    goals.push_back({i, {}});
    if (program.decides != CompiledList::Control::kNotSet) continue;
    for (const auto& step : compiled->Steps(program)) goals.push_back({i, step.field});
  }
  return goals;
}

std::vector<CoverageGoal> GoalsReached(const Explanation& explanation) {
  std::vector<CoverageGoal> goals;
  for (std::size_t i = 0; i < explanation.filters.size(); ++i) {
    if (explanation.decided_by == i) {
      goals.push_back({i, {}});
      break;
    }
    const auto& criteria = explanation.filters[i].criteria;
    const auto failed = std::ranges::find_if(criteria, [](const auto& one) { return !Held(one); });
    if (failed != criteria.end()) goals.push_back({i, failed->field});
  }
  return goals;
}

SuggestedCases SuggestCases(const ApplicabilityFilter& list) {
  const auto compiled = list.snapshot();
  Search search(*compiled);
  std::vector<Candidate> candidates;
  std::set<CoverageGoal> reached;
  const auto look = [&](const Wish& wish) {
    const auto found = search.Find(wish);
    if (!found) return;
    const auto goals = GoalsReached(search.Explain(*found));
    reached.insert(goals.begin(), goals.end());
    candidates.push_back({*found, {goals.begin(), goals.end()}});
  };
  const std::vector<CoverageGoal> all = CoverageGoals(list);
  look({{compiled->programs().size(), {}}});
  // From the last filter on: who gets there has failed in all before it.
  for (auto goal = all.rbegin(); goal != all.rend(); ++goal) {
    if (!reached.contains(*goal)) look({*goal});
  }
  for (const Wish& wish : Diagonals(*compiled)) look(wish);
  SuggestedCases suggested;
  for (const Candidate& one : FewOf(candidates))
    suggested.cases.push_back(search.Case(one.assignment));
  std::ranges::stable_sort(suggested.cases, {}, [](const ListTestCase& one) {
    return one.decided_by.value_or(UINT32_MAX);
  });
  for (const CoverageGoal& goal : all) {
    if (!reached.contains(goal)) suggested.open.push_back(goal);
  }
  return suggested;
}

std::string WriteCases(const std::vector<ListTestCase>& cases) {
  const auto quoted = [](const Json::Value& value) { return yox::JsonText(value); };
  const auto utf8 = [](const WString& text) { return Json::Value(String::UTF16ToUTF8(text)); };
  std::string text = "{\"cases\": [";
  for (const ListTestCase& one : cases) {
    if (&one != &cases.front()) text += ",";
    text += "{\"name\": " + quoted(utf8(one.name));
    if (one.changes) text += ", \"changes\": " + quoted(*one.changes);
    if (one.now) text += ", \"now\": " + quoted(utf8(*one.now));
    if (one.target_version) text += ", \"target_version\": " + quoted(utf8(*one.target_version));
    if (!one.tags.empty()) {
      Json::Value tags(Json::objectValue);
      for (const auto& [key, value] : one.tags) tags[String::UTF16ToUTF8(key)] = utf8(value);
      text += ", \"tags\": " + quoted(tags);
    }
    text += std::string(", \"applies\": ") + (*one.applies == Truth::kTrue ? "true" : "false");
    if (one.decided_by) text += ", \"decided_by\": " + std::to_string(*one.decided_by);
    text += "}";
  }
  return yox::LayOutDocument(text + "]}");
}

}  // namespace yox::decision
