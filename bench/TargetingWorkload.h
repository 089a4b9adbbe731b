#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

// A made-up fleet and rule lists as targeting services have them: 1,000 devices and 91 ordered
// lists of up to eight rules. Every value is ASCII, without white space around it, and spelled in
// one letter case, so that evaluators which compare bytes decide alike.
namespace targeting {

enum class Attribute : std::uint8_t {
  kCountry,
  kModel,
  kOsName,
  kChannel,
  kOsVersion,
  kVersion,
  kManufacturer,
  kHostname,
  kCpu,
  kCount
};

struct Device {
  std::string id;
  std::array<std::string, static_cast<std::size_t>(Attribute::kCount)> attributes;
  std::map<std::string, std::string> tags;
  std::vector<std::string> tag_order;  // as they were drawn

  const std::string& operator[](Attribute attribute) const {
    return attributes[static_cast<std::size_t>(attribute)];
  }
};

struct Criterion {
  enum class Kind : std::uint8_t {
    kIn,      // the attribute is one of the values
    kPrefix,  // the attribute begins, ends, or has in it, the value
    kSuffix,
    kContains,
    kAtLeast,  // the attribute is a version of this order to the value
    kLess,
    kSame,
    kTag,      // the tag has the value
    kRollout,  // used while rules are drawn only
  };

  Kind kind = Kind::kIn;
  Attribute attribute = Attribute::kCountry;
  std::string tag;
  std::string value;
  std::vector<std::string> values;
};

using Rule = std::vector<Criterion>;  // all must be met
using List = std::vector<Rule>;       // the first rule that is met decides

struct Workload {
  std::vector<Device> devices;
  std::vector<List> lists;
  std::vector<std::string> tag_names;

  // By the criteria as they are written: the index of the first rule that is met, or -1.
  int Expected(std::size_t device, std::size_t list) const;
};

// The same on every system and in every run.
const Workload& TheWorkload();

}  // namespace targeting
