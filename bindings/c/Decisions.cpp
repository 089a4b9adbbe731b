// SPDX-License-Identifier: Apache-2.0
// Facts, and decisions on them.
#include <algorithm>
#include <string>
#include <string_view>

#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FactsDocument.h"
#include "yox/facts/FactsLine.h"

#include "bindings/c/Handles.h"

using namespace yox::c;  // NOLINT: only C functions follow
using yox::decision::Decide;
using yox::decision::PreparedFacts;
using yox::decision::Truth;

namespace yox::c {

yox_trace* NewTrace(decision::DecisionTrace trace, int32_t applies) {
  std::string reason = String::UTF16ToUTF8(trace.reason);
  return new yox_trace{std::move(trace), applies, std::move(reason)};
}

}  // namespace yox::c

static_assert(static_cast<int>(Truth::kFalse) == YOX_FALSE &&
              static_cast<int>(Truth::kTrue) == YOX_TRUE &&
              static_cast<int>(Truth::kUnknown) == YOX_UNKNOWN);

yox_status yox_facts_read(const char* document, size_t size, yox_facts** facts) {
  return Guarded([&] {
    Required(facts, "facts");
    *facts = new yox_facts(yox::decision::ReadFacts(Document(document, size, "document")));
  });
}

yox_status yox_facts_write(const yox_facts* facts, int32_t anonymous, yox_string** document) {
  return Guarded([&] {
    using yox::decision::Anonymity;
    Required(document, "document") = NewString(
        yox::decision::FactsJson(Required(facts, "facts").record,
                                 anonymous != 0 ? Anonymity::kAnonymous : Anonymity::kNamed));
  });
}

yox_status yox_facts_id(const yox_facts* facts, yox_text* id) {
  return Guarded([&] { Required(id, "id") = Text(Required(facts, "facts").record.id); });
}

void yox_facts_free(yox_facts* facts) { delete facts; }

yox_status yox_decide(const yox_list* list, const yox_facts* facts, const yox_question* question,
                      yox_verdict* verdict) {
  return Guarded([&] {
    const auto asked = QuestionOf(question);
    PreparedFacts prepared(Required(facts, "facts").device, asked);
    const auto decided = Decide(*Required(list, "list").compiled, prepared);
    Write(verdict,
          {.size = 0,
           .applies = static_cast<int32_t>(decided.applies),
           .decided_by = decided.decided_by.value_or(YOX_NONE)},
          "verdict");
  });
}

yox_status yox_decide_many(const yox_list* list, const yox_facts* const* devices, size_t count,
                           const yox_question* question, uint8_t* applies) {
  return Guarded([&] {
    const auto& compiled = *Required(list, "list").compiled;
    const auto asked = QuestionOf(question);
    if (count > 0) Required(devices, "devices"), Required(applies, "applies");
    for (size_t i = 0; i < count; ++i) {
      PreparedFacts prepared(Required(devices[i], "devices").device, asked);
      applies[i] = static_cast<uint8_t>(Decide(compiled, prepared).applies);
    }
  });
}

yox_status yox_decide_lines(const yox_list* list, const char* text, size_t size, size_t first_line,
                            const yox_question* question, uint8_t* applies, size_t capacity,
                            size_t* count) {
  return Guarded([&] {
    const auto& compiled = *Required(list, "list").compiled;
    const auto asked = QuestionOf(question);
    Required(count, "count") = 0;
    std::string_view rest = Document(text, size, "text");
    const char* const end = rest.data() + rest.size();
    yox::facts::FactsLine line;
    std::string padded;  // a line of the text's end
    for (std::size_t number = first_line; !rest.empty(); ++number) {
      const std::size_t length = std::min(rest.find('\n'), rest.size());
      std::string_view document = rest.substr(0, length);
      rest.remove_prefix(std::min(length + 1, rest.size()));
      if (document.find_first_not_of(" \t\r") == std::string_view::npos) continue;
      if (static_cast<std::size_t>(end - document.data()) <
          document.size() + yox::facts::FactsLine::kPadding) {
        padded = document;
        padded.append(yox::facts::FactsLine::kPadding, '\n');
        document = std::string_view(padded).substr(0, document.size());
      }
      line.Read(document, number);
      if (*count == capacity) {
        throw Failure(YOX_ARGUMENT, "capacity: the text has more than " + std::to_string(capacity) +
                                        " documents");
      }
      yox::facts::LineFacts facts(line, asked);
      Required(applies, "applies");
      applies[(*count)++] = static_cast<uint8_t>(Decide(compiled, facts).applies);
    }
  });
}

yox_status yox_trace_decision(const yox_list* list, const yox_facts* facts,
                              const yox_question* question, yox_trace** trace) {
  return Guarded([&] {
    Required(trace, "trace");
    const auto& compiled = *Required(list, "list").compiled;
    const auto asked = QuestionOf(question);
    PreparedFacts prepared(Required(facts, "facts").device, asked);
    const auto applies = static_cast<int32_t>(Decide(compiled, prepared).applies);
    *trace = NewTrace(yox::decision::Trace(compiled, prepared), applies);
  });
}

yox_status yox_trace_verdict(const yox_trace* trace, yox_verdict* verdict) {
  return Guarded([&] {
    const yox_trace& given = Required(trace, "trace");
    Write(verdict,
          {.size = 0,
           .applies = given.applies,
           .decided_by = given.trace.decided_by.value_or(YOX_NONE)},
          "verdict");
  });
}

yox_status yox_trace_reason(const yox_trace* trace, yox_text* reason) {
  return Guarded([&] { Required(reason, "reason") = Text(Required(trace, "trace").reason); });
}

size_t yox_trace_failed_count(const yox_trace* trace) {
  return trace == nullptr ? 0 : trace->trace.failed.size();
}

yox_status yox_trace_failed(const yox_trace* trace, size_t index, yox_text* criterion) {
  return Guarded([&] {
    Required(criterion, "criterion") =
        FieldName(At(Required(trace, "trace").trace.failed, index, "index"));
  });
}

yox_status yox_trace_flipped_by(const yox_trace* before, const yox_trace* after, yox_flip* flip) {
  return Guarded([&] {
    const auto flipped =
        yox::decision::FlippedBy(Required(before, "before").trace, Required(after, "after").trace);
    if (!flipped) throw Failure(YOX_NOT_FOUND, "the same filter decides as before");
    Write(flip,
          {.size = 0,
           .filter = flipped->filter,
           .criterion = FieldName(flipped->criterion),
           .holds_now = flipped->holds_now ? 1 : 0},
          "flip");
  });
}

void yox_trace_free(yox_trace* trace) { delete trace; }

yox_status yox_explain(const yox_list* list, const yox_facts* facts, const yox_question* question,
                       yox_explanation** explanation) {
  return Guarded([&] {
    Required(explanation, "explanation");
    const auto asked = QuestionOf(question);
    PreparedFacts prepared(Required(facts, "facts").device, asked);
    *explanation =
        NewExplanation(yox::decision::Explain(*Required(list, "list").compiled, prepared));
  });
}
