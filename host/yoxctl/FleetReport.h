#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "yox/decision/Decide.h"
#include "yox/decision/Funnel.h"
#include "yox/decision/ListDifference.h"

#include "host/yoxctl/RolloutCounts.h"

namespace yoxctl {

// The rows of a report's table: one for each device, in the order of the input. A value without a
// lock; its memory grows with the number of devices, each different text of a column being kept
// once.
class ReportTable {
 public:
  // The columns that show what the list asks for. With changes, each row has two verdicts.
  ReportTable(const yox::decision::CompiledList& list, bool has_changes);

  struct Verdicts {
    const yox::decision::Verdict& now;
    std::optional<yox::decision::Truth> before = {};
  };
  void Add(std::string_view id, const Verdicts& verdicts, yox::decision::DeviceFacts& facts);
  // Appends the rows of devices that come after the ones that are here.
  void Append(const ReportTable& later);

  std::size_t size() const { return ids_.size(); }
  // Approximately, of what is kept.
  std::size_t bytes() const;
  // {"ids": [...], "verdicts": "0120...", "changes": "...", "columns": [{"name", "texts",
  // "index"}]}
  std::string ToJsonText() const;

 private:
  // A text fact, or a tag that the list names.
  struct Source {
    FilterField field;
    std::optional<yox::decision::TextPattern> tag;  // a view of the list
  };
  class Column {
   public:
    explicit Column(std::string column_name) : name(std::move(column_name)) {}
    void Add(const std::string& text);
    void Append(const Column& later);
    std::size_t bytes() const;

    std::string name;
    std::vector<std::string> texts;
    std::vector<std::uint32_t> index;

   private:
    std::unordered_map<std::string, std::uint32_t> known_;
  };

  std::vector<Source> sources_;
  std::vector<std::string> ids_;
  std::string verdicts_;  // a digit for each, by Truth
  std::string changes_;   // the same: remains, gains, loses, other
  bool has_changes_;
  std::vector<Column> columns_;  // why, and one for each source
};

// What a report shows. Texts are UTF-8.
struct FleetReport {
  std::string title;                   // the list's name
  std::optional<std::string> against;  // the name of the list before
  std::string at;                      // the moment of the decision
  std::optional<std::string> target_version;
  std::vector<std::string> sources;
  const yox::decision::CompiledList& list;
  const yox::decision::Funnel& funnel;
  const RolloutCounts& rollout;
  const yox::decision::ListDifference* difference = nullptr;
  const ReportTable& table;
};

// Returns the counts of each day: {"devices": ..., "days": [{"date", "in", "at_most"}, ...]}.
Json::Value RolloutJson(const RolloutCounts& counts);

// Returns the report as an HTML page that loads nothing: its data, styles and script are in it.
std::string ToHtml(const FleetReport& report);

}  // namespace yoxctl
