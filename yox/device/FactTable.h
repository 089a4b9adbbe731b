#pragma once

#include <json/value.h>

#include <functional>
#include <span>
#include <vector>

#include "yox/base/Export.h"

// Everything that this component knows of the device, as one table: the machine record, the region,
// the identity that is presented to servers, and the signs of management.
namespace yox::device {

struct Fact {
  const char* group;   // the name of a FactGroup
  const char* name;    // "device_brand"
  const char* source;  // where it comes from, in a few words: "SKU, family, manufacturer"
  // Returns a string, boolean, number or array of strings; UTF-8.
  std::function<Json::Value()> read;
};

struct FactGroup {
  const char* name;   // "operating_system"
  const char* title;  // "Operating system"
};

YOX_API std::span<const FactGroup> FactGroups();

// All facts, in the order of the record within each group. `read` takes them from the process-wide
// singletons as they are; it neither refreshes the record nor initialises the provider.
YOX_API std::vector<Fact> Facts();

}  // namespace yox::device
