#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/Printable.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/policy/CombinedChain.h"
#include "yox/policy/PlatformPolicy.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

using YOX::String;
using yox::WString;

struct PolicyOptions {
  std::string document;                // for update-certificates
  std::vector<std::string> documents;  // for the others
  std::string form = "wrapped";
  bool override_uris = false;
  bool built_in = false;
};

// The fields of a policy, in the order of the record.
struct TextRow {
  const char* name;
  WString (*get)(const PlatformPolicy&);
};
#define YOX_ROW(name) {#name, [](const PlatformPolicy& policy) { return WString(policy.name()); }},
constexpr TextRow kTexts[] = {YOX_POLICY_TEXTS(YOX_ROW, YOX_ROW)};
#undef YOX_ROW

struct ListRow {
  const char* name;
  const PlatformPolicy::List& (PlatformPolicy::*get)() const;
};
#define YOX_ROW(name) {#name, &PlatformPolicy::name},
constexpr ListRow kLists[] = {YOX_POLICY_LISTS(YOX_ROW)};
#undef YOX_ROW

Json::Value ToJson(const PlatformPolicy& policy) {
  Json::Value json(Json::objectValue);
  for (const auto& [name, get] : kTexts) json[name] = String::UTF16ToUTF8(get(policy));
  for (const auto& [name, get] : kLists) {
    Json::Value& list = json[name] = Json::Value(Json::arrayValue);
    for (const WString& entry : (policy.*get)()) list.append(String::UTF16ToUTF8(entry));
  }
  json["allow_self_signed_cert"] = policy.allow_self_signed_cert();
  json["platform_policy_url"] = String::UTF16ToUTF8(policy.get_platform_policy_url());
  return json;
}

std::string ToText(const PlatformPolicy& policy) {
  const Json::Value json = ToJson(policy);
  std::string text;
  const auto line = [&](const std::string& name, const std::string& value) {
    if (!value.empty()) text += name + ": " + yox::OneLine(value) + "\n";
  };
  for (const auto& row : kTexts) line(row.name, json[row.name].asString());
  for (const auto& row : kLists) {
    for (const Json::Value& entry : json[row.name]) line(row.name, entry.asString());
  }
  line("allow_self_signed_cert", policy.allow_self_signed_cert() ? "true" : "false");
  line("platform_policy_url", json["platform_policy_url"].asString());
  return text;
}

Answer AnswerOf(const PlatformPolicy& policy) { return {ToText(policy), ToJson(policy)}; }

template <class Rows>
bool Names(const Rows& rows, std::string_view key) {
  return std::ranges::any_of(rows, [&](const auto& row) { return row.name == key; });
}

// An object with policy fields, in one of the forms.
constexpr std::string_view kSections[] = {"yox_config", "platform_policy", "uri", "validation"};

// Refuses a known key whose value the readers would convert, pass over or stumble at.
void CheckFields(const yox::JsonNode& fields) {
  fields.ForEachMember([](std::string_view key, const yox::JsonNode& field) {
    const Json::Value& value = field.value();
    if (std::ranges::find(kSections, key) != std::end(kSections)) {
      CheckFields(field);
    } else if (key == "allow_self_signed_cert") {
      field.Require(value.isBool(), "true or false");
    } else if (Names(kTexts, key)) {
      field.Require(value.isString(), "a string");
    } else if (Names(kLists, key) || key == "tls_thumbprint_list") {
      field.Require(value.isArray(), "an array");
      for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
        const yox::JsonNode element = field.Element(i);
        element.Require(element.value().isString(), "a string");
      }
    }
  });
}

// Without its wrapper a wrapped document would read as an empty one.
void CheckWrapper(const yox::JsonNode& document) {
  const auto only = [](const yox::JsonNode& node, std::string_view wrapper, const auto& visit) {
    bool found = false;
    node.ForEachMember([&](std::string_view key, const yox::JsonNode& member) {
      if (key != wrapper) return;
      found = true;
      visit(member);
    });
    if (!found) node.Fail("has no \"" + std::string(wrapper) + "\" (see --form)");
  };
  only(document, "yox_config",
       [&](const yox::JsonNode& config) { only(config, "platform_policy", CheckFields); });
}

// The readers take what they can and never complain, so what is no policy is refused here.
PlatformPolicy ReadPolicy(const std::string& file, const std::string& form) {
  return ReadNamed(file, [&](const std::string& utf8) {
    const Json::Value document = yox::ParseDocument(utf8);
    const yox::JsonNode root(document, utf8);
    form == "flat" ? CheckFields(root) : CheckWrapper(root);
    const WString text = String::UTF8ToUTF16(utf8);
    if (form == "response") return PlatformPolicy::DeSerializePlatformPolicyResponse(text);
    return PlatformPolicy::DeSerialize(text, form == "wrapped");
  });
}

PlatformPolicy Accumulated(const PolicyOptions& options) {
  PlatformPolicy effective;
  for (std::size_t i = 0; i < options.documents.size(); ++i) {
    // There are no fields yet that the first document could override.
    const bool first = i == 0;
    effective.accumulatePlatformPolicy(ReadPolicy(options.documents[i], options.form),
                                       first || options.override_uris);
  }
  if (options.built_in) effective.accumulateServerValidationConstants();
  return effective;
}

