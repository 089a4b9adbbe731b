#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/clientbase/CoreUtility.h"
#include "yox/policy/ProvisionToken.h"

// What prepares the device for registration.
struct DeviceProvisionInfo {
  yox::WString baseUri;         // for manual registration
  yox::WString provisionToken;  // as the file has it, valid or not
  yox::WString configPolicy;
  bool isTokenValid = false;
  bool isManualRegistration = false;
};

// Finds the provision file "yox-provision.json", reads it, and keeps what it says. The calls in
// order: ExtractProvisionFileInfo, PopulateProvisionInfo, GetProvisionInfo. A process-wide
// singleton; all but GetInstance belongs to the one thread that registers the device. Failures are
// logged, and show in the record alone.
class YOX_API ProvisionFileUtility {
 public:
  static constexpr std::uint64_t kLargestFile = 1'048'576;
  static constexpr yox::WStringView kFileName = yox::literals::operator""_wv<
      "yox-provision.json">();

  // Never null; lives until the process ends.
  static ProvisionFileUtility* GetInstance();

  ~ProvisionFileUtility();
  ProvisionFileUtility(const ProvisionFileUtility&) = default;
  ProvisionFileUtility(ProvisionFileUtility&&) = default;
  ProvisionFileUtility& operator=(const ProvisionFileUtility&) = default;
  ProvisionFileUtility& operator=(ProvisionFileUtility&&) = default;

  // Not owned, may be null.
  void SetCoreUtility(YOX::CoreUtility* core_utility) { core_utility_ = core_utility; }

  // The folder of the file, with a separator at its end, or an empty text: the device's root
  // directory, or else "\tervan\YOX\" below the common application data. Where the file is in both,
  // asking deletes the second.
  virtual yox::WString GetProvisionPath();
  virtual bool GetYoxAppDataRootPath(yox::WString& path);

  // Reads the file that was found, or the one in the working directory when none was.
  void ExtractProvisionFileInfo();
  // Each byte of the file is one code unit. The content stays as it was when the file cannot be
  // opened, is longer than the limit or is not JSON.
  void ExtractProvisionContent(const yox::WString& path);
  // Fills the record: the token always, the policy when the token is valid.
  void PopulateProvisionInfo();

  // Why the token of the content is refused now, in one line that shows nothing of it; empty when
  // it is valid.
  std::string WhyTokenIsRefused() const;

  DeviceProvisionInfo GetProvisionInfo() { return info_; }
  void SetProvisionInfo(const DeviceProvisionInfo& info) { info_ = info; }
  // Null until a file was read.
  Json::Value GetProvisionContent() { return content_; }
  // The address is taken for manual registration only, and else left as it was.
  void SetBaseUri(const yox::WString& uri, bool manual_registration);

 protected:
  ProvisionFileUtility();

  bool ExtractProvisionJsonContent(const yox::WString& path, std::string& content) const;
  bool IsFileSizeValid(const yox::WString& path, std::uint64_t size) const;
  // Whether the token is valid now by the public key that is built in. If not, the text becomes the
  // reason, which shows nothing of the token.
  bool IsProvisionTokenValid(yox::WString& token) const;
  static yox::policy::TokenType GetTokenType() { return yox::policy::TokenType::kProvision; }
  static yox::policy::TokenSource GetTokenSource() {
    return yox::policy::TokenSource::kProvisionFile;
  }
  static std::string GetUserProvisionContent() { return {}; }

 private:
  YOX::CoreUtility* core_utility_ = nullptr;
  DeviceProvisionInfo info_;
  Json::Value content_;
};
