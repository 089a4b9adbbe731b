#pragma once

#include <functional>
#include <string>
#include <vector>

namespace yox_test {

// What a host has the library do, as a whole: each calls many interfaces of the platform.
struct WholeOperation {
  std::string name;
  // Does it on the installed platform and returns what came of it, as text. What is kept from a
  // former call does not count: it starts from the beginning.
  std::function<std::string()> run;
  bool uses_what_can_fail = true;  // calls an interface of the platform that has failures
};

// On the device of `kDevice` or, where texts differ, another one.
const std::vector<WholeOperation>& WholeOperations();

// A device that has everything that an operation reads.
extern const char* const kDevice;

}  // namespace yox_test
