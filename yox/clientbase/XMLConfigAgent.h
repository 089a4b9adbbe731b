#pragma once

#include <string_view>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// What is configured of the device's identity, in the file yox-config.xml of the machine's common
// folder for application data:
//
//   <configuration>
//     <MachineType>20X1</MachineType>
//     <SerialNumber>...</SerialNumber>  <BIOSVersion>...</BIOSVersion>
//     <MTM>...</MTM>                    <MachineModel>...</MachineModel>
//   </configuration>
//
// Texts lose the white space around them; one that is not configured is empty. A plain value.
class YOX_API XMLConfigAgent {
 public:
  // The calling thread's own agent; the file is read by every call. Nothing is configured when
  // there is no file, or it is not well-formed, or larger than a mebibyte. The argument has no
  // meaning.
  static XMLConfigAgent& GetInstance(int unused);

  // The same from the text of such a file.
  static XMLConfigAgent Parse(std::string_view xml);

  yox::WString GetMachineType() const { return machine_type_; }
  yox::WString GetSerialNumber() const { return serial_number_; }
  yox::WString GetBIOSVersion() const { return bios_version_; }
  yox::WString GetMTM() const { return mtm_; }
  yox::WString GetMachineModel() const { return machine_model_; }

 private:
  struct Element;
  static const Element kElements[];

  yox::WString machine_type_;
  yox::WString serial_number_;
  yox::WString bios_version_;
  yox::WString mtm_;
  yox::WString machine_model_;
};
