// Changes documents of JSON as trees: a member or an element is dropped, doubled, renamed, or gets
// the value of another place, also of other inputs. An input is one document, or lines some of
// which are.
#include <algorithm>
#include <optional>

#include "yox/base/Document.h"
#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"

#include "fuzz/Mutation.h"

using yox_fuzz::Below;
using yox_fuzz::MutatedBytes;
using yox_fuzz::Random;

namespace {

constexpr std::size_t kMostText = 64;

yox_fuzz::Parts<Json::Value> g_values;
yox_fuzz::Parts<std::string> g_names;

std::optional<Json::Value> Parsed(const std::string& text) {
  try {
    return yox::ParseDocument(text);
  } catch (const yox::DocumentError&) {
    return std::nullopt;
  }
}

bool HasParts(const Json::Value& value) {
  return (value.isArray() || value.isObject()) && !value.empty();
}

void Keep(const Json::Value& value, Random& random) {
  g_values.Keep(value, random);
  if (value.isObject()) {
    for (const std::string& name : value.getMemberNames()) g_names.Keep(name, random);
  }
  for (const Json::Value& part : value) Keep(part, random);
}

std::string MutatedText(const std::string& text) {
  return MutatedBytes(text, std::max(kMostText, text.size() * 2));
}

Json::Value MutatedLeaf(const Json::Value& value, Random& random) {
  if (const Json::Value* const other = g_values.Any(random); other != nullptr && Below(2, random))
    return *other;
  if (value.isString()) return MutatedText(value.asString());
  if (value.isBool()) return !value.asBool();
  switch (Below(6, random)) {
    case 0:
      return Json::Value(Json::nullValue);
    case 1:
      return Json::Value(Json::objectValue);
    case 2:
      return Json::Value(Json::arrayValue);
    case 3:
      return std::string();
    default:
      return static_cast<Json::Int64>(random()) >> Below(32, random);
  }
}

std::string AnyName(const std::string& name, Random& random) {
  const std::string* const other = g_names.Any(random);
  return other != nullptr && Below(4, random) != 0 ? *other : MutatedText(name);
}

void MutateMember(Json::Value& object, Random& random) {
  const std::vector<std::string> names = object.getMemberNames();
  const std::string& name = names[Below(names.size(), random)];
  switch (Below(4, random)) {
    case 0:
      object.removeMember(name);
      break;
    case 1:
      object[AnyName(name, random)] = Json::Value(object[name]);
      break;
    case 2: {
      const Json::Value* const other = g_values.Any(random);
      object[AnyName(name, random)] = other != nullptr ? *other : Json::Value();
      break;
    }
    default:
      object[name] = MutatedLeaf(object[name], random);
  }
}

void MutateElement(Json::Value& array, Random& random) {
  const auto at = static_cast<Json::ArrayIndex>(Below(array.size(), random));
  Json::Value removed;
  switch (Below(4, random)) {
    case 0:
      array.removeIndex(at, &removed);
      break;
    case 1:
      array.append(Json::Value(array[at]));
      break;
    case 2:
      std::swap(array[at], array[static_cast<Json::ArrayIndex>(Below(array.size(), random))]);
      break;
    default:
      array[at] = MutatedLeaf(array[at], random);
  }
}

// Goes down a random path, and changes what is at its end.
void Mutate(Json::Value& value, Random& random) {
  if (!HasParts(value)) {
    value = MutatedLeaf(value, random);
  } else if (Below(3, random) != 0) {
    auto part = value.begin();
    std::advance(part, static_cast<std::ptrdiff_t>(Below(value.size(), random)));
    Mutate(*part, random);
  } else if (value.isObject()) {
    MutateMember(value, random);
  } else {
    MutateElement(value, random);
  }
}

// The text with one of its documents changed; the text itself if it has none.
std::string Mutated(const std::string& text, Random& random) {
  const auto mutated = [&](Json::Value document) {
    Keep(document, random);
    for (std::size_t times = 1 + Below(3, random); times > 0; --times) Mutate(document, random);
    return yox::JsonText(document, yox::JsonStyle::kCompact);
  };
  if (auto whole = Parsed(text)) return mutated(*std::move(whole));
  std::vector<std::string> lines = yox_fuzz::Lines(text);
  std::string& line = lines[Below(lines.size(), random)];
  auto document = Parsed(line);
  if (!document) return text;
  line = mutated(*std::move(document));
  while (line.ends_with('\n')) line.pop_back();
  return yox_fuzz::Joined(lines);
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t most, unsigned seed) {
  Random random(seed);
  const std::string text(reinterpret_cast<const char*>(data), size);
  // Malformed documents are inputs, too.
  if (Below(8, random) != 0) {
    const std::string mutated = Mutated(text, random);
    if (mutated != text && mutated.size() <= most) {
      std::ranges::copy(mutated, data);
      return mutated.size();
    }
  }
  return LLVMFuzzerMutate(data, size, most);
}
