#pragma once

#include <cstdint>

namespace yox::decision {

// A value of Kleene's strong three-valued logic. Unknown means that the result depends on a fact
// that is not known.
enum class Truth : std::uint8_t { kFalse, kTrue, kUnknown };

constexpr Truth TruthOf(bool is_true) { return is_true ? Truth::kTrue : Truth::kFalse; }

}  // namespace yox::decision
