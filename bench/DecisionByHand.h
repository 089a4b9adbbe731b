#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/WString.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/Version.h"

// The peer of DecisionBenchmark: text, version, tag and date criteria decided by hand, over filters
// and devices that were parsed beforehand into numbers and folded texts. It knows the well-formed
// requirements only.
namespace by_hand {

using yox::WString;

struct Pattern {
  enum Form { kAny, kEqual, kInfix, kPrefix, kSuffix } form = kAny;
  bool negated = false;
  WString text;  // folded, as all texts here
};
// For which orders of the actual and the required version the requirement is met.
struct Operator {
  bool less, equal, greater;
};
struct VersionRule {
  Operator op;
  bool as_text;  // no operator
  Version version;
  WString text;
};
struct NumberRule {
  Operator op;
  int number;
};

struct Texts {
  std::size_t which;
  std::vector<Pattern> any;
};
struct Versions {
  std::size_t which;
  std::vector<VersionRule> any;
};
struct Term {
  int key;
  bool absent;  // `!key`
  bool others;  // `!key|value`
  std::variant<Pattern, VersionRule, NumberRule> value;
};
using Terms = std::vector<Term>;
struct Range {
  int first, last;  // yyyymmdd
};
struct Rollout {
  std::int64_t start;
  int days;
  double base;  // 0: linear
  bool by_tenant;
};
struct ParsedFilter {
  std::optional<bool> decides;
  bool value;
  std::vector<std::variant<Texts, Versions, Terms, Range, Rollout>> criteria;
};

struct Value {
  WString text;
  std::optional<Version> version;
  std::optional<int> number;
};
struct Tag : Value {
  int key;
};
struct ParsedDevice {
  std::array<WString, 6> texts;
  std::array<Value, 2> versions;  // the system's and the client's
  std::vector<Tag> tags;
  int bucket, tenant_bucket;
};

ParsedFilter ParseFilter(const Filter& filter);
// With the realm of the platform in use.
ParsedDevice ParseDevice(const MachineInformation& record, const WString& client_version,
                         const ApplicabilityEvaluator::Pairs& tags);

bool Decide(const std::vector<ParsedFilter>& list, const ParsedDevice& device);

}  // namespace by_hand
