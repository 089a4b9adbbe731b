// clang-format off
#include <winsock2.h>  // before windows.h
#include <windows.h>   // before the headers that need it
#include <shellapi.h>
// clang-format on

#include <fcntl.h>
#include <io.h>
#include <stdio.h>

#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "host/yoxd/Journal.h"
#include "host/yoxd/Program.h"
#include "host/yoxd/Text.h"
#include "host/yoxd/windows/EventLog.h"
#include "host/yoxd/windows/Installation.h"
#include "host/yoxd/windows/ServiceControl.h"

namespace {

constexpr const char* kFooter =
    "As a service:\n"
    "  yoxd install [--name NAME] [options]  create the service, which runs with these options\n"
    "  yoxd reload [--name NAME]             read policy and device again, and connect at once\n"
    "  yoxd remove [--name NAME]             end the service and remove it\n";

std::vector<std::string> Arguments() {
  int count = 0;
  LPWSTR* const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(yoxd::Narrow(wide[i]));
  LocalFree(wide);
  return arguments;
}

// Runs what may throw; returns the exit code.
int Guarded(const std::function<int()>& run) {
  try {
    return run();
  } catch (const std::exception& error) {
    yoxd::Journal::Error("service", error.what());
    return 2;
  }
}

int RunWith(std::vector<std::string> arguments) {
  yoxd::Options options;
  if (!yoxd::ReadOptions(std::move(arguments), kFooter, options)) return 0;
  yoxd::Supervision supervision;
  return yoxd::RunProgram(options, supervision);
}

// --- under the service manager ---

std::vector<std::string> service_arguments;

DWORD WINAPI OnControl(DWORD control, DWORD kind, void* /*data*/, void* /*context*/) {
  return yoxd::ServiceControl::Get().Handle(control, kind);
}

void WINAPI ServiceMain(DWORD count, LPWSTR* arguments) {
  const std::wstring name = count > 0 ? arguments[0] : L"yoxd";
  yoxd::UseEventLog(name);
  yoxd::ServiceControl& control = yoxd::ServiceControl::Get();
  SERVICE_STATUS_HANDLE const handle =
      RegisterServiceCtrlHandlerExW(name.c_str(), OnControl, nullptr);
  if (handle == nullptr) return;
  control.Use(handle);
  control.Report(SERVICE_START_PENDING);
  const int code = Guarded([] { return RunWith(service_arguments); });
  control.Report(SERVICE_STOPPED, static_cast<DWORD>(code));
}

int RunAsService() {
  std::wstring name;  // of a service with a process of its own: not looked at
  const SERVICE_TABLE_ENTRYW services[] = {{name.data(), ServiceMain}, {nullptr, nullptr}};
  if (StartServiceCtrlDispatcherW(services) != FALSE) return 0;
  throw std::runtime_error("--service is for the service manager (see yoxd --help)");
}

// --- by a person ---

int Run(std::vector<std::string> arguments) {
  const std::string command = arguments.empty() ? "" : arguments.front();
  const bool is_command = command == "install" || command == "reload" || command == "remove";
  if (!is_command && command != "--service") return RunWith(std::move(arguments));
  arguments.erase(arguments.begin());
  if (command == "--service") {
    service_arguments = std::move(arguments);
    return RunAsService();
  }
  const std::string name = yoxd::TakeServiceName(arguments);
  if (command == "install") {
    yoxd::Options options;
    if (!yoxd::ReadOptions(std::move(arguments), kFooter, options)) return 0;
    // A mistake is found now, and not at the first start.
    yoxd::Options checked = options;
    checked.check = true;
    yoxd::Supervision supervision;
    if (const int code = yoxd::RunProgram(checked, supervision); code != 0) return code;
    if (!options.check) yoxd::InstallService(name, options);
    return 0;
  }
  if (!arguments.empty()) throw std::runtime_error(command + ": expected only --name NAME");
  (command == "reload" ? yoxd::ReloadService : yoxd::RemoveService)(name);
  return 0;
}

}  // namespace

int main() {
  // Text goes out as UTF-8 with plain line feeds, to consoles and files alike.
  SetConsoleOutputCP(CP_UTF8);
  _setmode(_fileno(stdout), _O_BINARY);
  WSADATA sockets;  // they end with the process
  WSAStartup(MAKEWORD(2, 2), &sockets);
  return Guarded([] { return Run(Arguments()); });
}
