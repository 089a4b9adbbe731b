#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bench/TargetingWorkload.h"

// The peers of TargetingBenchmark: evaluators written for this workload alone, over rules that were
// parsed beforehand. They know neither letter case nor white space, nor facts that are unknown.
namespace targeting {

// Devices are texts, as a client has them; each attribute and tag is at a place known beforehand.
class TextEvaluator {
 public:
  explicit TextEvaluator(const Workload& workload);

  int Decide(std::size_t device, std::size_t list) const;
  // Also notes, for each rule that is not met, which criterion failed first.
  int DecideAndNote(std::size_t device, std::size_t list, std::array<std::int8_t, 8>& failed) const;

 private:
  struct Texts {
    std::array<std::string_view, static_cast<std::size_t>(Attribute::kCount)> attributes;
    std::array<std::string_view, 64> tags;
  };
  struct Test {
    Criterion::Kind kind;
    std::uint8_t slot;
    std::uint32_t first_value, value_count;
    std::string_view value;
    std::uint64_t version;
  };
  struct Range {
    std::uint32_t first, last;
  };

  bool Meets(const Test& test, const Texts& device) const;
  template <class Note>
  int Walk(std::size_t device, std::size_t list, Note note) const;

  std::vector<Texts> devices_;
  std::vector<Test> tests_;
  std::vector<Range> rules_, lists_;
  std::vector<std::string_view> values_;
};

// Devices are digested beforehand: values are small numbers, versions are packed, and a rule's
// cheap criteria are tried first.
class DigestEvaluator {
 public:
  explicit DigestEvaluator(const Workload& workload);

  int Decide(std::size_t device, std::size_t list) const;

 private:
  struct Digest {
    std::array<std::uint8_t, static_cast<std::size_t>(Attribute::kCount)> codes;
    std::array<std::uint8_t, 64> tags;
    std::array<std::uint64_t, 2> versions;
    std::array<std::string_view, static_cast<std::size_t>(Attribute::kCount)> texts;
  };
  struct Test {
    Criterion::Kind kind;
    std::uint8_t slot;
    std::uint8_t tag_value;
    std::array<std::uint64_t, 2> codes;
    std::uint64_t version;
    std::string_view value;
  };
  struct Range {
    std::uint32_t first, last;
  };
  using Codes = std::map<std::string, std::uint8_t>;

  static bool Meets(const Test& test, const Digest& device);

  std::vector<Digest> devices_;
  std::vector<Test> tests_;
  std::vector<Range> rules_, lists_;
};

}  // namespace targeting
