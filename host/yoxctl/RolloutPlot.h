#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "yox/decision/RolloutForecast.h"

namespace yoxctl {

// What a plot of a roll-out shows. Texts are UTF-8.
struct RolloutPlot {
  const yox::decision::RolloutForecast& forecast;
  std::string title;
  std::string function;
  std::int64_t now = 0;  // seconds since 1970 UTC

  struct Mark {
    std::string text;
    int day = 1;
  };
  std::optional<Mark> mark;  // the first day of one device or organisation

  // The number of devices that are in on each day, out of `counted`; empty if none were counted.
  std::vector<std::size_t> counts = {};
  std::size_t counted = 0;
};

// Returns the curve as an SVG document. It has no background; its colours are readable on white and
// on black.
std::string ToSvg(const RolloutPlot& plot);

// Returns for example "2026-03-01".
std::string DateText(const yox::LocalDate& date);
// Returns the share in percent, rounded to two decimals: "3.59 %".
std::string PercentText(std::size_t part, std::size_t whole);

}  // namespace yoxctl
