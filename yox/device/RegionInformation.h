#pragma once

#include <string>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

class MachineInformation;

// The device's country and language. They come from settings of the user, which a service that runs
// before anybody has logged on cannot read; so they are kept in a file, refreshed while a user is
// logged on and taken from the file otherwise.
//
// A process-wide object that can be copied by value. Nothing is logged or thrown. Unguarded on
// purpose: accessors and refreshes must not overlap, but for the first `GetInstance`.
class YOX_API RegionInformation {
 public:
  // Built by the first call, from the file if it can be read; lives until the process ends.
  static RegionInformation* GetInstance();

  RegionInformation(const RegionInformation&) = default;
  RegionInformation& operator=(const RegionInformation&) = default;

  // Reads anew, and writes the file, while a user is logged on. Without one the file is read again;
  // without a file too, the values are read and kept in memory only.
  void ReInitialize() { Init(true); }

  // Getters return copies.
  yox::WString region_name() const { return region_name_; }      // "United States"
  yox::WString country_name() const { return country_name_; }    // "United States"
  yox::WString country_code() const { return country_code_; }    // "US"
  yox::WString language_name() const { return language_name_; }  // "English (United States)"
  yox::WString language_code() const { return language_code_; }  // "en-US"
  yox::WString region_info_datetime() const {
    return region_info_datetime_;
  }  // of the last reading

  void set_region_name(const yox::WString& value) { region_name_ = value; }
  void set_country_name(const yox::WString& value) { country_name_ = value; }
  void set_country_code(const yox::WString& value) { country_code_ = value; }
  void set_language_name(const yox::WString& value) { language_name_ = value; }
  void set_language_code(const yox::WString& value) { language_code_ = value; }
  void set_region_info_datetime(const yox::WString& value) { region_info_datetime_ = value; }

 private:
  friend class MachineInformation;  // a forced collection refreshes this too

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

  yox::WString region_name_;
  yox::WString country_name_;
  yox::WString country_code_;
  yox::WString language_name_;
  yox::WString language_code_;
  yox::WString region_info_datetime_;
};
