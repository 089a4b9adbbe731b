#include "bindings/postgresql/Border.h"

#include <csignal>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Interruption.h"
#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/base/TimeZone.h"
#include "yox/decision/Decide.h"
#include "yox/decision/ExplanationDocument.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/Funnel.h"
#include "yox/decision/ReasonText.h"
#include "yox/decision/RolloutDays.h"

#include "bindings/postgresql/JsonbFacts.h"
#include "bindings/sql/Buckets.h"
#include "bindings/sql/ListCache.h"
#include "bindings/sql/TableRows.h"

using yox::DocumentError;
using yox::String;
using yox::WString;
using yox::decision::CompiledList;
using yox::decision::Funnel;
using yox::decision::Truth;
using yox::postgresql::BadJsonb;
using yox::postgresql::FactsMemory;
using yox::postgresql::JsonbFacts;
using yox::postgresql::JsonbNode;

namespace {

// The days that a call site counts, and what they depend on.
struct Rollout {
  yox::sql::ListCache::List list;
  yox::decision::DaySpan span;
  std::string target_version;  // "" is not the same as none
  bool has_target_version;
  yox::decision::RolloutDays days;
};

}  // namespace

struct yox_call {
  yox::sql::ListCache lists;
  yox::sql::ListCache::List list;
  FactsMemory memory;
  WString reason;
  std::string result;
  std::optional<Rollout> rollout;
  std::vector<Truth> verdicts;  // by day
  std::vector<yox::sql::Row> rows;
  std::size_t next_row = 0;
  const volatile std::sig_atomic_t* interrupt_flag = nullptr;
  yox_problem problem = YOX_INTERNAL;
  std::string message;
};

struct yox_funnel {
  yox::sql::ListCache::List list;  // null until the first device
  std::uint64_t fingerprint = 0;   // of the list; 0 until counts are there
  Funnel funnel;
};

namespace {

std::string_view ViewOf(yox_text text) { return {text.bytes, text.size}; }
yox_text TextOf(std::string_view text) { return {text.data(), text.size()}; }

// One line of JSON, without the line feed at its end.
yox_text KeepJson(yox_call& call, std::string json) {
  while (json.ends_with('\n')) json.pop_back();
  call.result = std::move(json);
  return TextOf(call.result);
}

// Keeps what went wrong. The message is lost when memory for it is.
bool Fail(yox_call& call, yox_problem problem, const char* message) noexcept {
  call.problem = problem;
  try {
    call.message = message;
  } catch (...) {
    call.problem = YOX_NO_MEMORY;
  }
  return false;
}

// A message without the line and column before it: jsonb does not keep the text as it was written.
void RemovePlaceInText(std::string& message) {
  if (!message.starts_with("line ")) return;
  const std::size_t end = message.find(": ");
  if (end != std::string::npos) message.erase(0, end + 2);
}

// Calls `body`, and returns false when it throws. `document` says what a DocumentError is about.
template <class Body>
bool Guarded(yox_call* call, yox_problem document, Body body) noexcept {
  try {
    const yox::InterruptionScope scope(call->interrupt_flag);
    body();
    return true;
  } catch (const yox::Interrupted&) {
    return Fail(*call, YOX_INTERRUPTED, "");
  } catch (const BadJsonb&) {
    return Fail(*call, YOX_BAD_FACTS, "");
  } catch (const DocumentError& error) {
    Fail(*call, document, error.what());
    RemovePlaceInText(call->message);
    return false;
  } catch (const std::bad_alloc&) {
    return Fail(*call, YOX_NO_MEMORY, "");
  } catch (const std::exception& error) {
    return Fail(*call, YOX_INTERNAL, error.what());
  } catch (...) {
    return Fail(*call, YOX_INTERNAL, "an unknown error");
  }
}

// Calls `body(list, facts)` with what the question is about.
template <class Body>
bool Decided(yox_call* call, const yox_question* question, Body body) noexcept {
  return Guarded(call, YOX_BAD_VALUE, [&] {
    yox::decision::Question asked{question->now};
    if (question->target_version.bytes != nullptr) {
      asked.target_version = String::UTF8ToUTF16(ViewOf(question->target_version));
    }
    call->memory.Clear();
    JsonbFacts facts(JsonbNode::Root(question->facts, question->size), asked, call->memory);
    body(*call->list, facts);
  });
}

constexpr std::size_t kFingerprintSize = sizeof(std::uint64_t);

void Merge(yox_funnel& funnel, const Funnel& other, std::uint64_t fingerprint) {
  if (funnel.fingerprint == 0) funnel.fingerprint = fingerprint;
  if (funnel.fingerprint != fingerprint) throw DocumentError("counts: of another list");
  funnel.funnel.Merge(other);
}

}  // namespace

