#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/device/MachineInformation.h"

#include "tests/support/Random.h"

// Made-up devices and filter lists for benchmarks, property tests and the comparison of systems.
// The same seed gives the same documents everywhere. Texts are UTF-8.
namespace yox_test {

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
