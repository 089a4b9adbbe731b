#include "yox/policy/CombinedChain.h"

#include <iterator>

#include "yox/base/Pem.h"
#include "yox/base/String.h"
#include "yox/clientbase/CoreUtility.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/crypto/PemCleaning.h"

namespace yox::policy {
namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream file = FileSystem::OpenToRead(String::UTF8ToUTF16(path));
  return {std::istreambuf_iterator<char>(file), {}};
}

// The combined file can be read by every account, so a key that the server sent by mistake must not
// get there.
std::string WithoutPrivateKeys(const std::string& pem) {
  std::string kept;
  std::size_t done = 0;
  for (const PemBlock& block : ReadPem(pem).value_or(std::vector<PemBlock>())) {
    if (!block.label.ends_with("PRIVATE KEY")) continue;
    kept += pem.substr(done, block.begin - done);
    done = block.end;
  }
  return kept += pem.substr(done);
}

}  // namespace

CombinedChain ReadCombinedChain() {
  CombinedChain chain;
  std::string bridge;
  std::string embedded;
  YOX::utility::getBridgeMqttPemFilePath(bridge);
  YOX::utility::getEmbeddedMqttPemFilePath(embedded);
  if (FileUtils::fileExist(bridge) == 0 && YOX::CoreUtility::ValidatePemFile(bridge)) {
    const std::string stored = ReadAll(bridge);
    chain.pem = WithoutPrivateKeys(stored);
    chain.has_server_chain = true;
    chain.had_private_key = chain.pem.size() != stored.size();
    chain.pem += '\n';
  }
  // Required: what ships with the product is not validated.
  if (FileUtils::fileExist(embedded) == 0) chain.pem += ReadAll(embedded) + '\n';
  const auto clean = platform::CleanPem(chain.pem, platform::Platform::Get().clock().Now());
  chain.is_clean = clean.has_value();
  if (clean) chain.pem = *clean;
  return chain;
}

}  // namespace yox::policy
