#include <utility>

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/windows/ServiceControl.h"

namespace yoxd {
namespace {

// How long the manager waits for the end: the queue gets two seconds of it.
constexpr DWORD kPatienceMilliseconds = 15'000;

BOOL WINAPI OnConsole(DWORD event) {
  // Not log-off: services get it too, when any user logs off.
  if (event == CTRL_LOGOFF_EVENT) return FALSE;
  ServiceControl::Get().stop.Set();
  return TRUE;
}

}  // namespace

ServiceControl& ServiceControl::Get() {
  // Never destroyed: threads of the system call it until the process has ended.
  static ServiceControl& control = *new ServiceControl;
  return control;
}

DWORD ServiceControl::Handle(DWORD control, DWORD kind) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
    case SERVICE_CONTROL_SHUTDOWN:
      Report(SERVICE_STOP_PENDING);
      stop.Set();
      return NO_ERROR;
    case SERVICE_CONTROL_PARAMCHANGE:
      reload.Set();
      return NO_ERROR;
    case SERVICE_CONTROL_SESSIONCHANGE:
      // Not for a lock, which is no other user.
      if (kind != WTS_SESSION_LOCK && kind != WTS_SESSION_UNLOCK) user_changed.Set();
      return NO_ERROR;
    case SERVICE_CONTROL_TIMECHANGE:
      clock_set.Set();
      return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE:
      return NO_ERROR;
    default:
      return ERROR_CALL_NOT_IMPLEMENTED;
  }
}

void ServiceControl::Use(SERVICE_STATUS_HANDLE service) {
  const yox::MutexLock lock(mutex_);
  service_ = service;
}

void ServiceControl::Report(DWORD state, DWORD code) {
  const yox::MutexLock lock(mutex_);
  // A stop that was asked for while the service was starting is not taken back.
  if (service_ == nullptr || (state_ == SERVICE_STOP_PENDING && state == SERVICE_RUNNING)) return;
  state_ = state;
  SERVICE_STATUS status{};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  if (state == SERVICE_RUNNING) {
    status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN |
                                SERVICE_ACCEPT_PARAMCHANGE | SERVICE_ACCEPT_SESSIONCHANGE |
                                SERVICE_ACCEPT_TIMECHANGE;
  } else if (state != SERVICE_STOPPED) {
    status.dwWaitHint = kPatienceMilliseconds;
  }
  if (code != 0) {
    status.dwWin32ExitCode = ERROR_SERVICE_SPECIFIC_ERROR;
    status.dwServiceSpecificExitCode = code;
  }
  SetServiceStatus(service_, &status);
  if (state == SERVICE_STOPPED) service_ = nullptr;
}

struct Supervision::Implementation final : Part {
  Handlers handlers;

  void Watch(std::vector<Watched>& watched) override {
    ServiceControl& control = ServiceControl::Get();
    const auto add = [&watched](yox::platform::Event& event, const std::function<void()>& call) {
      watched.push_back({event.handle().native(), true, false, [&event, &call](bool, bool) {
                           event.Clear();
                           if (call) call();
                         }});
    };
    add(control.stop, handlers.stop);
    add(control.reload, handlers.reload);
    add(control.user_changed, handlers.user_changed);
    add(control.clock_set, none_);  // every turn looks at the date
  }

 private:
  const std::function<void()> none_;
};

Supervision::Supervision() : implementation_(std::make_unique<Implementation>()) {
  SetConsoleCtrlHandler(OnConsole, TRUE);
}

Supervision::~Supervision() { SetConsoleCtrlHandler(OnConsole, FALSE); }

std::vector<Part*> Supervision::Connect(Handlers handlers) {
  implementation_->handlers = std::move(handlers);
  return {implementation_.get()};
}

void Supervision::Started() { ServiceControl::Get().Report(SERVICE_RUNNING); }

void Supervision::Reloading() {}

void Supervision::Stopping() { ServiceControl::Get().Report(SERVICE_STOP_PENDING); }

void Supervision::Ended(int code) {
  ServiceControl::Get().Report(SERVICE_STOPPED, static_cast<DWORD>(code));
}

}  // namespace yoxd
