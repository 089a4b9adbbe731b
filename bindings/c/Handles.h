// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "yox/base/WString.h"
#include "yox/c/yox.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/Filter.h"
#include "yox/decision/PreparedDevice.h"

// The handles of several files, and what every function of the C interface does alike.

struct yox_string {
  std::string text;
};

struct yox_pairs {
  std::vector<std::pair<std::string, std::string>> pairs;
};

struct yox_list {
  ApplicabilityFilter filter;
  std::shared_ptr<const yox::decision::CompiledList> compiled;
};

struct yox_facts {
  explicit yox_facts(yox::decision::FactsRecord facts) : record(std::move(facts)), device(record) {}

  yox::decision::FactsRecord record;
  yox::decision::PreparedDevice device;
};

struct yox_trace {
  yox::decision::DecisionTrace trace;
  int32_t applies;
  std::string reason;
};

namespace yox::platform {
class Registry;
}

namespace yox::c {

// Ends a call with this status and message.
class Failure : public std::runtime_error {
 public:
  Failure(yox_status status, const std::string& message)
      : std::runtime_error(message), status_(status) {}

  yox_status status() const { return status_; }

 private:
  yox_status status_;
};

// Keeps the exception that is being handled as this thread's last error, and returns its status.
yox_status Caught() noexcept;

// Runs the body of a C function: returns YOX_OK, or the status of what it throws.
template <class Body>
yox_status Guarded(Body body) noexcept {
  try {
    body();
    return YOX_OK;
  } catch (...) {
    return Caught();
  }
}

// The size that each struct had in the first version that had it. A struct that gets members gets a
// specialisation here with its former size.
template <class Struct>
inline constexpr std::size_t kFirstSize = sizeof(Struct);

// Returns what a required pointer points to.
template <class Value>
Value& Required(Value* pointer, const char* name) {
  if (pointer == nullptr) throw Failure(YOX_ARGUMENT, std::string(name) + ": is NULL");
  return *pointer;
}

template <class Struct>
std::size_t SharedSize(const Struct& given, const char* name) {
  if (given.size < kFirstSize<Struct>) {
    throw Failure(YOX_ARGUMENT, std::string(name) + ": expected a `size` of at least " +
                                    std::to_string(kFirstSize<Struct>) + ", found " +
                                    std::to_string(given.size));
  }
  return std::min(given.size, sizeof(Struct));
}

// Returns a struct of the caller's as this version knows it; all zero for NULL.
template <class Struct>
Struct Read(const Struct* given, const char* name) {
  Struct value{};
  if (given != nullptr) std::memcpy(&value, given, SharedSize(*given, name));
  return value;
}

// Writes a struct as far as the caller's version knows it.
template <class Struct>
void Write(Struct* out, Struct value, const char* name) {
  const std::size_t size = SharedSize(Required(out, name), name);
  value.size = out->size;
  std::memcpy(out, &value, size);
}

// Returns an element by its index.
template <class Elements>
auto& At(Elements& elements, std::size_t index, const char* name) {
  if (index >= std::size(elements)) {
    throw Failure(YOX_ARGUMENT, std::string(name) + ": expected an index below " +
                                    std::to_string(std::size(elements)) + ", found " +
                                    std::to_string(index));
  }
  return elements[index];
}

// Returns the bytes of a document parameter; NULL is an empty one only if its size is 0.
std::string_view Document(const char* text, std::size_t size, const char* name);
// Return a text parameter, which must be well-formed UTF-8.
std::string_view Utf8(const char* text, const char* name);
WString Wide(const char* text, const char* name);

// A view of a text that ends with a zero byte.
inline yox_text Text(const std::string& text) { return {text.data(), text.size()}; }
yox_text FieldName(FilterField field);

yox_string* NewString(std::string text);

// The question of a decision, with the moment filled in.
decision::Question QuestionOf(const yox_question* question);
decision::Pairs PairsOf(const yox_pair* pairs, std::size_t count, const char* name);
std::vector<ApplicabilityFilter> ListsOf(const yox_list* const* lists, std::size_t count);

// The registry of a runtime's device.
platform::Registry& RegistryOf(yox_runtime* runtime);
// Something that calls the host until it is ended: by the host, or when the runtime stops.
class Registration {
 public:
  virtual ~Registration() = default;
  // Ends the calls and waits for one that is running. Does nothing when called again.
  virtual void End() = 0;
};
void Add(yox_runtime& runtime, Registration& registration);
// Ends a registration and forgets it.
void Remove(Registration& registration);

yox_trace* NewTrace(decision::DecisionTrace trace, int32_t applies);
yox_explanation* NewExplanation(const decision::Explanation& explanation);

}  // namespace yox::c
