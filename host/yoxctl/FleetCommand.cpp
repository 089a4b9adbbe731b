#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/Moment.h"
#include "yox/base/String.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/Funnel.h"
#include "yox/decision/ListDifference.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/RolloutDays.h"
#include "yox/facts/FactsLine.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/ExplanationText.h"
#include "host/yoxctl/FactsSource.h"
#include "host/yoxctl/FleetProgress.h"
#include "host/yoxctl/FleetReport.h"
#include "host/yoxctl/FleetText.h"
#include "host/yoxctl/Inventory.h"
#include "host/yoxctl/MachineAtMoment.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/RolloutCounts.h"

namespace yoxctl {
namespace {

using yox::decision::CompiledList;
using yox::decision::DaySpan;
using yox::decision::DeviceFacts;
using yox::decision::Funnel;
using yox::decision::ListComparison;
using yox::decision::ListDifference;
using yox::decision::Question;
using yox::decision::RolloutDays;
using yox::decision::Truth;
using yox::facts::LineFacts;

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kDaysWithoutRollout = 28;
constexpr std::uint32_t kMostDays = 36525;

struct FleetOptions {
  std::string list;
  std::string old_list;                // of diff
  std::optional<std::string> against;  // of report
  std::string html;                    // of report
  std::vector<std::string> facts;
  std::optional<std::string> at;
  std::optional<std::string> target_version;
  std::optional<std::size_t> days;
  std::optional<std::size_t> jobs;
  bool each = false;
  bool skip_bad = false;
};

struct List {
  explicit List(const std::string& name)
      : filter(ReadNamed(name, yox::decision::ReadFilterDocument)), compiled(filter.snapshot()) {}

  const CompiledList& operator*() const { return *compiled; }
  std::span<const ApplicabilityFilter> span() const { return {&filter, 1}; }

  ApplicabilityFilter filter;
  std::shared_ptr<const CompiledList> compiled;
};

// "2026-03-01T12:00:00Z"
std::string MomentText(std::int64_t moment) {
  const std::int64_t day =
      moment >= 0 ? moment / kSecondsPerDay : (moment + 1) / kSecondsPerDay - 1;
  const std::int64_t second = moment - day * kSecondsPerDay;
  const auto two = [](std::int64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
  };
  return DayText(day) + "T" + two(second / 3600) + ":" + two(second / 60 % 60) + ":" +
         two(second % 60) + "Z";
}

Question QuestionOf(const GlobalOptions& global, const FleetOptions& options) {
  Question question;
  if (options.at && global.now) throw Refusal("--at: is a moment as --now is; give one of them");
  question.now = global.now ? MachineAtMoment(*global.now).clock().Now()
                            : yox::platform::Platform::Get().clock().Now();
  if (options.at) {
    try {
      question.now = yox::ReadMoment(*options.at);
    } catch (const yox::DocumentError& error) {
      throw Refusal(std::string("--at: ") + error.what());
    }
  }
  if (options.target_version) {
    question.target_version = Widened("--target-version", *options.target_version);
  }
  return question;
}

// The days that a roll-out's curve shows, from `first` on if it is given; otherwise those of the
// list's roll-outs, or four weeks from now on.
DaySpan SpanOf(const FleetOptions& options, const CompiledList& list, const Question& question,
               std::optional<std::int64_t> first = {}) {
  const std::int64_t today = question.now / kSecondsPerDay;
  DaySpan span =
      yox::decision::RolloutDaysOf(list).value_or(DaySpan{today, today + kDaysWithoutRollout - 1});
  span.first = first.value_or(span.first);
  if (span.last < span.first) span.last = span.first + kDaysWithoutRollout - 1;
  if (options.days) {
    if (*options.days == 0 || *options.days > kMostDays) {
      throw Refusal("--days: expected a number from 1 to " + std::to_string(kMostDays));
    }
    span.last = span.first + static_cast<std::int64_t>(*options.days) - 1;
  }
  if (span.last - span.first >= kMostDays) {
    throw Refusal(NameOf(options.list) + ": its roll-outs take more than " +
                  std::to_string(kMostDays) + " days: choose fewer with --days");
  }
  return span;
}

// The lines of --each, which are written as they come.
struct Lines {
  std::string text;

