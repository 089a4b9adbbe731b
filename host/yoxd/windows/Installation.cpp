#include "host/yoxd/windows/Installation.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <type_traits>
#include <utility>

#include "host/yoxd/Journal.h"
#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

constexpr const char* kServiceName = "yoxd";
constexpr const wchar_t* kDescription =
    L"Decides on this device which content applies to it, and reports to the management service.";
constexpr DWORD kEndMilliseconds = 30'000;

struct ServiceCloser {
  void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ServiceCloser>;

[[noreturn]] void Fail(const std::string& what, DWORD error) {
  throw std::runtime_error(what + ": " + std::system_category().message(static_cast<int>(error)));
}

ServiceHandle OpenManager(DWORD access) {
  ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, access));
  if (!manager) Fail("the service manager cannot be reached", GetLastError());
  return manager;
}

ServiceHandle OpenExisting(SC_HANDLE manager, const std::string& name, DWORD access) {
  ServiceHandle service(OpenServiceW(manager, Wide(name).c_str(), access));
  if (!service) Fail("the service " + name + " cannot be opened", GetLastError());
  return service;
}

std::wstring OwnPath() {
  std::wstring path(32'768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

// As CommandLineToArgvW reads it. A path has no quotation marks.
std::wstring Quoted(std::wstring text) {
  // Backslashes before the closing mark would escape it.
  const std::size_t last = text.find_last_not_of(L'\\');
  text.append(text.size() - (last == std::wstring::npos ? 0 : last + 1), L'\\');
  return L"\"" + text + L"\"";
}

std::wstring CommandLineOf(const Options& options) {
  std::wstring line = Quoted(OwnPath()) + L" --service";
  const auto add = [&line](const wchar_t* option, const std::string& file) {
    // The manager starts it in another directory.
    if (!file.empty()) {
      line += std::wstring(L" ") + option + L" " +
              Quoted(std::filesystem::absolute(PathOf(file)).native());
    }
  };
  add(L"--config", options.configuration);
  add(L"--device", options.device.profile);
  add(L"--state-dir", options.device.state_dir);
  if (options.device.clock_speed != 1) {
    line += L" --clock-speed " + std::to_wstring(options.device.clock_speed);
  }
  if (options.verbose) line += L" --verbose";
  return line;
}

std::wstring SourceKey(const std::string& name) {
  return L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\" + Wide(name);
}

// The event log finds the text of events in the program.
DWORD AddEventSource(const std::string& name) {
  const std::wstring path = OwnPath();
  const DWORD types = EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
  HKEY key = nullptr;
  LSTATUS error = RegCreateKeyExW(HKEY_LOCAL_MACHINE, SourceKey(name).c_str(), 0, nullptr, 0,
                                  KEY_SET_VALUE, nullptr, &key, nullptr);
  if (error != ERROR_SUCCESS) return static_cast<DWORD>(error);
  const auto set = [&](const wchar_t* value, DWORD type, const void* data, std::size_t size) {
    if (error == ERROR_SUCCESS) {
      error = RegSetValueExW(key, value, 0, type, static_cast<const BYTE*>(data),
                             static_cast<DWORD>(size));
    }
  };
  set(L"EventMessageFile", REG_EXPAND_SZ, path.c_str(), (path.size() + 1) * sizeof(wchar_t));
  set(L"TypesSupported", REG_DWORD, &types, sizeof types);
  RegCloseKey(key);
  return static_cast<DWORD>(error);
}

// What is not possible on every system: the service works without it, and the caller is informed.
void Configure(SC_HANDLE service) {
  const auto set = [service](DWORD what, const char* name, void* value) {
    if (ChangeServiceConfig2W(service, what, value) == FALSE) {
      Journal::Warning("install",
                       std::string(name) + " cannot be set: " +
                           std::system_category().message(static_cast<int>(GetLastError())));
    }
  };
  SERVICE_DESCRIPTIONW description{const_cast<wchar_t*>(kDescription)};
  set(SERVICE_CONFIG_DESCRIPTION, "the description", &description);
  // When it ends by itself, also with an error: again after five seconds.
  std::array<SC_ACTION, 3> actions;
  actions.fill({SC_ACTION_RESTART, 5'000});
  SERVICE_FAILURE_ACTIONSW failures{86'400, nullptr, nullptr, static_cast<DWORD>(actions.size()),
                                    actions.data()};
  set(SERVICE_CONFIG_FAILURE_ACTIONS, "the restart after a failure", &failures);
  // Not before there is a network: name resolution would fail.
  SERVICE_DELAYED_AUTO_START_INFO delayed{TRUE};
  set(SERVICE_CONFIG_DELAYED_AUTO_START_INFO, "the delayed start", &delayed);
}

}  // namespace

std::string TakeServiceName(std::vector<std::string>& arguments) {
  const auto option = std::ranges::find(arguments, "--name");
  if (option == arguments.end()) return kServiceName;
  if (option + 1 == arguments.end() || !IsName(option[1])) {
    throw std::runtime_error("--name: expected 1 to 64 letters, digits, \"-\", \"_\" or \".\"");
  }
  std::string name = option[1];
  arguments.erase(option, option + 2);
  return name;
}

void InstallService(const std::string& name, const Options& options) {
  const ServiceHandle manager = OpenManager(SC_MANAGER_CREATE_SERVICE);
  const std::wstring wide = Wide(name);
  const ServiceHandle service(
      CreateServiceW(manager.get(), wide.c_str(), wide.c_str(), SERVICE_ALL_ACCESS,
                     SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                     CommandLineOf(options).c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
  if (!service) Fail("the service " + name + " cannot be created", GetLastError());
  if (const DWORD error = AddEventSource(name); error != ERROR_SUCCESS) {
    DeleteService(service.get());
    Fail("the source in the event log cannot be created", error);
  }
  Configure(service.get());
}

void ReloadService(const std::string& name) {
  const ServiceHandle manager = OpenManager(SC_MANAGER_CONNECT);
  const ServiceHandle service = OpenExisting(manager.get(), name, SERVICE_PAUSE_CONTINUE);
  SERVICE_STATUS status{};
  if (ControlService(service.get(), SERVICE_CONTROL_PARAMCHANGE, &status) == FALSE) {
    Fail("the service " + name + " cannot be reloaded", GetLastError());
  }
}

void RemoveService(const std::string& name) {
  const ServiceHandle manager = OpenManager(SC_MANAGER_CONNECT);
  const ServiceHandle service =
      OpenExisting(manager.get(), name, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE);
  SERVICE_STATUS status{};
  if (ControlService(service.get(), SERVICE_CONTROL_STOP, &status) != FALSE) {
    const ULONGLONG end = GetTickCount64() + kEndMilliseconds;
    while (QueryServiceStatus(service.get(), &status) != FALSE &&
           status.dwCurrentState != SERVICE_STOPPED) {
      if (GetTickCount64() > end) Fail("the service " + name + " does not end", ERROR_TIMEOUT);
      Sleep(50);
    }
  } else if (const DWORD error = GetLastError(); error != ERROR_SERVICE_NOT_ACTIVE) {
    Fail("the service " + name + " cannot be ended", error);
  }
  if (DeleteService(service.get()) == FALSE) {
    Fail("the service " + name + " cannot be removed", GetLastError());
  }
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, SourceKey(name).c_str());
}

}  // namespace yoxd
