#include "yox/decision/Funnel.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "yox/decision/Criteria.h"
#include "yox/decision/Observer.h"

namespace yox::decision {
namespace {

using Step = CompiledList::Step;

constexpr char kFormat = 1;  // of ToBytes

// Whether every criterion but the failed one matches. The ones before it are not false, but may be
// unknown; they are evaluated last because the ones after it mostly settle the question.
bool IsOnlyFailure(const CompiledList& list, const Failure& failure) {
  const Evaluation evaluation{list, failure.facts};
  const auto matches = [&](const Step& step) {
    return step.evaluate(evaluation, step) == Truth::kTrue;
  };
  const auto steps = list.Steps(failure.program);
  const auto failed = static_cast<std::size_t>(&failure.step - steps.data());
  return std::ranges::all_of(steps.subspan(failed + 1), matches) &&
         std::ranges::all_of(steps.first(failed), matches);
}

// Numbers in LEB128, texts with their length before them.
class ByteWriter {
 public:
  void Number(std::uint64_t number) {
    for (; number >= 0x80; number >>= 7) bytes_ += static_cast<char>(number | 0x80);
    bytes_ += static_cast<char>(number);
  }
  void Text(std::string_view text) {
    Number(text.size());
    bytes_ += text;
  }
  std::string Take() && { return std::move(bytes_); }

 private:
  std::string bytes_{kFormat};
};

// Reads what a ByteWriter wrote. After the first mistake every value is 0 or empty.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : rest_(bytes) {
    if (rest_.empty() || rest_.front() != kFormat) {
      Fail();
    } else {
      rest_.remove_prefix(1);
    }
  }

  std::uint64_t Number() {
    std::uint64_t number = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
      if (rest_.empty()) break;
      const auto byte = static_cast<unsigned char>(rest_.front());
      rest_.remove_prefix(1);
      number |= std::uint64_t{byte & 0x7FU} << shift;
      if (byte < 0x80) return number;
    }
    Fail();
    return 0;
  }
  // Of elements that take a byte each at least, so that wrong bytes cannot ask for much memory.
  std::size_t Count() {
    const std::uint64_t count = Number();
    if (count <= rest_.size()) return static_cast<std::size_t>(count);
    Fail();
    return 0;
  }
  std::string Text() {
    const std::size_t size = Count();
    std::string text(rest_.substr(0, size));
    rest_.remove_prefix(size);
    return text;
  }
  bool IsAtEnd() const { return is_good_ && rest_.empty(); }

 private:
  void Fail() {
    is_good_ = false;
    rest_ = {};
  }

  std::string_view rest_;
  bool is_good_ = true;
};

bool IsZero(const Funnel::CriterionCounts& counts) { return counts.first == 0 && counts.only == 0; }

class Counter final : public Observer {
 public:
  Counter(const CompiledList& list, std::vector<Funnel::FilterCounts>& filters)
      : list_(list), filters_(filters) {}

  void FilterPassed(std::size_t filter, const Failure& failure) override {
    ++filters_[filter].reached;
    Funnel::CriterionCounts& counts =
        filters_[filter].criteria[static_cast<std::size_t>(failure.step.field)];
    ++counts.first;
    if (IsOnlyFailure(list_, failure)) ++counts.only;
  }
  void FilterUndecided(std::size_t filter) override { ++filters_[filter].reached; }
  void FilterDecided(std::size_t filter, const CompiledList::Program&, bool) override {
    ++filters_[filter].reached;
  }

 private:
  const CompiledList& list_;
  std::vector<Funnel::FilterCounts>& filters_;
};

}  // namespace

Verdict Funnel::Add(const CompiledList& list, DeviceFacts& facts) {
  filters_.resize(std::max(filters_.size(), list.programs().size()));
  Counter counter(list, filters_);
  Verdict verdict = Decide(list, facts, &counter);
  if (verdict.applies == Truth::kUnknown) {
    ++undetermined_;
  } else {
    ++(verdict.applies == Truth::kTrue ? applies_ : does_not_apply_);
  }
  if (verdict.decided_by) ++filters_[*verdict.decided_by].decided;
  for (const std::string& fact : verdict.needs) ++needs_[fact];
  return verdict;
}

