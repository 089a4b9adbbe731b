#pragma once

#include <atomic>

#include "yox/platform/Platform.h"
#include "yox/platform/apps/Applications.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/system/Client.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/users/Users.h"

#include "tests/support/SubstitutedPlatform.h"

namespace yox_test {

// Counts the calls of all interfaces of a platform together, and chooses one that fails. Safe from
// any thread.
class FailingCall {
 public:
  // Counting starts again; the call of this number fails, counted from 1. 0: none does.
  void Choose(int number) {
    calls_ = 0;
    chosen_ = number;
  }
  int calls() const { return calls_; }
  bool Fails() { return ++calls_ == chosen_; }

 private:
  std::atomic<int> calls_ = 0;
  std::atomic<int> chosen_ = 0;
};

// The interfaces of another platform; a call that fails does what its interface says of a failure.
// What an interface cannot refuse is not counted: the clock, and where a path leads.
namespace failing {

using yox::WString;
using yox::WStringView;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;

template <class Interface>
class Part : public Interface {
 public:
  Part(Interface& base, FailingCall& call) : base_(base), call_(call) {}

 protected:
  // What `read` returns, or, of the call that fails, `failure`.
  template <class Result, class Read>
  Result Or(Result failure, Read read) {
    if (call_.Fails()) return failure;
    return read(base_);
  }

  Interface& base_;
  FailingCall& call_;
};

// A function without arguments that returns an empty value when it fails.
#define YOX_EMPTY_OR(Type, Function, qualifiers)                   \
  Type Function() qualifiers override {                            \
    return Or(Type(), [](auto& base) { return base.Function(); }); \
  }

class Applications final : public Part<yox::platform::Applications> {
 public:
  using Part::Part;
  ByKey Installed(yox::platform::ApplicationSource source) override {
    return Or(ByKey{}, [&](auto& base) { return base.Installed(source); });
  }
  std::map<WString, WString> Store() override {
    return Or(std::map<WString, WString>{}, [](auto& base) { return base.Store(); });
  }
  std::uint64_t Generation() override { return base_.Generation(); }
  YOX_EMPTY_OR(std::vector<WString>, Unread, )
};

class Accelerators final : public Part<yox::platform::Accelerators> {
 public:
  using Part::Part;
  YOX_EMPTY_OR(std::optional<std::vector<yox::platform::Accelerator>>, Enumerate, )
};

class DisplayAdapters final : public Part<yox::platform::DisplayAdapters> {
 public:
  using Part::Part;
  YOX_EMPTY_OR(std::optional<std::vector<yox::platform::DisplayAdapter>>, Enumerate, )
};

class DeviceTree final : public Part<yox::platform::DeviceTree> {
 public:
  using Part::Part;
  std::unique_ptr<yox::platform::DeviceRegistration> Register(PCM_NOTIFY_CALLBACK callback,
                                                              void* context) override {
    if (call_.Fails()) return nullptr;
    return base_.Register(callback, context);
  }
  void Enumerate(const Visitor& visit) override {
    if (!call_.Fails()) base_.Enumerate(visit);
  }
  std::vector<WString> HardwareIds(const WString& instance_id) override {
    return Or(std::vector<WString>{}, [&](auto& base) { return base.HardwareIds(instance_id); });
  }
};

class Files final : public Part<yox::platform::Files> {
 public:
  using Part::Part;
  WString CommonApplicationDataPath() const override { return base_.CommonApplicationDataPath(); }
  std::optional<WString> ApplicationDataRoot() const override {
    if (call_.Fails()) return std::nullopt;
    return base_.ApplicationDataRoot();
  }
  WString SystemDirectory() const override { return base_.SystemDirectory(); }
  WString ProductDirectory() const override { return base_.ProductDirectory(); }
  std::filesystem::path Locate(WStringView path) const override { return base_.Locate(path); }
  bool CreatePrivate(const std::filesystem::path& file) override {
    return Or(false, [&](auto& base) { return base.CreatePrivate(file); });
  }
  bool Grant(const std::filesystem::path& file, std::span<const yox::AccessGrant> grants,
             bool replace) override {
    return Or(false, [&](auto& base) { return base.Grant(file, grants, replace); });
  }
  std::optional<std::string> ReadTrusted(const std::filesystem::path& file,
                                         std::size_t limit) override {
    return Or(std::optional<std::string>(),
              [&](auto& base) { return base.ReadTrusted(file, limit); });
  }
};

class Firmware final : public Part<yox::platform::Firmware> {
 public:
  using Part::Part;
  using FactsPointer = const yox::platform::FirmwareFacts*;
  YOX_EMPTY_OR(FactsPointer, Facts, )
  void Reread() override {
    if (!call_.Fails()) base_.Reread();
  }
};

class OperatingSystem final : public Part<yox::platform::OperatingSystem> {
 public:
  using Part::Part;
  YOX_EMPTY_OR(WString, ProductName, )
  YOX_EMPTY_OR(WString, EditionId, )
  YOX_EMPTY_OR(WString, Version, )
  YOX_EMPTY_OR(WString, Caption, )
  YOX_EMPTY_OR(bool, IsSMode, )
  YOX_EMPTY_OR(std::uint32_t, Architecture, )
  YOX_EMPTY_OR(std::uint32_t, UpdateServiceStartType, )
  YOX_EMPTY_OR(std::vector<yox::platform::OperatingSystemUpdate>, UpdateHistory, )
  YOX_EMPTY_OR(std::optional<yox::LocalDate>, FirstRunDate, )
};

class Locale final : public Part<yox::platform::Locale> {
 public:
  using Part::Part;
  YOX_EMPTY_OR(yox::platform::LocaleFacts, Facts, )
};

class Users final : public Part<yox::platform::Users> {
 public:
  using Part::Part;
  YOX_EMPTY_OR(WString, LoggedInUserSid, )
  YOX_EMPTY_OR(bool, IsSystemProcess, )
};

class Services final : public Part<yox::platform::Services> {
 public:
  using Part::Part;
  bool IsRunning(WStringView service) override {
    return Or(false, [&](auto& base) { return base.IsRunning(service); });
  }
};

class JoinState final : public Part<yox::platform::JoinState> {
 public:
  using Part::Part;
  yox::platform::JoinAnswer Domain() override {
    return Or(kFailure, [](auto& base) { return base.Domain(); });
  }
  yox::platform::JoinAnswer Cloud() override {
    return Or(kFailure, [](auto& base) { return base.Cloud(); });
  }

