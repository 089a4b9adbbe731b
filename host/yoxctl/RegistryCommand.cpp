#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <utility>

#include "yox/base/Document.h"
#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/clientbase/RegFile.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPaths.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inputs.h"
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
  std::optional<std::string> name;
  std::vector<std::string> data;
  std::string type = "REG_SZ";
  std::string file;
  std::string view;
  std::size_t count = 0;
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

// The registry of the chosen device, for one command. Why it cannot be read or written becomes part
// of the command's refusal instead of a line of its own.
class Session {
 public:
  explicit Session(const GlobalOptions& global) : device_(global), json_(global.json) {
    registry().OnFailure([this](std::string_view text) {
      const yox::MutexLock lock(mutex_);
      failure_ = text;
    });
  }

  platform::Registry& registry() { return platform::Platform::Get().registry(); }
  bool json() const { return json_; }

  // Returns false for kNotFound, and throws Refusal, with the place, for other failures.
  bool Found(RegistryStatus status, const std::string& place) {
    if (status == RegistryStatus::kOk) return true;
    if (status == RegistryStatus::kNotFound) return false;
    if (status == RegistryStatus::kInvalid) {
      throw Refusal(yox::Printable(place) + ": not possible in a registry");
    }
    const yox::MutexLock lock(mutex_);
    throw Refusal(yox::Printable(place) + ": " + (failure_.empty() ? "access denied" : failure_));
  }

  // Prints later failures, which no command waits for.
  void ComplainFromNowOn() {
    registry().OnFailure([](std::string_view text) { Complain(text); });
  }

 private:
  ChosenDevice device_;  // ends the calls
  const bool json_;
  yox::Mutex mutex_;
  std::string failure_ YOX_GUARDED_BY(mutex_);
};

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
      if (text.empty()) throw Refusal("DATA: a string of REG_MULTI_SZ cannot be empty");
      texts.push_back(Widened("DATA", text));
    }
    return RegistryValue::MultiText(texts);
  }
  if (options.data.size() > 1) throw Refusal("DATA: only REG_MULTI_SZ takes several strings");
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

// The data as a device profile has it.
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

// One line; of REG_MULTI_SZ one for each string.
std::string DataText(const RegistryValue& value) {
  const Json::Value data = DataJson(value);
  if (!data.isArray()) return OneLine(data.asString()) + "\n";
  std::string text;
  for (const Json::Value& one : data) text += OneLine(one.asString()) + "\n";
  return text;
}

Json::Value ValueJson(const RegistryValue& value) {
  Json::Value json;
  json["type"] = TypeName(value.type);
  json["data"] = DataJson(value);
  return json;
}

void PrintJson(const Json::Value& document) { Print(yox::JsonText(document)); }

// The value in messages; for the default value the key alone.
std::string ValuePlace(const RegistryOptions& options) {
  return options.name.value_or("").empty() ? options.key : options.key + ":" + *options.name;
}

int Get(Session& session, const RegistryOptions& options) {
  RegistryValue value;
  const RegistryStatus status =
      session.registry().Get(KeyOf(options), Widened("NAME", options.name.value_or("")), value);
  if (!session.Found(status, ValuePlace(options))) return NotFound(ValuePlace(options));
  if (session.json()) {
    PrintJson(ValueJson(value));
  } else {
    Print(DataText(value));
  }
  return kDone;
}

int Set(Session& session, const RegistryOptions& options) {
  const RegistryKey key = KeyOf(options);
  const RegistryEdit edits[] = {
      {RegistryAction::kCreateKey, key, {}, {}},
      {RegistryAction::kSetValue, key, Widened("NAME", *options.name), ValueOf(options)},
  };
  session.Found(session.registry().Apply(edits), ValuePlace(options));
  return kDone;
}

int Delete(Session& session, const RegistryOptions& options) {
  const RegistryKey key = KeyOf(options);
  if (!options.name) {
    return session.Found(session.registry().DeleteKey(key), options.key) ? int{kDone}
                                                                         : NotFound(options.key);
  }
  const RegistryStatus status = session.registry().DeleteValue(key, Widened("NAME", *options.name));
  return session.Found(status, ValuePlace(options)) ? int{kDone} : NotFound(ValuePlace(options));
}

