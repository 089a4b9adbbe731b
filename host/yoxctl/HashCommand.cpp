#include <json/value.h>

#include <charconv>
#include <memory>
#include <string>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/SaltedHash.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

// The roll-out bucket of a hash: its first three digits.
int BucketOf(const std::string& hash) {
  constexpr std::size_t kDigits = 3;
  int bucket = 0;
  std::from_chars(hash.data(), hash.data() + kDigits, bucket, 16);
  return bucket;
}

int Hash(const GlobalOptions& global, const std::vector<std::string>& texts) {
  Json::Value document;
  std::string lines;
  for (const std::string& text : texts) {
    Widened("TEXT", text);  // the library hashes well-formed text only
    const std::string hash = YOX::utility::SHA256WithSalt(text);
    Json::Value entry;
    entry["text"] = text;
    entry["hash"] = hash;
    entry["bucket"] = BucketOf(hash);
    document["hashes"].append(entry);
    lines += hash + "  " + OneLine(text) + "\n";
  }
  Print(global.json ? yox::JsonText(document) : lines);
  return kDone;
}

}  // namespace

Command HashCommand() {
  const auto texts = std::make_shared<std::vector<std::string>>();
  return {.name = "hash",
          .help =
              "The salted hashes of serial numbers and realms, as sn_hash and org_hash have "
              "them",
          .options = {{.name = "TEXT",
                       .help = "Serial numbers, or realms of organisations",
                       .target = texts.get(),
                       .required = true}},
          .run = [texts](const GlobalOptions& global) { return Hash(global, *texts); }};
}

}  // namespace yoxctl
