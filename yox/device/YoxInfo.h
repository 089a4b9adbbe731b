#pragma once

#include <cstdint>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// What this client is. A process-wide singleton whose state can be copied by value. There is no
// lock, on purpose: setters, `Refresh` and the preference, which is stored, race with readers. Only
// the service's version, which every decision asks for, may be asked from any thread.
class YOX_API YoxInfo {
 public:
  // Never null; created and filled by the first call.
  static YoxInfo* GetInstance();

  YoxInfo(const YoxInfo&) = default;
  YoxInfo& operator=(const YoxInfo&) = default;
  ~YoxInfo() = default;

  // Gathers anew; a version that is set stays.
  void Refresh() { GetYoxInfo(); }

  // The version of the service's executable; empty when it has none. Read once it is there.
  yox::WString GetYoxServiceVersion();
  // "On" or "Off", asked afresh at every call.
  yox::WString GetAnonymousDataCollectionPreference();

  yox::WString GetId() const { return id_; }
  yox::WString GetName() const { return name_; }
  yox::WString GetVersion() const { return version_; }
  // When the information was last gathered, as YOX::System::GetTime tells it.
  yox::WString GetInfoDatetime() const { return info_datetime_; }

  void SetId(const yox::WString& id) { id_ = id; }
  void SetName(const yox::WString& name) { name_ = name; }
  void SetVersion(const yox::WString& version) { version_ = version; }
  void SetInfoDatetime(const yox::WString& datetime) { info_datetime_ = datetime; }

 private:
  YoxInfo() { GetYoxInfo(); }
  void GetYoxInfo();

  yox::WString id_;
  yox::WString name_;
  yox::WString version_;
  yox::WString info_datetime_;
  yox::WString service_version_;
  std::uint64_t service_version_generation_ = 0;  // of the platform that it was read from
  yox::WString anonymous_preference_;
};
