#pragma once

#include <string>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

class MachineInformation;

// The texts, in their order: member, and source as `yoxctl device` shows it.
// clang-format off
#define YOX_REGION_TEXTS(X)                                                             \
  X(region_name, "locale")                            /* "United States" */             \
  X(country_name, "locale")                           /* "United States" */             \
  X(country_code, "locale")                           /* "US" */                        \
  X(language_name, "locale")                          /* "English (United States)" */   \
  X(language_code, "locale")                          /* "en-US" */                     \
  X(region_info_datetime, "clock, at the last reading")
// clang-format on

// The device's country and language. They are settings of the user, which a service that runs
// before a user has logged on cannot read. So they are read while a user is logged on and kept in
// the file "RegionInformationCached.json"; otherwise the file is used.
//
// A process-wide singleton that can also be copied by value; a copy is a snapshot. Nothing is
// logged or thrown. Not thread-safe, by design: only the first `GetInstance` may be called from
// several threads; accessors and refreshes must not overlap.
class YOX_API RegionInformation {
 public:
  // Returns the singleton, never null. The first call fills it, from the file if that can be read;
  // it lives until the process ends.
  static RegionInformation* GetInstance();

  RegionInformation(const RegionInformation&) = default;
  RegionInformation& operator=(const RegionInformation&) = default;

  // Reads the values again and writes the file if a user is logged on. Otherwise reads the file; if
  // there is none either, the values are read and kept in memory only.
  void ReInitialize() { Init(true); }

  // One getter per text, which returns a copy, and one setter with `set_` before the name.
#define YOX_ACCESSORS(name, ...)                \
  yox::WString name() const { return name##_; } \
  void set_##name(const yox::WString& value) { name##_ = value; }
  YOX_REGION_TEXTS(YOX_ACCESSORS)
#undef YOX_ACCESSORS

 private:
  friend class MachineInformation;  // a forced collection calls Init

  struct Field;
  static const Field kFields[];

  RegionInformation() { Init(false); }
  ~RegionInformation() = default;

  void Init(bool force);
  void InitValuesFromApis();
  bool LoadRegionInformationFromFile();
  bool SaveRegionInformationToFile() const;
  std::string Serialize() const;
  void DeSerialize(const std::string& text);

#define YOX_MEMBER(name, ...) yox::WString name##_;
  YOX_REGION_TEXTS(YOX_MEMBER)
#undef YOX_MEMBER
};
