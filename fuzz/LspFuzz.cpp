#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FleetLint.h"
#include "yox/decision/PreparedDevice.h"

#include "fuzz/FuzzInput.h"
#include "host/yoxctl/LanguageServer.h"

namespace {

// What the server sends is a message of the protocol, with places that the document has.
void CheckMessages(const std::vector<Json::Value>& messages) {
  for (const Json::Value& message : messages) {
    FUZZ_CHECK(message["jsonrpc"] == "2.0");
    FUZZ_CHECK(message.isMember("method") != message.isMember("id"));
    FUZZ_CHECK(!message.isMember("id") || message.isMember("result") != message.isMember("error"));
    const std::string text = yox::JsonText(message, yox::JsonStyle::kCompact);
    FUZZ_CHECK(YOX::String::IsValidUTF8(text));
    for (const Json::Value& one : message["params"]["diagnostics"]) {
      const Json::Value& range = one["range"];
      const auto order = [](const Json::Value& place) {
        return std::pair(place["line"].asUInt64(), place["character"].asUInt64());
      };
      FUZZ_CHECK(order(range["start"]) <= order(range["end"]));
    }
  }
}

std::vector<yox::decision::LintFinding> FindingsOnADevice(const ApplicabilityFilter& list) {
  using namespace yox::decision;
  static const PreparedDevice device(ReadFacts(
      R"({"country": "DE", "mfr": "Contoso Ltd.", "model": "FA14-2210", "tags": {"Ring": "beta"}})"));
  const Question question;
  PreparedFacts facts(device, question);
  FleetLint lint(list);
  FleetLint::Tally tally(lint);
  tally.Add(facts);
  lint.Add(tally);
  return lint.Findings();
}

}  // namespace

// A session: each line is the content of a message, and after each line without a message what was
// edited is checked, and the fleet is asked once.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  yoxctl::LanguageServer::Settings settings;
  settings.today = {2026, 3, 1};
  settings.fleet_count = [](const std::string& list) {
    return list.size() % 2 == 0 ? std::string() : std::string("1 of 2");
  };
  std::size_t lists = 0;
  settings.fleet_lint = [&lists](const ApplicabilityFilter& list) {
    if (++lists % 5 == 0) throw std::runtime_error("no fleet");
    return FindingsOnADevice(list);
  };
  settings.fleet_state = [&lists] { return std::to_string(lists / 3); };
  yoxctl::LanguageServer server(std::move(settings));
  yox_fuzz::FuzzInput input(data, size);
  for (std::string_view rest = input.Rest(); !rest.empty() && !server.has_ended();) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    CheckMessages(line.empty() ? server.CheckEdited() : server.Take(line));
    if (const auto work = line.empty() ? server.TakeFleetWork() : nullptr) CheckMessages(work()());
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  CheckMessages(server.CheckEdited());
  return 0;
}
