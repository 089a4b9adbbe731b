#pragma once

#include <json/value.h>

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/LocalDate.h"
#include "yox/decision/FilterFields.h"
#include "yox/decision/Lint.h"

#include "host/yoxctl/FleetKnowledge.h"

namespace yoxctl {

// The language server for filter lists and their tests: a function from the messages of an editor
// to those that it receives, by the Language Server Protocol 3.17. Documents are what the editor
// has open. It never throws for what an editor sends. For one thread.
class LanguageServer {
 public:
  struct Settings {
    yox::LocalDate today;
    // What the chosen device has where a field is looked at, one line; empty: nothing is shown.
    std::function<std::string(yox::decision::FilterField field, const std::string& text)> device;
    // How many devices of the fleet a list applies to, "12,480 of 20,000"; empty for what is no
    // list. An empty function if there is no fleet.
    std::function<std::string(const std::string& list)> fleet_count;
    // What no device of the fleet has. These two may take long, throw, and are called without any
    // of the server's members.
    std::function<std::vector<yox::decision::LintFinding>(const ApplicabilityFilter& list)>
        fleet_lint;
    // A text that changes when the fleet does.
    std::function<std::string()> fleet_state;
  };

  // Asks the fleet, and returns what then completes the answer: a function that returns messages.
  using FleetWork = std::function<std::function<std::vector<Json::Value>()>()>;

  explicit LanguageServer(Settings settings);

  // Takes one message of the editor and returns those for it, in their order.
  std::vector<Json::Value> Take(std::string_view message);

  // Diagnostics of the documents that were edited. Called when no message is waiting, so that a
  // text that is being typed is checked once.
  std::vector<Json::Value> CheckEdited();

  // Returns what is to be asked of the fleet, or an empty function. It may be called on another
  // thread while messages are taken; what it returns belongs to the server's thread again.
  FleetWork TakeFleetWork();

  bool has_ended() const { return has_ended_; }
  // 0 if the editor said that it would shut down, else 1.
  int exit_code() const { return has_shut_down_ ? 0 : 1; }

 private:
  struct Document {
    std::string text;
    std::int64_t version = 0;
    std::vector<yox::decision::LintFinding> findings = {};
  };

  using Handler = Json::Value (LanguageServer::*)(const Json::Value& params);
  struct Method {
    std::string_view name;
    Handler handler;
  };
  static const Method kRequests[];

  Json::Value Initialize(const Json::Value& params);
  Json::Value Shutdown(const Json::Value& params);
  Json::Value Hover(const Json::Value& params);
  Json::Value Completion(const Json::Value& params);
  Json::Value CodeAction(const Json::Value& params);
  Json::Value Formatting(const Json::Value& params);
  Json::Value Definition(const Json::Value& params);

  // A request for the number of devices, which is answered later.
  struct LensRequest {
    Json::Value id;
    std::string uri;
    std::string text;
  };

  std::vector<Json::Value> AskForLens(const Json::Value& id, const Json::Value& params);
  FleetWork CountWork(LensRequest request) const;
  FleetWork LintWork(std::set<CriterionText> criteria);
  void Notify(std::string_view method, const Json::Value& params);
  void Open(const Json::Value& params);
  void Change(const Json::Value& params);
  Json::Value Check(const std::string& uri, Document& document);
  Document& Of(const Json::Value& params);
  void AddFieldKeys(const std::vector<std::string>& present, bool quoted, Json::Value& items) const;
  void AddWords(yox::decision::FilterField field, Json::Value& items) const;

  const Settings settings_;
  std::map<std::string, Document> documents_;
  std::set<std::string> edited_;  // URIs whose diagnostics are due
  std::vector<Json::Value> due_;  // diagnostics of closed documents
  std::vector<LensRequest> lenses_;
  FleetKnowledge fleet_;
  std::set<CriterionText> unknown_;  // criteria that the fleet is to be asked for
  std::string fleet_state_;
  std::string fleet_trouble_;  // what was last said of it
  bool has_shut_down_ = false;
  bool has_ended_ = false;
};

}  // namespace yoxctl
