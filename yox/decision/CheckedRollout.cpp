#include "yox/decision/CheckedRollout.h"

#include <algorithm>
#include <string>

#include "yox/base/Printable.h"
#include "yox/base/String.h"

namespace yox::decision {
namespace {

[[noreturn]] void Refuse(const std::string& what, WStringView found) {
  throw DocumentError(what + ", found \"" + Printable(String::UTF16ToUTF8(found)) + "\"");
}

}  // namespace

LocalDate FirstDayOf(const Rollout& rollout) {
  if (!rollout.has_three_pieces) Refuse("expected START|DAYS|GROWTH", rollout.text);
  const auto& fields = rollout.start.fields;
  const bool readable =
      rollout.start.has_three_pieces && std::ranges::all_of(fields, [](const auto& field) {
        return field.status == String::IntegerStatus::kOk;
      });
  if (!readable) Refuse("expected a first day YYYY-MM-DD", rollout.start.text);
  return {fields[0].number, fields[1].number, fields[2].number};
}

void RefuseFirstDay(const Rollout& rollout) {
  Refuse("expected a day that a calendar can hold", rollout.start.text);
}

int DaysOf(const Rollout& rollout) {
  if (rollout.days.status != String::IntegerStatus::kOk || rollout.days.number == 0) {
    Refuse("expected a number of days", rollout.days.text);
  }
  if (rollout.days.number > kMostRolloutDays) {
    Refuse("expected at most " + std::to_string(kMostRolloutDays) + " days", rollout.days.text);
  }
  return std::max(rollout.days.number, 1);
}

}  // namespace yox::decision
