#include "bench/TargetingByHand.h"

#include <algorithm>
#include <cstring>

namespace targeting {
namespace {

using Kind = Criterion::Kind;
using std::string_view;

bool AreEqual(string_view left, string_view right) {
  return left.size() == right.size() && std::memcmp(left.data(), right.data(), left.size()) == 0;
}
bool StartsWith(string_view text, string_view value) {
  return text.size() >= value.size() && std::memcmp(text.data(), value.data(), value.size()) == 0;
}
bool EndsWith(string_view text, string_view value) {
  return text.size() >= value.size() && AreEqual(text.substr(text.size() - value.size()), value);
}

// Three numbers of 21 bits.
std::uint64_t Packed(string_view version) {
  std::uint64_t packed = 0;
  std::uint64_t number = 0;
  for (const char c : version) {
    if (c == '.') {
      packed = packed << 21 | number;
      number = 0;
    } else {
      number = number * 10 + static_cast<std::uint64_t>(c - '0');
    }
  }
  return packed << 21 | number;
}

bool IsOfVersions(Kind kind) {
  return kind == Kind::kAtLeast || kind == Kind::kLess || kind == Kind::kSame;
}

std::uint8_t TagSlot(const Workload& workload, const std::string& name) {
  return static_cast<std::uint8_t>(std::ranges::find(workload.tag_names, name) -
                                   workload.tag_names.begin());
}

template <class Container>
std::uint32_t Size(const Container& container) {
  return static_cast<std::uint32_t>(container.size());
}

}  // namespace

TextEvaluator::TextEvaluator(const Workload& workload) {
  for (const Device& device : workload.devices) {
    Texts& texts = devices_.emplace_back();
    std::ranges::copy(device.attributes, texts.attributes.begin());
    for (const auto& [name, value] : device.tags) texts.tags[TagSlot(workload, name)] = value;
  }
  for (const List& list : workload.lists) {
    lists_.push_back({Size(rules_), Size(rules_) + Size(list)});
    for (const Rule& rule : list) {
      rules_.push_back({Size(tests_), Size(tests_) + Size(rule)});
      for (const Criterion& criterion : rule) {
        Test test{criterion.kind,  static_cast<std::uint8_t>(criterion.attribute),
                  Size(values_),   Size(criterion.values),
                  criterion.value, 0};
        if (criterion.kind == Kind::kTag) test.slot = TagSlot(workload, criterion.tag);
        if (IsOfVersions(criterion.kind)) test.version = Packed(criterion.value);
        values_.insert(values_.end(), criterion.values.begin(), criterion.values.end());
        tests_.push_back(test);
      }
    }
  }
}

inline bool TextEvaluator::Meets(const Test& test, const Texts& device) const {
  const auto actual = [&] { return device.attributes[test.slot]; };
  switch (test.kind) {
    case Kind::kIn: {
      const string_view text = actual();
      for (std::uint32_t i = 0; i < test.value_count; ++i) {
        if (AreEqual(text, values_[test.first_value + i])) return true;
      }
      return false;
    }
    case Kind::kPrefix:
      return StartsWith(actual(), test.value);
    case Kind::kSuffix:
      return EndsWith(actual(), test.value);
    case Kind::kContains:
      return actual().find(test.value) != string_view::npos;
    case Kind::kAtLeast:
      return Packed(actual()) >= test.version;
    case Kind::kLess:
      return Packed(actual()) < test.version;
    case Kind::kSame:
      return Packed(actual()) == test.version;
    case Kind::kTag:
      return AreEqual(device.tags[test.slot], test.value);
    case Kind::kRollout:
      break;
  }
  return false;
}

template <class Note>
inline int TextEvaluator::Walk(std::size_t device, std::size_t list, Note note) const {
  const Texts& texts = devices_[device];
  const Range rules = lists_[list];
  for (std::uint32_t rule = rules.first; rule < rules.last; ++rule) {
    const Range tests = rules_[rule];
    std::uint32_t test = tests.first;
    while (test < tests.last && Meets(tests_[test], texts)) ++test;
    if (test == tests.last) return static_cast<int>(rule - rules.first);
    note(rule - rules.first, test - tests.first);
  }
  return -1;
}

int TextEvaluator::Decide(std::size_t device, std::size_t list) const {
  return Walk(device, list, [](std::uint32_t, std::uint32_t) {});
}

int TextEvaluator::DecideAndNote(std::size_t device, std::size_t list,
                                 std::array<std::int8_t, 8>& failed) const {
  return Walk(device, list, [&](std::uint32_t rule, std::uint32_t test) {
    failed[rule] = static_cast<std::int8_t>(test);
  });
}

DigestEvaluator::DigestEvaluator(const Workload& workload) {
  std::array<Codes, static_cast<std::size_t>(Attribute::kCount)> codes;
  Codes tag_codes;  // 0: no such tag
  const auto code = [](Codes& known, const std::string& value, std::size_t first) {
    return known.emplace(value, static_cast<std::uint8_t>(known.size() + first)).first->second;
  };
  const auto has_codes = [](std::size_t attribute) {
    return attribute <= static_cast<std::size_t>(Attribute::kChannel);
  };
  for (const Device& device : workload.devices) {
    Digest digest{};
    for (std::size_t i = 0; i < codes.size(); ++i) {
      if (has_codes(i)) digest.codes[i] = code(codes[i], device.attributes[i], 0);
      digest.texts[i] = device.attributes[i];
    }
    for (const auto& [name, value] : device.tags) {
      digest.tags[TagSlot(workload, name)] = code(tag_codes, value, 1);
    }
    digest.versions = {Packed(device[Attribute::kOsVersion]), Packed(device[Attribute::kVersion])};
    devices_.push_back(digest);
  }
  const auto cost = [](const Test& test) {
    return test.kind == Kind::kContains                               ? 2
           : test.kind == Kind::kPrefix || test.kind == Kind::kSuffix ? 1
                                                                      : 0;
  };
  for (const List& list : workload.lists) {
    lists_.push_back({Size(rules_), Size(rules_) + Size(list)});
    for (const Rule& rule : list) {
      rules_.push_back({Size(tests_), Size(tests_) + Size(rule)});
      for (const Criterion& criterion : rule) {
        const auto attribute = static_cast<std::uint8_t>(criterion.attribute);
        Test test{criterion.kind, attribute, 0, {}, 0, criterion.value};
        if (criterion.kind == Kind::kTag) {
          test.slot = TagSlot(workload, criterion.tag);
          test.tag_value = code(tag_codes, criterion.value, 1);
        } else if (IsOfVersions(criterion.kind)) {
          test.slot = criterion.attribute == Attribute::kVersion ? 1 : 0;
          test.version = Packed(criterion.value);
        }
        for (const std::string& value : criterion.values) {
          const std::uint8_t bit = code(codes[attribute], value, 0);
          test.codes[bit / 64] |= std::uint64_t{1} << bit % 64;
        }
        tests_.push_back(test);
      }
      std::stable_sort(tests_.end() - static_cast<std::ptrdiff_t>(rule.size()), tests_.end(),
                       [&](const Test& a, const Test& b) { return cost(a) < cost(b); });
    }
  }
}

inline bool DigestEvaluator::Meets(const Test& test, const Digest& device) {
  switch (test.kind) {
    case Kind::kIn: {
      const std::uint8_t code = device.codes[test.slot];
      return (test.codes[code / 64] >> code % 64 & 1) != 0;
    }
    case Kind::kPrefix:
      return StartsWith(device.texts[test.slot], test.value);
    case Kind::kSuffix:
      return EndsWith(device.texts[test.slot], test.value);
    case Kind::kContains:
      return device.texts[test.slot].find(test.value) != string_view::npos;
    case Kind::kAtLeast:
      return device.versions[test.slot] >= test.version;
    case Kind::kLess:
      return device.versions[test.slot] < test.version;
    case Kind::kSame:
      return device.versions[test.slot] == test.version;
    case Kind::kTag:
      return device.tags[test.slot] == test.tag_value;
    case Kind::kRollout:
      break;
  }
  return false;
}

int DigestEvaluator::Decide(std::size_t device, std::size_t list) const {
  const Digest& digest = devices_[device];
  const Range rules = lists_[list];
  for (std::uint32_t rule = rules.first; rule < rules.last; ++rule) {
    const Range tests = rules_[rule];
    std::uint32_t test = tests.first;
    while (test < tests.last && Meets(tests_[test], digest)) ++test;
    if (test == tests.last) return static_cast<int>(rule - rules.first);
  }
  return -1;
}

}  // namespace targeting
