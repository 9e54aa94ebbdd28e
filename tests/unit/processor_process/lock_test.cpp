// The register lock between processes: a holder in another process makes acquisition give up
// once the polling settings' window has passed, a holder that lets go within it is waited for,
// and one that dies frees it. The polling settings are bounded as they are read.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "TempDir.h"
#include "processor/CPUInternalFunc.h"
#include "sys/NamedLock.h"

namespace {

using namespace Module::PlatformConfig;
using Clock = std::chrono::steady_clock;

constexpr const char* kLockName = "Global\\ORDIX_CPU_MSR_MUTEX_1234ABDC";

// A settings directory for this process and the children it forks.
struct PollSettings {
  explicit PollSettings(const std::string& section) {
    dir.Write("OrdixServMgmtSettings.ini", "[MSRObjectTimeouts]\n" + section);
  }
  TestSupport::TempDir dir;
  TestSupport::ScopedEnv config{"ORDIX_CONFIG_DIR", dir.Path()};
};

// Another process that takes the lock through the component's routine and keeps it until it
// is killed, or for holdMs when that is given.
class Holder {
 public:
  explicit Holder(unsigned holdMs = 0) {
    int fds[2];
    if (::pipe(fds) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      ::close(fds[0]);
      ReadPollSettings();
      Sys::NamedLock lock;
      char name[kLockNameSize];
      const char code = static_cast<char>(AcquireRegisterLock(1, &lock, name));
      (void)!::write(fds[1], &code, 1);
      if (holdMs != 0) {
        ::usleep(holdMs * 1000);
        ::_exit(0);  // lets go by ending, as a holder that is done does
      }
      for (;;) ::pause();
    }
    ::close(fds[1]);
    char code = -1;
    if (pid_ > 0 && ::read(fds[0], &code, 1) == 1) code_ = code;
    ::close(fds[0]);
  }
  ~Holder() { Kill(); }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

  // AcquireRegisterLock's result in the holder; -1 when it never said.
  int Code() const { return code_; }

  void Kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
  int code_ = -1;
};

long MillisecondsSince(Clock::time_point start) {
  return static_cast<long>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

TEST(RegisterLockAcrossProcesses, GivesUpAfterThePollingWindowAndIsFreedByItsHoldersEnd) {
  // A short window: the lock is machine-wide, and other programs' queries wait for it too.
  PollSettings settings("PollInterval=5\nPollAttempts=30\n");
  ReadPollSettings();
  ASSERT_EQ(PollInterval(), 5u);
  ASSERT_EQ(PollAttempts(), 30u);

  Sys::NamedLock lock;
  char name[kLockNameSize] = {};
  EXPECT_EQ(AcquireRegisterLock(0, &lock, name), kMissingArgument);  // a mask names no processor
  {
    Holder holder;
    ASSERT_EQ(holder.Code(), 0);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(AcquireRegisterLock(1, &lock, name), 1u);
    EXPECT_GE(MillisecondsSince(start), 5 * 30);
    EXPECT_STREQ(name, kLockName);
    EXPECT_FALSE(lock.IsValid());  // nothing kept of a lock not had

    // Killed, it cannot release anything itself: its end must free the lock.
    holder.Kill();
    EXPECT_EQ(AcquireRegisterLock(1, &lock, name), 0u);
    EXPECT_TRUE(lock.IsValid());
  }

  // Held here now: another process gives up, and gets it once it is released here.
  EXPECT_EQ(Holder().Code(), 1);
  EXPECT_EQ(ReleaseRegisterLock(&lock, name), 0u);
  EXPECT_FALSE(lock.IsValid());
  EXPECT_EQ(Holder().Code(), 0);
  EXPECT_EQ(ReleaseRegisterLock(&lock, name), kMissingArgument);  // nothing left to release
}

TEST(RegisterLockAcrossProcesses, AHolderThatLetsGoWithinTheWindowIsWaitedFor) {
  PollSettings settings("PollInterval=30\nPollAttempts=100\n");
  ReadPollSettings();
  Holder holder(100);
  ASSERT_EQ(holder.Code(), 0);
  Sys::NamedLock lock;
  char name[kLockNameSize];
  EXPECT_EQ(AcquireRegisterLock(1, &lock, name), 0u);
  EXPECT_EQ(ReleaseRegisterLock(&lock, name), 0u);
}

TEST(RegisterLockSettings, ValuesOutsideTheirBoundsFallBackToTheDefaults) {
  struct Case {
    const char* section;
    uint32_t interval, attempts;
  } cases[] = {
      {"PollInterval=0\nPollAttempts=29\n", 10, 50},
      {"PollInterval=31\nPollAttempts=101\n", 10, 50},
      {"PollInterval=30\nPollAttempts=30\n", 30, 30},
      {"PollInterval=1\nPollAttempts=100\n", 1, 100},
      {"PollInterval=-1\nPollAttempts=ten\n", 10, 50},  // -1 wraps to the largest value
      {"", 10, 50},
  };
  for (const Case& c : cases) {
    PollSettings settings(c.section);
    ReadPollSettings();
    EXPECT_EQ(PollInterval(), c.interval) << c.section;
    EXPECT_EQ(PollAttempts(), c.attempts) << c.section;
  }

  // The workers' start reads them afresh.
  PollSettings settings("PollInterval=7\nPollAttempts=77\n");
  ASSERT_EQ(StartProcessorWorkers("", 1), 1u);
  EXPECT_EQ(PollInterval(), 7u);
  EXPECT_EQ(PollAttempts(), 77u);
  StopProcessorWorkers();
}

}  // namespace
