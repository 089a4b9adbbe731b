#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/HardwareIdRepository.h"
#include "yox/applicability/PnPDeviceTracker.h"
#include "yox/base/String.h"
#include "yox/decision/MatchOperators.h"

using YOX::String;
using yox::WString;
using yox::WStringView;
using yox::decision::NextPiece;
using yox::decision::Pieces;
using yox::decision::TextPattern;

namespace {

constexpr const char* kOrigin = "ApplicabilityEvaluator::EvaluateHardwareIdFilter";

// The repository of the process, filled by the one tracker from the first call that can start it
// on; null as long as none could. Both die with the process, the tracker first.
const HardwareIdRepository* PresentIds() {
  static HardwareIdRepository repository;
  static std::mutex mutex;
  static std::unique_ptr<PnPDeviceTracker> tracker;

  const std::lock_guard lock(mutex);
  if (tracker == nullptr) {
    auto starting = std::make_unique<PnPDeviceTracker>(repository);
    if (!starting->Start()) {
      g_evaluator_log.e("%s Failed to start PnP device tracker", kOrigin);
      return nullptr;
    }
    g_evaluator_log.d("%s PnP device tracker started successfully", kOrigin);
    tracker = std::move(starting);
  }
  return &repository;
}

WString Normalised(WStringView required) {
  WString text = String::ToUpper(required);
  std::ranges::replace(text, yox::WChar{'/'}, yox::WChar{'\\'});
  return text;
}

bool HasExactly(const HardwareIdRepository& present, WStringView required, WString* found) {
  for (auto rest = Pieces(required); rest;) {
    const WStringView alternative = NextPiece(rest, ',');
    const bool matched = present.IsPresent(String::Trimmed(alternative));
    g_evaluator_log.d("%s Hardware ID exact match result: %s", kOrigin,
                      matched ? "MATCH" : "NO_MATCH");
    if (!matched) continue;
    if (found != nullptr) *found = String::Trimmed(alternative);
    return true;
  }
  return false;
}

// The first ID that any of the patterns matches, as EvaluateStringFilter decides it; null when
// there is none. The patterns are read once for all IDs.
const WString* FindMatch(const std::vector<WString>& ids, WStringView required) {
  std::vector<TextPattern> patterns;
  for (auto rest = Pieces(required); rest;) {
    patterns.push_back(TextPattern::Parse(NextPiece(rest, ',')));
  }
  const auto found = std::ranges::find_if(ids, [&](const WString& id) {
    const WStringView actual = String::Trimmed(id);
    return std::ranges::any_of(patterns, [&](const auto& p) { return p.Matches(actual); });
  });
  return found != ids.end() ? &*found : nullptr;
}

}  // namespace

std::size_t ApplicabilityEvaluator::PresentHardwareIds() {
  const HardwareIdRepository* const present = PresentIds();
  return present != nullptr ? present->Size() : 0;
}

bool ApplicabilityEvaluator::EvaluateHardwareIdFilter(const WString& required) {
  return FindHardwareId(required, nullptr);
}

bool ApplicabilityEvaluator::FindHardwareId(const WString& required, WString* found) {
  try {
    g_evaluator_log.d("%s Evaluating hardware ID filter: %s", kOrigin, required);
    const HardwareIdRepository* const present = PresentIds();
    if (present == nullptr) return false;

    const WString normalised = Normalised(required);
    if (HasExactly(*present, normalised, found)) return true;

    const auto ids = present->SharedSnapshot();
    g_evaluator_log.d("%s Checking %zu device IDs against wildcard requirement", kOrigin,
                      ids->size());
    if (const WString* const match = FindMatch(*ids, normalised)) {
      g_evaluator_log.d("%s Hardware ID filter matched: Required=%s, Found=%s", kOrigin, normalised,
                        *match);
      if (found != nullptr) *found = *match;
      return true;
    }
    g_evaluator_log.d("%s Hardware ID filter result: NO_MATCH", kOrigin);
  } catch (const std::exception& exception) {
    g_evaluator_log.e("%s Exception in hardware ID filter: %s", kOrigin,
                      String::UTF8ToUTF16(exception.what()));
  }
  return false;
}
