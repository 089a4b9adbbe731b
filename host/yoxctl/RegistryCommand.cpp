#include <json/writer.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "yox/base/Document.h"
#include "yox/base/String.h"
#include "yox/clientbase/RegFile.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPaths.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/DecimalNumber.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

namespace platform = yox::platform;
using platform::RegistryAction;
using platform::RegistryChange;
using platform::RegistryEdit;
using platform::RegistryEntry;
using platform::RegistryKey;
using platform::RegistryStatus;
using platform::RegistryType;
using platform::RegistryValue;
using YOX::String;
using yox::WString;
using yox::WStringView;

struct RegistryOptions {
  std::string key;
  std::string name;
  std::vector<std::string> data;
  std::string type = "REG_SZ";
  std::string file;
  std::string view;
  std::size_t count = 0;
  bool has_name = false;
  bool utf16 = false;
};

struct TypeRow {
  RegistryType type;
  const char* name;
};
constexpr TypeRow kTypes[] = {
    {RegistryType::kNone, "REG_NONE"},     {RegistryType::kText, "REG_SZ"},
    {RegistryType::kBinary, "REG_BINARY"}, {RegistryType::kExpandableText, "REG_EXPAND_SZ"},
    {RegistryType::kDword, "REG_DWORD"},   {RegistryType::kDwordBigEndian, "REG_DWORD_BIG_ENDIAN"},
    {RegistryType::kLink, "REG_LINK"},     {RegistryType::kMultiText, "REG_MULTI_SZ"},
    {RegistryType::kQword, "REG_QWORD"},
};

std::string TypeName(RegistryType type) {
  const auto* const row = std::ranges::find(kTypes, type, &TypeRow::type);
  if (row != std::end(kTypes)) return row->name;
  return std::to_string(static_cast<std::uint32_t>(type));
}

RegistryKey KeyOf(const RegistryOptions& options) {
  std::optional<RegistryKey> key = platform::ParseRegistryPath(Widened("KEY", options.key));
  if (!key || !platform::IsRegistryPath(key->path)) {
    throw Refusal("KEY: expected HKLM\\..., HKCU\\... or HKU\\..., found \"" +
                  yox::Printable(options.key) + "\"");
  }
  if (options.view == "32") key->view = platform::RegistryView::k32Bit;
  if (options.view == "64") key->view = platform::RegistryView::k64Bit;
  return *key;
}

// Throws unless the answer is yes, or no: then false.
bool Found(RegistryStatus status, const std::string& what) {
  switch (status) {
    case RegistryStatus::kOk:
      return true;
    case RegistryStatus::kNotFound:
      return false;
    case RegistryStatus::kDenied:
      throw Refusal(yox::Printable(what) + ": access denied");
    case RegistryStatus::kInvalid:
      throw Refusal(yox::Printable(what) + ": not possible in a registry");
    case RegistryStatus::kFailed:
      throw Refusal(yox::Printable(what) + ": the registry's store failed");
  }
  return false;
}

int NotFound(const std::string& what) {
  Complain(yox::Printable(what) + ": not found");
  return kNegative;
}

template <class Number>
Number NumberOf(const std::string& text) {
  Number number{};
  const bool hexadecimal = text.starts_with("0x");
  const char* const end = text.data() + text.size();
  const auto [stop, error] =
      std::from_chars(text.data() + (hexadecimal ? 2 : 0), end, number, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end) {
    throw Refusal("DATA: expected a number of the type, found \"" + yox::Printable(text) + "\"");
  }
  return number;
}

std::vector<std::uint8_t> BytesOf(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    std::uint8_t byte = 0;
    const char* const end = text.data() + std::min(i + 2, text.size());
    const auto [stop, error] = std::from_chars(text.data() + i, end, byte, 16);
    if (error != std::errc() || stop != end || end - text.data() != static_cast<long>(i + 2)) {
      throw Refusal("DATA: expected two hexadecimal digits for each byte");
    }
    bytes.push_back(byte);
  }
  return bytes;
}

RegistryValue ValueOf(const RegistryOptions& options) {
  const auto* const row = std::ranges::find_if(
      kTypes, [&](const TypeRow& known) { return known.name == options.type; });
  const RegistryType type = row->type;
  if (type == RegistryType::kMultiText) {
    std::vector<WString> texts;
    for (const std::string& text : options.data) {
      if (text.empty()) throw Refusal("DATA: a text of several cannot be empty");
      texts.push_back(Widened("DATA", text));
    }
    return RegistryValue::MultiText(texts);
  }
  if (options.data.size() > 1) throw Refusal("DATA: only REG_MULTI_SZ takes several texts");
  const std::string data = options.data.empty() ? "" : options.data.front();
  switch (type) {
    case RegistryType::kText:
      return RegistryValue::Text(Widened("DATA", data));
    case RegistryType::kExpandableText:
      return RegistryValue::ExpandableText(Widened("DATA", data));
    case RegistryType::kDword:
      return RegistryValue::Dword(NumberOf<std::uint32_t>(data));
    case RegistryType::kQword:
      return RegistryValue::Qword(NumberOf<std::uint64_t>(data));
    default:
      return {type, BytesOf(data)};
  }
}

