#include "yox/clientbase/InitLog.h"

#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/platform/files/PathText.h"

namespace YOX::utility {

bool InitLog(Log& log, WStringView file_name, int verbosity) {
  WString folder;
  if (!GetYoxAppDataRootPath(folder)) return false;
  folder += platform::NativePath("\\Logs"_wv);
  if (!FileSystem::createDirectory(folder, true)) return false;
  WString path = folder + platform::NativePath("\\"_wv);
  path += file_name;
  if (!log.Open(FileSystem::Locate(path))) return false;
  log.SetLevel(verbosity >= 4   ? LogLevel::Debug
               : verbosity >= 2 ? LogLevel::Warning
                                : LogLevel::Error);
  return true;
}

}  // namespace YOX::utility
