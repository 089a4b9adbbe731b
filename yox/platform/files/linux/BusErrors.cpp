#include "yox/platform/files/linux/BusErrors.h"

#include <dlfcn.h>
#include <link.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>

#include "yox/platform/files/linux/MapPage.h"

namespace yox::platform {
namespace {

using Address = std::uintptr_t;

// What the handler reads; it may only call functions that are safe in one (signal-safety(7)).
constinit std::array<std::atomic<Address>, 64> g_pages{};
static_assert(std::atomic<Address>::is_always_lock_free);
// Both are written before the handler is installed.
constinit Address g_page_size = 0;
constinit struct sigaction g_former {};
// Whether the former handler was called, which counts if it wanted one signal only.
constinit std::atomic<bool> g_former_called{false};

// Puts a page of zeros in the place of the page that could not be read, if it is one of ours.
bool ReplacePage(const siginfo_t& fault) {
  if (fault.si_code <= 0) return false;  // a process has sent the signal
  const Address page = reinterpret_cast<Address>(fault.si_addr) / g_page_size * g_page_size;
  for (const std::atomic<Address>& known : g_pages) {
    if (known.load(std::memory_order_acquire) != page) continue;
    return MapPage(reinterpret_cast<void*>(page), -1) != nullptr;
  }
  return false;
}

// Does what the kernel does with the signal where there is no handler. It is sent to this thread
// once more and arrives, with the same information, when the handler has returned.
void EndProcess(siginfo_t* info) {
  struct sigaction without {};
  without.sa_handler = SIG_DFL;
  sigaction(SIGBUS, &without, nullptr);
  syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), SIGBUS, info);
}

void CallFormer(siginfo_t* info, void* context) {
  const bool is_ignored = g_former.sa_handler == SIG_IGN;
  if (is_ignored && info->si_code <= 0) return;  // a fault cannot be ignored
  const bool is_spent = (static_cast<unsigned>(g_former.sa_flags) & SA_RESETHAND) != 0 &&
                        g_former_called.exchange(true);
  if (is_ignored || is_spent || g_former.sa_handler == SIG_DFL) {
    EndProcess(info);
  } else if ((g_former.sa_flags & SA_SIGINFO) != 0) {
    g_former.sa_sigaction(SIGBUS, info, context);
  } else {
    g_former.sa_handler(SIGBUS);
  }
}

void Handle(int, siginfo_t* info, void* context) {
  const int error = errno;
  if (!ReplacePage(*info)) CallFormer(info, context);
  errno = error;
}

// Another handler may call this one at any time, even after the host has unloaded the library.
bool StayLoaded() {
  Dl_info info{};
  void* map = nullptr;
  return dladdr1(reinterpret_cast<const void*>(&Handle), &info, &map, RTLD_DL_LINKMAP) != 0 &&
         dlopen(static_cast<const link_map*>(map)->l_name,
                RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
}

bool InstallHandler() {
  if (!StayLoaded() || sigaction(SIGBUS, nullptr, &g_former) != 0) return false;
  g_page_size = static_cast<Address>(sysconf(_SC_PAGESIZE));
  struct sigaction handler {};
  handler.sa_sigaction = Handle;
  handler.sa_mask = g_former.sa_mask;
  // On the signal stack: that of the thread may be small, as those of goroutines are.
  handler.sa_flags = SA_SIGINFO | SA_ONSTACK | (g_former.sa_flags & (SA_NODEFER | SA_RESTART));
  return sigaction(SIGBUS, &handler, nullptr) == 0;
}

bool Replace(Address from, Address to) {
  for (std::atomic<Address>& page : g_pages) {
    Address expected = from;
    if (page.compare_exchange_strong(expected, to)) return true;
  }
  return false;
}

}  // namespace

constinit thread_local BusErrors::Handling BusErrors::t_handling_ = Handling::kUnknown;

bool BusErrors::AddPage(void* page) {
  return IsHandlerInPlace() && Replace(0, reinterpret_cast<Address>(page));
}

void BusErrors::RemovePage(void* page) { Replace(reinterpret_cast<Address>(page), 0); }

bool BusErrors::IsHandlerInPlace() {
  static const bool was_installed = InstallHandler();
  struct sigaction current {};
  return was_installed && sigaction(SIGBUS, nullptr, &current) == 0 &&
         current.sa_sigaction == Handle;
}

void BusErrors::LookUpHandling() {
  sigset_t blocked;
  sigemptyset(&blocked);
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  t_handling_ = sigismember(&blocked, SIGBUS) != 0 ? Handling::kBlocked : Handling::kHandled;
}

}  // namespace yox::platform
