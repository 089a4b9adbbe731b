#include "yox/device/Environment.h"

#include <cstdint>
#include <variant>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/Platform.h"
#include "yox/platform/system/ManagementQueries.h"

namespace YOX {
namespace {

using platform::ManagementAnswer;
using platform::ManagementRow;
using yox::Mutex;
using yox::MutexLock;
using Step = ManagementAnswer::Step;

constexpr const char* kName = "YOX::Environment::GetOsDescription";
constexpr LogFormat<const char*, std::uint32_t> kQueryFailed =
    "%s Get OS name failed. Error code: %0X";

struct Failure {
  Step step;
  LogLevel level;
  LogFormat<const char*, std::uint32_t> format;
};
constexpr Failure kFailures[] = {
    {Step::kThread, LogLevel::Error, "%s: ComInit.isOK() failed. comInit. Error code: %0X"},
    {Step::kLocator, LogLevel::Debug, "%s Failed to create IWbemLocator object. Error code: %0X"},
    {Step::kConnect, LogLevel::Debug, "%s ConnectServer failed. Error code: %0X"},
    {Step::kSecurity, LogLevel::Debug, "%s Could not set proxy blanket. Error code: %0X"},
    {Step::kQuery, LogLevel::Debug, kQueryFailed},
};

void LogFailure(const ManagementAnswer& answer) {
  for (const Failure& failure : kFailures) {
    if (failure.step != answer.failed) continue;
    if (failure.level == LogLevel::Error) {
      g_log.e(failure.format, kName, answer.error);
    } else {
      g_log.d(failure.format, kName, answer.error);
    }
  }
}

// The caption once it is known, until the platform changes. Never destroyed: it may be read while
// the process ends.
struct RememberedCaption {
  Mutex mutex;
  std::string text YOX_GUARDED_BY(mutex);
  std::uint64_t generation YOX_GUARDED_BY(mutex) = 0;  // of the platform that it was read from
};
RememberedCaption& Remembered() {
  static auto* const caption = new RememberedCaption;
  return *caption;
}

}  // namespace

void Environment::GetOsDescription(std::string& out) {
  RememberedCaption& remembered = Remembered();
  {
    const MutexLock lock(remembered.mutex);
    if (remembered.generation != platform::Platform::Generation()) {
      remembered.text.clear();
      remembered.generation = platform::Platform::Generation();
    }
    if (!remembered.text.empty()) {
      out = remembered.text;
      return;
    }
  }
  const ManagementAnswer answer = platform::Platform::Get().management_queries().Ask(
      "ROOT\\CIMV2"_wv, "SELECT Caption FROM Win32_OperatingSystem"_wv, "Caption"_wv);
  for (const ManagementRow& row : answer.rows) {
    const WString* const caption = std::get_if<WString>(&row.value);
    if (row.error != 0) {
      g_log.d(kQueryFailed, kName, row.error);
    } else if (caption == nullptr) {
      g_log.d("%s Wrong format for OS name!", kName);
    } else {
      out = String::UTF16ToUTF8(*caption);
      g_log.d("%s OS name is: %s", kName, out);
      const MutexLock lock(remembered.mutex);
      remembered.text = out;
    }
  }
  LogFailure(answer);
}

}  // namespace YOX
