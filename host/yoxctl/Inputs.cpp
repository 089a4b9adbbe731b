#include "host/yoxctl/Inputs.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <utility>

#include "yox/base/Document.h"
#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kTestEnding = ".test.json";

bool IsMeant(const std::string& file, const auto& is_meant) {
  try {
    return is_meant(file, yox::ParseDocument(yox::ReadDocumentFile(PathOf(file))));
  } catch (const yox::DocumentError&) {
    return false;
  }
}

std::vector<std::string> FilesBelow(const std::string& folder, const auto& is_meant) {
  std::vector<std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(
           PathOf(folder), fs::directory_options::skip_permission_denied)) {
    const std::string name = PathText(entry.path());
    if (entry.is_regular_file() && name.ends_with(".json") && IsMeant(name, is_meant)) {
      files.push_back(name);
    }
  }
  std::ranges::sort(files);
  if (files.empty()) throw Refusal(NameOf(folder) + ": no such documents below it");
  return files;
}

}  // namespace

std::string ReadStandardInput(std::size_t most) {
  static bool is_read = false;
  if (std::exchange(is_read, true)) throw Refusal("standard input: can be read only once");
  std::string bytes;
  constexpr std::size_t kPiece = std::size_t{64} << 10;
  while (std::cin && bytes.size() <= most) {
    const std::size_t before = bytes.size();
    bytes.resize(before + kPiece);
    std::cin.read(bytes.data() + before, kPiece);
    bytes.resize(before + static_cast<std::size_t>(std::cin.gcount()));
  }
  if (bytes.size() > most) throw Refusal(std::string("standard input: ") + yox::kTooLongDocument);
  return bytes;
}

std::string ReadInput(const std::string& argument) {
  if (argument == kStandardInput) {
    std::string text = ReadStandardInput();
    if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
    return text;
  }
  return Named(argument, [&] { return yox::ReadDocumentFile(PathOf(argument)); });
}

std::vector<std::string> ExpandFolders(
    const std::vector<std::string>& arguments,
    const std::function<bool(const std::string& name, const Json::Value& document)>& is_meant) {
  std::vector<std::string> files;
  for (const std::string& argument : arguments) {
    std::error_code error;
    if (argument == kStandardInput || !fs::is_directory(PathOf(argument), error)) {
      files.push_back(argument);
    } else {
      std::ranges::move(FilesBelow(argument, is_meant), std::back_inserter(files));
    }
  }
  return files;
}

bool IsFilterList(const std::string& name, const Json::Value& document) {
  return !name.ends_with(kTestEnding) &&
         (document.isArray() || (document.isObject() && document.isMember("filters")));
}

bool IsListTest(const std::string& name, const Json::Value& document) {
  return name.ends_with(kTestEnding) && document.isObject() && document.isMember("cases");
}

bool ForEachInput(const std::vector<std::string>& arguments,
                  const std::function<void(const std::string& argument)>& act) {
  bool good = true;
  for (const std::string& argument : arguments) {
    try {
      act(argument);
    } catch (const Refusal& refusal) {
      Complain(refusal.what());
      good = false;
    }
  }
  return good;
}

bool PrintAnswers(const GlobalOptions& global, const std::vector<std::string>& arguments,
                  const std::function<Answer(const std::string& argument)>& answer_of) {
  const bool several = arguments.size() > 1;
  Json::Value answers(Json::arrayValue);
  bool first = true;
  const bool good = ForEachInput(arguments, [&](const std::string& argument) {
    Answer answer = answer_of(argument);
    if (!several) return Print(global.json ? yox::JsonText(answer.json) : answer.text);
    if (global.json) {
      answer.json["file"] = argument;
      answers.append(std::move(answer.json));
      return;
    }
    Print((std::exchange(first, false) ? "" : "\n") + NameOf(argument) + ":\n" + answer.text);
  });
  if (several && global.json) Print(yox::JsonText(answers));
  return good;
}

}  // namespace yoxctl
