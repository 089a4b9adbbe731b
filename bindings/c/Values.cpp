// SPDX-License-Identifier: Apache-2.0
// Errors, texts and pairs.
#include <filesystem>
#include <new>
#include <system_error>

#include "yox/base/Document.h"
#include "yox/base/String.h"
#include "yox/decision/FilterFields.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

#include "bindings/c/Handles.h"

namespace yox::c {
namespace {

// Fixed buffers: keeping an error must not fail, and a thread's end frees nothing that a caller in
// another language may still read.
struct LastError {
  char message[1024] = "";
  char place[256] = "";
};
thread_local constinit LastError last_error;

// Copies as much as fits, without cutting a character.
template <std::size_t kSize>
void Keep(char (&buffer)[kSize], std::string_view text) noexcept {
  std::size_t size = std::min(text.size(), kSize - 1);
  if (size < text.size()) {
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  }
  text.copy(buffer, size);
  buffer[size] = '\0';
}

// The places that a message of a document begins with, each followed by ": ", as in
// "line 1: tags.Ring: expected a string": a line, or a path, which has no space outside of quotes.
std::string_view PlaceOf(std::string_view message) noexcept {
  std::size_t end = 0;    // of the last place
  std::size_t begin = 0;  // of the part that is being read
  bool quoted = false;
  for (std::size_t i = 0; i + 1 < message.size(); ++i) {
    if (message[i] == '"') quoted = !quoted;
    if (quoted) continue;
    if (message[i] == ':' && message[i + 1] == ' ') {
      end = i;
      begin = i + 2;
      ++i;
    } else if (message[i] == ' ' && !message.substr(begin).starts_with("line ")) {
      break;
    }
  }
  return message.substr(0, end);
}

yox_status Kept(yox_status status, std::string_view message, std::string_view place = {}) noexcept {
  Keep(last_error.message, message);
  Keep(last_error.place, place);
  return status;
}

}  // namespace

yox_status Caught() noexcept {
  try {
    throw;
  } catch (const Failure& error) {
    return Kept(error.status(), error.what());
  } catch (const DocumentError& error) {
    return Kept(YOX_DOCUMENT, error.what(), PlaceOf(error.what()));
  } catch (const std::bad_alloc&) {
    return Kept(YOX_NO_MEMORY, "out of memory");
  } catch (const std::system_error& error) {
    return Kept(YOX_SYSTEM, error.what());
  } catch (const std::exception& error) {
    return Kept(YOX_INTERNAL, error.what());
  } catch (...) {
    return Kept(YOX_INTERNAL, "unknown exception");
  }
}

std::string_view Document(const char* text, std::size_t size, const char* name) {
  if (size == 0) return {};
  return {&Required(text, name), size};
}

std::string_view Utf8(const char* text, const char* name) {
  const std::string_view view = &Required(text, name);
  if (!String::IsValidUTF8(view)) {
    throw Failure(YOX_ARGUMENT, std::string(name) + ": is not well-formed UTF-8");
  }
  return view;
}

WString Wide(const char* text, const char* name) { return String::UTF8ToUTF16(Utf8(text, name)); }

yox_text FieldName(FilterField field) {
  const std::string_view name = decision::kFilterFieldNames[static_cast<std::size_t>(field)];
  return {name.data(), name.size()};  // a literal, which ends with a zero
}

yox_string* NewString(std::string text) { return new yox_string{std::move(text)}; }

decision::Pairs PairsOf(const yox_pair* pairs, std::size_t count, const char* name) {
  decision::Pairs result;
  if (count > 0) Required(pairs, name);
  for (const yox_pair& pair : std::span(pairs, count)) {
    result.emplace_back(Wide(pair.key, name), Wide(pair.value, name));
  }
  return result;
}

decision::Question QuestionOf(const yox_question* question) {
  decision::Question result;
  yox_question given = Read(question, "question");
  if (question == nullptr) given.now = YOX_NOW;
  result.now = given.now == YOX_NOW ? platform::Platform::Get().clock().Now() : given.now;
  if (given.target_version != nullptr) {
    result.target_version = Wide(given.target_version, "question.target_version");
  }
  result.extra_tags = PairsOf(given.tags, given.tag_count, "question.tags");
  return result;
}

std::vector<ApplicabilityFilter> ListsOf(const yox_list* const* lists, std::size_t count) {
  std::vector<ApplicabilityFilter> result;
  if (count > 0) Required(lists, "lists");
  for (const yox_list* const list : std::span(lists, count)) {
    result.push_back(Required(list, "lists").filter);
  }
  return result;
}

}  // namespace yox::c

using namespace yox::c;  // NOLINT: only C functions follow

const char* yox_version(void) { return YOX_LIBRARY_VERSION; }

const char* yox_error_message(void) { return last_error.message; }

const char* yox_error_place(void) { return last_error.place; }

const char* yox_status_name(yox_status status) {
  static constexpr const char* kNames[] = {"YOX_OK",       "YOX_NOT_FOUND", "YOX_ARGUMENT",
                                           "YOX_DOCUMENT", "YOX_STATE",     "YOX_DENIED",
                                           "YOX_SYSTEM",   "YOX_NO_MEMORY", "YOX_INTERNAL"};
  return status >= 0 && static_cast<std::size_t>(status) < std::size(kNames) ? kNames[status]
                                                                             : "unknown";
}

const char* yox_string_data(const yox_string* string) {
  return string == nullptr ? "" : string->text.c_str();
}

size_t yox_string_size(const yox_string* string) {
  return string == nullptr ? 0 : string->text.size();
}

void yox_string_free(yox_string* string) { delete string; }

size_t yox_pairs_count(const yox_pairs* pairs) {
  return pairs == nullptr ? 0 : pairs->pairs.size();
}

yox_status yox_pairs_get(const yox_pairs* pairs, size_t index, yox_text* key, yox_text* value) {
  return Guarded([&] {
    const auto& pair = At(Required(pairs, "pairs").pairs, index, "index");
    Required(key, "key") = Text(pair.first);
    if (value != nullptr) *value = Text(pair.second);
  });
}

void yox_pairs_free(yox_pairs* pairs) { delete pairs; }
