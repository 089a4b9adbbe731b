#include "yox/applicability/ListTest.h"

#include <tuple>

#include "yox/base/Json.h"
#include "yox/base/JsonFields.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/decision/FactsDocument.h"
#include "yox/platform/simulated/DeviceProfileReader.h"

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
struct JsonCodec<applicability::ListTestFacts> {
  static void Read(const JsonNode& node, applicability::ListTestFacts& facts) {
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
struct JsonFields<applicability::ListTestCase> {
  static constexpr std::tuple kTable{
      JsonField{"name", &applicability::ListTestCase::name},
      JsonField{"profile", &applicability::ListTestCase::profile},
      JsonField{"facts", &applicability::ListTestCase::facts},
      JsonField{"changes", &applicability::ListTestCase::changes},
      JsonField{"now", &applicability::ListTestCase::now},
      JsonField{"target_version", &applicability::ListTestCase::target_version},
      JsonField{"tags", &applicability::ListTestCase::tags},
      JsonField{"applies", &applicability::ListTestCase::applies},
      JsonField{"decided_by", &applicability::ListTestCase::decided_by}};
};

template <>
struct JsonFields<applicability::ListTest> {
  static constexpr std::tuple kTable{JsonField{"list", &applicability::ListTest::list},
                                     JsonField{"cases", &applicability::ListTest::cases}};
};

}  // namespace yox

namespace yox::applicability {
namespace {

// What a patch contains takes the place of what was there, objects member by member; null removes.
void Merge(Json::Value& target, const Json::Value& patch) {
  if (!patch.isObject()) {
    target = patch;
    return;
  }
  if (!target.isObject()) target = Json::Value(Json::objectValue);
  for (const std::string& key : patch.getMemberNames()) {
    if (patch[key].isNull()) {
      target.removeMember(key);
    } else {
      Merge(target[key], patch[key]);
    }
  }
}

yox::platform::DeviceProfile ReadChanged(const Json::Value& document, const char* changed_by) {
  try {
    return yox::platform::ReadDeviceProfile(yox::JsonText(document));
  } catch (const yox::DocumentError& error) {
    // The place is one in a text that is in no file.
    throw yox::DocumentError(std::string(changed_by) + ": " + error.message());
  }
}

}  // namespace

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

yox::platform::DeviceProfile DeviceOfCase(const ListTestCase& test, std::string_view profile) {
  Json::Value document = yox::ParseDocument(profile);
  yox::platform::DeviceProfile device;
  try {
    device = yox::platform::ReadDeviceProfile(profile);
  } catch (const yox::DocumentError& error) {
    throw yox::DocumentError(std::string("profile: ") + error.what());
  }
  if (test.changes) {
    Merge(document, *test.changes);
    device = ReadChanged(document, "changes");
  }
  if (test.now) {
    document["clock"]["now"] = YOX::String::UTF16ToUTF8(*test.now);
    device = ReadChanged(document, "now");
  }
  return device;
}

yox::decision::FactsRecord FactsOfCase(const ListTestCase& test, std::string_view file) {
  if (test.facts->file.empty()) {
    return yox::decision::ReadFacts(test.facts->text, test.facts->first_line);
  }
  return yox::decision::ReadFacts(file);
}

std::vector<std::string> ListTestPaths() { return yox::JsonPaths<ListTest>(); }

}  // namespace yox::applicability
