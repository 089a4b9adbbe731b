#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "bench/TargetingWorkload.h"

struct lua_State;

namespace targeting {

// Another peer: each list as a generated Lua function over a table of the device's texts, compiled
// by LuaJIT and called once for each decision. For one thread at a time.
class LuaEvaluator {
 public:
  explicit LuaEvaluator(const Workload& workload);

  int Decide(std::size_t device, std::size_t list) const;

 private:
  struct Close {
    void operator()(lua_State* lua) const;
  };
  std::unique_ptr<lua_State, Close> lua_;
  std::vector<int> devices_, lists_;  // references
};

}  // namespace targeting
