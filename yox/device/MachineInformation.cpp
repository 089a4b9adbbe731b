#include "yox/device/MachineInformation.h"

#include "yox/base/Log.h"

using YOX::g_log;
using yox::WString;

constinit std::atomic<MachineInformation*> MachineInformation::machine_information_{nullptr};
std::mutex MachineInformation::instance_mutex_;

MachineInformation* MachineInformation::GetInstance() {
  if (auto* const instance = machine_information_.load(std::memory_order_acquire)) return instance;

  constexpr const char* kName = "MachineInformation::GetInstance";
  g_log.d("%s Acquring lock for first time object creatin of machine info", kName);
  const std::lock_guard lock(instance_mutex_);
  if (machine_information_.load(std::memory_order_relaxed) == nullptr) {
    g_log.d("%s Creating object of machine info", kName);
    auto* const instance = new MachineInformation;
    machine_information_.store(instance, std::memory_order_release);
    instance->Initialize();
  }
  return machine_information_.load(std::memory_order_relaxed);
}

MachineInformation::MachineInformation() = default;

MachineInformation::MachineInformation(const MachineInformation& other)
    : texts_(other.texts_),
      device_extension_keyvalue_(other.device_extension_keyvalue_),
      gpu_names_(other.gpu_names_),
      os_is_s_mode_(other.os_is_s_mode_),
      initialized_(other.initialized_) {}

MachineInformation& MachineInformation::operator=(const MachineInformation& other) {
  if (this == &other) return *this;
  texts_ = other.texts_;
  device_extension_keyvalue_ = other.device_extension_keyvalue_;
  gpu_names_ = other.gpu_names_;
  serial_number_bucket_ = -1;
  os_is_s_mode_ = other.os_is_s_mode_;
  initialized_ = other.initialized_;
  return *this;
}

MachineInformation::~MachineInformation() {
  g_log.d("%s Machine info destructor called", "MachineInformation::~MachineInformation");
}

int MachineInformation::SanitizeString(std::string& /*text*/) { return 0; }

void MachineInformation::Set(Text text, const WString& value) {
  WString& member = texts_[static_cast<std::size_t>(text)];
  if (&member != &value) member = value;
  if (text == Text::serial_number) remember_serial_number_bucket(-1);
}
