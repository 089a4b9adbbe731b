#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "yox/applicability/RolloutForecast.h"

namespace yoxctl {

// What is drawn of a roll-out. Texts are UTF-8.
struct RolloutPlot {
  const RolloutForecast& forecast;
  std::string title;
  std::string function;
  std::int64_t now = 0;  // a moment of the clock

  struct Mark {
    std::string text;
    int day = 1;
  };
  std::optional<Mark> mark;  // the first day of somebody

  // How many of a number of devices are in on each day; empty when there are none.
  std::vector<std::size_t> counts = {};
  std::size_t counted = 0;
};

// The curve as an SVG document, without a background of its own: every colour in it stands out on
// white and on black.
std::string ToSvg(const RolloutPlot& plot);

// "2026-03-01"
std::string DateText(const yox::LocalDate& date);
// Hundredths of a percent, rounded: "3.59 %".
std::string PercentText(std::size_t part, std::size_t whole);

}  // namespace yoxctl
