// SPDX-License-Identifier: Apache-2.0
// Facts, and decisions on them.
#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "yox/base/Document.h"
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
    Required(document, "document");
    *document = NewString(
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

namespace {

// Calls `read` with each line of a text that is not blank, and with its number. At least
// FactsLine::kPadding bytes after the line are readable.
template <class Read>
void ForEachDocument(std::string_view text, std::size_t first_line, Read read) {
  constexpr std::size_t kPadding = yox::facts::FactsLine::kPadding;
  const char* const end = text.data() + text.size();
  std::string padded;  // a line of the text's end
  for (std::size_t number = first_line; !text.empty(); ++number) {
    const std::size_t length = std::min(text.find('\n'), text.size());
    std::string_view document = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    if (document.find_first_not_of(" \t\r") == std::string_view::npos) continue;
    if (static_cast<std::size_t>(end - document.data()) < document.size() + kPadding) {
      padded = document;
      padded.append(kPadding, '\n');
      document = std::string_view(padded).substr(0, document.size());
    }
    read(document, number);
  }
}

}  // namespace

yox_status yox_decide_lines(const yox_list* list, const char* text, size_t size, size_t first_line,
                            const yox_question* question, uint8_t* applies, size_t capacity,
                            size_t* count) {
  return Guarded([&] {
    const auto& compiled = *Required(list, "list").compiled;
    const auto asked = QuestionOf(question);
    Required(count, "count") = 0;
    yox::facts::FactsLine line;
    const auto decide = [&](std::string_view document, std::size_t number) {
      line.Read(document, number);
      if (*count == capacity) {
        throw Failure(YOX_ARGUMENT, "capacity: the text has more than " + std::to_string(capacity) +
                                        " documents");
      }
      yox::facts::LineFacts facts(line, asked);
      Required(applies, "applies");
      applies[(*count)++] = static_cast<uint8_t>(Decide(compiled, facts).applies);
    };
    ForEachDocument(Document(text, size, "text"), first_line, decide);
  });
}

struct yox_lines {
  struct Device {
    std::string id;
    std::size_t begin;
    std::size_t size;
    yox::decision::Verdict verdict;  // of the list with which the text was read
  };

  std::string text;  // with padding, so that every document can be read where it is
  std::vector<Device> devices;
  bool is_decided;
};

namespace {

// Writes the verdict on a device to the arrays that the caller wants.
void WriteVerdict(const yox::decision::Verdict& verdict, std::size_t index, uint8_t* applies,
                  size_t* decided_by) {
  if (applies != nullptr) applies[index] = static_cast<uint8_t>(verdict.applies);
  if (decided_by != nullptr) decided_by[index] = verdict.decided_by.value_or(YOX_NONE);
}

}  // namespace

yox_status yox_lines_read(const char* text, size_t size, size_t first_line, const yox_list* list,
                          const yox_question* question, yox_lines** lines) {
  return Guarded([&] {
    Required(lines, "lines") = nullptr;
    const auto asked = QuestionOf(question);
    auto read = std::make_unique<yox_lines>();
    read->is_decided = list != nullptr;
    read->text.reserve(size + yox::facts::FactsLine::kPadding);
    read->text = Document(text, size, "text");
    read->text.append(yox::facts::FactsLine::kPadding, '\n');
    yox::facts::FactsLine line;
    const auto keep = [&](std::string_view document, std::size_t number) {
      line.Read(document, number);
      const auto begin = static_cast<std::size_t>(document.data() - read->text.data());
      read->devices.push_back({std::string(line.id()), begin, document.size(), {}});
      if (list != nullptr) {
        yox::facts::LineFacts facts(line, asked);
        read->devices.back().verdict = Decide(*list->compiled, facts);
      }
      read->text[begin + document.size()] = '\0';  // in the place of the line feed
    };
    try {
      ForEachDocument(read->text, first_line, keep);
    } catch (const yox::DocumentError&) {
      *lines = read.release();
      throw;
    }
    *lines = read.release();
  });
}

size_t yox_lines_count(const yox_lines* lines) {
  return lines == nullptr ? 0 : lines->devices.size();
}

yox_status yox_lines_get(const yox_lines* lines, size_t index, yox_text* id, yox_text* document) {
  return Guarded([&] {
    const auto& device = At(Required(lines, "lines").devices, index, "index");
    if (id != nullptr) *id = Text(device.id);
    if (document != nullptr) *document = {lines->text.data() + device.begin, device.size};
  });
}

yox_status yox_lines_decide(const yox_lines* lines, const yox_list* list,
                            const yox_question* question, uint8_t* applies, size_t* decided_by) {
  return Guarded([&] {
    const auto& [text, devices, is_decided] = Required(lines, "lines");
    const auto& compiled = *Required(list, "list").compiled;
    const auto asked = QuestionOf(question);
    yox::facts::FactsLine line;
    for (std::size_t i = 0; i < devices.size(); ++i) {
      line.Read(std::string_view(text).substr(devices[i].begin, devices[i].size));
      yox::facts::LineFacts facts(line, asked);
      WriteVerdict(Decide(compiled, facts), i, applies, decided_by);
    }
  });
}

yox_status yox_lines_decided(const yox_lines* lines, uint8_t* applies, size_t* decided_by) {
  return Guarded([&] {
    const auto& devices = Required(lines, "lines").devices;
    if (!lines->is_decided) throw Failure(YOX_NOT_FOUND, "lines: were read without a list");
    for (std::size_t i = 0; i < devices.size(); ++i) {
      WriteVerdict(devices[i].verdict, i, applies, decided_by);
    }
  });
}

void yox_lines_free(yox_lines* lines) { delete lines; }

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
