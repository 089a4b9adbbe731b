#pragma once

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "yox/base/Document.h"

namespace yoxctl {

struct GlobalOptions;

// The name of standard input among the arguments.
inline constexpr const char* kStandardInput = "-";

// Returns the bytes of standard input, which can be read once. Throws Refusal if there are more
// than `most`.
std::string ReadStandardInput(std::size_t most = yox::kMaxDocumentSize);

// Returns the text of the document that an argument names, "-" for standard input, which can be
// read once. Throws Refusal with the argument and what is wrong.
std::string ReadInput(const std::string& argument);

// Returns the files that the arguments name, in their order: a directory stands for the documents
// below it, sorted by name, of which `is_meant(file name, document)` decides; what is no JSON
// document is never meant. Throws Refusal for a directory that cannot be read or has no such file.
std::vector<std::string> ExpandFolders(
    const std::vector<std::string>& arguments,
    const std::function<bool(const std::string& name, const Json::Value& document)>& is_meant);

// For ExpandFolders: documents that are filter lists, or meant to be.
bool IsFilterList(const std::string& name, const Json::Value& document);
// For ExpandFolders: documents of cases, NAME.test.json.
bool IsListTest(const std::string& name, const Json::Value& document);

// Calls `act(argument)` for each, and prints what it refuses to standard error, so that one bad
// file does not silence the others. Returns whether none was refused.
bool ForEachInput(const std::vector<std::string>& arguments,
                  const std::function<void(const std::string& argument)>& act);

// What a command says of one input.
struct Answer {
  std::string text;
  Json::Value json = Json::objectValue;  // an object
};

// Prints what `answer_of(argument)` returns for each, and what it refuses to standard error: of one
// argument the answer alone; of several each text below its name, or an array of the JSON objects,
// with the name as `file`. Returns whether none was refused.
bool PrintAnswers(const GlobalOptions& global, const std::vector<std::string>& arguments,
                  const std::function<Answer(const std::string& argument)>& answer_of);

}  // namespace yoxctl
