#include "yox/device/Environment.h"

#include <cstdint>
#include <variant>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/platform/Platform.h"
#include "yox/platform/system/ManagementQueries.h"

namespace YOX {
namespace {

using platform::ManagementAnswer;
using platform::ManagementRow;
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

}  // namespace

std::string Environment::osDescription_;

void Environment::GetOsDescription(std::string& out) {
  if (!osDescription_.empty()) {
    out = osDescription_;
    return;
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
      osDescription_ = String::UTF16ToUTF8(*caption);
      out = osDescription_;
      g_log.d("%s OS name is: %s", kName, osDescription_);
    }
  }
  LogFailure(answer);
}

}  // namespace YOX
