#include "host/yoxctl/FleetText.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include "yox/decision/FilterFields.h"
#include "yox/decision/ListWords.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/RolloutPlot.h"
#include "host/yoxctl/Table.h"

namespace yoxctl {
namespace {

using yox::decision::Funnel;
using yox::decision::ListDifference;
using yox::decision::Truth;

std::string Right(const std::string& text, std::size_t columns) {
  return std::string(columns - std::min(columns, text.size()), ' ') + text;
}

std::string Number(std::uint64_t number, std::size_t columns) {
  return Right(std::to_string(number), columns);
}

std::string Devices(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " device" : " devices");
}

// "   4711  23.55 %  apply"
std::string CountLine(std::uint64_t count, std::uint64_t all, const std::string& words) {
  return Number(count, 10) + Right(all == 0 ? "" : PercentText(count, all), 10) + "  " + words +
         "\n";
}

std::string FilterText(const Funnel::FilterCounts& counts, std::size_t index, bool applies,
                       const Painter& paint) {
  const std::string decides = applies ? "applies" : "does not apply";
  std::string text = "\nfilter [" + std::to_string(index) + "], " +
                     paint(applies ? Paint::kGood : Paint::kBad, decides) + ": reached by " +
                     std::to_string(counts.reached) + ", decided " + std::to_string(counts.decided);
  if (counts.decided == 0) text += paint(Paint::kOdd, "  <- decides no device");
  text += "\n";
  std::vector<std::pair<std::string, Funnel::CriterionCounts>> excluded;
  std::uint64_t excluded_devices = 0;
  for (std::size_t i = 0; i < counts.criteria.size(); ++i) {
    if (counts.criteria[i].first == 0 && counts.criteria[i].only == 0) continue;
    excluded.emplace_back(yox::decision::kFilterFieldNames[i], counts.criteria[i]);
    excluded_devices += counts.criteria[i].first;
  }
  std::ranges::stable_sort(excluded, std::greater<>(),
                           [](const auto& criterion) { return criterion.second.first; });
  if (!excluded.empty()) {
    text += paint(Paint::kFaint, "  excluded by              first      only") + "\n";
    for (const auto& [name, criterion] : excluded) {
      text += "    " + Padded(name, 19) + Number(criterion.first, 9) + Number(criterion.only, 10) +
              "\n";
    }
  }
  const std::uint64_t open = counts.reached - counts.decided - excluded_devices;
  if (open != 0) {
    text += "  left open by unknown facts, here or before: " + std::to_string(open) + "\n";
  }
  return text;
}

}  // namespace

std::string FunnelText(const Funnel& funnel, const yox::decision::CompiledList& list,
                       const Painter& paint) {
  const std::uint64_t all = funnel.devices();
  std::string text = Devices(all) + "\n" + CountLine(funnel.applies(), all, "apply") +
                     CountLine(funnel.does_not_apply(), all, "do not apply") +
                     CountLine(funnel.undetermined(), all, "undetermined");
  const auto words = yox::decision::WordsOf(list);
  for (std::size_t i = 0; i < funnel.filters().size(); ++i) {
    text += FilterText(funnel.filters()[i], i, words[i].applies, paint);
  }
  if (!funnel.needs().empty()) text += "\nundetermined without\n";
  for (const auto& [fact, count] : funnel.needs()) {
    text += Number(count, 10) + "  " + OneLine(fact) + "\n";
  }
  return text;
}

std::string PlaceText(const yox::decision::DecisionPlace& place) {
  if (!place.filter) return "the end of the list";
  std::string text = "filter [" + std::to_string(*place.filter) + "]";
  if (place.criterion) {
    text +=
        ", " +
        std::string(yox::decision::kFilterFieldNames[static_cast<std::size_t>(*place.criterion)]);
  }
  return text;
}

std::string DifferenceText(const ListDifference& difference, const Painter& paint) {
  const std::uint64_t all = difference.devices();
  std::string text = Devices(all) + "\n" +
                     CountLine(difference.gain(), all, paint(Paint::kGood, "gain")) +
                     CountLine(difference.lose(), all, paint(Paint::kBad, "lose")) +
                     CountLine(difference.same(), all, "stay as they are") +
                     CountLine(difference.undetermined(), all, "undetermined");
  const auto only = [&](Truth before, Truth after, const char* words) {
    const std::uint64_t count = difference.Count(before, after);
    if (count != 0) text += CountLine(count, all, words);
  };
  only(Truth::kTrue, Truth::kUnknown, "  applied, and are undetermined now");
  only(Truth::kFalse, Truth::kUnknown, "  did not apply, and are undetermined now");
  only(Truth::kUnknown, Truth::kTrue, "  were undetermined, and apply now");
  only(Truth::kUnknown, Truth::kFalse, "  were undetermined, and do not apply now");
  for (const auto* const group : difference.LargestGroups()) {
    const auto& [places, counts] = *group;
    text += "\n" + PlaceText(places.first) + " -> " + PlaceText(places.second) + "\n";
    if (counts.gain != 0) text += Number(counts.gain, 10) + " gain\n";
    if (counts.lose != 0) text += Number(counts.lose, 10) + " lose\n";
    text += "           such as";
    for (const std::string& id : counts.examples) text += " " + NameOf(id);
    text += "\n";
  }
  return text;
}

std::string RolloutText(const RolloutCounts& counts) {
  constexpr std::size_t kBar = 40;
  std::string text = Devices(counts.devices()) + "\n\ndate                in     share\n";
  for (std::int64_t day = counts.span().first; day <= counts.span().last; ++day) {
    const RolloutCounts::Count& count = counts.On(day);
    const std::uint64_t all = std::max<std::uint64_t>(counts.devices(), 1);
    text += DayText(day) + Number(count.in, 12) + Right(PercentText(count.in, all), 10) + "  " +
            Padded(std::string(static_cast<std::size_t>(count.in * kBar / all), '#'), kBar);
    if (count.undetermined != 0) {
      text += " at most " + std::to_string(count.in + count.undetermined);
    }
    text.erase(text.find_last_not_of(' ') + 1);
    text += "\n";
  }
  return text;
}

}  // namespace yoxctl