yox_call* yox_call_new(void) noexcept { return new (std::nothrow) yox_call; }
void yox_call_free(void* call) noexcept { delete static_cast<yox_call*>(call); }
void yox_call_interrupt_by(yox_call* call, const volatile std::sig_atomic_t* flag) noexcept {
  call->interrupt_flag = flag;
}
yox_problem yox_problem_of(const yox_call* call) noexcept { return call->problem; }
yox_text yox_message_of(const yox_call* call) noexcept { return TextOf(call->message); }

bool yox_call_choose(yox_call* call, const void* bytes, size_t size) noexcept {
  call->list = call->lists.Find({static_cast<const char*>(bytes), size});
  return call->list != nullptr;
}

bool yox_call_compile(yox_call* call, const void* bytes, size_t size, const char* json) noexcept {
  return Guarded(call, YOX_BAD_LIST, [&] {
    call->list = call->lists.Add({static_cast<const char*>(bytes), size}, json);
  });
}

bool yox_applies(yox_call* call, const yox_question* question, yox_truth* applies) noexcept {
  return Decided(call, question, [&](const CompiledList& list, JsonbFacts& facts) {
    const Truth truth = Decide(list, facts).applies;
    *applies = truth == Truth::kUnknown ? YOX_UNDETERMINED
               : truth == Truth::kTrue  ? YOX_APPLIES
                                        : YOX_DOES_NOT_APPLY;
  });
}

bool yox_reason(yox_call* call, const yox_question* question, yox_text* reason) noexcept {
  return Decided(call, question, [&](const CompiledList& list, JsonbFacts& facts) {
    yox::decision::ReasonText observer(list, call->reason);
    const Truth truth = Decide(list, facts, &observer).applies;
    call->result = String::UTF16ToUTF8(call->reason);
    *reason = truth == Truth::kUnknown ? yox_text{nullptr, 0} : TextOf(call->result);
  });
}

bool yox_decided_by(yox_call* call, const yox_question* question, int32_t* filter) noexcept {
  return Decided(call, question, [&](const CompiledList& list, JsonbFacts& facts) {
    const auto decided_by = Decide(list, facts).decided_by;
    *filter = decided_by ? static_cast<int32_t>(*decided_by) : -1;
  });
}

bool yox_explain_device(yox_call* call, const yox_question* question, yox_text* json) noexcept {
  return Decided(call, question, [&](const CompiledList& list, JsonbFacts& facts) {
    *json = KeepJson(*call, yox::JsonText(ExplanationJson(yox::decision::Explain(list, facts)),
                                          yox::JsonStyle::kReadableLine));
  });
}

bool yox_check_facts(yox_call* call, const char* json) noexcept {
  return Guarded(call, YOX_BAD_FACTS, [&] { static_cast<void>(yox::decision::ReadFacts(json)); });
}

void yox_explain_bad_facts(yox_call* call, const char* json) noexcept {
  // The binary form was refused: so is the text, unless it is damaged.
  if (yox_check_facts(call, json)) Fail(*call, YOX_INTERNAL, "the jsonb value cannot be read");
}

bool yox_bucket(yox_call* call, yox_text serial_number, int32_t* bucket) noexcept {
  return Guarded(call, YOX_BAD_VALUE, [&] { *bucket = yox::sql::BucketOf(ViewOf(serial_number)); });
}

bool yox_share(yox_call* call, yox_text function, int64_t now, double* share) noexcept {
  return Guarded(call, YOX_BAD_VALUE, [&] { *share = yox::sql::ShareAt(ViewOf(function), now); });
}

bool yox_rollout_choose(yox_call* call, int64_t first, int64_t days,
                        yox_text target_version) noexcept {
  return Guarded(call, YOX_BAD_VALUE, [&] {
    const yox::decision::DaySpan span{first, first + days - 1};
    const bool has_target_version = target_version.bytes != nullptr;
    const std::string_view text = has_target_version ? ViewOf(target_version) : "";
    const auto& now = call->rollout;
    if (now && now->list == call->list && now->span == span &&
        now->has_target_version == has_target_version && now->target_version == text) {
      return;
    }
    yox::decision::Question question;
    if (has_target_version) question.target_version = String::UTF8ToUTF16(text);
    call->rollout.reset();
    call->rollout.emplace(Rollout{
        call->list, span, std::string(text), has_target_version, {*call->list, span, question}});
  });
}

