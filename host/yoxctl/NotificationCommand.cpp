#include <json/value.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/notifications/NotificationAlertUtility.h"
#include "yox/notifications/PayloadDocuments.h"
#include "yox/notifications/YOXNotificationData.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

using yox::WString;

std::string Utf8(const WString& text) { return YOX::String::UTF16ToUTF8(text); }

using yox::notifications::PayloadDocument;
using yox::notifications::PayloadField;
using yox::notifications::PayloadType;

// Refuses a member that is of another type than its field. The library's reader would read it as 0
// or empty, or end there.
void CheckMember(const yox::JsonNode& member, PayloadType type) {
  const Json::Value& value = member.value();
  int number = 0;
  switch (type) {
    case PayloadType::kBoolean:
      return member.Require(value.isBool(), "true or false");
    case PayloadType::kText:
      return member.Require(value.isString(), "a string");
    case PayloadType::kUnsigned:
      return member.Require(value.isUInt(), "an integer of 0 or more");
    case PayloadType::kDelay:  // a number, or a string with the text of one
      member.Require(value.isConvertibleTo(Json::stringValue) &&
                         YOX::String::TryToInteger(YOX::String::UTF8ToUTF16(value.asString()),
                                                   number) == YOX::String::IntegerStatus::kOk,
                     "an integer");
  }
}

// Also the fields that are written and never read: the schema describes them.
void CheckFields(const Json::Value& payload, const PayloadDocument& document) {
  const auto check = [&](std::string_view key, const yox::JsonNode& member) {
    const auto field = std::ranges::find_if(
        document.fields, [&](const PayloadField& known) { return known.key == key; });
    if (field != document.fields.end()) CheckMember(member, field->type);
  };
  try {
    yox::JsonNode(payload).ForEachMember([&](std::string_view key, const yox::JsonNode& member) {
      if (document.wrapper == nullptr) {
        check(key, member);
      } else if (key == document.wrapper) {
        member.ForEachMember(check);
      }
    });
  } catch (const yox::DocumentError& error) {
    throw yox::DocumentError(std::string("payload: ") + error.what());
  }
}

Json::Value PolicyChange(const YOXNotificationData& record) {
  bool path_change = false;
  bool subscription_change = false;
  WString path;
  WString subscription;
  record.deserializePayloadForYoxPolicy(record.getPayload(), path_change, subscription_change, path,
                                        subscription);
  Json::Value fields;
  fields["device_path_change"] = path_change;
  fields["device_subscription_change"] = subscription_change;
  fields["device_path_value"] = Utf8(path);
  fields["device_subscription_value"] = Utf8(subscription);
  return fields;
}

Json::Value Registration(const YOXNotificationData& record) {
  bool success = false;
  WString type;
  WString source;
  WString device;
  std::int32_t delay = 0;
  record.deserializePayloadForDeviceRegistration(success, type, source, device, delay);
  Json::Value fields;
  fields["has_registration_attempted_success"] = success;
  fields["registration_trigger_type"] = Utf8(type);
  fields["registration_trigger_source"] = Utf8(source);
  fields["device_id"] = Utf8(device);
  fields["delay"] = delay;
  return fields;
}

Json::Value ConfigChange(const YOXNotificationData& record) {
  bool startup = false;
  record.deserializePayloadForConfigChangeDuringStartup(startup);
  Json::Value fields;
  fields["is_trigger_source_startup"] = startup;
  return fields;
}

Json::Value ConfigFetch(const YOXNotificationData& record) {
  std::uint32_t minutes = 0;
  record.deserializePayloadForForceConfigFetch(minutes);
  Json::Value fields;
  fields["pull_trigger_in_minutes"] = minutes;
  return fields;
}

Json::Value PackageEvent(const YOXNotificationData& record) {
  WString id;
  WString type;
  WString name;
  WString version;
  WString trigger;
  record.deserializePayloadForPackageEvent(id, type, name, version, trigger);
  Json::Value fields;
  fields["PackageId"] = Utf8(id);
  fields["PackageType"] = Utf8(type);
  fields["PackageName"] = Utf8(name);
  fields["PackageVersion"] = Utf8(version);
  fields["PackageTrigger"] = Utf8(trigger);
  return fields;
}

