#include "host/yoxd/PolicyStore.h"

#include <json/value.h>

#include <filesystem>
#include <system_error>

#include "yox/base/Document.h"
#include "yox/base/Log.h"
#include "yox/clientbase/Paths.h"
#include "yox/policy/ProvisionFileUtility.h"

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/Journal.h"
#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

constexpr const char* kBaseFile = "policy.json";
constexpr const char* kResponseFile = "policy-response.json";

// Returns the fields of a policy document in either form; throws DocumentError for another one.
const Json::Value& FieldsOf(const Json::Value& document) {
  if (!document.isObject()) throw yox::DocumentError("expected an object");
  if (!document.isMember("yox_config")) return document;
  const Json::Value& config = document["yox_config"];
  if (!config.isObject() || !config["platform_policy"].isObject()) {
    throw yox::DocumentError("yox_config.platform_policy: expected an object");
  }
  return config["platform_policy"];
}

bool IsWrapped(const std::string& text) { return ReadJson(text).isMember("yox_config"); }

PlatformPolicy Read(const std::string& text) {
  return PlatformPolicy::DeSerialize(Wide(text), IsWrapped(text));
}

}  // namespace

PolicyStore::PolicyStore(StateFolder& folder, const Configuration& configuration)
    : folder_(folder), configuration_(configuration) {
  try {
    if (const auto base = folder_.Read(kBaseFile)) {
      FieldsOf(ReadJson(*base));
      base_ = *base;
    }
  } catch (const yox::DocumentError& error) {
    Journal::Error("policy", std::string(kBaseFile) + ": " + error.what());
  }
  try {
    if (const auto text = folder_.Read(kResponseFile)) {
      const Json::Value kept = ReadJson(*text);
      FieldsOf(ReadJson(kept["body"].asString()));
      response_ = Response{kept["body"].asString(), kept["url"].asString(), kept["etag"].asString(),
                           kept["last_modified"].asString(), kept["fetched"].asInt64()};
    }
  } catch (const std::exception& error) {
    Journal::Error("policy", std::string(kResponseFile) + ": " + error.what());
  }
}

std::string PolicyStore::Adopt(const std::string& text) {
  try {
    const Json::Value document = ReadJson(text);
    const Json::Value& fields = FieldsOf(document);
    if (!fields["uri"].isObject()) throw yox::DocumentError("uri: expected an object");
  } catch (const yox::DocumentError& error) {
    return std::string("read the policy: ") + error.what();
  }
  if (text != base_ && !folder_.Write(kBaseFile, text)) return "store the policy: not written";
  base_ = text;
  return {};
}

std::string PolicyStore::RunSteps() {
  if (!configuration_.policy_file.empty()) {
    try {
      return Adopt(yox::ReadDocumentFile(PathOf(configuration_.policy_file)));
    } catch (const yox::DocumentError& error) {
      return "read " + yox::Printable(configuration_.policy_file) + ": " + error.what();
    }
  }
  if (!base_.empty()) return {};
  ProvisionFileUtility& provision = *ProvisionFileUtility::GetInstance();
  // Not ExtractProvisionFileInfo, which would read a file of the working directory.
  const yox::WString folder = provision.GetProvisionPath();
  if (folder.empty()) return "find the provision file: there is none";
  provision.ExtractProvisionContent(folder + yox::WString(ProvisionFileUtility::kFileName));
  if (!provision.GetProvisionContent().isObject()) {
    return "read the provision file: it cannot be opened, is too long, or is no JSON object";
  }
  provision.PopulateProvisionInfo();
  const DeviceProvisionInfo info = provision.GetProvisionInfo();
  if (!info.isTokenValid) return "check the token: " + provision.WhyTokenIsRefused();
  if (info.configPolicy.empty()) return "read the policy: the provision file has no config_policy";
  return Adopt(Narrow(info.configPolicy));
}

bool PolicyStore::Provision() {
  std::string problem = RunSteps();
  if (problem != problem_ && !problem.empty()) Journal::Error("provisioning", problem);
  if (problem_ != problem && problem.empty()) Journal::Notice("provisioning", "there is a policy");
  problem_ = std::move(problem);
  return provisioned();
}

bool PolicyStore::Receive(const Response& response, std::string& why) {
  try {
    FieldsOf(ReadJson(response.body));
  } catch (const yox::DocumentError& error) {
    why = error.what();
    return false;
  }
  response_ = response;
  Json::Value kept;
  kept["body"] = response.body;
  kept["url"] = response.url;
  kept["etag"] = response.etag;
  kept["last_modified"] = response.last_modified;
  kept["fetched"] = Json::Int64{response.fetched};
  folder_.Write(kResponseFile, JsonLine(kept));
  return true;
}

PlatformPolicy PolicyStore::Effective() {
  PlatformPolicy policy(&YOX::g_log);
  if (!base_.empty()) policy.accumulatePlatformPolicy(Read(base_), true);
  if (response_) {
    policy.accumulatePlatformPolicy(
        PlatformPolicy::DeSerializePlatformPolicyResponse(Wide(response_->body)), false);
    policy.accumulatePlatformPolicy(Read(response_->body), false);
  }
  policy.accumulateServerValidationConstants();
  if (!base_.empty() && !policy.updateMqttCertChain()) {
    Journal::Error("policy", "the MQTT server's certificates could not be stored");
  }
  return policy;
}

std::optional<Endpoint> PolicyStore::Broker(const PlatformPolicy& policy, std::string& why) const {
  const std::string certificate_file = certificate();
  const std::string mutual = Narrow(policy.mqtt_mtls_uri());
  const std::string uri =
      certificate_file.empty() || mutual.empty() ? Narrow(policy.mqtt_baseuri()) : mutual;
  if (uri.empty()) {
    why = "the policy names no MQTT server";
    return std::nullopt;
  }
  auto endpoint = Endpoint::FromUri(uri);
  if (!endpoint) {
    why = "expected mqtts://HOST[:PORT], found " + yox::Printable(uri);
    return std::nullopt;
  }
  endpoint->trust_file = YOX::utility::getMqttPemFilePath();
  try {
    endpoint->trust_content = yox::ReadDocumentFile(PathOf(endpoint->trust_file));
  } catch (const yox::DocumentError& failure) {
    why = yox::Printable(endpoint->trust_file) + ": " + failure.what();
    return std::nullopt;
  }
  if (!certificate_file.empty()) {
    why = WhyKeyIsRefused(key());
    if (!why.empty()) return std::nullopt;
    endpoint->certificate = certificate_file;
    endpoint->key = key();
  }
  return endpoint;
}

std::string PolicyStore::Url(const PlatformPolicy& policy) const {
  const std::string mutual = Narrow(policy.api_mtls_uri());
  std::string base =
      certificate().empty() || mutual.empty() ? Narrow(policy.api_baseuri()) : mutual;
  while (base.ends_with('/')) base.pop_back();
  return base.empty() ? base : base + Narrow(policy.get_platform_policy_url());
}

std::string PolicyStore::FirstThere(const std::string& configured, const char* name) {
  if (!configured.empty()) return configured;
  const std::filesystem::path file =
      PathOf(YOX::utility::getMqttPemFilePath()).parent_path() / name;
  std::error_code error;
  return std::filesystem::exists(file, error) ? PathText(file) : std::string();
}

}  // namespace yoxd
