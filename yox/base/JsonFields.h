#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/base/WString.h"

// Reading and writing structs as JSON objects. A struct is described once, by a table of its
// fields:
//
//   template <> struct JsonFields<Screen> {
//     static constexpr std::tuple kTable{JsonField{"name", &Screen::name}, ...};
//   };
//
// From the table the struct is read (ReadJson), written (WriteJson), and its keys are listed
// (JsonPaths). Every key is optional; an unknown key or a value of the wrong type is a
// DocumentError with its path. Every object may have a `comment`, which is not kept.
namespace yox {

template <class Record, class Value>
struct JsonField {
  std::string_view key;
  Value Record::*member;
};
// clang deduces an aggregate's arguments by itself from version 17 on.
template <class Record, class Value>
JsonField(const char*, Value Record::*) -> JsonField<Record, Value>;

template <class Record>
struct JsonFields;

template <class T>
concept JsonRecord = requires {
  JsonFields<T>::kTable;
};

// How a type is read, written, and its keys are listed. Specialise it for a type with its own form.
template <class T>
struct JsonCodec;

template <class T>
void ReadJson(const JsonNode& node, T& value) {
  JsonCodec<T>::Read(node, value);
}

template <class T>
Json::Value WriteJson(const T& value) {
  return JsonCodec<T>::Write(value);
}

// Returns the paths of all keys that a document of the type may have; * is any key or index.
template <class T>
std::vector<std::string> JsonPaths(const std::string& path = {}) {
  std::vector<std::string> paths;
  JsonCodec<T>::List(path, paths);
  return paths;
}

template <>
struct JsonCodec<WString> {
  static void Read(const JsonNode& node, WString& text) {
    node.Require(node.value().isString(), "a string");
    text = String::UTF8ToUTF16(node.value().asString());
  }
  static Json::Value Write(const WString& text) { return String::UTF16ToUTF8(text); }
  static void List(const std::string&, std::vector<std::string>&) {}
};

template <>
struct JsonCodec<bool> {
  static void Read(const JsonNode& node, bool& value) {
    node.Require(node.value().isBool(), "true or false");
    value = node.value().asBool();
  }
  static Json::Value Write(bool value) { return value; }
  static void List(const std::string&, std::vector<std::string>&) {}
};

template <class T>
requires std::is_integral_v<T>
struct JsonCodec<T> {
  static void Read(const JsonNode& node, T& number) {
    const Json::Value& value = node.value();
    node.Require(value.isNumeric(), "a whole number");
    constexpr auto kLowest = std::numeric_limits<T>::min();
    constexpr auto kHighest = std::numeric_limits<T>::max();
    if (value.isUInt64() && std::in_range<T>(value.asUInt64())) {
      number = static_cast<T>(value.asUInt64());
    } else if (value.isInt64() && std::in_range<T>(value.asInt64())) {
      number = static_cast<T>(value.asInt64());
    } else {
      node.Fail("expected a whole number from " + std::to_string(kLowest) + " to " +
                std::to_string(kHighest));
    }
  }
  static Json::Value Write(T number) {
    if constexpr (std::is_signed_v<T>) return Json::Int64{number};
    if constexpr (!std::is_signed_v<T>) return Json::UInt64{number};
  }
  static void List(const std::string&, std::vector<std::string>&) {}
};

template <class T>
struct JsonCodec<std::optional<T>> {
  static void Read(const JsonNode& node, std::optional<T>& value) {
    ReadJson(node, value.emplace(T{}));  // clang takes a nested T for not default-constructible
  }
  static Json::Value Write(const std::optional<T>& value) {
    return value ? WriteJson(*value) : Json::Value();
  }
  static void List(const std::string& path, std::vector<std::string>& paths) {
    JsonCodec<T>::List(path, paths);
  }
};

template <class T>
struct JsonCodec<std::vector<T>> {
  static void Read(const JsonNode& node, std::vector<T>& list) {
    node.Require(node.value().isArray(), "an array");
    for (Json::ArrayIndex i = 0; i < node.value().size(); ++i) {
      ReadJson(node.Element(i), list.emplace_back());
    }
  }
  static Json::Value Write(const std::vector<T>& list) {
    Json::Value array(Json::arrayValue);
    for (const T& value : list) array.append(WriteJson(value));
    return array;
  }
  static void List(const std::string& path, std::vector<std::string>& paths) {
    JsonCodec<T>::List(path + "[*]", paths);
  }
};

template <class T>
struct JsonCodec<std::map<WString, T>> {
  static void Read(const JsonNode& node, std::map<WString, T>& map) {
    node.ForEachMember([&](std::string_view key, const JsonNode& member) {
      ReadJson(member, map[String::UTF8ToUTF16(key)]);
    });
  }
  static Json::Value Write(const std::map<WString, T>& map) {
    Json::Value object(Json::objectValue);
    for (const auto& [key, value] : map) object[String::UTF16ToUTF8(key)] = WriteJson(value);
    return object;
  }
  static void List(const std::string& path, std::vector<std::string>& paths) {
    JsonCodec<T>::List(path + ".*", paths);
  }
};

template <JsonRecord T>
struct JsonCodec<T> {
  static void Read(const JsonNode& node, T& record) {
    node.ForEachMember([&](std::string_view key, const JsonNode& member) {
      bool known = false;
      ForEachField([&](const auto& field) {
        if (field.key != key) return;
        ReadJson(member, record.*field.member);
        known = true;
      });
      if (known || member.IsRemark()) return;
      std::vector<std::string_view> keys;
      ForEachField([&](const auto& field) { keys.push_back(field.key); });
      member.FailUnknownKey(keys);
    });
  }

  // Leaves out the members that have their default value.
  static Json::Value Write(const T& record) {
    const T fresh{};
    Json::Value object(Json::objectValue);
    ForEachField([&](const auto& field) {
      Json::Value value = WriteJson(record.*field.member);
      if (value != WriteJson(fresh.*field.member))
        object[std::string(field.key)] = std::move(value);
    });
    return object;
  }

  static void List(const std::string& path, std::vector<std::string>& paths) {
    ForEachField([&](const auto& field) {
      const std::string place =
          path.empty() ? std::string(field.key) : path + "." + std::string(field.key);
      paths.push_back(place);
      using Value = std::remove_cvref_t<decltype(std::declval<T>().*field.member)>;
      JsonCodec<Value>::List(place, paths);
    });
  }

 private:
  template <class Visit>
  static void ForEachField(Visit visit) {
    std::apply([&](const auto&... field) { (visit(field), ...); }, JsonFields<T>::kTable);
  }
};

}  // namespace yox