// As a device profile holds it.
Json::Value DataJson(const RegistryValue& value) {
  if (value.type == RegistryType::kText || value.type == RegistryType::kExpandableText) {
    return String::UTF16ToUTF8(value.FirstText());
  }
  if (const auto dword = value.AsDword()) return *dword;
  if (const auto qword = value.AsQword()) return Json::UInt64{*qword};
  if (value.type == RegistryType::kMultiText) {
    Json::Value texts(Json::arrayValue);
    for (const WString& text : value.Texts()) texts.append(String::UTF16ToUTF8(text));
    return texts;
  }
  std::string bytes;
  for (const std::uint8_t byte : value.data) {
    bytes += "0123456789abcdef"[byte >> 4];
    bytes += "0123456789abcdef"[byte & 0xF];
  }
  return bytes;
}

// The texts of several stand on a line each.
std::string DataText(const RegistryValue& value) {
  const Json::Value data = DataJson(value);
  if (!data.isArray()) return data.asString() + "\n";
  std::string text;
  for (const Json::Value& one : data) text += one.asString() + "\n";
  return text;
}

Json::Value ValueJson(const RegistryValue& value) {
  Json::Value json;
  json["type"] = TypeName(value.type);
  json["data"] = DataJson(value);
  return json;
}

void PrintJson(const Json::Value& document) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  Print(Json::writeString(builder, document) + "\n");
}

platform::Registry& TheRegistry() { return platform::Platform::Get().registry(); }

// As messages show it; of the default value it is the key's.
std::string ValuePlace(const RegistryOptions& options) {
  return options.name.empty() ? options.key : options.key + ":" + options.name;
}

int Get(const GlobalOptions& global, const RegistryOptions& options) {
  RegistryValue value;
  const RegistryStatus status =
      TheRegistry().Get(KeyOf(options), Widened("NAME", options.name), value);
  if (!Found(status, ValuePlace(options))) return NotFound(ValuePlace(options));
  if (global.json) {
    PrintJson(ValueJson(value));
  } else {
    Print(DataText(value));
  }
  return kDone;
}

int Set(const GlobalOptions&, const RegistryOptions& options) {
  const RegistryKey key = KeyOf(options);
  const RegistryEdit edits[] = {
      {RegistryAction::kCreateKey, key, {}, {}},
      {RegistryAction::kSetValue, key, Widened("NAME", options.name), ValueOf(options)},
  };
  Found(TheRegistry().Apply(edits), ValuePlace(options));
  return kDone;
}

int Delete(const GlobalOptions&, const RegistryOptions& options) {
  const RegistryKey key = KeyOf(options);
  if (!options.has_name) {
    return Found(TheRegistry().DeleteKey(key), options.key) ? int{kDone} : NotFound(options.key);
  }
  const RegistryStatus status = TheRegistry().DeleteValue(key, Widened("NAME", options.name));
  return Found(status, ValuePlace(options)) ? int{kDone} : NotFound(ValuePlace(options));
}

int List(const GlobalOptions& global, const RegistryOptions& options) {
  const RegistryKey key = KeyOf(options);
  std::vector<RegistryEntry> values;
  std::vector<WString> names;
  if (!Found(TheRegistry().Values(key, values), options.key) ||
      !Found(TheRegistry().SubKeys(key, names), options.key)) {
    return NotFound(options.key);
  }
  std::ranges::sort(values, {}, &RegistryEntry::name);
  std::ranges::sort(names);
  Json::Value document;
  document["keys"] = Json::Value(Json::arrayValue);
  document["values"] = Json::Value(Json::objectValue);
  std::string text;
  for (const WString& name : names) {
    document["keys"].append(String::UTF16ToUTF8(name));
    text += OneLine(String::UTF16ToUTF8(name)) + "\\\n";
  }
  for (const auto& [name, value] : values) {
    document["values"][String::UTF16ToUTF8(name)] = ValueJson(value);
    std::string data = DataText(value);
    data.pop_back();
    std::ranges::replace(data, '\n', '|');
    text += OneLine((name.empty() ? "@" : String::UTF16ToUTF8(name)) + "  " + TypeName(value.type) +
                    "  " + data) +
            "\n";
  }
  if (global.json) {
    PrintJson(document);
  } else {
    Print(text);
  }
  return kDone;
}

// One line, or one JSON document on a line, for each change.
std::string ChangeText(const RegistryChange& change, bool json) {
  constexpr std::array<const char*, 4> kActions = {"create key", "delete key", "set value",
                                                   "delete value"};
  const char* const action =
      change.lost ? "lost" : kActions.at(static_cast<std::size_t>(change.action));
  const bool has_name =
      change.action == RegistryAction::kSetValue || change.action == RegistryAction::kDeleteValue;
  const std::string key = String::UTF16ToUTF8(change.key), name = String::UTF16ToUTF8(change.name);
  if (!json) return OneLine(std::string(action) + " " + key + (has_name ? ":" + name : "")) + "\n";
  Json::Value document;
  document["action"] = action;
  document["key"] = key;
  if (has_name) document["name"] = name;
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, document) + "\n";
}

