#include "host/yoxctl/RolloutPlot.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <string_view>
#include <utility>

#include "yox/base/Document.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

#include "host/yoxctl/XmlText.h"

namespace yoxctl {
namespace {

using yox::decision::RolloutForecast;

constexpr int kWidth = 720;
constexpr int kHeight = 400;
constexpr int kLeft = 60;
constexpr int kRight = kWidth - 24;
constexpr int kTop = 112;
constexpr int kBottom = kHeight - 52;
// Labels above the plot, and the upright lines that begin below them.
constexpr int kUpperRow = kTop - 36;
constexpr int kLowerRow = kTop - 15;
constexpr int kLinesFrom = kTop - 9;

// Each at least four times as bright, or as dark, as white and as the black of dark pages.
constexpr const char* kGrey = "#797979";
constexpr const char* kBlue = "#2f7de1";
constexpr const char* kOrange = "#c2620a";
constexpr const char* kPurple = "#8957e5";
constexpr const char* kGreen = "#3f8f3f";

// Up to two decimals, none that are zero.
std::string Number(double value) {
  const auto hundredths = static_cast<std::int64_t>(std::llround(value * 100));
  std::string text = std::to_string(hundredths / 100);
  const auto rest = static_cast<int>(hundredths % 100);
  if (rest == 0) return text;
  text += '.';
  text += static_cast<char>('0' + rest / 10);
  if (rest % 10 != 0) text += static_cast<char>('0' + rest % 10);
  return text;
}

struct Attributes {
  std::string text;

  Attributes& Set(const char* name, const std::string& value) {
    text += std::string(" ") + name + "=\"" + value + "\"";
    return *this;
  }
  Attributes& Set(const char* name, double value) { return Set(name, Number(value)); }
};

std::string Element(const char* name, const Attributes& attributes) {
  return std::string("  <") + name + attributes.text + "/>\n";
}

std::string Text(double x, double y, const std::string& colour, const std::string& anchor,
                 const std::string& text, const char* further = "") {
  const Attributes attributes =
      Attributes().Set("x", x).Set("y", y).Set("fill", colour).Set("text-anchor", anchor);
  return "  <text" + attributes.text + further + ">" + XmlText(text) + "</text>\n";
}

class Drawing {
 public:
  explicit Drawing(const RolloutPlot& plot)
      : plot_(plot), forecast_(plot.forecast), days_(plot.forecast.days()) {}

  std::string Run() {
    Heading();
    ShareAxis();
    DayAxis();
    Curves();
    Today();
    if (plot_.mark) Mark(*plot_.mark);
    svg_ += "</svg>\n";
    return std::move(svg_);
  }

 private:
  double X(double days) const { return kLeft + days / days_ * (kRight - kLeft); }
  static double Y(double share) { return kBottom - share * (kBottom - kTop); }

  double ShareOn(std::int64_t day) const {
    return static_cast<double>(forecast_.BucketsOn(day)) / RolloutForecast::kBuckets;
  }

  void Heading() {
    const std::string size = std::to_string(kWidth);
    const std::string height = std::to_string(kHeight);
    svg_ = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + size + "\" height=\"" + height +
           "\" viewBox=\"0 0 " + size + " " + height +
           "\" role=\"img\" font-family=\"system-ui, 'Segoe UI', 'DejaVu Sans', sans-serif\" "
           "font-size=\"14\">\n  <title>" +
           XmlText(plot_.title + ": " + plot_.function) + "</title>\n";
    svg_ += Text(kLeft, 26, kGrey, "start", plot_.title, " font-size=\"18\" font-weight=\"bold\"");
    svg_ += Text(kLeft, 48, kGrey, "start", plot_.function, " font-family=\"monospace\"");
  }

  void Line(double x1, double y1, double x2, double y2, const char* colour, double width,
            const char* dashes = "") {
    Attributes attributes;
    attributes.Set("x1", x1).Set("y1", y1).Set("x2", x2).Set("y2", y2);
    attributes.Set("stroke", colour).Set("stroke-width", width);
    if (*dashes != '\0') attributes.Set("stroke-dasharray", dashes);
    svg_ += Element("line", attributes);
  }

  void ShareAxis() {
    for (int percent = 0; percent <= 100; percent += 25) {
      const double y = Y(percent / 100.0);
      Line(kLeft, y, kRight, y, kGrey, percent == 0 ? 1.5 : 0.5);
      svg_ += Text(kLeft - 8, y + 5, kGrey, "end", std::to_string(percent) + " %");
    }
  }

