#pragma once

#include "yox/clientbase/Export.h"
#include "yox/clientbase/WString.h"

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
  YOX::WString GetYoxServiceVersion();
  // "On" or "Off", asked afresh at every call.
  YOX::WString GetAnonymousDataCollectionPreference();

  YOX::WString GetId() const { return id_; }
  YOX::WString GetName() const { return name_; }
  YOX::WString GetVersion() const { return version_; }
  // When the information was last gathered, as YOX::System::GetTime tells it.
  YOX::WString GetInfoDatetime() const { return info_datetime_; }

  void SetId(const YOX::WString& id) { id_ = id; }
  void SetName(const YOX::WString& name) { name_ = name; }
  void SetVersion(const YOX::WString& version) { version_ = version; }
  void SetInfoDatetime(const YOX::WString& datetime) { info_datetime_ = datetime; }

 private:
  YoxInfo() { GetYoxInfo(); }
  void GetYoxInfo();

  YOX::WString id_;
  YOX::WString name_;
  YOX::WString version_;
  YOX::WString info_datetime_;
  YOX::WString service_version_;
  YOX::WString anonymous_preference_;
};
