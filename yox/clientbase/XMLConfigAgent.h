#pragma once

#include <string_view>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The configured parts of the device's identity, which take the place of what the firmware says.
// They are in the file yox-config.xml of the machine's common folder for application data:
//
//   <configuration>
//     <MachineType>20X1</MachineType>
//     <SerialNumber>...</SerialNumber>  <BIOSVersion>...</BIOSVersion>
//     <MTM>...</MTM>                    <MachineModel>...</MachineModel>
//   </configuration>
//
// White space around a text is removed; a text that is not configured is empty. A plain value.
class YOX_API XMLConfigAgent {
 public:
  // Reads the file and returns the calling thread's own agent, which the thread's next call
  // changes. Every text is empty if there is no file, if it is not well-formed or larger than 1
  // MiB, or if an account other than the system and its administrators can have written it
  // (ReadTrusted in platform/files/Files.h). The argument is not used.
  static XMLConfigAgent& GetInstance(int unused);

  // Reads the same from the content of such a file.
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