// What is on the disk after the stored chain was replaced: compares the combined file with what it
// should contain, because the library only logs that it could not be written.
struct CombinedFile {
  std::string path;
  yox::policy::CombinedChain chain;
  bool is_complete = false;

  CombinedFile()
      : path(YOX::utility::getMqttPemFilePath()), chain(yox::policy::ReadCombinedChain()) {
    std::ifstream file = FileSystem::OpenToRead(String::UTF8ToUTF16(path));
    is_complete = file && std::string(std::istreambuf_iterator<char>(file), {}) == chain.pem;
  }

  // Where the file is, as it is shown.
  std::string Shown() const { return PathText(FileSystem::Locate(String::UTF8ToUTF16(path))); }
};

int UpdateCertificates(const GlobalOptions& global, const PolicyOptions& options) {
  if (options.form == "response") throw Refusal("--form: a response has no certificate chain");
  const WString chain = ReadPolicy(options.document, options.form).mqtt_chain_pem64();
  const ChosenDevice device(global);
  PlatformPolicy policy(&YOX::g_log);
  policy.set_mqtt_chain_pem64(chain);
  const bool updated = policy.updateMqttCertChain();
  const bool stored = updated && !chain.empty();
  const CombinedFile combined;
  const bool built = stored && combined.is_complete;
  const bool complete = built && combined.chain.has_server_chain;
  if (global.json) {
    Json::Value answer;
    answer["updated"] = updated;
    answer["stored"] = stored;
    answer["combined_file"] = combined.Shown();
    if (stored) {
      answer["combined_file_built"] = built;
      answer["chain_included"] = combined.chain.has_server_chain;
      answer["private_keys_left_out"] = combined.chain.had_private_key;
      answer["cleaned"] = combined.chain.is_clean;
    }
    Print(yox::JsonText(answer));
  } else if (!updated) {
    Print("not updated\n");
  } else if (!stored) {
    Print("the stored chain is deleted: " + combined.Shown() + "\n");
  } else if (!built) {
    Print("the chain is stored, but the combined file could not be written: " + combined.Shown() +
          "\n");
  } else {
    std::string text = "built " + combined.Shown() + "\n";
    if (!combined.chain.has_server_chain) {
      text += "without the document's chain, which is not a usable PEM file\n";
    }
    if (combined.chain.had_private_key) {
      text += "without the private keys of the document's chain\n";
    }
    if (!combined.chain.is_clean) {
      text += "with expired and repeated certificates: a block in it cannot be parsed\n";
    }
    Print(text);
  }
  return complete || (updated && !stored) ? kDone : kNegative;
}

int Show(const GlobalOptions& global, const PolicyOptions& options) {
  return PrintAnswers(
             global, options.documents,
             [&](const std::string& name) { return AnswerOf(ReadPolicy(name, options.form)); })
             ? kDone
             : kRefused;
}

int Accumulate(const GlobalOptions& global, const PolicyOptions& options) {
  const Answer answer = AnswerOf(Accumulated(options));
  Print(global.json ? yox::JsonText(answer.json) : answer.text);
  return kDone;
}

Option FormOption(PolicyOptions& options) {
  return {.name = "--form",
          .type = "wrapped|flat|response",
          .help =
              "How the document is written: below \"yox_config\", \"platform_policy\", in the "
              "root, or a server's response",
          .target = &options.form,
          .choices = {"wrapped", "flat", "response"}};
}

Option DocumentsOption(PolicyOptions& options) {
  return {.name = "POLICY.json",
          .help = "The policy documents; -: standard input",
          .target = &options.documents,
          .required = true};
}

Command ShowCommand() {
  const auto options = std::make_shared<PolicyOptions>();
  return {.name = "show",
          .help = "The fields of a document",
          .options = {DocumentsOption(*options), FormOption(*options)},
          .run = [options](const GlobalOptions& global) { return Show(global, *options); }};
}

Command AccumulateCommand() {
  const auto options = std::make_shared<PolicyOptions>();
  return {.name = "accumulate",
          .help = "The effective policy of several documents, the oldest first",
          .options = {DocumentsOption(*options),
                      FormOption(*options),
                      {.name = "--override-uris",
                       .help = "Each document replaces the addresses of those before it",
                       .target = &options->override_uris},
                      {.name = "--built-in",
                       .help = "Add the trust that is built into the library",
                       .target = &options->built_in}},
          .run = [options](const GlobalOptions& global) { return Accumulate(global, *options); }};
}

Command UpdateCertificatesCommand() {
  const auto options = std::make_shared<PolicyOptions>();
  return {.name = "update-certificates",
          .help = "Bring the certificate files in line with a document's chain",
          .options = {{.name = "POLICY.json",
                       .help = "The policy document; -: standard input",
                       .target = &options->document,
                       .required = true},
                      FormOption(*options)},
          .run = [options](const GlobalOptions& global) {
            return UpdateCertificates(global, *options);
          }};
}

}  // namespace

Command PolicyCommand() {
  return {.name = "policy",
          .help = "Read and merge policy documents, update the certificate files",
          .commands = {ShowCommand(), AccumulateCommand(), UpdateCertificatesCommand()}};
}

}  // namespace yoxctl
