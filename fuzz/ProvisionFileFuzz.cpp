#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>

#include "yox/clientbase/FileSystem.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/policy/ProvisionFileUtility.h"

#include "fuzz/FuzzInput.h"
#include "tests/support/ForwardingFiles.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

class Utility : public ProvisionFileUtility {
 public:
  Utility() = default;
};

// Files of which one grows between the first look at it, which is at its size, and the second.
class GrowingFiles : public yox_test::ForwardingFiles {
 public:
  GrowingFiles(yox::platform::Files& files, yox::WString path, std::string content)
      : ForwardingFiles(files), path_(std::move(path)), content_(std::move(content)) {}
  std::filesystem::path Locate(yox::WStringView path) const override {
    const std::filesystem::path place = ForwardingFiles::Locate(path);
    if (path == path_ && ++looks_ == 2) std::ofstream(place, std::ios::binary) << content_;
    return place;
  }

 private:
  yox::WString path_;
  std::string content_;
  mutable int looks_ = 0;
};

}  // namespace

// The content of a provision file; without any, there is no file. After the word "grows" it is what
// the file has when its size has been read, repeated until it is more than a file may have.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static yox::platform::SimulatedDevice device;
  constexpr std::string_view kGrows = "grows\n";
  std::string content(reinterpret_cast<const char*>(data), size);
  const yox::WString path = yox::platform::ToText(device.files().folder() / "provision.json");
  std::string grown;
  if (content.starts_with(kGrows) && size > kGrows.size()) {
    while (grown.size() <= ProvisionFileUtility::kLargestFile)
      grown += content.substr(kGrows.size());
    content = "{}";
  }
  GrowingFiles files(device.files(), path, grown);
  yox_test::SubstitutedPlatform platform(device);
  if (!grown.empty()) platform.Set(files);
  const yox::platform::ScopedPlatform installed(platform);
  {
    const std::filesystem::path file = device.files().folder() / "provision.json";
    std::filesystem::remove(file);
    if (!content.empty()) std::ofstream(file, std::ios::binary) << content;
  }
  Utility utility;
  utility.ExtractProvisionContent(path);
  const Json::Value read = utility.GetProvisionContent();
  FUZZ_CHECK(grown.empty() || read.isNull());
  Utility of_bytes;
  of_bytes.ExtractProvisionContentOf(content);
  FUZZ_CHECK(!grown.empty() || of_bytes.GetProvisionContent() == read);
  utility.PopulateProvisionInfo();
  // The fuzzer does not have the key that the library trusts.
  FUZZ_CHECK(!utility.GetProvisionInfo().isTokenValid);
  FUZZ_CHECK(utility.GetProvisionInfo().configPolicy.empty());
  FUZZ_CHECK(!utility.WhyTokenIsRefused().empty());
  FUZZ_CHECK(utility.GetProvisionContent() == read);
  return 0;
}
