#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/device/MachineInformation.h"

// Made-up devices and filter lists for benchmarks, property tests and the comparison of systems.
// The same seed gives the same documents everywhere. Texts are UTF-8.
namespace yox_test {

// A small generator of numbers (xorshift64*) that is the same on every system, unlike the
// distributions of the standard library.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15U + 0xD1B54A32D192ED03U) {
    if (state_ == 0) state_ = 1;
  }

  std::uint64_t Next() {
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return state_ * 0x2545F4914F6CDD1DU;
  }
  // 0 to `limit` - 1; `limit` is not 0.
  std::size_t Below(std::size_t limit) { return static_cast<std::size_t>((Next() >> 32) % limit); }
  int Between(int first, int last) {
    return first + static_cast<int>(Below(static_cast<std::size_t>(last - first) + 1));
  }
  bool Percent(std::size_t chance) { return Below(100) < chance; }
  template <class Values>
  const auto& Pick(const Values& values) {
    return std::data(values)[Below(std::size(values))];
  }

 private:
  std::uint64_t state_;
};

// What is drawn from.
enum class Mix : std::uint8_t {
  kCommon,      // text, version, tag and date criteria, as roll-outs use them
  kEverything,  // all criteria, and texts that are odd or malformed now and then
};

using TextPairs = std::vector<std::pair<std::string, std::string>>;

// One device, as far as criteria look at it.
struct GeneratedDevice {
  std::string now;  // YYYY-MM-DDThh:mm:ss
  std::string client_version;
  std::string manufacturer;
  std::string family;
  std::string model_number;
  std::string sku;
  std::string serial_number;
  std::string enclosure_type;
  std::string os_version;
  std::string os_caption;
  int os_architecture = 9;
  std::string country_code;
  std::string language_code;
  std::string realm;
  std::vector<std::string> subscriptions;
  TextPairs tags;  // stored ones
  TextPairs registry_values;
  std::vector<std::string> hardware_ids;
  struct Application {
    std::string key;
    std::string name;
    std::string version;
  };
  std::vector<Application> installed_apps;
  bool has_firmware = true;
  bool has_organisation = true;

  // The device as a profile document.
  std::string ToProfile() const;
  // The texts of its machine record.
  void Fill(MachineInformation& record) const;
};

// One filter list: each filter as field names and texts, in the order in which they were drawn.
struct GeneratedList {
  std::vector<std::vector<std::pair<std::string_view, std::string>>> filters;
  bool never_applies = false;  // each filter has a criterion that no generated device meets

  // The list as a filter document.
  std::string ToDocument() const;
  ApplicabilityFilter ToFilters() const;
};

// What is handed to a decision beside the list and the device.
struct GeneratedArguments {
  std::string target_version;  // empty: none
  TextPairs extra_tags;
};

ApplicabilityEvaluator::Pairs ToPairs(const TextPairs& texts);

GeneratedDevice MakeDevice(Random& random, Mix mix);
// One to `most` filters. About half of the lists never apply.
GeneratedList MakeList(Random& random, Mix mix, std::size_t most = 8);
GeneratedArguments MakeArguments(Random& random);

}  // namespace yox_test
