#include "host/yoxctl/FleetProgress.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

constexpr std::chrono::milliseconds kPatience{500};
constexpr std::chrono::milliseconds kInterval{200};

std::string DurationText(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
  if (whole < 120) return std::to_string(whole) + " s";
  return std::to_string((whole + 59) / 60) + " min";
}

// Writes over the line of so many columns.
void Write(const std::string& line, std::size_t columns) {
  std::string text = "\r" + line;
  if (line.size() < columns) text.append(columns - line.size(), ' ');
  if (line.empty()) text += '\r';
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

}  // namespace

FleetProgress::FleetProgress() : is_shown_(ErrorsAreOnTerminal()), next_(start_ + kPatience) {}

FleetProgress::~FleetProgress() {
  if (columns_ != 0) Write({}, columns_);
}

void FleetProgress::Show(const FactsCount& count) {
  const Clock::time_point now = Clock::now();
  if (!is_shown_ || now < next_) return;
  next_ = now + kInterval;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double rate = static_cast<double>(count.devices) / seconds;
  std::string line = std::to_string(count.devices) + " devices, " +
                     std::to_string(static_cast<std::int64_t>(rate)) + " per second";
  if (count.all_bytes != 0 && count.bytes != 0) {
    const double share = static_cast<double>(count.bytes) / static_cast<double>(count.all_bytes);
    line += ", " + std::to_string(static_cast<int>(100 * share)) + " %, " +
            DurationText(seconds * (1 - share) / share) + " left";
  }
  Write(line, columns_);
  columns_ = line.size();
}

}  // namespace yoxctl
