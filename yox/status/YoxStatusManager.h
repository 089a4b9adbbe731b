#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"

namespace YOX {

// Counts the errors that the client's gateways report, and turns a repeated error into a critical
// status. A process-wide singleton; safe from any thread. Nothing is kept on disk but its log,
// "YoxStatusManager.log". Log lines are UTF-8.
//
// Each code of a gateway is counted separately and turns critical at its fifth occurrence, however
// long that takes: counts never decay, and only the three functions that clear reset them.
class YOX_API YoxStatusManager {
 public:
  enum class Gateway : std::int32_t { Registration = 0, HttpGateway, MqttGateway, Unknown };

  // The occurrences of one code of a gateway.
  struct ErrorInfo {
    std::int32_t errorCode = 0;
    std::chrono::system_clock::time_point lastOccurred;
    std::int32_t count = 0;  // since it was last cleared
    bool turnedCritical = false;
  };

  // Returns the singleton, never null; it lives until the process ends.
  static YoxStatusManager* GetInstance();

  virtual ~YoxStatusManager();
  YoxStatusManager(const YoxStatusManager&) = delete;
  YoxStatusManager& operator=(const YoxStatusManager&) = delete;

  // Opens the log. The constructor calls it.
  void Init();
  // Clears all errors. The object can be used afterwards, and its log stays open.
  void Uninit();

  // Counts one occurrence of the code. Throws std::out_of_range, after counting, if `gateway` is
  // not an enumerator.
  void RegisterError(Gateway gateway, std::int32_t error_code);
  // Forget the errors of one gateway, or of all. A critical status that depended on them ends.
  void ClearErrors(Gateway gateway);
  void ClearAllErrors();

  // Returns one entry per code, in the order of first occurrence; empty if the gateway has none.
  std::vector<ErrorInfo> GetErrors(Gateway gateway) const;
  // Returns whether a code of any gateway is critical.
  bool HasCriticalError() const;
  // Meaningful only while HasCriticalError is true: it names every gateway that has any error, by
  // ascending number: "Critical error in HttpGateway; Critical error in MqttGateway; ".
  std::string GetCriticalErrorMessage() const;

  // Throws std::out_of_range("invalid unordered_map<K, T> key") if `gateway` is not an enumerator.
  static std::string GatewayToString(Gateway gateway);
  // The text must match exactly. Returns Unknown for any other text, "Unknown" included.
  static Gateway StringToGateway(const std::string& text);

 protected:
  YoxStatusManager();

 private:
  void UpdateCriticalStatus();  // locks lock_, which its callers have locked already

  static std::atomic<YoxStatusManager*> yoxStatusManager_;
  static yox::Mutex instance_mutex_;  // for creation; never taken while lock_ is

  mutable yox::RecursiveMutex lock_;
  std::map<Gateway, std::vector<ErrorInfo>> errors_ YOX_GUARDED_BY(lock_);
  std::string critical_message_ YOX_GUARDED_BY(lock_);
  bool critical_ YOX_GUARDED_BY(lock_) = false;
};

}  // namespace YOX
