#include "yox/decision/FilterDocument.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <utility>

#include "yox/base/Interruption.h"
#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/decision/FilterReading.h"

namespace yox::decision {
namespace {

Filter ReadFilter(const JsonNode& node) {
  Filter filter;
  node.ForEachMember([&](std::string_view key, const JsonNode& member) {
    const auto* const name = std::ranges::find(kFilterFieldNames, key);
    if (name == std::end(kFilterFieldNames)) {
      if (member.IsRemark()) return;
      member.FailUnknownKey(kFilterFieldNames);
    }
    member.Require(member.value().isString(), "a string");
    filter.Set(static_cast<FilterField>(name - std::begin(kFilterFieldNames)),
               String::UTF8ToUTF16(member.value().asString()));
  });
  return filter;
}

ApplicabilityFilter ReadList(const JsonNode& node) {
  node.Require(node.value().isArray(), "an array");
  ApplicabilityFilter::List filters;
  filters.reserve(node.value().size());
  for (Json::ArrayIndex i = 0; i < node.value().size(); ++i) {
    ThrowIfInterrupted();
    filters.push_back(ReadFilter(node.Element(i)));
  }
  return ApplicabilityFilter(std::move(filters));
}

}  // namespace

ApplicabilityFilter ReadFilterDocument(std::string_view utf8) {
  return ReadParsedFilterDocument(ParseDocument(utf8), utf8);
}

ApplicabilityFilter ReadParsedFilterDocument(const Json::Value& document, std::string_view utf8) {
  const JsonNode root(document, utf8);
  if (document.isArray()) return ReadList(root);
  root.Require(document.isObject(), "an object or an array");
  std::optional<ApplicabilityFilter> filter;
  root.ForEachMember([&](std::string_view key, const JsonNode& member) {
    if (key == "filters") {
      filter = ReadList(member);
    } else if (!member.IsRemark()) {
      member.FailUnknownKey(std::array{std::string_view("filters")});
    }
  });
  if (!filter) root.Fail("the key \"filters\" is missing");
  return *std::move(filter);
}

std::string WriteFilterDocument(const ApplicabilityFilter& filter) {
  Json::Value filters(Json::arrayValue);
  for (const Filter& one : filter.filters()) {
    Json::Value& object = filters.append(Json::objectValue);
    for (std::size_t i = 0; i < kFilterFieldCount; ++i) {
      const WString& text = one.View(static_cast<FilterField>(i));
      if (!text.empty()) object[std::string(kFilterFieldNames[i])] = String::UTF16ToUTF8(text);
    }
  }
  Json::Value document(Json::objectValue);
  document["filters"] = std::move(filters);
  return yox::JsonText(document);
}

}  // namespace yox::decision
