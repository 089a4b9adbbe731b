#pragma once

#include <string>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The folders and files of the client. Paths have the separators of this system, and none at the
// end. Nothing is created unless said.
namespace YOX::utility {

// Gets the folder of the client's own state. Returns false, and leaves `path` as it was, if there
// is none.
YOX_API bool GetYoxAppDataRootPath(WString& path);

// Returns the folder of the system's libraries; outside Windows, the folder of this library.
YOX_API WString GetSystemDirectoryW();

// Certificate files, as UTF-8. The first two return false, and leave `path` as it was, when there
// is no such place; the third then returns an empty text. The folder of the bridge file and the
// combined file is created if it is missing.
//   bridge    the chain that the server sent
//   embedded  the chain that ships with the product
//   combined  what the MQTT client reads
YOX_API bool getBridgeMqttPemFilePath(std::string& path);
YOX_API bool getEmbeddedMqttPemFilePath(std::string& path);
YOX_API std::string getMqttPemFilePath();

}  // namespace YOX::utility