// A kind of payload that has a reader.
struct PayloadKind {
  const char* key;  // identifies the kind
  const PayloadDocument& document;
  Json::Value (*read)(const YOXNotificationData& record);
};
constexpr PayloadKind kPayloadKinds[] = {
    {"policy_change", yox::notifications::kPolicyChange, PolicyChange},
    {"device_registration", yox::notifications::kRegistration, Registration},
    {"config_change", yox::notifications::kConfigChange, ConfigChange},
    {"config_fetch", yox::notifications::kConfigFetch, ConfigFetch},
    {"PackageId", yox::notifications::kPackageEvent, PackageEvent},
};

// Returns the payload's own fields if it is of such a kind, otherwise null.
Json::Value FieldsOf(const YOXNotificationData& record) {
  Json::Value payload;
  try {
    payload = yox::ParseDocument(Utf8(record.getPayload()));
  } catch (const yox::DocumentError&) {
    return {};  // a payload may be any text
  }
  if (!payload.isObject()) return {};
  for (const PayloadKind& kind : kPayloadKinds) {
    if (!payload.isMember(kind.key)) continue;
    CheckFields(payload, kind.document);
    return kind.read(record);
  }
  return {};
}

// Refuses what the schemas refuse. The library's readers would read it as 0 or empty.
void CheckEnvelope(const yox::JsonNode& root) {
  root.ForEachMember([](std::string_view key, const yox::JsonNode& node) {
    const Json::Value& value = node.value();
    if (key == "topicId" || key == "eventState") node.Require(value.isInt(), "an integer");
    if (key == "payload") node.Require(value.isString(), "a string");
    if (key == "cmd" || key == "cmd_type") node.Require(value.isNull(), "null");
    if (key != "notification_type") return;
    node.Require(value.isString(), "a string");
    if (value != "yox" && value != "kxp" && value != "") node.Fail("expected \"yox\" or \"kxp\"");
  });
  if (!root.value().isMember("topicId")) root.Fail("the key \"topicId\" is missing");
}

// The parameters of an alert that have a meaning of their own, see deviceactionstate.
constexpr std::string_view kStateParameters[] = {"value", "failure_reason", "action_cmd",
                                                 "action_param", "at"};

void CheckChannelMessage(const yox::JsonNode& message) {
  message.ForEachMember([](std::string_view kind, const yox::JsonNode& body) {
    if (kind != "alert" && kind != "action") return;
    body.ForEachMember([&](std::string_view key, const yox::JsonNode& node) {
      if (kind == "alert" && key == "param") {
        node.ForEachMember([](std::string_view parameter, const yox::JsonNode& value) {
          if (std::ranges::find(kStateParameters, parameter) != std::end(kStateParameters)) {
            value.Require(value.value().isString(), "a string");
          }
        });
      } else if (kind == "alert"
                     ? key == "notify"
                     : key == "cmd" || key == "cmd_type" || key == "Log" || key == "Loglevel") {
        node.Require(node.value().isString(), "a string");
      }
    });
  });
  if (message.value().isMember("alert") == message.value().isMember("action")) {
    message.Fail("expected either \"alert\" or \"action\"");
  }
}

void CheckChannelDocument(const yox::JsonNode& root) {
  root.ForEachMember([](std::string_view key, const yox::JsonNode& node) {
    if (key == "kxp-message") CheckChannelMessage(node);
  });
  if (!root.value().isMember("kxp-message")) root.Fail("the key \"kxp-message\" is missing");
}

Json::Value ReadInternal(const std::string& text) {
  const Json::Value document = yox::ParseDocument(text);
  CheckEnvelope(yox::JsonNode(document, text));
  const YOXNotificationData record(YOX::String::UTF8ToUTF16(text), false);
  Json::Value answer;
  answer["topic_id"] = record.getTopicId();
  answer["event_state"] = record.getEventState();
  answer["payload"] = Utf8(record.getPayload());
  if (Json::Value fields = FieldsOf(record); !fields.isNull()) answer["fields"] = std::move(fields);
  return answer;
}

void AddTextFields(const YOXNotificationData& record, const yox::JsonNode& object,
                   Json::Value& fields) {
  object.ForEachMember([&](std::string_view key, const yox::JsonNode& node) {
    if (node.value().isObject()) {
      AddTextFields(record, node, fields);
    } else if (node.value().isString()) {
      fields[std::string(key)] = Utf8(record.getFieldValue(YOX::String::UTF8ToUTF16(key)));
    }
  });
}

