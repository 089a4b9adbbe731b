#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "yox/decision/Filter.h"

#include "host/yoxd/Device.h"
#include "host/yoxd/StateFolder.h"

namespace yoxd {

// The filter lists in force, each with its last decision, both kept over restarts.
class Contents {
 public:
  struct Content {
    std::string text;  // of the list
    ApplicabilityFilter list;
    std::optional<Decision> decision;
    std::int64_t decided = 0;  // since when the decision is this one; the device's time
  };
  // A list that was refused, and came last of its content.
  struct Refusal {
    std::string why;
    std::uint64_t fingerprint = 0;
  };

  static constexpr std::size_t kMostContents = 1'000;

  // Reads what the former process kept. A file that cannot be read is reported and left out.
  explicit Contents(StateFolder& folder);

  enum class Receipt { kUnchanged, kAccepted, kWithdrawn, kRefused };
  // Takes the list of a content; an empty text withdraws it. One that cannot be read is refused,
  // with the place in `why`, and the former one stays in force. The refusal of the same text again
  // is kUnchanged.
  Receipt Receive(const std::string& id, std::string_view text, std::string& why);

  // Decides each list, or only that of one content, and calls `changed` for each decision that is
  // another one than before, or new, after it was kept. Returns how many were decided.
  using Changed = std::function<void(const std::string& id, const Content& content)>;
  std::size_t DecideAll(RunningDevice& device, const Changed& changed);
  void DecideOne(RunningDevice& device, const std::string& id, const Changed& changed);

  // What is published about a content's decision (docs/yoxd.md).
  static std::string DecisionText(const std::string& id, const Content& content);

  const std::map<std::string, Content>& contents() const { return contents_; }
  const std::map<std::string, Refusal>& refusals() const { return refusals_; }
  std::vector<ApplicabilityFilter> Lists() const;
  std::uint64_t decisions() const { return decisions_; }

 private:
  void Load(const std::string& file);
  Receipt Refuse(const std::string& id, std::string_view text, const std::string& why);
  bool Keep(const std::string& id, const Content& content);
  void Decide(RunningDevice& device, const std::string& id, Content& content,
              const Changed& changed);

  StateFolder& folder_;
  std::map<std::string, Content> contents_;
  std::map<std::string, Refusal> refusals_;
  std::uint64_t decisions_ = 0;
};

}  // namespace yoxd