  void DayAxis() {
    constexpr int kLabels = 6;
    constexpr int kSteps[] = {1, 2, 3, 4, 5, 7, 14, 21, 28, 42, 56, 91, 182, 365};
    const auto* const step = std::ranges::find_if(
        kSteps, [&](int days) { return (days_ + days - 1) / days <= kLabels; });
    const int apart = step != std::end(kSteps) ? *step : (days_ + kLabels - 1) / kLabels;
    for (int day = 1; day <= days_; day += apart) {
      const double x = X(day - 0.5);
      Line(x, kBottom, x, kBottom + 5, kGrey, 1);
      svg_ += Text(x, kBottom + 21, kGrey, "middle", DateText(forecast_.DateOf(day)));
      svg_ += Text(x, kBottom + 39, kGrey, "middle", "day " + std::to_string(day));
    }
  }

  // Rises at the beginning of each day; days without a change are left out of the path.
  std::string Steps(const std::function<double(int)>& share_on) const {
    double last = share_on(1);
    std::string path = "M" + Number(X(0)) + " " + Number(Y(last));
    for (int day = 2; day <= days_; ++day) {
      const double share = share_on(day);
      if (share == last) continue;
      path += "H" + Number(X(day - 1)) + "V" + Number(Y(share));
      last = share;
    }
    return path + "H" + Number(X(days_));
  }

  void Curves() {
    const std::string path = Steps([this](int day) { return ShareOn(day); });
    svg_ += Element("path", Attributes()
                                .Set("d", path + "V" + Number(Y(0)) + "H" + Number(X(0)) + "Z")
                                .Set("fill", kBlue)
                                .Set("fill-opacity", 0.15));
    const Attributes curve = Attributes()
                                 .Set("d", path)
                                 .Set("fill", "none")
                                 .Set("stroke", kBlue)
                                 .Set("stroke-width", 2.5);
    svg_ += Element("path", curve);
    if (plot_.counts.empty()) return;
    const std::string counted = Steps([this](int day) {
      return static_cast<double>(plot_.counts[static_cast<std::size_t>(day - 1)]) /
             static_cast<double>(plot_.counted);
    });
    svg_ += Element("path", Attributes()
                                .Set("d", counted)
                                .Set("fill", "none")
                                .Set("stroke", kGreen)
                                .Set("stroke-width", 2)
                                .Set("stroke-dasharray", "2 3"));
    svg_ +=
        Text(kRight, 48, kGreen, "end", "dotted: " + std::to_string(plot_.counted) + " profiles");
  }

  // A label above the plot, on the side where there is room.
  void Label(double x, double y, const char* colour, const std::string& text) {
    const bool right = x > kLeft + (kRight - kLeft) * 0.55;
    svg_ += Text(right ? x + 4 : x - 4, y, colour, right ? "end" : "start", text);
  }

  void Today() {
    const auto& clock = yox::platform::Platform::Get().clock();
    const std::string today = "today, " + DateText(clock.ToLocalDate(plot_.now)) + ": ";
    const double days = forecast_.DaysUntil(plot_.now);
    const double row = plot_.mark ? kUpperRow : kLowerRow;
    if (days < 0) {
      const auto left = static_cast<std::int64_t>(std::ceil(-days));
      return Label(kLeft + 4, row, kOrange,
                   today + "begins in " + std::to_string(left) + (left == 1 ? " day" : " days"));
    }
    const std::int64_t day = forecast_.DayAt(plot_.now);
    if (day > days_) return Label(kRight - 4, row, kOrange, today + "complete");
    const double x = X(days);
    Line(x, kLinesFrom, x, kBottom, kOrange, 1.5, "6 4");
    Label(x, row, kOrange,
          today + PercentText(static_cast<std::size_t>(forecast_.BucketsOn(day)),
                              RolloutForecast::kBuckets));
  }

  void Mark(const RolloutPlot::Mark& mark) {
    const double x = X(mark.day - 1);
    Line(x, kLinesFrom, x, kBottom, kPurple, 1.5, "1.5 3");
    svg_ += Element(
        "circle",
        Attributes().Set("cx", x).Set("cy", Y(ShareOn(mark.day))).Set("r", 5).Set("fill", kPurple));
    Label(x, kLowerRow, kPurple, mark.text);
  }

  const RolloutPlot& plot_;
  const RolloutForecast& forecast_;
  const int days_;
  std::string svg_;
};

std::string Padded(int number, std::size_t size) {
  std::string text = std::to_string(number);
  return std::string(size - std::min(size, text.size()), '0') + text;
}

}  // namespace

std::string ToSvg(const RolloutPlot& plot) { return Drawing(plot).Run(); }

std::string DateText(const yox::LocalDate& date) {
  return Padded(date.year, 4) + "-" + Padded(date.month, 2) + "-" + Padded(date.day, 2);
}

std::string PercentText(std::size_t part, std::size_t whole) {
  const std::size_t hundredths = (part * 10'000 + whole / 2) / whole;
  return std::to_string(hundredths / 100) + "." + Padded(static_cast<int>(hundredths % 100), 2) +
         " %";
}

}  // namespace yoxctl
