#include "yox/device/MachineInformation.h"

#include <utility>

#include "yox/base/Log.h"
#include "yox/foundation/YOXHelperFactory.h"

using YOX::g_log;
using yox::WString;

constinit std::atomic<MachineInformation*> MachineInformation::machine_information_{nullptr};
yox::Mutex MachineInformation::instance_mutex_;

// Double-checked locking: the acquire load pairs with the release store. The pointer is published
// before the record is filled, as the header promises.
MachineInformation* MachineInformation::GetInstance() {
  if (auto* const instance = machine_information_.load(std::memory_order_acquire)) return instance;

  constexpr const char* kName = "MachineInformation::GetInstance";
  g_log.d("%s Acquring lock for first time object creatin of machine info", kName);
  const yox::MutexLock lock(instance_mutex_);
  if (machine_information_.load(std::memory_order_relaxed) == nullptr) {
    g_log.d("%s Creating object of machine info", kName);
    auto* const instance = new MachineInformation;
    machine_information_.store(instance, std::memory_order_release);
    instance->Initialize();
  }
  return machine_information_.load(std::memory_order_relaxed);
}

std::shared_ptr<MachineInformation> MachineInformation::GetShared() {
  static const std::shared_ptr<MachineInformation> shared(GetInstance());
  return shared;
}

std::shared_ptr<MachineInformation> MachineInformation::Publish() {
  std::shared_ptr<MachineInformation> record = GetShared();
  yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(record);
  return record;
}

MachineInformation::MachineInformation() = default;

MachineInformation::MachineInformation(const MachineInformation& other) : MachineInformation() {
  *this = other;
}

MachineInformation& MachineInformation::operator=(const MachineInformation& other) {
  if (this == &other) return *this;
  texts_ = other.texts_;
  folded_ = other.folded_;
  os_version_as_version_ = other.os_version_as_version_;
  device_extension_keyvalue(other.device_extension_keyvalue());
  List names = other.gpu_names();
  {
    const yox::MutexLock lock(lists_mutex_);
    gpu_names_.swap(names);
  }
  set_os_is_s_mode(other.os_is_s_mode());
  initialized_.store(other.initialized_.load());
  return *this;
}

MachineInformation::~MachineInformation() {
  g_log.d("%s Machine info destructor called", "MachineInformation::~MachineInformation");
}

bool MachineInformation::IsInstance() const {
  return this == machine_information_.load(std::memory_order_relaxed);
}

MachineInformation::List MachineInformation::device_extension_keyvalue() const {
  const yox::MutexLock lock(lists_mutex_);
  return device_extension_keyvalue_;
}

void MachineInformation::device_extension_keyvalue(List value) {
  const yox::MutexLock lock(lists_mutex_);
  device_extension_keyvalue_.swap(value);
}

MachineInformation::List MachineInformation::gpu_names() const {
  const yox::MutexLock lock(lists_mutex_);
  return gpu_names_;
}

int MachineInformation::SanitizeString(std::string& /*text*/) { return 0; }

void MachineInformation::Set(Text text, const WString& value) {
  const auto index = static_cast<std::size_t>(text);
  yox::FoldedText folded(value);
  if (&texts_[index] != &value) texts_[index] = value;
  folded_.Set(index, std::move(folded));
  if (text == Text::os_version) os_version_as_version_ = Version::FromView(View(text));
}

// Out of line, so that every class without a getter of its own has the same address for it.
#define YOX_PLAIN(name, ...)
#define YOX_VIRTUAL(name, ...)                                          \
  WString MachineInformation::name() const { return View(Text::name); } \
  void MachineInformation::set_##name(const WString& value) { Set(Text::name, value); }
YOX_MACHINE_TEXTS(YOX_PLAIN, YOX_VIRTUAL)
#undef YOX_VIRTUAL
#undef YOX_PLAIN

bool MachineInformation::MayOverrideManufacturer() const {
#if defined(__GNUC__) && !defined(__clang__)
  // GCC's "bound member functions": which function a call of this object would reach. The pointer
  // must not be a constant: GCC would take the function that it names without a look at the object.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpmf-conversions"
#pragma GCC diagnostic ignored "-Wpedantic"
  using Getter = WString (*)(const MachineInformation*);
  auto getter = &MachineInformation::device_manufacturer;  // NOLINT: not constant
  return reinterpret_cast<Getter>(this->*getter) !=
         reinterpret_cast<Getter>(&MachineInformation::device_manufacturer);
#pragma GCC diagnostic pop
#else
  return true;
#endif
}