Json::Value ReadChannel(const std::string& text) {
  const Json::Value document = yox::ParseDocument(text);
  CheckChannelDocument(yox::JsonNode(document, text));
  const YOXNotificationData record(YOX::String::UTF8ToUTF16(text), true);
  Json::Value answer;
  answer["message_type"] = Utf8(record.getMessageType());
  answer["action_type"] = Utf8(record.getActionType());
  answer["log_status"] = Utf8(record.getLogStatus());
  answer["log_level"] = Utf8(record.getLogLevel());
  answer["device_action_state"] = Utf8(record.getDeviceActionState());
  Json::Value fields(Json::objectValue);
  AddTextFields(record, yox::JsonNode(document), fields);
  answer["fields"] = std::move(fields);
  return answer;
}

// The named arguments of a builder.
struct Arguments {
  std::map<std::string, std::string> texts;
  std::map<std::string, bool> flags;
  std::map<std::string, std::int32_t> integers;
  std::uint32_t minutes = 0;
  std::vector<std::string> params;

  WString Text(const char* name) const {
    const auto found = texts.find(name);
    return Widened(std::string("--") + name, found != texts.end() ? found->second : "");
  }
  bool Flag(const char* name) const { return flags.at(name); }
  std::int32_t Integer(const char* name) const { return integers.at(name); }
  std::vector<std::pair<std::string, std::string>> Params() const {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const std::string& param : params) {
      const std::size_t equals = param.find('=');
      if (equals == std::string::npos || equals == 0) {
        throw Refusal("--param: expected KEY=VALUE, found \"" + yox::Printable(param) + "\"");
      }
      Widened("--param", param);
      std::string key = param.substr(0, equals);
      const auto has_key = [&](const auto& pair) { return pair.first == key; };
      if (std::ranges::any_of(pairs, has_key)) {
        throw Refusal("--param: \"" + yox::Printable(key) + "\" is given twice");
      }
      pairs.emplace_back(std::move(key), param.substr(equals + 1));
    }
    return pairs;
  }
};

struct Builder {
  const char* name;
  const char* help;
  std::vector<const char*> flags;
  std::vector<const char*> texts;
  std::vector<const char*> integers;
  bool minutes;
  bool params;
  std::string (*build)(const Arguments& arguments);
};

const std::vector<Builder>& Builders() {
  static const YOXNotificationData record;
  static const std::vector<Builder> builders = {
      {"envelope",
       "An internal notification",
       {},
       {"payload"},
       {"topic", "event"},
       false,
       false,
       [](const Arguments& a) {
         return Utf8(YOXNotificationData(a.Integer("topic"), a.Integer("event"), a.Text("payload"))
                         .getJsonMessage());
       }},
      {"policy-change",
       "The payload of a change of policy",
       {"device-path-change", "device-subscription-change", "mqtt-scope-change",
        "mqtt-connect-frequency-change"},
       {"device-path-value", "device-subscription-value", "mqtt-scope-value",
        "mqtt-connect-frequency-value"},
       {},
       false,
       false,
       [](const Arguments& a) {
         return Utf8(record.constructPayloadOnYOXPolicyChange(
             a.Flag("device-path-change"), a.Flag("device-subscription-change"),
             a.Flag("mqtt-scope-change"), a.Flag("mqtt-connect-frequency-change"),
             a.Text("device-path-value"), a.Text("device-subscription-value"),
             a.Text("mqtt-scope-value"), a.Text("mqtt-connect-frequency-value")));
       }},
      {"device-registration",
       "The payload of a registration",
       {"success"},
       {"trigger-type", "trigger-source", "device-id"},
       {"delay"},
       false,
       false,
       [](const Arguments& a) {
         return Utf8(record.constructPayloadOnDeviceRegistration(
             a.Flag("success"), a.Text("trigger-type"), a.Text("trigger-source"),
             Utf8(a.Text("device-id")), a.Integer("delay")));
       }},
      {"config-change",
       "The payload of a change of configuration",
       {"startup"},
       {},
       {},
       false,
       false,
       [](const Arguments& a) {
         return Utf8(record.constructPayloadOnConfigChangeDuringStartup(a.Flag("startup")));
       }},
      {"config-fetch",
       "The payload of a forced fetch of the configuration",
       {},
       {},
       {},
       true,
       false,
       [](const Arguments& a) {
         return Utf8(record.constructPayloadForForceConfigFetch(a.minutes));
       }},
      {"package-event",
       "The payload of a package's event",
       {},
       {"id", "type", "name", "version", "trigger"},
       {},
       false,
       false,
       [](const Arguments& a) {
         return Utf8(record.serializePayloadForPackageEvent(
             a.Text("id"), a.Text("type"), a.Text("name"), a.Text("version"), a.Text("trigger")));
       }},
      {"invoke-command",
       "The payload of a command",
       {},
       {},
       {},
       false,
       true,
       [](const Arguments& a) {
         const auto params = a.Params();
         return record.constructPayloadForInvokeCommand({params.begin(), params.end()});
       }},
      {"alert",
       "An alert for the channel, with texts as parameters",
       {},
       {"notify"},
       {},
       false,
       true,
       [](const Arguments& a) {
         YOXNotificationData alert;
         alert.setMessageType(a.Text("notify"));
         std::map<WString, WString> params;
         for (const auto& [key, value] : a.Params()) {
           params.emplace(YOX::String::UTF8ToUTF16(key), YOX::String::UTF8ToUTF16(value));
         }
         alert.makeKXPpayload(params);
         return Utf8(alert.getMessageForKXP());
       }},
      {"device-action-state",
       "The alert of a device action's state",
       {},
       {"action-cmd", "failure-reason", "action-param", "at"},
       {"value"},
       false,
       false,
       [](const Arguments& a) {
         YOXNotificationData alert;
         NotificationAlertUtility::ConstructKXPPayloadForDeviceActionState(
             a.Integer("value"), a.Text("action-cmd"), a.Text("failure-reason"),
             a.Text("action-param"), a.Text("at"), alert);
         return Utf8(alert.getPayload());
       }},
  };
  return builders;
}

