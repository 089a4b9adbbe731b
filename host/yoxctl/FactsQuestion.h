#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "yox/decision/Explanation.h"
#include "yox/decision/FactsRecord.h"
#include "yox/decision/Filter.h"
#include "yox/decision/PreparedDevice.h"

#include "host/yoxctl/Paint.h"

namespace yoxctl {

// Returns the moment that a text names on a device: its local time, "2026-03-01" for noon of that
// day or "2026-03-01T12:00:00", which an offset such as +01:00 may follow; without a text, the real
// time. Throws Refusal, which begins with `name`, for any other text, and for one without an offset
// when the facts do not name a time zone.
std::int64_t MomentOn(const yox::decision::FactsRecord& facts, const std::string& name,
                      const std::optional<std::string>& now);

// Explains what a list decides on these facts.
yox::decision::Explanation ExplainOn(const yox::decision::FactsRecord& facts,
                                     const ApplicabilityFilter& list,
                                     const yox::decision::Question& question);

// Returns the first lines for people: the decision, and on the next line its reason, or the facts
// that an undetermined one needs.
std::string AnswerText(const yox::decision::Explanation& explanation, const Painter& paint);

}  // namespace yoxctl
