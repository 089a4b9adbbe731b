#include <filesystem>

#include "yox/base/Document.h"
#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/ServiceConnection.h"

namespace yoxctl {
namespace {

struct Arguments {
  std::optional<std::string> socket;
  bool metrics = false;
};

std::string SocketOf(const Arguments& arguments, const GlobalOptions& global) {
  if (arguments.socket) return *arguments.socket;
  if (!global.state_dir) return DefaultServiceSocket();
  std::filesystem::path folder = PathOf(*global.state_dir);
  if (global.device) folder /= "State";  // as a simulated device divides its folder
  return PathText(folder / "yoxd" / "yoxd.sock");
}

Json::Value Parsed(const std::string& text) {
  Json::Value status;
  try {
    status = yox::ParseDocument(text);
  } catch (const yox::DocumentError&) {  // NOLINT(bugprone-empty-catch): refused below
  }
  if (!status.isObject()) throw Refusal("status: the service's answer is no JSON object");
  return status;
}

bool IsHealthy(const Json::Value& status) {
  return status["provisioning"]["done"].asBool() &&
         status["connection"]["state"].asString() == "connected" &&
         !status["errors"]["critical"].asBool();
}

std::string Row(const std::string& name, const std::string& value) {
  return OneLine(name + std::string(name.size() < 13 ? 13 - name.size() : 1, ' ') + value) + "\n";
}

// "a: b", or what there is of the two.
std::string With(const std::string& text, const std::string& problem) {
  return problem.empty() ? text : text.empty() ? problem : text + ": " + problem;
}

std::string Text(const Json::Value& status) {
  const Json::Value& connection = status["connection"];
  const Json::Value& queue = status["queue"];
  const Json::Value& policy = status["policy"];
  std::string text =
      Row("service",
          "yoxd " + status["version"].asString() + ", since " + status["started"].asString()) +
      Row("device", status["device_id"].asString() + " (" + status["device"].asString() + ")") +
      Row("provisioned", With(status["provisioning"]["done"].asBool() ? "yes" : "no",
                              status["provisioning"]["problem"].asString())) +
      Row("policy",
          policy["url"].asString().empty()
              ? "not fetched: no api_baseuri"
              : With(policy["url"].asString() + (policy["fetched"].asString().empty()
                                                     ? ""
                                                     : ", fetched " + policy["fetched"].asString()),
                     policy["problem"].asString())) +
      Row("connection",
          With(connection["state"].asString() + (connection["server"].asString().empty()
                                                     ? ""
                                                     : " " + connection["server"].asString()),
               connection["problem"].asString())) +
      Row("messages", connection["received"].asString() + " received, " +
                          connection["acknowledged"].asString() + " sent, " +
                          queue["messages"].asString() + " waiting to be sent, " +
                          queue["dropped"].asString() + " dropped");
  for (const Json::Value& error : status["errors"]["counts"]) {
    text +=
        Row("error", error["gateway"].asString() + " " + error["code"].asString() + ", " +
                         error["count"].asString() + " times, last " + error["last"].asString() +
                         (error["critical"].asBool() ? ", critical" : ""));
  }
  for (const Json::Value& list : status["lists"]) {
    text +=
        Row("list", list["content"].asString() +
                        (list["applies"].asBool() ? " applies" : " does not apply") + ", since " +
                        list["decided"].asString() + ": " + list["reason"].asString());
  }
  for (const Json::Value& refusal : status["refused"]) {
    text += Row("refused", refusal["content"].asString() + ": " + refusal["error"].asString());
  }
  return text;
}

int Status(const Arguments& arguments, const GlobalOptions& global) {
  const std::string socket = SocketOf(arguments, global);
  if (arguments.metrics) {
    Print(AskService(socket, "/metrics"));
    return kDone;
  }
  const Json::Value status = Parsed(AskService(socket, "/status"));
  Print(global.json ? yox::JsonText(status) : Text(status));
  return IsHealthy(status) ? kDone : kNegative;
}

}  // namespace

Command StatusCommand() {
  const auto arguments = std::make_shared<Arguments>();
  return {.name = "status",
          .help = "What the running service says of itself: connection, queue, decisions, errors",
          .options = {{.name = "--socket",
                       .type = "PATH",
                       .help = "The service's socket, or its pipe",
                       .target = &arguments->socket,
                       .initial = DefaultServiceSocket()},
                      {.name = "--metrics",
                       .help = "Print the numbers as OpenMetrics text",
                       .target = &arguments->metrics}},
          .run = [arguments](const GlobalOptions& global) { return Status(*arguments, global); }};
}

}  // namespace yoxctl
