#include "bench/TargetingLua.h"

#include <cstdio>
#include <cstdlib>
#include <lua.hpp>
#include <sstream>
#include <string>

namespace targeting {
namespace {

using Kind = Criterion::Kind;

// Traces of all lists fit, which the default limits do not allow.
constexpr const char* kLimits =
    "require('jit.opt').start('maxtrace=60000', 'maxmcode=65536', 'maxside=1000', "
    "'maxrecord=20000', 'maxsnap=5000')\n";

constexpr const char* kVersion = R"(
local byte, sub, find = string.byte, string.sub, string.find
local function version(text)
  local packed, number = 0, 0
  for i = 1, #text do
    local b = byte(text, i)
    if b == 46 then packed, number = packed * 131072 + number, 0
    else number = number * 10 + b - 48 end
  end
  return packed * 131072 + number
end
)";

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }  // no text needs more

std::string Attribute(const Criterion& criterion) {
  return "d[" + std::to_string(static_cast<int>(criterion.attribute) + 1) + "]";
}

// The condition of a criterion; tables of values are added to `tables`.
std::string Condition(const Criterion& criterion, std::ostringstream& tables, int& table_count) {
  const std::string actual = Attribute(criterion);
  const std::string value = Quoted(criterion.value);
  const std::string size = std::to_string(criterion.value.size());
  switch (criterion.kind) {
    case Kind::kIn:
      if (criterion.values.size() == 1) return actual + " == " + Quoted(criterion.values.front());
      tables << "S[" << ++table_count << "] = {";
      for (const std::string& one : criterion.values) tables << "[" << Quoted(one) << "] = true, ";
      tables << "}\n";
      return "S[" + std::to_string(table_count) + "][" + actual + "]";
    case Kind::kPrefix:
      return "sub(" + actual + ", 1, " + size + ") == " + value;
    case Kind::kSuffix:
      return "sub(" + actual + ", -" + size + ") == " + value;
    case Kind::kContains:
      return "find(" + actual + ", " + value + ", 1, true)";
    case Kind::kTag:
      return "tags[" + Quoted(criterion.tag) + "] == " + value;
    case Kind::kAtLeast:
    case Kind::kLess:
    case Kind::kSame: {
      double packed = 0;
      std::istringstream numbers(criterion.value);
      for (std::string number; std::getline(numbers, number, '.');) {
        packed = packed * 131072 + std::stod(number);
      }
      const char* const order = criterion.kind == Kind::kAtLeast ? ">="
                                : criterion.kind == Kind::kLess  ? "<"
                                                                 : "==";
      char text[32];
      std::snprintf(text, sizeof text, "%.0f", packed);
      return "version(" + actual + ") " + order + " " + text;
    }
    case Kind::kRollout:
      break;
  }
  return "false";
}

std::string Program(const Workload& workload) {
  std::ostringstream tables;
  std::ostringstream functions;
  int table_count = 0;
  for (const List& list : workload.lists) {
    functions << "F[#F + 1] = function(d)\n local tags = d.tags\n";
    for (std::size_t rule = 0; rule < list.size(); ++rule) {
      functions << " if ";
      for (std::size_t i = 0; i < list[rule].size(); ++i) {
        functions << (i != 0 ? " and " : "") << Condition(list[rule][i], tables, table_count);
      }
      functions << " then return " << rule << " end\n";
    }
    functions << " return -1\nend\n";
  }
  return kLimits + (kVersion + ("local S, F = {}, {}\n" + tables.str())) + functions.str() +
         "return F\n";
}

void Expect(lua_State* lua, int status) {
  if (status == 0) return;
  std::fprintf(stderr, "Lua: %s\n", lua_tostring(lua, -1));
  std::exit(1);
}

}  // namespace

void LuaEvaluator::Close::operator()(lua_State* lua) const { lua_close(lua); }

LuaEvaluator::LuaEvaluator(const Workload& workload) : lua_(luaL_newstate()) {
  lua_State* const lua = lua_.get();
  luaL_openlibs(lua);
  Expect(lua, luaL_dostring(lua, Program(workload).c_str()));
  for (std::size_t i = 0; i < workload.lists.size(); ++i) {
    lua_rawgeti(lua, 1, static_cast<int>(i + 1));
    lists_.push_back(luaL_ref(lua, LUA_REGISTRYINDEX));
  }
  for (const Device& device : workload.devices) {
    lua_newtable(lua);
    for (std::size_t i = 0; i < device.attributes.size(); ++i) {
      lua_pushstring(lua, device.attributes[i].c_str());
      lua_rawseti(lua, -2, static_cast<int>(i + 1));
    }
    lua_newtable(lua);
    for (const auto& [name, value] : device.tags) {
      lua_pushstring(lua, value.c_str());
      lua_setfield(lua, -2, name.c_str());
    }
    lua_setfield(lua, -2, "tags");
    devices_.push_back(luaL_ref(lua, LUA_REGISTRYINDEX));
  }
}

int LuaEvaluator::Decide(std::size_t device, std::size_t list) const {
  lua_State* const lua = lua_.get();
  lua_rawgeti(lua, LUA_REGISTRYINDEX, lists_[list]);
  lua_rawgeti(lua, LUA_REGISTRYINDEX, devices_[device]);
  Expect(lua, lua_pcall(lua, 1, 1, 0));
  const int rule = static_cast<int>(lua_tointeger(lua, -1));
  lua_settop(lua, 0);
  return rule;
}

}  // namespace targeting
