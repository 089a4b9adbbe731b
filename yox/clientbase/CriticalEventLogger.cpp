#include "yox/clientbase/CriticalEventLogger.h"

#include "yox/base/Log.h"
#include "yox/clientbase/InitLog.h"

namespace {

constinit YOX::Log g_critical_log{"CriticalEvents"};

}  // namespace

void CriticalEventLogger::Log(int event, int detail) {
  using namespace yox::literals;
  [[maybe_unused]] static const bool opened =
      YOX::utility::InitLog(g_critical_log, "CriticalEvents.log"_wv, 4);
  g_critical_log.e("critical event %d, %d", event, detail);
}