int Build(const Builder& builder, const Arguments& arguments) {
  std::string text = builder.build(arguments);
  if (!text.ends_with('\n')) text += '\n';
  Print(text);
  return kDone;
}

Command BuilderCommand(const Builder& builder) {
  const auto arguments = std::make_shared<Arguments>();
  std::vector<Option> options;
  const auto add = [&](const char* name, const char* type, auto& target, bool required = false) {
    options.push_back(
        {.name = std::string("--") + name, .type = type, .target = &target, .required = required});
  };
  for (const char* name : builder.flags) add(name, "", arguments->flags[name]);
  for (const char* name : builder.texts) add(name, "TEXT", arguments->texts[name]);
  for (const char* name : builder.integers) add(name, "N", arguments->integers[name], true);
  if (builder.minutes) add("minutes", "N", arguments->minutes, true);
  if (builder.params) {
    options.push_back({.name = "--param",
                       .type = "KEY=VALUE",
                       .help = "A parameter; may be given several times",
                       .target = &arguments->params});
  }
  return {
      .name = builder.name,
      .help = builder.help,
      .options = std::move(options),
      .run = [&builder, arguments](const GlobalOptions&) { return Build(builder, *arguments); }};
}

Command BuildCommand() {
  Command build{.name = "build", .help = "A document from named arguments"};
  for (const Builder& builder : Builders()) build.commands.push_back(BuilderCommand(builder));
  return build;
}

Command ReadCommand() {
  struct ReadOptions {
    std::vector<std::string> files;
    bool channel = false;
  };
  const auto options = std::make_shared<ReadOptions>();
  return {.name = "read",
          .help = "The fields of a notification document, as JSON",
          .options = {{.name = "FILE.json",
                       .help = "Envelopes, or documents of the channel; -: standard input",
                       .target = &options->files,
                       .required = true},
                      {.name = "--channel",
                       .help = "It is a document of the channel",
                       .target = &options->channel}},
          .run = [options](const GlobalOptions& given) {
            GlobalOptions global = given;
            global.json = true;  // in every format
            const auto read = options->channel ? ReadChannel : ReadInternal;
            const bool readable =
                PrintAnswers(global, options->files, [&](const std::string& name) -> Answer {
                  return {{}, ReadNamed(name, read)};
                });
            return readable ? kDone : kRefused;
          }};
}

}  // namespace

Command NotificationCommand() {
  return {.name = "notification",
          .help = "Read and build notification documents",
          .commands = {ReadCommand(), BuildCommand()}};
}

}  // namespace yoxctl
