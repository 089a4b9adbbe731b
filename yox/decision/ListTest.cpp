#include "yox/decision/ListTest.h"

#include <tuple>

#include "yox/base/Json.h"
#include "yox/base/JsonFields.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/decision/FactsDocument.h"

namespace yox {

// Any object: what is in it is checked together with what it changes.
template <>
struct JsonCodec<Json::Value> {
  static void Read(const JsonNode& node, Json::Value& value) {
    node.Require(node.value().isObject(), "an object");
    value = node.value();
  }
  static void List(const std::string&, std::vector<std::string>&) {}
};

// A file, or a document whose text is cut out of that of the cases: its members have an order.
template <>
struct JsonCodec<decision::ListTestFacts> {
  static void Read(const JsonNode& node, decision::ListTestFacts& facts) {
    const Json::Value& value = node.value();
    node.Require(value.isString() || value.isObject(), "a string or an object");
    if (value.isString()) facts.file = YOX::String::UTF8ToUTF16(value.asString());
  }
  static void List(const std::string&, std::vector<std::string>&) {}
};

template <>
struct JsonCodec<decision::Truth> {
  static void Read(const JsonNode& node, decision::Truth& truth) {
    node.Require(node.value().isBool() || node.value().isNull(), "true, false or null");
    truth = node.value().isNull() ? decision::Truth::kUnknown
                                  : decision::TruthOf(node.value().asBool());
  }
  static void List(const std::string&, std::vector<std::string>&) {}
};

template <>
struct JsonFields<decision::ListTestCase> {
  static constexpr std::tuple kTable{
      JsonField{"name", &decision::ListTestCase::name},
      JsonField{"profile", &decision::ListTestCase::profile},
      JsonField{"facts", &decision::ListTestCase::facts},
      JsonField{"changes", &decision::ListTestCase::changes},
      JsonField{"now", &decision::ListTestCase::now},
      JsonField{"target_version", &decision::ListTestCase::target_version},
      JsonField{"tags", &decision::ListTestCase::tags},
      JsonField{"applies", &decision::ListTestCase::applies},
      JsonField{"decided_by", &decision::ListTestCase::decided_by}};
};

template <>
struct JsonFields<decision::ListTest> {
  static constexpr std::tuple kTable{JsonField{"list", &decision::ListTest::list},
                                     JsonField{"cases", &decision::ListTest::cases}};
};

}  // namespace yox

namespace yox::decision {

ListTest ReadListTest(std::string_view utf8) {
  const Json::Value document = yox::ParseDocument(utf8);
  const yox::JsonNode root(document, utf8);
  ListTest test;
  yox::ReadJson(root, test);
  root.ForEachMember([&](std::string_view key, const yox::JsonNode& cases) {
    if (key != "cases") return;
    for (Json::ArrayIndex i = 0; i < cases.value().size(); ++i) {
      ListTestCase& one = test.cases[i];
      if (!one.applies) cases.Element(i).Fail("the key \"applies\" is missing");
      if (!one.facts) continue;
      if (!one.profile.empty() || one.changes) {
        cases.Element(i).Fail("expected \"facts\" or a profile with its changes, found both");
      }
      const Json::Value& facts = cases.value()[i]["facts"];
      if (!facts.isObject()) continue;
      const auto begin = static_cast<std::size_t>(facts.getOffsetStart());
      one.facts->text =
          utf8.substr(begin, static_cast<std::size_t>(facts.getOffsetLimit()) - begin);
      one.facts->first_line = yox::PlaceFinder(utf8).At(begin).line;
    }
  });
  if (test.cases.empty()) root.Fail("there are no cases");
  return test;
}

FactsRecord FactsOfCase(const ListTestCase& test, std::string_view file) {
  if (test.facts->file.empty()) {
    return ReadFacts(test.facts->text, test.facts->first_line);
  }
  return ReadFacts(file);
}

std::vector<std::string> ListTestPaths() { return yox::JsonPaths<ListTest>(); }

}  // namespace yox::decision
