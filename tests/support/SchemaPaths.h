#pragma once

#include <string>
#include <vector>

namespace yox_test {

// The text of a file of the checkout.
std::string CheckoutFile(const std::string& name);

// The paths of all keys that a JSON Schema of the checkout allows, sorted, without `comment` and
// `$schema`; * is any key or index: "os.updates[*].title".
std::vector<std::string> SchemaPaths(const std::string& name);

}  // namespace yox_test
