#pragma once

namespace yox::platform {

// Survives bus errors: the signal SIGBUS that the kernel sends to a thread when it reads a mapped
// page of a file that has been truncated since, or that the disk no longer returns. A page that was
// added here reads as zeros from then on. All functions are safe from any thread.
//
// The first page installs a handler of SIGBUS for the whole process and keeps this library loaded
// to the end of the process. Every other SIGBUS goes to the handler that was there before; without
// one it ends the process, as it would without this library. A handler that the host installs
// later, and that does not call the former one, ends the protection of the pages that are added by
// then.
class BusErrors {
 public:
  // Adds a page, which begins at `page` and is mapped until it is removed. Returns false, and does
  // not protect the page, when there are too many of them, or when the handler is not in place.
  static bool AddPage(void* page);
  // Removes a page that was added. No thread may be reading it.
  static void RemovePage(void* page);

  // Installs the handler if it never was. Returns whether it is in place, and not another one.
  static bool IsHandlerInPlace();

  // Returns whether the calling thread may read the pages. A thread that blocks SIGBUS may not:
  // the kernel ends the process without calling a handler. Looked up once for each thread, at its
  // first call.
  static bool AreHandled() {
    if (t_handling_ == Handling::kUnknown) [[unlikely]]
      LookUpHandling();
    return t_handling_ == Handling::kHandled;
  }

 private:
  enum class Handling : unsigned char { kUnknown, kHandled, kBlocked };
  static constinit thread_local Handling t_handling_;

  static void LookUpHandling();
};

}  // namespace yox::platform