int Watch(const GlobalOptions& global, const RegistryOptions& options) {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<RegistryChange> changes;
  std::unique_ptr<platform::RegistryWatch> watch;
  const RegistryStatus status = TheRegistry().Watch(
      KeyOf(options),
      [&](const std::vector<RegistryChange>& seen) {
        const std::lock_guard lock(mutex);
        changes.insert(changes.end(), seen.begin(), seen.end());
        changed.notify_one();
      },
      watch);
  if (!Found(status, options.key)) return NotFound(options.key);
  Complain("watching " + yox::Printable(options.key));
  for (std::size_t left = options.count; options.count == 0 || left > 0;) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return !changes.empty(); });
    const std::vector<RegistryChange> seen = std::exchange(changes, {});
    lock.unlock();
    for (const RegistryChange& change : seen) {
      if (options.count != 0 && left == 0) break;
      Print(ChangeText(change, global.json));
      --left;
    }
  }
  return kDone;
}

int Import(const GlobalOptions&, const RegistryOptions& options) {
  constexpr std::size_t kLongestFile = std::size_t{256} << 20;
  std::vector<RegistryEdit> edits;
  try {
    edits = yox::ReadRegFile(yox::ReadDocumentFile(PathOf(options.file), kLongestFile));
  } catch (const yox::DocumentError& error) {
    throw Refusal(NameOf(options.file) + ": " + error.what());
  }
  if (!Found(TheRegistry().Apply(edits), NameOf(options.file))) return NotFound(options.file);
  return kDone;
}

int Export(const GlobalOptions&, const RegistryOptions& options) {
  std::vector<RegistryEdit> edits;
  if (!Found(yox::EditsThatMake(TheRegistry(), KeyOf(options), edits), options.key)) {
    return NotFound(options.key);
  }
  const std::string bytes = yox::WriteRegFile(
      edits, options.utf16 ? yox::RegFileEncoding::kUtf16 : yox::RegFileEncoding::kUtf8);
  if (options.file.empty()) {
    if (options.utf16) throw Refusal("--utf16: needs a FILE.reg");
    Print(bytes);
    return kDone;
  }
  WriteFile(options.file, bytes);
  return kDone;
}

}  // namespace

void AddRegistryCommand(CLI::App& app, Action& action) {
  using Function = int (*)(const GlobalOptions&, const RegistryOptions&);
  const auto options = std::make_shared<RegistryOptions>();
  CLI::App* const registry =
      app.add_subcommand("registry", "Read, change and watch the device's registry");
  registry->require_subcommand(1);
  registry->add_option("--view", options->view, "Which half of the registry")
      ->type_name("64|32")
      ->check(CLI::IsMember({"64", "32"}).description(""));

  const auto add = [&](const char* name, const char* help, Function function) {
    CLI::App* const command = registry->add_subcommand(name, help);
    command->fallthrough();
    command->callback([&action, options, command, function] {
      const auto* const value = command->get_option_no_throw("NAME");
      options->has_name = value != nullptr && value->count() > 0;
      action = [options, function](const GlobalOptions& global) {
        const ChosenDevice device(global);
        return function(global, *options);
      };
    });
    return command;
  };
  const auto takes_key = [&](CLI::App* command) {
    command->add_option("KEY", options->key, "Such as HKLM\\SOFTWARE\\Contoso")
        ->required()
        ->type_name(" ");
    return command;
  };
  const auto takes_name = [&](CLI::App* command) {
    return command
        ->add_option("NAME", options->name, "Of the value; empty: the key's default value")
        ->type_name(" ");
  };

  takes_name(takes_key(add("get", "Print a value", Get)));
  CLI::App* const set = takes_key(add("set", "Write a value, creating its key", Set));
  takes_name(set)->required();
  set->add_option("DATA", options->data,
                  "Text, number, bytes in hexadecimal; of REG_MULTI_SZ texts")
      ->type_name(" ");
  std::vector<std::string> types;
  for (const TypeRow& row : kTypes) types.emplace_back(row.name);
  set->add_option("--type", options->type, "Type of the value")
      ->type_name("REG_...")
      ->default_str("REG_SZ")
      ->check(CLI::IsMember(types).description(""));
  takes_name(
      takes_key(add("delete", "Delete a value, or without NAME the key and all below", Delete)));
  takes_key(add("list", "Print what a key holds", List));
  takes_key(add("watch", "Print what changes in a key and below, until interrupted", Watch))
      ->add_option("--count", options->count, "End after so many changes")
      ->type_name("N")
      ->transform(DecimalNumber<std::size_t>());
  add("import", "Do what a registry file asks for, all of it or nothing", Import)
      ->add_option("FILE.reg", options->file, "UTF-16 or UTF-8, version 5.00")
      ->required()
      ->type_name(" ");
  CLI::App* const exporting =
      takes_key(add("export", "Write a key and all below as a registry file", Export));
  exporting->add_option("FILE.reg", options->file, "Absent: standard output")->type_name(" ");
  exporting->add_flag("--utf16", options->utf16, "In UTF-16, as old editors want it");
}

}  // namespace yoxctl
