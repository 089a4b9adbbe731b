#include "host/yoxd/Contents.h"

#include <json/value.h>

#include <utility>

#include "yox/base/Document.h"
#include "yox/decision/FilterDocument.h"

#include "host/yoxd/Journal.h"
#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

constexpr std::string_view kEnding = ".json";

std::string FileOf(const std::string& id) { return "content/" + id + std::string(kEnding); }

}  // namespace

Contents::Contents(StateFolder& folder) : folder_(folder) {
  for (const std::string& file : folder_.List("content")) Load(file);
}

void Contents::Load(const std::string& file) {
  if (!file.ends_with(kEnding)) return;  // of a write that was interrupted
  const std::string id = file.substr(0, file.size() - kEnding.size());
  try {
    const auto text = folder_.Read("content/" + file);
    if (!IsName(id) || !text) throw yox::DocumentError("not a file of this service");
    const Json::Value kept = ReadJson(*text);
    if (!kept.isObject() || !kept["list"].isString()) throw yox::DocumentError("no list");
    Content content;
    content.text = kept["list"].asString();
    content.list = yox::decision::ReadFilterDocument(content.text);
    if (kept["applies"].isBool() && kept["reason"].isString() && kept["decided"].isInt64()) {
      content.decision = Decision{kept["applies"].asBool(), kept["reason"].asString()};
      content.decided = kept["decided"].asInt64();
    }
    contents_[id] = std::move(content);
  } catch (const std::exception& error) {
    Journal::Error("content", FileOf(id) + ": " + error.what());
  }
}

bool Contents::Keep(const std::string& id, const Content& content) {
  Json::Value kept;
  kept["list"] = content.text;
  if (content.decision) {
    kept["applies"] = content.decision->applies;
    kept["reason"] = content.decision->reason;
    kept["decided"] = Json::Int64{content.decided};
  }
  return folder_.Write(FileOf(id), JsonLine(kept));
}

Contents::Receipt Contents::Receive(const std::string& id, std::string_view text,
                                    std::string& why) {
  const auto found = contents_.find(id);
  if (text.empty()) {
    const bool refused = refusals_.erase(id) > 0;
    if (found == contents_.end()) return refused ? Receipt::kWithdrawn : Receipt::kUnchanged;
    contents_.erase(found);
    folder_.Remove(FileOf(id));
    return Receipt::kWithdrawn;
  }
  if (found != contents_.end() && found->second.text == text) {
    refusals_.erase(id);
    return Receipt::kUnchanged;
  }
  try {
    if (!IsName(id)) throw yox::DocumentError("not an identifier of a content");
    if (found == contents_.end() && contents_.size() >= kMostContents) {
      throw yox::DocumentError("more than " + std::to_string(kMostContents) + " lists");
    }
    Content content;
    content.text = std::string(text);
    content.list = yox::decision::ReadFilterDocument(text);
    contents_[id] = std::move(content);
  } catch (const yox::DocumentError& error) {
    why = error.what();
    return Refuse(id, text, why);
  }
  refusals_.erase(id);
  return Receipt::kAccepted;
}

Contents::Receipt Contents::Refuse(const std::string& id, std::string_view text,
                                   const std::string& why) {
  Refusal refusal{why, Fingerprint(text)};
  const auto former = refusals_.find(id);
  if (former != refusals_.end() && former->second.fingerprint == refusal.fingerprint) {
    return Receipt::kUnchanged;
  }
  if (former != refusals_.end() || refusals_.size() < kMostContents) {
    refusals_[id] = std::move(refusal);
  }
  return Receipt::kRefused;
}

void Contents::Decide(RunningDevice& device, const std::string& id, Content& content,
                      const Changed& changed) {
  ++decisions_;
  Decision decision = device.Decide(content.list);
  if (content.decision == decision) return;
  content.decision = std::move(decision);
  content.decided = DeviceTime();
  // Before it is published: what the broker has acknowledged survives this process.
  Keep(id, content);
  changed(id, content);
}

std::size_t Contents::DecideAll(RunningDevice& device, const Changed& changed) {
  for (auto& [id, content] : contents_) Decide(device, id, content, changed);
  return contents_.size();
}

void Contents::DecideOne(RunningDevice& device, const std::string& id, const Changed& changed) {
  if (const auto found = contents_.find(id); found != contents_.end()) {
    Decide(device, id, found->second, changed);
  }
}

std::string Contents::DecisionText(const std::string& id, const Content& content) {
  Json::Value document;
  document["content"] = id;
  document["applies"] = content.decision->applies;
  document["reason"] = content.decision->reason;
  document["decided"] = UtcText(content.decided);
  document["list"] = Hexadecimal(Fingerprint(content.text));
  return JsonLine(document);
}

std::vector<ApplicabilityFilter> Contents::Lists() const {
  std::vector<ApplicabilityFilter> lists;
  for (const auto& [id, content] : contents_) lists.push_back(content.list);
  return lists;
}

}  // namespace yoxd
