#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "yox/base/Export.h"

namespace YOX {

// Counts the errors that the client's gateways report, and turns one that repeats into a critical
// status. A process-wide singleton; nothing is kept on disk but its log, "YoxStatusManager.log".
// Safe from any thread.
//
// Each code of a gateway counts for itself and turns critical at its fifth occurrence, however long
// they take: counts never decay, only clearing resets them.
class YOX_API YoxStatusManager {
 public:
  enum class Gateway : std::int32_t { Registration = 0, HttpGateway, MqttGateway, Unknown };

  struct ErrorInfo {
    std::int32_t errorCode = 0;
    std::chrono::system_clock::time_point lastOccurred;
    std::int32_t count = 0;  // since it was last cleared
    bool turnedCritical = false;
  };

  // Never null; lives until the process ends.
  static YoxStatusManager* GetInstance();

  virtual ~YoxStatusManager();
  YoxStatusManager(const YoxStatusManager&) = delete;
  YoxStatusManager& operator=(const YoxStatusManager&) = delete;

  // Opens the log. The constructor has called it.
  void Init();
  // Clears everything; the object stays usable and its log open.
  void Uninit();

  // Throws std::out_of_range for a number that is no gateway, and has counted the error then.
  void RegisterError(Gateway gateway, std::int32_t error_code);
  void ClearErrors(Gateway gateway);
  void ClearAllErrors();

  // One entry per code, in order of first occurrence.
  std::vector<ErrorInfo> GetErrors(Gateway gateway) const;
  bool HasCriticalError() const;
  // To be read only when there is a critical error: it names every gateway that has any error, by
  // ascending number, as in "Critical error in HttpGateway; Critical error in MqttGateway; ".
  std::string GetCriticalErrorMessage() const;

  // Throws std::out_of_range("invalid unordered_map<K, T> key") for a number that is no gateway.
  static std::string GatewayToString(Gateway gateway);
  // Exactly as written. Any other text, "Unknown" too, is Unknown.
  static Gateway StringToGateway(const std::string& text);

 protected:
  YoxStatusManager();

 private:
  void UpdateCriticalStatus();

  static std::atomic<YoxStatusManager*> yoxStatusManager_;
  static std::mutex instance_mutex_;

  mutable std::recursive_mutex lock_;  // guards all below
  std::map<Gateway, std::vector<ErrorInfo>> errors_;
  std::string critical_message_;
  bool critical_ = false;
};

}  // namespace YOX
