#include "yox/status/YoxStatusManager.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "yox/base/Log.h"
#include "yox/clientbase/InitLog.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

namespace YOX {
namespace {

constexpr std::int32_t kCriticalCount = 5;

constexpr std::pair<YoxStatusManager::Gateway, const char*> kGateways[] = {
    {YoxStatusManager::Gateway::Registration, "Registration"},
    {YoxStatusManager::Gateway::HttpGateway, "HttpGateway"},
    {YoxStatusManager::Gateway::MqttGateway, "MqttGateway"},
    {YoxStatusManager::Gateway::Unknown, "Unknown"},
};

constinit Log g_status_log{"YoxStatusManager"};

std::int32_t Number(YoxStatusManager::Gateway gateway) {
  return static_cast<std::int32_t>(gateway);
}

}  // namespace

constinit std::atomic<YoxStatusManager*> YoxStatusManager::yoxStatusManager_{nullptr};
yox::Mutex YoxStatusManager::instance_mutex_;

// Double-checked locking: the acquire load pairs with the release store after construction.
YoxStatusManager* YoxStatusManager::GetInstance() {
  constexpr const char* kFunction = "YOX::YoxStatusManager::GetInstance";
  YoxStatusManager* manager = yoxStatusManager_.load(std::memory_order_acquire);
  if (manager != nullptr) return manager;
  g_status_log.d("%s Acquring lock for first time object creatin of YoxStatusManager", kFunction);
  const yox::MutexLock lock(instance_mutex_);
  manager = yoxStatusManager_.load(std::memory_order_relaxed);
  if (manager == nullptr) {
    g_status_log.d("%s Creating object of YoxStatusManager", kFunction);
    manager = new YoxStatusManager;
    yoxStatusManager_.store(manager, std::memory_order_release);
  }
  return manager;
}

YoxStatusManager::YoxStatusManager() { Init(); }
YoxStatusManager::~YoxStatusManager() = default;

void YoxStatusManager::Init() {
  utility::InitLog(g_status_log, "YoxStatusManager.log"_wv, 4);
  g_status_log.d("%s: triggered", "YOX::YoxStatusManager::Init");
}

void YoxStatusManager::Uninit() {
  ClearAllErrors();
  g_status_log.d("%s: triggered", "YOX::YoxStatusManager::Uninit");
}

void YoxStatusManager::RegisterError(Gateway gateway, std::int32_t error_code) {
  constexpr const char* kFunction = "YOX::YoxStatusManager::RegisterError";
  const yox::RecursiveMutexLock lock(lock_);
  const auto now = platform::Platform::Get().clock().SystemTime();
  std::vector<ErrorInfo>& errors = errors_[gateway];
  const auto known = std::ranges::find(errors, error_code, &ErrorInfo::errorCode);
  if (known != errors.end()) {
    known->lastOccurred = now;
    ++known->count;
    known->turnedCritical = known->count >= kCriticalCount;
    if (known->turnedCritical) {
      g_status_log.d("%s: gateway %d error_code %d has turned critical, count : %d", kFunction,
                     Number(gateway), error_code, known->count);
    }
  } else {
    const ErrorInfo& added = errors.emplace_back(ErrorInfo{error_code, now, 1, false});
    g_status_log.d("%s: gateway %d error_code %d tunredCritical %d count %d", kFunction,
                   Number(gateway), error_code, added.turnedCritical, added.count);
  }
  UpdateCriticalStatus();
  g_status_log.d("%s: gateway %d error_code %d", kFunction, Number(gateway), error_code);
}

void YoxStatusManager::UpdateCriticalStatus() {
  const yox::RecursiveMutexLock lock(lock_);
  critical_message_.clear();
  critical_ = false;
  for (const auto& [gateway, errors] : errors_) {
    if (errors.empty()) continue;
    if (std::ranges::any_of(errors, &ErrorInfo::turnedCritical)) critical_ = true;
    // Required: every gateway with an error is named, critical or not.
    critical_message_ += "Critical error in " + GatewayToString(gateway) + "; ";
  }
}

void YoxStatusManager::ClearErrors(Gateway gateway) {
  const yox::RecursiveMutexLock lock(lock_);
  errors_.erase(gateway);
  UpdateCriticalStatus();
}

void YoxStatusManager::ClearAllErrors() {
  const yox::RecursiveMutexLock lock(lock_);
  errors_.clear();
  UpdateCriticalStatus();
}

std::vector<YoxStatusManager::ErrorInfo> YoxStatusManager::GetErrors(Gateway gateway) const {
  const yox::RecursiveMutexLock lock(lock_);
  const auto found = errors_.find(gateway);
  return found != errors_.end() ? found->second : std::vector<ErrorInfo>();
}

bool YoxStatusManager::HasCriticalError() const {
  const yox::RecursiveMutexLock lock(lock_);
  return critical_;
}

std::string YoxStatusManager::GetCriticalErrorMessage() const {
  const yox::RecursiveMutexLock lock(lock_);
  return critical_message_;
}

std::string YoxStatusManager::GatewayToString(Gateway gateway) {
  for (const auto& [number, text] : kGateways) {
    if (number == gateway) return text;
  }
  throw std::out_of_range("invalid unordered_map<K, T> key");
}

YoxStatusManager::Gateway YoxStatusManager::StringToGateway(const std::string& text) {
  for (const auto& [number, known] : kGateways) {
    if (known == text) return number;
  }
  return Gateway::Unknown;
}

}  // namespace YOX