bool yox_rollout_add(yox_call* call, const yox_question* question, int64_t* counts) noexcept {
  return Decided(call, question, [&](const CompiledList& list, JsonbFacts& facts) {
    // A document that is refused may be so on a later day only: nothing is counted of it.
    call->verdicts.clear();
    call->rollout->days.ForEachDay(
        list, facts, [&](std::size_t, Truth applies) { call->verdicts.push_back(applies); });
    ++counts[0];
    for (std::size_t day = 0; day < call->verdicts.size(); ++day) {
      if (call->verdicts[day] == Truth::kTrue) ++counts[1 + 2 * day];
      if (call->verdicts[day] == Truth::kUnknown) ++counts[2 + 2 * day];
    }
  });
}

bool yox_criteria(yox_call* call, const yox_question* question) noexcept {
  return Decided(call, question, [&](const CompiledList& list, JsonbFacts& facts) {
    call->rows = yox::sql::CriteriaRows(list, facts);
    call->next_row = 0;
  });
}

bool yox_lint_list(yox_call* call, const char* json, int64_t now) noexcept {
  return Guarded(call, YOX_BAD_LIST, [&] {
    call->rows = yox::sql::LintRows(json, yox::TimeZone().ToLocalDate(now));
    call->next_row = 0;
  });
}

bool yox_next_row(yox_call* call, yox_cell* cells, size_t columns) noexcept {
  if (call->next_row >= call->rows.size()) return false;
  const yox::sql::Row& row = call->rows[call->next_row++];
  for (std::size_t i = 0; i < columns; ++i) {
    cells[i] = {YOX_NULL, 0, {nullptr, 0}};
    if (const auto* const number = std::get_if<std::int64_t>(&row[i])) {
      cells[i] = {YOX_INTEGER, *number, {nullptr, 0}};
    } else if (const auto* const text = std::get_if<std::string>(&row[i])) {
      cells[i] = {YOX_TEXT, 0, TextOf(*text)};
    }
  }
  return true;
}

yox_funnel* yox_funnel_new(void) noexcept { return new (std::nothrow) yox_funnel; }
void yox_funnel_free(void* funnel) noexcept { delete static_cast<yox_funnel*>(funnel); }

bool yox_funnel_add(yox_call* call, yox_funnel* funnel, const yox_question* question) noexcept {
  return Decided(call, question, [&](const CompiledList& list, JsonbFacts& facts) {
    if (funnel->list == nullptr) {
      funnel->list = call->list;
      funnel->fingerprint = yox::sql::FingerprintOf(list);
    }
    if (!yox::sql::AreSame(*funnel->list, list)) {
      throw DocumentError("list: differs within the group");
    }
    funnel->funnel.Add(list, facts);
  });
}

bool yox_funnel_merge(yox_call* call, yox_funnel* funnel, const yox_funnel* other) noexcept {
  return Guarded(call, YOX_BAD_VALUE, [&] { Merge(*funnel, other->funnel, other->fingerprint); });
}

bool yox_funnel_bytes(yox_call* call, const yox_funnel* funnel, yox_text* bytes) noexcept {
  return Guarded(call, YOX_BAD_VALUE, [&] {
    call->result.assign(reinterpret_cast<const char*>(&funnel->fingerprint), kFingerprintSize);
    call->result += funnel->funnel.ToBytes();
    *bytes = TextOf(call->result);
  });
}

bool yox_funnel_merge_bytes(yox_call* call, yox_funnel* funnel, yox_text bytes) noexcept {
  return Guarded(call, YOX_BAD_VALUE, [&] {
    const std::string_view view = ViewOf(bytes);
    const auto other = view.size() < kFingerprintSize
                           ? std::nullopt
                           : Funnel::FromBytes(view.substr(kFingerprintSize));
    if (!other) throw DocumentError("counts: not written by this version of the extension");
    std::uint64_t fingerprint = 0;
    std::memcpy(&fingerprint, view.data(), kFingerprintSize);
    Merge(*funnel, *other, fingerprint);
  });
}

bool yox_funnel_json(yox_call* call, const yox_funnel* funnel, yox_text* json) noexcept {
  return Guarded(call, YOX_BAD_VALUE, [&] {
    *json = KeepJson(*call, funnel->funnel.ToJsonText(yox::JsonStyle::kReadableLine));
  });
}