void Funnel::Merge(const Funnel& other) {
  applies_ += other.applies_;
  does_not_apply_ += other.does_not_apply_;
  undetermined_ += other.undetermined_;
  filters_.resize(std::max(filters_.size(), other.filters_.size()));
  for (std::size_t i = 0; i < other.filters_.size(); ++i) {
    FilterCounts& ours = filters_[i];
    const FilterCounts& theirs = other.filters_[i];
    ours.reached += theirs.reached;
    ours.decided += theirs.decided;
    for (std::size_t j = 0; j < kFilterFieldCount; ++j) {
      ours.criteria[j].first += theirs.criteria[j].first;
      ours.criteria[j].only += theirs.criteria[j].only;
    }
  }
  for (const auto& [fact, count] : other.needs_) needs_[fact] += count;
}

std::string Funnel::ToJsonText(JsonStyle style) const {
  Json::Value json;
  json["devices"] = Json::UInt64{devices()};
  json["applies"] = Json::UInt64{applies_};
  json["does_not_apply"] = Json::UInt64{does_not_apply_};
  json["undetermined"] = Json::UInt64{undetermined_};
  Json::Value& filters = json["filters"] = Json::Value(Json::arrayValue);
  for (std::size_t i = 0; i < filters_.size(); ++i) {
    Json::Value& filter = filters.append(Json::objectValue);
    filter["filter"] = Json::UInt64{i};
    filter["reached"] = Json::UInt64{filters_[i].reached};
    filter["decided"] = Json::UInt64{filters_[i].decided};
    Json::Value& first = filter["first_excluded_by"] = Json::Value(Json::objectValue);
    Json::Value& only = filter["only_excluded_by"] = Json::Value(Json::objectValue);
    for (std::size_t j = 0; j < kFilterFieldCount; ++j) {
      const CriterionCounts& counts = filters_[i].criteria[j];
      const std::string name(kFilterFieldNames[j]);
      if (counts.first != 0) first[name] = Json::UInt64{counts.first};
      if (counts.only != 0) only[name] = Json::UInt64{counts.only};
    }
  }
  Json::Value& needs = json["needs"] = Json::Value(Json::objectValue);
  for (const auto& [fact, count] : needs_) needs[fact] = Json::UInt64{count};
  return JsonText(json, style);
}

std::string Funnel::ToBytes() const {
  ByteWriter writer;
  for (const std::uint64_t count : {applies_, does_not_apply_, undetermined_}) writer.Number(count);
  writer.Number(filters_.size());
  for (const FilterCounts& filter : filters_) {
    writer.Number(filter.reached);
    writer.Number(filter.decided);
    std::uint64_t present = 0;
    for (std::size_t i = 0; i < kFilterFieldCount; ++i) {
      if (!IsZero(filter.criteria[i])) present |= std::uint64_t{1} << i;
    }
    writer.Number(present);
    for (const CriterionCounts& counts : filter.criteria) {
      if (IsZero(counts)) continue;
      writer.Number(counts.first);
      writer.Number(counts.only);
    }
  }
  writer.Number(needs_.size());
  for (const auto& [fact, count] : needs_) {
    writer.Text(fact);
    writer.Number(count);
  }
  return std::move(writer).Take();
}

std::optional<Funnel> Funnel::FromBytes(std::string_view bytes) {
  ByteReader reader(bytes);
  Funnel funnel;
  funnel.applies_ = reader.Number();
  funnel.does_not_apply_ = reader.Number();
  funnel.undetermined_ = reader.Number();
  funnel.filters_.resize(reader.Count());
  for (FilterCounts& filter : funnel.filters_) {
    filter.reached = reader.Number();
    filter.decided = reader.Number();
    const std::uint64_t present = reader.Number();
    if (present >> kFilterFieldCount != 0) return std::nullopt;
    for (std::size_t i = 0; i < kFilterFieldCount; ++i) {
      if ((present >> i & 1) == 0) continue;
      filter.criteria[i].first = reader.Number();
      filter.criteria[i].only = reader.Number();
    }
  }
  for (std::size_t i = reader.Count(); i > 0; --i) {
    std::string fact = reader.Text();
    funnel.needs_[std::move(fact)] += reader.Number();
  }
  if (!reader.IsAtEnd()) return std::nullopt;
  return funnel;
}

}  // namespace yox::decision
