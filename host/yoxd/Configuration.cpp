#include "host/yoxd/Configuration.h"

#include <json/value.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <variant>

#include "yox/base/Document.h"

#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

using Target = std::variant<std::string Configuration::*, std::int64_t Configuration::*,
                            bool Configuration::*>;

struct Key {
  std::string_view name;
  Target target;
  std::int64_t least = 0;
  std::int64_t most = 0;
};

const Key kKeys[] = {
    {"device_id", &Configuration::device_id},
    {"policy_file", &Configuration::policy_file},
    {"client_certificate", &Configuration::client_certificate},
    {"client_key", &Configuration::client_key},
    {"topic_prefix", &Configuration::topic_prefix},
    {"mqtt_version", &Configuration::mqtt_version},
    {"status_socket", &Configuration::status_socket},
    {"status_group", &Configuration::status_group},
    {"keep_alive_seconds", &Configuration::keep_alive_seconds, 5, 3'600},
    {"reconnect_first_milliseconds", &Configuration::reconnect_first_milliseconds, 10, 60'000},
    {"reconnect_most_seconds", &Configuration::reconnect_most_seconds, 1, 86'400},
    {"queue_messages", &Configuration::queue_messages, 1, 1'000'000},
    {"queue_bytes", &Configuration::queue_bytes, 1'024, std::int64_t{1} << 30},
    {"policy_interval_minutes", &Configuration::policy_interval_minutes, 1, 10'080},
    {"policy_timeout_seconds", &Configuration::policy_timeout_seconds, 1, 600},
    {"session_hours", &Configuration::session_hours, 0, 8'760},
    {"queue_on_disk", &Configuration::queue_on_disk},
};

[[noreturn]] void Fail(std::string_view key, const std::string& expected,
                       const Json::Value& found) {
  throw yox::DocumentError(std::string(key) + ": expected " + expected + ", found " +
                           yox::Printable(JsonLine(found)));
}

void Read(const Key& key, const Json::Value& value, Configuration& configuration) {
  if (const auto* text = std::get_if<std::string Configuration::*>(&key.target)) {
    if (!value.isString()) Fail(key.name, "a string", value);
    configuration.*(*text) = value.asString();
  } else if (const auto* flag = std::get_if<bool Configuration::*>(&key.target)) {
    if (!value.isBool()) Fail(key.name, "true or false", value);
    configuration.*(*flag) = value.asBool();
  } else if (!value.isInt64() || value.asInt64() < key.least || value.asInt64() > key.most) {
    Fail(key.name,
         "a whole number from " + std::to_string(key.least) + " to " + std::to_string(key.most),
         value);
  } else {
    configuration.*std::get<std::int64_t Configuration::*>(key.target) = value.asInt64();
  }
}

}  // namespace

Configuration ReadConfiguration(std::string_view utf8) {
  const Json::Value document = ReadJson(utf8);
  if (!document.isObject()) Fail("the document", "an object", document);
  Configuration configuration;
  for (const std::string& name : document.getMemberNames()) {
    const auto* const key = std::ranges::find(kKeys, name, &Key::name);
    if (key == std::end(kKeys)) throw yox::DocumentError(yox::Printable(name) + ": unknown key");
    Read(*key, document[name], configuration);
  }
  if (!configuration.device_id.empty() && !IsName(configuration.device_id)) {
    Fail("device_id", "1 to 64 letters, digits, \"-\", \"_\" or \".\"", document["device_id"]);
  }
  if (!IsName(configuration.topic_prefix)) {
    Fail("topic_prefix", "1 to 64 letters, digits, \"-\", \"_\" or \".\"",
         document["topic_prefix"]);
  }
  if (configuration.mqtt_version != "5" && configuration.mqtt_version != "3.1.1") {
    Fail("mqtt_version", "\"5\" or \"3.1.1\"", document["mqtt_version"]);
  }
  if (configuration.client_certificate.empty() != configuration.client_key.empty()) {
    throw yox::DocumentError(
        "client_certificate, client_key: expected both or neither, found one of them");
  }
  return configuration;
}

}  // namespace yoxd
