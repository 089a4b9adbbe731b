#pragma once

#include <cstdint>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// What this client is: identifier, name, version, and the user's preference about anonymous data. A
// process-wide singleton that can also be copied by value. Texts are UTF-16; getters return copies.
//
// Not thread-safe, by design: setters, `Refresh` and `GetAnonymousDataCollectionPreference`, which
// stores what it returns, must not overlap with readers. `GetInstance` and `GetYoxServiceVersion`
// are safe from any thread.
class YOX_API YoxInfo {
 public:
  // Returns the singleton, never null. The first call fills it.
  static YoxInfo* GetInstance();

  YoxInfo(const YoxInfo&) = default;
  YoxInfo& operator=(const YoxInfo&) = default;
  ~YoxInfo() = default;

  // Reads everything again, except a version that is known already.
  void Refresh() { GetYoxInfo(); }

  // Returns the version of the service's executable, "4.2.10.0"; empty if it has none. Remembered
  // once it is known.
  yox::WString GetYoxServiceVersion();
  // The next GetYoxServiceVersion reads the version again.
  void ForgetServiceVersion();
  // Changes before GetYoxServiceVersion returns another version than the one that was known. Costs
  // two loads; safe from any thread.
  static std::uint64_t ServiceVersionGeneration();
  // Returns "On" or "Off", read again at every call.
  yox::WString GetAnonymousDataCollectionPreference();

  yox::WString GetId() const { return id_; }
  yox::WString GetName() const { return name_; }
  yox::WString GetVersion() const { return version_; }
  // When the information was last read, in UTC: "2026-03-01T12:00:00Z".
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
