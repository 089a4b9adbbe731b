#include "tests/support/SchemaPaths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "yox/base/StrictJson.h"

#include "tests/support/Checkout.h"

namespace yox_test {
namespace {

void Collect(const Json::Value& root, const Json::Value& schema, const std::string& path,
             std::set<std::string>& paths) {
  if (!schema.isObject()) return;
  if (const std::string reference = schema["$ref"].asString(); !reference.empty()) {
    Collect(root, root["$defs"][reference.substr(std::string("#/$defs/").size())], path, paths);
  }
  for (const std::string& key : schema["properties"].getMemberNames()) {
    if (key == "comment" || (key == "$schema" && path.empty())) continue;  // mean nothing
    const std::string below = path.empty() ? key : path + "." + key;
    paths.insert(below);
    Collect(root, schema["properties"][key], below, paths);
  }
  Collect(root, schema["additionalProperties"], path + ".*", paths);
  Collect(root, schema["items"], path + "[*]", paths);
  for (const char* const branch : {"then", "else"}) Collect(root, schema[branch], path, paths);
}

}  // namespace

std::string CheckoutFile(const std::string& name) {
  std::ifstream file(Checkout() / name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> SchemaPaths(const std::string& name) {
  const Json::Value schema = yox::ParseDocument(CheckoutFile(name));
  std::set<std::string> paths;
  Collect(schema, schema, "", paths);
  return {paths.begin(), paths.end()};
}

}  // namespace yox_test