  void Merge(const Lines& later) { Print(later.text); }
};

// Reads the fleet on all cores, each batch into a part that begins as `none`. `add(part, device)`
// is called for each device, and the parts are merged in the order of the input.
template <class Part, class Add>
Part Counted(const FleetOptions& options, const Question& question,
             std::span<const ApplicabilityFilter> lists, const Part& none, Add add) {
  Part all = none;
  FactsInput input{options.facts, options.skip_bad, options.jobs.value_or(0), lists};
  std::optional<FleetProgress> progress(std::in_place);
  const FactsCount count = ReadFleet(
      input,
      [&](FactsBatch& batch) {
        Part part = none;
        while (batch.Next()) {
          LineFacts facts(batch.line(), question);
          add(part, batch.id(), facts);
        }
        return [&all, part = std::move(part)] { all.Merge(part); };
      },
      [&](const FactsCount& now) { progress->Show(now); });
  progress.reset();
  ComplainOf(count);
  return all;
}

// A device's line of --each.
std::string EachLine(const CompiledList& list, std::string_view id, DeviceFacts& facts, bool json) {
  const yox::decision::Verdict verdict = yox::decision::Decide(list, facts);
  const bool is_known = verdict.applies != Truth::kUnknown;
  // Only a walk without an undecided filter has a reason.
  const std::string reason =
      is_known ? YOX::String::UTF16ToUTF8(yox::decision::Trace(list, facts).reason) : "";
  if (!json) {
    std::string text = OneLine(std::string(id)) + "\t";
    text += is_known ? AnswerWord(verdict.applies == Truth::kTrue) : "undetermined";
    text += "\t" + OneLine(reason);
    for (const std::string& fact : verdict.needs) text += OneLine(fact) + " ";
    text.erase(text.find_last_not_of(' ') + 1);
    return text + "\n";
  }
  Json::Value line;
  line["id"] = std::string(id);
  line["applies"] = is_known ? Json::Value(verdict.applies == Truth::kTrue) : Json::Value();
  if (verdict.decided_by) line["decided_by"] = Json::UInt64{*verdict.decided_by};
  if (!reason.empty()) line["reason"] = reason;
  for (const std::string& fact : verdict.needs) line["needs"].append(fact);
  return yox::JsonText(line, yox::JsonStyle::kReadableLine);
}

// The database that is the only source, and may decide itself; null for other sources.
std::unique_ptr<Inventory> DecidingDatabase(const FleetOptions& options) {
  const bool is_one = options.facts.size() == 1 && IsDatabase(options.facts.front());
  if (!is_one || options.skip_bad) return nullptr;
  return OpenInventory(options.facts.front(), false);
}

std::string Document(const List& list) { return yox::decision::WriteFilterDocument(list.filter); }

std::optional<Funnel> CountedInDatabase(const FleetOptions& options, const List& list,
                                        const Question& question) {
  const auto database = DecidingDatabase(options);
  return database ? database->Count(Document(list), question) : std::nullopt;
}

std::optional<RolloutCounts> DaysCountedInDatabase(const FleetOptions& options, const List& list,
                                                   const RolloutDays& days,
                                                   const Question& question) {
  const auto database = DecidingDatabase(options);
  if (!database) return std::nullopt;
  const auto numbers = database->CountDays(Document(list), days.span(), question);
  if (!numbers) return std::nullopt;
  std::vector<RolloutCounts::Count> counts(days.size());
  if (numbers->empty()) return RolloutCounts(days, 0, std::move(counts));  // no device
  if (numbers->size() != 1 + 2 * counts.size()) {
    throw Refusal(NameOfDatabase(options.facts.front()) + ": expected counts of " +
                  std::to_string(counts.size()) + " days, found " +
                  std::to_string(numbers->size()) + " numbers");
  }
  for (std::size_t day = 0; day < counts.size(); ++day) {
    counts[day] = {(*numbers)[1 + 2 * day], (*numbers)[2 + 2 * day]};
  }
  return RolloutCounts(days, numbers->front(), std::move(counts));
}

// The database decides both lists on all devices; those that change are decided here once more, to
// see where.
std::optional<ListDifference> ComparedInDatabase(const FleetOptions& options, const List& before,
                                                 const List& after, const ListComparison& lists,
                                                 const Question& question) {
  const auto database = DecidingDatabase(options);
  if (!database) return std::nullopt;
  ListDifference difference;
  yox::facts::FactsLine line;
  std::string padded;
  const auto add = [&](const std::string& facts) {
    padded.assign(facts).append(yox::facts::FactsLine::kPadding, ' ');
    line.Read(std::string_view(padded).substr(0, facts.size()));
    LineFacts device(line, question);
    difference.Add(lists, device, line.id());
  };
  const auto funnel = database->Compare(Document(before), Document(after), question, add);
  if (!funnel) return std::nullopt;
  const auto add_rest = [&](Truth verdict, std::uint64_t devices) {
    std::uint64_t changed = 0;
    for (const Truth now : {Truth::kFalse, Truth::kTrue, Truth::kUnknown}) {
      changed += difference.Count(verdict, now);
    }
    difference.AddSame(verdict, devices - std::min(devices, changed));
  };
  add_rest(Truth::kTrue, funnel->applies());
  add_rest(Truth::kFalse, funnel->does_not_apply());
  add_rest(Truth::kUnknown, funnel->undetermined());
  return difference;
}

int Decide(const GlobalOptions& global, const FleetOptions& options) {
  const List list(options.list);
  const Question question = QuestionOf(global, options);
  if (options.each) {
    Counted(options, question, list.span(), Lines(),
            [&](Lines& lines, std::string_view id, DeviceFacts& facts) {
              lines.text += EachLine(*list, id, facts, global.json);
            });
    return kDone;
  }
  std::optional<Funnel> all = CountedInDatabase(options, list, question);
  if (!all) {
    all = Counted(
        options, question, list.span(), Funnel(),
        [&](Funnel& funnel, std::string_view, DeviceFacts& facts) { funnel.Add(*list, facts); });
  }
  Print(global.json ? all->ToJsonText() : FunnelText(*all, *list, PainterOfOutput(global.colours)));
  return kDone;
}

int Diff(const GlobalOptions& global, const FleetOptions& options) {
  const List before(options.old_list);
  const List after(options.list);
  const ApplicabilityFilter both[] = {before.filter, after.filter};
  const ListComparison lists(before.compiled, after.compiled);
  const Question question = QuestionOf(global, options);
  std::optional<ListDifference> all = ComparedInDatabase(options, before, after, lists, question);
  if (!all) {
    all = Counted(options, question, both, ListDifference(),
                  [&](ListDifference& difference, std::string_view id, DeviceFacts& facts) {
                    difference.Add(lists, facts, id);
                  });
  }
  Print(global.json ? all->ToJsonText() : DifferenceText(*all, PainterOfOutput(global.colours)));
  return all->HasChanges() ? kNegative : kDone;
}

int Rollout(const GlobalOptions& global, const FleetOptions& options) {
  const List list(options.list);
  const Question question = QuestionOf(global, options);
  std::optional<std::int64_t> first;
  if (options.at || global.now) first = question.now / kSecondsPerDay;
  const RolloutDays days(*list, SpanOf(options, *list, question, first), question);
  std::optional<RolloutCounts> all = DaysCountedInDatabase(options, list, days, question);
  if (!all) {
    all = Counted(options, question, list.span(), RolloutCounts(days),
                  [&](RolloutCounts& counts, std::string_view, DeviceFacts& facts) {
                    counts.Add(*list, facts);
                  });
  }
  Print(global.json ? yox::JsonText(RolloutJson(*all)) : RolloutText(*all));
  return kDone;
}

// Everything that a report shows, of some devices.
struct ReportPart {
  Funnel funnel;
  RolloutCounts rollout;
  ListDifference difference;
  ReportTable table;

