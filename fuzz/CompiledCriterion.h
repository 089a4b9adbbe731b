#pragma once

#include "yox/base/WString.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FactsRecord.h"
#include "yox/decision/Filter.h"
#include "yox/decision/PreparedDevice.h"

namespace yox_fuzz {

// Whether a list of one filter with one criterion applies to a device: the requirement compiled,
// the facts prepared, as for every decision.
inline bool Applies(yox::decision::FilterField field, const yox::WString& required,
                    const yox::decision::FactsRecord& facts,
                    const yox::decision::Pairs& extra_tags = {}) {
  Filter filter;
  filter.Set(field, required);
  const yox::decision::CompiledList list({filter});
  const yox::decision::PreparedDevice device(facts);
  yox::decision::Question question;
  question.extra_tags = extra_tags;
  yox::decision::PreparedFacts prepared(device, question);
  return Decide(list, prepared).applies == yox::decision::Truth::kTrue;
}

}  // namespace yox_fuzz