int List(Session& session, const RegistryOptions& options) {
  const RegistryKey key = KeyOf(options);
  std::vector<RegistryEntry> values;
  std::vector<WString> names;
  if (!session.Found(session.registry().Values(key, values), options.key) ||
      !session.Found(session.registry().SubKeys(key, names), options.key)) {
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
  if (session.json()) {
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
  return yox::JsonText(document, yox::JsonStyle::kReadableLine);
}

// Changes on their way from the registry's thread to the one that prints them.
class ReportedChanges {
 public:
  void Add(const std::vector<RegistryChange>& changes) {
    const yox::MutexLock lock(mutex_);
    changes_.insert(changes_.end(), changes.begin(), changes.end());
    added_.NotifyOne();
  }
  // Waits until there are some.
  std::vector<RegistryChange> Take() {
    yox::MutexLock lock(mutex_);
    while (changes_.empty()) added_.Wait(lock);
    return std::exchange(changes_, {});
  }

 private:
  yox::Mutex mutex_;
  yox::ConditionVariable added_;
  std::vector<RegistryChange> changes_ YOX_GUARDED_BY(mutex_);
};

int Watch(Session& session, const RegistryOptions& options) {
  ReportedChanges reported;
  std::unique_ptr<platform::RegistryWatch> watch;
  const RegistryStatus status = session.registry().Watch(
      KeyOf(options), [&](const std::vector<RegistryChange>& changes) { reported.Add(changes); },
      watch);
  if (!session.Found(status, options.key)) return NotFound(options.key);
  session.ComplainFromNowOn();
  Complain("watching " + yox::Printable(options.key));
  for (std::size_t left = options.count; options.count == 0 || left > 0;) {
    for (const RegistryChange& change : reported.Take()) {
      if (options.count != 0 && left == 0) break;
      Print(ChangeText(change, session.json()));
      --left;
    }
  }
  return kDone;
}

int Import(Session& session, const RegistryOptions& options) {
  constexpr std::size_t kLongestFile = std::size_t{256} << 20;
  std::vector<RegistryEdit> edits;
  try {
    edits = yox::ReadRegFile(options.file == kStandardInput
                                 ? ReadStandardInput(kLongestFile)
                                 : yox::ReadDocumentFile(PathOf(options.file), kLongestFile));
  } catch (const yox::DocumentError& error) {
    throw Refusal(NameOf(options.file) + ": " + error.what());
  }
  if (!session.Found(session.registry().Apply(edits), NameOf(options.file)))
    return NotFound(options.file);
  return kDone;
}

int Export(Session& session, const RegistryOptions& options) {
  std::vector<RegistryEdit> edits;
  std::vector<RegistryKey> denied;
  const RegistryStatus status =
      yox::EditsThatMake(session.registry(), KeyOf(options), edits, denied);
  if (!session.Found(status, options.key)) return NotFound(options.key);
  for (const RegistryKey& key : denied) {
    Complain(String::UTF16ToUTF8(platform::RegistryPathText(key)) + ": access denied, left out");
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

using SharedOptions = std::shared_ptr<RegistryOptions>;

Command SubCommand(std::string name, std::string help, const SharedOptions& options,
                   std::vector<Option> taken, int (*function)(Session&, const RegistryOptions&)) {
  return {.name = std::move(name),
          .help = std::move(help),
          .options = std::move(taken),
          .run = [options, function](const GlobalOptions& global) {
            Session session(global);
            return function(session, *options);
          }};
}

}  // namespace

Command RegistryCommand() {
  const auto options = std::make_shared<RegistryOptions>();
  const Option key{.name = "KEY",
                   .help = "Such as HKLM\\SOFTWARE\\Contoso",
                   .target = &options->key,
                   .required = true};
  const Option name{.name = "NAME",
                    .help = "Name of the value; empty: the key's default value",
                    .target = &options->name};
  Option required_name = name;
  required_name.required = true;
  const Option data{.name = "DATA",
                    .help = "String, number or hexadecimal bytes; several strings for REG_MULTI_SZ",
                    .target = &options->data};
  Option type{.name = "--type",
              .type = "REG_...",
              .help = "Type of the value",
              .target = &options->type,
              .initial = "REG_SZ"};
  for (const TypeRow& row : kTypes) type.choices.emplace_back(row.name);
  const Option count{
      .name = "--count", .type = "N", .help = "End after N changes", .target = &options->count};
  const Option source{.name = "FILE.reg",
                      .help = "UTF-16 or UTF-8, version 5.00; -: standard input",
                      .target = &options->file,
                      .required = true};
  const Option target{
      .name = "FILE.reg", .help = "Absent: standard output", .target = &options->file};
  const Option utf16{.name = "--utf16",
                     .help = "Write UTF-16, which old editors require",
                     .target = &options->utf16};
  const auto command = [&](std::string verb, std::string help, std::vector<Option> taken,
                           auto function) {
    return SubCommand(std::move(verb), std::move(help), options, std::move(taken), function);
  };
  return {
      .name = "registry",
      .help = "Read, change and watch the device's registry",
      .options = {{.name = "--view",
                   .type = "64|32",
                   .help = "View of the registry",
                   .target = &options->view,
                   .choices = {"64", "32"}}},
      .commands = {
          command("get", "Print a value", {key, name}, Get),
          command("set", "Write a value, creating its key", {key, required_name, data, type}, Set),
          command("delete", "Delete a value, or without NAME the key and everything below",
                  {key, name}, Delete),
          command("list", "Print the keys and values of a key", {key}, List),
          command("watch", "Print the changes of a key and everything below, until interrupted",
                  {key, count}, Watch),
          command("import", "Make the changes of a registry file, on Linux all or none", {source},
                  Import),
          command("export", "Write a key and everything below as a registry file",
                  {key, target, utf16}, Export)}};
}

}  // namespace yoxctl
