#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "yox/applicability/SimulatedProcess.h"
#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/clientbase/EpUrlProvider.h"
#include "yox/clientbase/SMBiosInformationRetriever.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/RolloutForecast.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/RolloutPlot.h"

using yox::applicability::FactsOf;
using yox::decision::Calendar;
using yox::decision::FilterField;
using yox::decision::PreparedDevice;
using yox::decision::ReadFilterDocument;
using yox::decision::RolloutForecast;

namespace yoxctl {
namespace {

using YOX::String;
using yox::WString;

struct RolloutOptions {
  std::vector<std::string> lists;
  std::optional<std::string> function;
  std::optional<std::size_t> filter;
  std::optional<std::string> serial_number;
  std::optional<std::string> organisation;
  std::optional<std::string> profiles;
  std::optional<std::string> plot;
};

// The buckets of a device; the function determines which of them counts.
struct Buckets {
  int device = 0;
  int organisation = 0;

  int Of(const RolloutForecast& forecast) const {
    return forecast.by_organisation() ? organisation : device;
  }
};

struct Rollout {
  std::optional<std::size_t> filter;  // of a list
  std::string function;
  RolloutForecast forecast;
};

// The first day of the device or organisation in the arguments.
struct Asked {
  std::string name;
  int bucket = 0;
  int day = 1;
};

// Each filter of a list may name a century, and the output has a row for each day.
constexpr std::int64_t kMostDays = 1'000'000;

RolloutForecast ForecastOf(const std::string& place, const WString& function) {
  try {
    return RolloutForecast(function, Calendar::Of(yox::platform::Platform::Get().clock()));
  } catch (const yox::DocumentError& error) {
    throw Refusal(place + ": " + error.what());
  }
}

Rollout RolloutOf(const std::string& function) {
  return {{}, function, ForecastOf("--function", Widened("--function", function))};
}

std::vector<Rollout> RolloutsOf(const std::string& name, const ApplicabilityFilter& list,
                                const RolloutOptions& options) {
  std::vector<Rollout> rollouts;
  const auto filters = list.filters();
  std::int64_t days = 0;
  for (std::size_t i = 0; i < filters.size(); ++i) {
    if (!filters[i].IsSet(FilterField::date_function)) continue;
    if (options.filter && *options.filter != i) continue;
    const WString function = filters[i].date_function();
    const std::string place = NameOf(name) + ": filter [" + std::to_string(i) + "]: date_function";
    rollouts.push_back({i, String::UTF16ToUTF8(function), ForecastOf(place, function)});
    days += rollouts.back().forecast.days();
    if (days > kMostDays) {
      throw Refusal(NameOf(name) + ": the roll-outs take more than " + std::to_string(kMostDays) +
                    " days together: choose one with --filter");
    }
  }
  if (options.filter && rollouts.empty()) {
    throw Refusal("--filter: the list has no date_function in filter " +
                  std::to_string(*options.filter));
  }
  return rollouts;
}

// Of the device of a profile, as a decision on it sees them.
Buckets BucketsOf(const yox::platform::DeviceProfile& profile) {
  yox::platform::SimulatedDevice device(profile);
  const yox::platform::ScopedPlatform installed(device);
  WString serial_number;
  if (const auto* const firmware = SMBiosInformationRetriever::GetInstance()) {
    serial_number = firmware->GetSerialNumber();
  }
  WString realm;
  if (const auto* const provider = YOX::EpUrlProvider::GetInstance()) provider->GetRealm(realm);
  return {RolloutForecast::BucketOf(serial_number), RolloutForecast::BucketOf(realm)};
}

// Returns what `read` returns for each profile in the folder.
template <class Value>
std::vector<Value> ReadProfiles(
    const std::string& argument,
    const std::function<Value(const yox::platform::DeviceProfile&)>& read) {
  std::error_code error;
  std::vector<std::filesystem::path> files;
  for (std::filesystem::directory_iterator entry(PathOf(argument), error), end;
       !error && entry != end; entry.increment(error)) {
    if (entry->path().extension() == ".json") files.push_back(entry->path());
  }
  if (error) throw Refusal(NameOf(argument) + ": " + error.message());
  if (files.empty()) throw Refusal(NameOf(argument) + ": has no profile, *.json");
  std::ranges::sort(files);
  std::vector<Value> values;
  values.reserve(files.size());
  for (const auto& file : files) {
    values.push_back(read(ReadNamed(PathText(file), yox::platform::ReadDeviceProfile)));
  }
  return values;
}

// How many are in on each day, by the function alone.
std::vector<std::size_t> CountsOf(const RolloutForecast& forecast,
                                  const std::vector<Buckets>& devices) {
  std::vector<std::size_t> counts;
  if (devices.empty()) return counts;
  counts.resize(static_cast<std::size_t>(forecast.days()));
  for (const Buckets& device : devices) {
    ++counts[static_cast<std::size_t>(forecast.FirstDayOf(device.Of(forecast)) - 1)];
  }
  for (std::size_t day = 1; day < counts.size(); ++day) counts[day] += counts[day - 1];
  return counts;
}

// How many devices the whole list applies to on each day of a roll-out, at noon.
std::vector<std::size_t> CountsOf(const RolloutForecast& forecast, const ApplicabilityFilter& list,
                                  const std::vector<PreparedDevice>& devices) {
  const ApplicabilityFilter::Lease compiled(list);
  std::vector<std::size_t> counts(static_cast<std::size_t>(forecast.days()));
  for (const PreparedDevice& device : devices) {
    for (int day = 1; day <= forecast.days(); ++day) {
      const yox::decision::Question question{forecast.NoonOf(day)};
      yox::decision::PreparedFacts facts(device, question);
      if (yox::decision::Decide(*compiled, facts).applies == yox::decision::Truth::kTrue) {
        ++counts[static_cast<std::size_t>(day - 1)];
      }
    }
  }
  return counts;
}

std::optional<Asked> AskedOf(const RolloutForecast& forecast, const RolloutOptions& options) {
  const bool by_organisation = forecast.by_organisation();
  const auto& name = by_organisation ? options.organisation : options.serial_number;
  if (!name) return std::nullopt;
  const char* const option = by_organisation ? "--organisation" : "--serial-number";
  const int bucket = RolloutForecast::BucketOf(Widened(option, *name));
  return Asked{*name, bucket, forecast.FirstDayOf(bucket)};
}

std::string Units(const RolloutForecast& forecast) {
  return forecast.by_organisation() ? "organisations" : "devices";
}

std::string Counted(std::int64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string TodayText(const RolloutForecast& forecast, std::int64_t day) {
  if (day == 0) return "has not begun";
  if (day > forecast.days()) return "is complete";
  return "is at day " + std::to_string(day) + ", " +
         PercentText(static_cast<std::size_t>(forecast.BucketsOn(day)), RolloutForecast::kBuckets);
}

std::string RightAligned(const std::string& text, std::size_t size) {
  return std::string(size - std::min(size, text.size()), ' ') + text;
}

std::string ToText(const Rollout& rollout, const RolloutOptions& options,
                   const std::vector<std::size_t>& counts, std::int64_t today) {
  const RolloutForecast& forecast = rollout.forecast;
  const std::optional<Asked> asked = AskedOf(forecast, options);
  std::string text;
  if (rollout.filter) text += "filter [" + std::to_string(*rollout.filter) + "]: ";
  text += yox::Printable(rollout.function) + "\n" + Counted(forecast.days(), "day") + ", by " +
          (forecast.by_organisation() ? "organisation" : "device") + "; " +
          TodayText(forecast, today) + "\n";
  if (!forecast.has_known_growth()) {
    text += "the growth is unknown: no device is in before the last day\n";
  }
  if (asked) {
    text += NameOf(asked->name) + ": bucket " + std::to_string(asked->bucket) + ", in from " +
            DateText(forecast.DateOf(asked->day)) + " on (day " + std::to_string(asked->day) +
            ")\n";
  } else if (options.serial_number || options.organisation) {
    text += std::string(forecast.by_organisation() ? "the serial number" : "the organisation") +
            " does not count here\n";
  }
  text += "\n  day  date           share  buckets";
  if (!counts.empty()) text += "  profiles";
  text += "\n";
  for (int day = 1; day <= forecast.days(); ++day) {
    const int buckets = forecast.BucketsOn(day);
    text +=
        RightAligned(std::to_string(day), 5) + "  " + DateText(forecast.DateOf(day)) + "  " +
        RightAligned(PercentText(static_cast<std::size_t>(buckets), RolloutForecast::kBuckets), 8) +
        RightAligned(std::to_string(buckets), 9);
    if (!counts.empty()) {
      text += RightAligned(std::to_string(counts[static_cast<std::size_t>(day - 1)]), 10);
    }
    if (day == today) text += "  <- today";
    if (asked && asked->day == day) text += "  <- " + NameOf(asked->name);
    text += "\n";
  }
  return text;
}

Json::Value ToJson(const Rollout& rollout, const RolloutOptions& options,
                   const std::vector<std::size_t>& counts, std::int64_t today) {
  const RolloutForecast& forecast = rollout.forecast;
  Json::Value json;
  if (rollout.filter) json["filter"] = Json::UInt64{*rollout.filter};
  json["function"] = rollout.function;
  json["by"] = forecast.by_organisation() ? "organisation" : "device";
  json["days"] = forecast.days();
  json["today"] = Json::Int64{today};
  if (const std::optional<Asked> asked = AskedOf(forecast, options)) {
    Json::Value& first = json["first_day"];
    first["name"] = asked->name;
    first["bucket"] = asked->bucket;
    first["day"] = asked->day;
    first["date"] = DateText(forecast.DateOf(asked->day));
  }
  Json::Value& rows = json["forecast"] = Json::Value(Json::arrayValue);
  for (int day = 1; day <= forecast.days(); ++day) {
    Json::Value& row = rows.append(Json::objectValue);
    const int buckets = forecast.BucketsOn(day);
    row["day"] = day;
    row["date"] = DateText(forecast.DateOf(day));
    row["buckets"] = buckets;
    row["share"] = static_cast<double>(buckets) / RolloutForecast::kBuckets;
    if (!counts.empty()) {
      row["profiles"] = Json::UInt64{counts[static_cast<std::size_t>(day - 1)]};
    }
  }
  return json;
}

void Plot(const Rollout& rollout, const RolloutOptions& options,
          const std::vector<std::size_t>& counts, std::int64_t now) {
  const RolloutForecast& forecast = rollout.forecast;
  RolloutPlot plot{forecast,
                   "Roll-out to " + Units(forecast) + " from " + DateText(forecast.DateOf(1)) +
                       " on, " + Counted(forecast.days(), "day"),
                   rollout.function,
                   now,
                   {},
                   counts,
                   counts.empty() ? 0 : counts.back()};
  if (const std::optional<Asked> asked = AskedOf(forecast, options)) {
    plot.mark = {NameOf(asked->name) + ": from " + DateText(forecast.DateOf(asked->day)) +
                     " on (day " + std::to_string(asked->day) + ")",
                 asked->day};
  }
  WriteFile(*options.plot, ToSvg(plot));
}

// The devices of --profiles: their buckets if only a function is given, all their facts where a
// list is.
struct Fleet {
  std::vector<Buckets> buckets;
  std::vector<PreparedDevice> devices;
  ApplicabilityFilter list;

  std::size_t size() const { return buckets.size() + devices.size(); }
  std::vector<std::size_t> CountsOf(const RolloutForecast& forecast) const {
    return devices.empty() ? yoxctl::CountsOf(forecast, buckets)
                           : yoxctl::CountsOf(forecast, list, devices);
  }
};

// `list` is null if only a function is given.
Fleet FleetOf(const RolloutOptions& options, const ApplicabilityFilter* list) {
  Fleet fleet;
  if (!options.profiles) return fleet;
  if (list == nullptr) {
    fleet.buckets = ReadProfiles<Buckets>(*options.profiles, BucketsOf);
    return fleet;
  }
  fleet.list = *list;
  fleet.devices = ReadProfiles<PreparedDevice>(*options.profiles, [&](const auto& profile) {
    return PreparedDevice(FactsOf(profile, std::span(&fleet.list, 1)));
  });
  return fleet;
}

// The forecasts of a list, or of a function alone.
Answer AnswerOf(const GlobalOptions& global, const RolloutOptions& options,
                const std::vector<Rollout>& rollouts, const Fleet& fleet) {
  if (options.plot && rollouts.size() > 1) {
    throw Refusal("--plot: the list has " + std::to_string(rollouts.size()) +
                  " roll-outs: choose one with --filter");
  }
  const std::int64_t now = yox::platform::Platform::Get().clock().Now();
  Answer answer;
  answer.json["rollouts"] = Json::Value(Json::arrayValue);
  if (options.profiles) answer.json["profiles"] = Json::UInt64{fleet.size()};
  for (const Rollout& rollout : rollouts) {
    const std::vector<std::size_t> counts = fleet.CountsOf(rollout.forecast);
    const std::int64_t today = rollout.forecast.DayAt(now);
    if (options.plot) Plot(rollout, options, counts, now);
    if (global.json) {
      answer.json["rollouts"].append(ToJson(rollout, options, counts, today));
    } else {
      answer.text += (answer.text.empty() ? "" : "\n") + ToText(rollout, options, counts, today);
    }
  }
  if (rollouts.empty()) answer.text = "no roll-out in the list\n";
  return answer;
}

int Forecast(const GlobalOptions& global, const RolloutOptions& options) {
  if (options.lists.empty() != options.function.has_value()) {
    throw Refusal("expected either a LIST.json or --function");
  }
  if (options.function && options.filter) throw Refusal("--filter: there is no list");
  const ChosenDevice device(global);
  if (options.function) {
    const std::vector<Rollout> rollouts = {RolloutOf(*options.function)};
    const Answer answer = AnswerOf(global, options, rollouts, FleetOf(options, nullptr));
    Print(global.json ? yox::JsonText(answer.json) : answer.text);
    return kDone;
  }
  const std::vector<std::string> names = ExpandFolders(options.lists, IsFilterList);
  if (options.plot && names.size() > 1) throw Refusal("--plot: draws the curve of one list");
  bool any = false;
  const bool readable = PrintAnswers(global, names, [&](const std::string& name) {
    const ApplicabilityFilter list = ReadNamed(name, ReadFilterDocument);
    const std::vector<Rollout> rollouts = RolloutsOf(name, list, options);
    any = any || !rollouts.empty();
    return AnswerOf(global, options, rollouts, FleetOf(options, &list));
  });
  if (!readable) return kRefused;
  return any ? kDone : kNegative;
}

}  // namespace

Command RolloutCommand() {
  const auto options = std::make_shared<RolloutOptions>();
  return {.name = "rollout",
          .help = "How a roll-out grows day by day, and who is in when",
          .options = {{.name = "LIST.json",
                       .help = "Every date_function of these filter lists; a directory: all "
                               "below it; -: standard input",
                       .target = &options->lists},
                      {.name = "--function",
                       .type = "START|DAYS|GROWTH",
                       .help = "This date function instead of a list's",
                       .target = &options->function},
                      {.name = "--filter",
                       .type = "N",
                       .help = "Only that of this filter, from 0",
                       .target = &options->filter},
                      {.name = "--serial-number",
                       .type = "TEXT",
                       .help = "The first day of the device with this serial number",
                       .target = &options->serial_number},
                      {.name = "--organisation",
                       .type = "REALM",
                       .help = "The first day of the organisation with this realm",
                       .target = &options->organisation},
                      {.name = "--profiles",
                       .type = "DIR",
                       .help = "Count the devices of the profiles, *.json, in this directory: "
                               "those that the whole list applies to on each day; with --function, "
                               "those that the function includes",
                       .target = &options->profiles},
                      {.name = "--plot",
                       .type = "FILE.svg",
                       .help = "Draw the curve into this file",
                       .target = &options->plot}},
          .run = [options](const GlobalOptions& global) { return Forecast(global, *options); }};
}

}  // namespace yoxctl
