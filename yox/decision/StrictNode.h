#pragma once

#include <json/value.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "yox/base/Printable.h"
#include "yox/base/StrictJson.h"

namespace yox::decision {

// A value as the strict parser read it, for FactsReading.
class StrictNode {
 public:
  explicit StrictNode(const JsonNode& node) : node_(node) {}

  bool IsNull() const { return value().isNull(); }
  bool IsString() const { return value().isString(); }
  bool IsBool() const { return value().isBool(); }
  bool Bool() const { return value().asBool(); }
  std::string_view Text() const {
    const char* begin = nullptr;
    const char* end = nullptr;
    value().getString(&begin, &end);
    return {begin, static_cast<std::size_t>(end - begin)};
  }
  std::optional<std::int64_t> WholeNumber() const {
    if (!value().isInt64() || value().type() == Json::realValue) return std::nullopt;
    return value().asInt64();
  }

  template <class Visit>
  void ForEachMember(Visit visit) const {
    struct Member {
      std::string_view key;
      JsonNode node;
    };
    std::vector<Member> members;
    node_.ForEachMember([&](std::string_view key, const JsonNode& node) {
      members.push_back({key, node});
    });
    std::vector<const Member*> ordered;
    for (const Member& member : members) ordered.push_back(&member);
    std::ranges::sort(ordered, {},
                      [](const Member* member) { return member->node.value().getOffsetStart(); });
    for (const Member* member : ordered) visit(member->key, StrictNode(member->node));
  }
  template <class Visit>
  void ForEachElement(Visit visit) const {
    node_.Require(value().isArray(), "an array");
    for (Json::ArrayIndex i = 0; i < value().size(); ++i) visit(StrictNode(node_.Element(i)));
  }

  void Require(bool condition, std::string_view kind) const { node_.Require(condition, kind); }
  bool IsRemark() const { return node_.IsRemark(); }
  template <class Keys>
  [[noreturn]] void FailUnknownKey(const Keys& known) const {
    node_.FailUnknownKey(known);
  }
  [[noreturn]] void Fail(std::string_view what) const { node_.Fail(OneLine(what)); }

 private:
  const Json::Value& value() const { return node_.value(); }

  const JsonNode& node_;
};

}  // namespace yox::decision
