#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <thread>

#include "yox/platform/files/linux/BusErrors.h"

namespace yox_test {
namespace {

using yox::platform::BusErrors;

// A page of a file that is empty: reading it is a bus error.
volatile char* LostPage() {
  const int file = memfd_create("yox-lost-page", MFD_CLOEXEC);
  void* const page = mmap(nullptr, 1, PROT_READ, MAP_SHARED, file, 0);
  close(file);
  return static_cast<volatile char*>(page);
}

// The handlers are of the whole process, and so each test runs in a process of its own.
class BusErrorsTest : public testing::Test {
 protected:
  BusErrorsTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  // Installs a handler, then the one under test on top of it; returns a page that is not added.
  static volatile char* LostPageUnder(const struct sigaction& former) {
    sigaction(SIGBUS, &former, nullptr);
    void* const added = const_cast<char*>(LostPage());
    if (!BusErrors::AddPage(added)) _exit(90);
    if (*static_cast<volatile char*>(added) != 0) _exit(91);
    return LostPage();
  }
  static struct sigaction Plain(void (*handler)(int), int flags = 0) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    return action;
  }
};

TEST_F(BusErrorsTest, APageThatIsLostReadsAsZeros) {
  EXPECT_EXIT(
      {
        void* const page = const_cast<char*>(LostPage());
        errno = EXDEV;
        const bool added = BusErrors::AddPage(page);
        const bool is_zero = *(static_cast<volatile char*>(page) + 100) == 0;
        _exit(added && is_zero && errno == EXDEV ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(BusErrorsTest, AnotherFaultEndsTheProcess) {
  EXPECT_EXIT(*LostPageUnder(Plain(SIG_DFL)), testing::KilledBySignal(SIGBUS), "");
}

TEST_F(BusErrorsTest, ASignalThatIsSentEndsTheProcess) {
  EXPECT_EXIT(
      {
        LostPageUnder(Plain(SIG_DFL));
        raise(SIGBUS);
      },
      testing::KilledBySignal(SIGBUS), "");
}

TEST_F(BusErrorsTest, ASignalThatIsSentWithTheAddressOfAPageEndsTheProcess) {
  EXPECT_EXIT(
      {
        volatile char* const page = LostPageUnder(Plain(SIG_DFL));
        siginfo_t info{};
        info.si_code = SI_QUEUE;
        info.si_addr = const_cast<char*>(page);
        if (BusErrors::AddPage(info.si_addr)) {
          syscall(SYS_rt_sigqueueinfo, getpid(), SIGBUS, &info);
        }
      },
      testing::KilledBySignal(SIGBUS), "");
}

TEST_F(BusErrorsTest, APageThatWasRemovedIsNotReplaced) {
  EXPECT_EXIT(
      {
        volatile char* const page = LostPageUnder(Plain(SIG_DFL));
        void* const address = const_cast<char*>(page);
        if (!BusErrors::AddPage(address)) _exit(90);
        BusErrors::RemovePage(address);
        *page;
      },
      testing::KilledBySignal(SIGBUS), "");
}

TEST_F(BusErrorsTest, AFaultCannotBeIgnoredButASignalThatIsSentIs) {
  EXPECT_EXIT(
      {
        volatile char* const page = LostPageUnder(Plain(SIG_IGN));
        raise(SIGBUS);
        if (write(STDERR_FILENO, "ignored", 7) == 7) *page;
      },
      testing::KilledBySignal(SIGBUS), "ignored");
}

TEST_F(BusErrorsTest, AFormerHandlerGetsTheSignal) {
  EXPECT_EXIT(*LostPageUnder(Plain([](int number) { _exit(number); })),
              testing::ExitedWithCode(SIGBUS), "");
}

TEST_F(BusErrorsTest, AFormerHandlerGetsTheSignalsInformation) {
  static volatile char* page = nullptr;
  EXPECT_EXIT(
      {
        struct sigaction former {};
        former.sa_flags = SA_SIGINFO;
        former.sa_sigaction = [](int number, siginfo_t* info, void* context) {
          _exit(number == SIGBUS && info->si_addr == page && context != nullptr ? 0 : 1);
        };
        page = LostPageUnder(former);
        *page;
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(BusErrorsTest, AFormerHandlerBlocksTheSameSignalsAsAlone) {
  static sigjmp_buf elsewhere;
  static sigset_t blocked;
  EXPECT_EXIT(
      {
        struct sigaction former = Plain([](int) {
          pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
          siglongjmp(elsewhere, 1);  // NOLINT: no destructors
        });
        sigaddset(&former.sa_mask, SIGUSR1);
        former.sa_flags = SA_NODEFER;
        sigaction(SIGBUS, &former, nullptr);
        if (sigsetjmp(elsewhere, 1) == 0) *LostPage();
        const sigset_t alone = blocked;
        if (sigsetjmp(elsewhere, 1) == 0) *LostPageUnder(former);
        for (const int number : {SIGUSR1, SIGUSR2, SIGBUS}) {
          if (sigismember(&blocked, number) != sigismember(&alone, number)) _exit(number);
        }
        _exit(sigismember(&alone, SIGUSR1) == 1 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(BusErrorsTest, AFormerHandlerForOneSignalGetsOne) {
  EXPECT_EXIT(*LostPageUnder(Plain(
                  [](int) {
                    if (write(STDERR_FILENO, "once", 4) != 4) _exit(1);
                  },
                  static_cast<int>(SA_RESETHAND))),
              testing::KilledBySignal(SIGBUS), "^once$");
}

TEST_F(BusErrorsTest, AFormerHandlerMayContinueElsewhere) {
  static sigjmp_buf elsewhere;
  EXPECT_EXIT(
      {
        volatile char* const page =
            LostPageUnder(Plain([](int) { siglongjmp(elsewhere, 1); }));  // NOLINT: no destructors
        volatile int faults = 0;
        if (sigsetjmp(elsewhere, 1) == 0 || faults < 3) {
          faults = faults + 1;
          *page;
        }
        _exit(faults == 3 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(BusErrorsTest, NoPageIsAddedUnderALaterHandler) {
  EXPECT_EXIT(
      {
        LostPageUnder(Plain(SIG_DFL));
        signal(SIGBUS, [](int) { _exit(8); });
        void* const page = const_cast<char*>(LostPage());
        if (BusErrors::AddPage(page)) _exit(1);
        *static_cast<volatile char*>(page);
      },
      testing::ExitedWithCode(8), "");
}

TEST_F(BusErrorsTest, AThreadThatBlocksTheSignalIsNotProtected) {
  std::thread([] { EXPECT_TRUE(BusErrors::AreHandled()); }).join();
  EXPECT_EXIT(
      {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGBUS);
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
        _exit(BusErrors::AreHandled() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace yox_test