  void Merge(const ReportPart& later) {
    funnel.Merge(later.funnel);
    rollout.Merge(later.rollout);
    difference.Merge(later.difference);
    table.Append(later.table);
  }
};

std::string SizeText(std::size_t bytes) {
  const std::size_t tenths = (bytes * 10 + (1 << 19)) >> 20;
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " MiB";
}

int Report(const GlobalOptions& global, const FleetOptions& options) {
  const List list(options.list);
  std::optional<List> before;
  std::vector<ApplicabilityFilter> filters = {list.filter};
  std::optional<ListComparison> lists;
  if (options.against) {
    before.emplace(*options.against);
    filters.push_back(before->filter);
    lists.emplace(before->compiled, list.compiled);
  }
  const Question question = QuestionOf(global, options);
  const RolloutDays days(*list, SpanOf(options, *list, question), question);
  const ReportPart none{Funnel(), RolloutCounts(days), ListDifference(),
                        ReportTable(*list, lists.has_value())};
  const ReportPart all = Counted(options, question, filters, none,
                                 [&](ReportPart& part, std::string_view id, DeviceFacts& facts) {
                                   const yox::decision::Verdict verdict =
                                       part.funnel.Add(*list, facts);
                                   std::optional<Truth> was;
                                   if (lists) was = part.difference.Add(*lists, facts, id).before;
                                   part.rollout.Add(*list, facts);
                                   part.table.Add(id, {verdict, was}, facts);
                                 });
  const std::string page = ToHtml({options.list, options.against, MomentText(question.now),
                                   options.target_version, options.facts, *list, all.funnel,
                                   all.rollout, lists ? &all.difference : nullptr, all.table});
  WriteFile(options.html, page);
  if (global.json) {
    Json::Value json;
    json["file"] = options.html;
    json["devices"] = Json::UInt64{all.funnel.devices()};
    json["bytes"] = Json::UInt64{page.size()};
    json["table_memory"] = Json::UInt64{all.table.bytes()};
    Print(yox::JsonText(json));
  } else {
    Print(OneLine(options.html) + ": " + std::to_string(all.funnel.devices()) + " devices, " +
          SizeText(page.size()) + "; the table took " + SizeText(all.table.bytes()) +
          " of memory\n");
  }
  return kDone;
}

using Options = std::shared_ptr<FleetOptions>;

Option ListOption(const Options& options) {
  return {
      .name = "LIST.json", .help = "The filter list", .target = &options->list, .required = true};
}

// A subcommand with the options that all have, and its own before them.
Command FleetSubcommand(const Options& options, const char* name, const char* help,
                        std::vector<Option> own,
                        int (*run)(const GlobalOptions&, const FleetOptions&)) {
  std::vector<Option> all = std::move(own);
  const Option common[] = {
      {.name = "--facts",
       .type = "SOURCE",
       .help = "The facts of the devices: a file (.jsonl, .jsonl.gz), a directory of facts or "
               "profiles, a database (postgresql://..., .db, .sqlite), or - for standard input; "
               "may be given several times",
       .target = &options->facts,
       .required = true},
      {.name = "--at",
       .type = "DATETIME",
       .help = "Decide for this moment, such as 2026-03-01T12:00:00+01:00, instead of now",
       .target = &options->at},
      {.name = "--target-version",
       .type = "V",
       .help = "The version that the content is for",
       .target = &options->target_version},
      {.name = "--jobs",
       .type = "N",
       .help = "Use this many threads instead of one for each core",
       .target = &options->jobs},
      {.name = "--skip-bad",
       .help = "Leave out what is no facts document, and say how many these are",
       .target = &options->skip_bad}};
  all.insert(all.end(), std::begin(common), std::end(common));
  return {.name = name,
          .help = help,
          .options = std::move(all),
          .run = [options, run](const GlobalOptions& global) {
            if (global.device || global.state_dir) {
              throw Refusal(
                  "fleet: --facts names the devices: --device and --state-dir are not for it");
            }
            return run(global, *options);
          }};
}

}  // namespace

Command FleetCommand() {
  const auto options = std::make_shared<FleetOptions>();
  const Option each = {.name = "--each",
                       .help =
                           "Write a line for each device, in the order of the input, instead "
                           "of counts",
                       .target = &options->each};
  const Option days = {
      .name = "--days", .type = "N", .help = "Show this many days", .target = &options->days};
  return {
      .name = "fleet",
      .help = "What a filter list decides on many devices",
      .commands = {
          FleetSubcommand(options, "decide",
                          "How many devices the list applies to, and which criteria exclude how "
                          "many",
                          {ListOption(options), each}, Decide),
          FleetSubcommand(options, "diff",
                          "Which devices gain and lose by a change of the list, and by which "
                          "criterion",
                          {{.name = "OLD.json",
                            .help = "The list as it was",
                            .target = &options->old_list,
                            .required = true},
                           {.name = "NEW.json",
                            .help = "The list as it is to be",
                            .target = &options->list,
                            .required = true}},
                          Diff),
          FleetSubcommand(options, "rollout", "How many devices the list applies to on each day",
                          {ListOption(options), days}, Rollout),
          FleetSubcommand(options, "report", "A page about the list and the fleet, for a browser",
                          {ListOption(options),
                           {.name = "--against",
                            .type = "OLD.json",
                            .help = "Show what changes against this list",
                            .target = &options->against},
                           {.name = "--html",
                            .type = "FILE",
                            .help = "Write the page into this file",
                            .target = &options->html,
                            .required = true},
                           days},
                          Report),
          FleetImportCommand(),
          FleetCollectCommand(),
      }};
}

}  // namespace yoxctl
