#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/clientbase/CoreUtility.h"
#include "yox/policy/ProvisionToken.h"

// What a host needs to register the device. Texts are UTF-16.
struct DeviceProvisionInfo {
  yox::WString baseUri;         // for manual registration
  yox::WString provisionToken;  // as in the file, valid or not
  yox::WString configPolicy;    // from a file with a valid token
  bool isTokenValid = false;
  bool isManualRegistration = false;
};

// Finds, reads and checks the provision file "yox-provision.json". A process-wide singleton. A host
// calls, in this order, ExtractProvisionFileInfo, PopulateProvisionInfo and GetProvisionInfo; it
// sees success by `isTokenValid`. Failures are logged and change nothing.
//
// `GetInstance` is safe from any thread; everything else belongs to the one thread that registers
// the device.
class YOX_API ProvisionFileUtility {
 public:
  static constexpr std::uint64_t kLargestFile = 1'048'576;  // bytes
  static constexpr yox::WStringView kFileName = yox::literals::operator""_wv<
      "yox-provision.json">();

  // Returns the singleton, never null; it lives until the process ends.
  static ProvisionFileUtility* GetInstance();

  ~ProvisionFileUtility();
  ProvisionFileUtility(const ProvisionFileUtility&) = default;
  ProvisionFileUtility(ProvisionFileUtility&&) = default;
  ProvisionFileUtility& operator=(const ProvisionFileUtility&) = default;
  ProvisionFileUtility& operator=(ProvisionFileUtility&&) = default;

  // Stores the pointer, which is not owned and may be null.
  void SetCoreUtility(YOX::CoreUtility* core_utility) { core_utility_ = core_utility; }

  // Returns the folder of the provision file, with a separator at its end: the device's root
  // directory "C:\", else "\tervan\YOX\" below the common application data. Empty if the file is in
  // neither. If it is in both, this call deletes the second.
  virtual yox::WString GetProvisionPath();
  // Sets `path` to the folder of the client's state. Returns false if there is none.
  virtual bool GetYoxAppDataRootPath(yox::WString& path);

  // Reads the provision file; if there is none, the file of that name in the working directory.
  void ExtractProvisionFileInfo();
  // Reads a file. Each byte becomes one code unit, whatever the file's encoding. The former content
  // stays if the file cannot be opened, has more than kLargestFile bytes or is not JSON.
  void ExtractProvisionContent(const yox::WString& path);
  // The same for the bytes of such a file.
  void ExtractProvisionContentOf(const std::string& bytes);
  // Checks the token and fills the record from the content: `provisionToken` in any case,
  // `configPolicy` only if the token is valid.
  void PopulateProvisionInfo();

  // Returns the reason why the content's token is refused now, one line that shows no part of it;
  // empty if it is valid. UTF-8.
  std::string WhyTokenIsRefused() const;

  DeviceProvisionInfo GetProvisionInfo() const { return info_; }
  void SetProvisionInfo(const DeviceProvisionInfo& info) { info_ = info; }
  // Null until a file was read.
  Json::Value GetProvisionContent() const { return content_; }
  // Stores the flag. The URI is stored only if the flag is true.
  void SetBaseUri(const yox::WString& uri, bool manual_registration);

 protected:
  ProvisionFileUtility();

 private:
  bool ExtractProvisionJsonContent(const yox::WString& path, std::string& content) const;
  bool IsFileSizeValid(const yox::WString& path, std::uint64_t size) const;
  void ParseProvisionContent(const std::string& text);
  // If the token is refused, replaces it by the reason and returns false.
  bool IsProvisionTokenValid(yox::WString& token) const;
  static yox::policy::TokenType GetTokenType() { return yox::policy::TokenType::kProvision; }
  static yox::policy::TokenSource GetTokenSource() {
    return yox::policy::TokenSource::kProvisionFile;
  }
  static std::string GetUserProvisionContent() { return {}; }

  YOX::CoreUtility* core_utility_ = nullptr;
  DeviceProvisionInfo info_;
  Json::Value content_;
};