 private:
  static constexpr yox::platform::JoinAnswer kFailure{yox::platform::JoinAnswer::Outcome::kAsked, 5,
                                                      false};
};

class ManagementQueries final : public Part<yox::platform::ManagementQueries> {
 public:
  using Part::Part;
  yox::platform::ManagementAnswer Ask(WStringView name_space, WStringView query,
                                      WStringView property) override {
    yox::platform::ManagementAnswer failure;
    failure.failed = yox::platform::ManagementAnswer::Step::kQuery;
    failure.error = 0x80041001;
    return Or(failure, [&](auto& base) { return base.Ask(name_space, query, property); });
  }
};

class Client final : public Part<yox::platform::Client> {
 public:
  using Part::Part;
  WString FileVersion(const WString& path) override {
    return Or(WString(), [&](auto& base) { return base.FileVersion(path); });
  }
  YOX_EMPTY_OR(bool, AnonymousMetrics, )
};
#undef YOX_EMPTY_OR

class Registry : public yox::platform::Registry {
 public:
  Registry(yox::platform::Registry& base, FailingCall& call) : base_(base), call_(call) {}

  RegistryStatus Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) override {
    return Or([&] { return base_.Open(key, access, opened); });
  }
  void Close(HKEY opened) override { base_.Close(opened); }
  RegistryStatus Get(const RegistryKey& key, WStringView name,
                     yox::platform::RegistryValue& value) override {
    return Or([&] { return base_.Get(key, name, value); });
  }
  RegistryStatus Values(const RegistryKey& key, std::vector<yox::platform::RegistryEntry>& values,
                        std::size_t longest_name) override {
    return Or([&] { return base_.Values(key, values, longest_name); });
  }
  RegistryStatus SubKeys(const RegistryKey& key, std::vector<WString>& names) override {
    return Or([&] { return base_.SubKeys(key, names); });
  }
  RegistryStatus Apply(std::span<const yox::platform::RegistryEdit> edits) override {
    return Or([&] { return base_.Apply(edits); });
  }
  RegistryStatus Watch(const RegistryKey& key, Changed changed,
                       std::unique_ptr<yox::platform::RegistryWatch>& watch) override {
    return Or([&] { return base_.Watch(key, std::move(changed), watch); });
  }

 private:
  template <class Operation>
  RegistryStatus Or(Operation operation) {
    return call_.Fails() ? RegistryStatus::kFailed : operation();
  }

  yox::platform::Registry& base_;
  FailingCall& call_;
};

}  // namespace failing

// Another platform of which one call fails.
class FailingPlatform {
 public:
  explicit FailingPlatform(yox::platform::Platform& base)
      : platform_(base),
        files_(base.files(), call_),
        firmware_(base.firmware(), call_),
        operating_system_(base.operating_system(), call_),
        locale_(base.locale(), call_),
        users_(base.users(), call_),
        applications_(base.applications(), call_),
        display_adapters_(base.display_adapters(), call_),
        accelerators_(base.accelerators(), call_),
        services_(base.services(), call_),
        join_state_(base.join_state(), call_),
        management_queries_(base.management_queries(), call_),
        registry_(base.registry(), call_),
        client_(base.client(), call_),
        device_tree_(base.device_tree(), call_) {
    platform_.Set(files_);
    platform_.Set(firmware_);
    platform_.Set(operating_system_);
    platform_.Set(locale_);
    platform_.Set(users_);
    platform_.Set(applications_);
    platform_.Set(display_adapters_);
    platform_.Set(accelerators_);
    platform_.Set(services_);
    platform_.Set(join_state_);
    platform_.Set(management_queries_);
    platform_.Set(registry_);
    platform_.Set(client_);
    platform_.Set(device_tree_);
  }

  yox::platform::Platform& platform() { return platform_; }
  FailingCall& call() { return call_; }

 private:
  FailingCall call_;
  SubstitutedPlatform platform_;
  failing::Files files_;
  failing::Firmware firmware_;
  failing::OperatingSystem operating_system_;
  failing::Locale locale_;
  failing::Users users_;
  failing::Applications applications_;
  failing::DisplayAdapters display_adapters_;
  failing::Accelerators accelerators_;
  failing::Services services_;
  failing::JoinState join_state_;
  failing::ManagementQueries management_queries_;
  failing::Registry registry_;
  failing::Client client_;
  failing::DeviceTree device_tree_;
};

}  // namespace yox_test
