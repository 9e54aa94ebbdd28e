// Events, threads ended by force and the named lock, as every OS must behave.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "sys/Event.h"
#include "sys/NamedLock.h"
#include "sys/Process.h"
#include "sys/Thread.h"

namespace {

using namespace Sys;
using Clock = std::chrono::steady_clock;
using Result = Event::WaitResult;

TEST(Event, ManualResetStaysSetForEveryWaitUntilResetOrSetFromAnotherThread) {
  Event event = Event::CreateManualReset();
  ASSERT_TRUE(event.IsValid());
  EXPECT_EQ(event.Wait(0), Result::TimedOut);  // created non-signalled
  EXPECT_TRUE(event.Reset());                  // resetting a reset event is fine
  EXPECT_TRUE(event.Set());
  EXPECT_TRUE(event.Set());
  EXPECT_EQ(event.Wait(0), Result::Signalled);
  EXPECT_EQ(event.Wait(Event::kInfinite), Result::Signalled);  // a wait consumes nothing
  EXPECT_TRUE(event.Reset());
  EXPECT_EQ(event.Wait(0), Result::TimedOut);  // one reset undoes any number of sets

  Event moved(std::move(event));
  EXPECT_FALSE(event.IsValid());
  EXPECT_TRUE(moved.IsValid());
  EXPECT_FALSE(event.Set());
  EXPECT_FALSE(event.Reset());
  EXPECT_EQ(event.Wait(0), Result::Failed);
  moved.Close();
  EXPECT_FALSE(moved.IsValid());

  // A timed wait runs its time out, and a set from another thread releases an endless one.
  event = Event::CreateManualReset();
  const auto start = Clock::now();
  EXPECT_EQ(event.Wait(60), Result::TimedOut);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(60));

  std::thread setter([&event] {
    Sys::SleepMilliseconds(30);
    event.Set();
  });
  EXPECT_EQ(event.Wait(10000), Result::Signalled);
  setter.join();
}

// A worker as the processor code keeps one: it waits for requests without a time-out.
struct Blocked {
  Event request = Event::CreateManualReset();
  std::atomic<bool> waiting{false};
  std::atomic<bool> passed{false};

  static uint32_t Main(void* parameter) {
    auto* self = static_cast<Blocked*>(parameter);
    self->waiting = true;
    self->request.Wait(Event::kInfinite);
    self->passed = true;
    return 0;
  }
  void AwaitWaiting() const {
    while (!waiting) std::this_thread::yield();
  }
};

TEST(Thread, TerminateEndsThreadsBlockedInWaitAndLeavesTheirEventsUsable) {
  Blocked shared[8];
  Thread threads[8];
  for (int i = 0; i < 8; ++i) {
    threads[i] = Thread::Create(&Blocked::Main, &shared[i]);
    ASSERT_TRUE(threads[i].IsValid());
    EXPECT_NE(threads[i].Id(), 0u);
    EXPECT_EQ(threads[i].Resume(), 0);
  }
  for (int i = 0; i < 8; ++i) {
    shared[i].AwaitWaiting();
    threads[i].Terminate(static_cast<uint32_t>(-1));
    EXPECT_FALSE(threads[i].IsValid());
    EXPECT_EQ(threads[i].Id(), 0u);
    EXPECT_EQ(threads[i].Resume(), -1);
    threads[i].Terminate(1);  // harmless twice
  }
  for (Blocked& s : shared) {
    EXPECT_FALSE(s.passed);
    EXPECT_TRUE(s.request.Set());  // nothing of the event stayed locked by the dead waiter
    EXPECT_EQ(s.request.Wait(0), Result::Signalled);
  }
}

TEST(Thread, TerminateOfAThreadThatHasReturnedJustReleasesIt) {
  std::atomic<bool> done{false};
  Thread thread = Thread::Create(
      [](void* flag) -> uint32_t {
        *static_cast<std::atomic<bool>*>(flag) = true;
        return 1;
      },
      &done);
  while (!done) std::this_thread::yield();
  Sys::SleepMilliseconds(10);
  thread.Terminate(static_cast<uint32_t>(-1));
  EXPECT_FALSE(thread.IsValid());
  EXPECT_FALSE(Thread::Create(nullptr, nullptr).IsValid());
}

TEST(Thread, MoveHandsTheThreadOverAndTheDestructorEndsIt) {
  Blocked first;
  Blocked second;
  {
    Thread a = Thread::Create(&Blocked::Main, &first);
    const uint32_t id = a.Id();
    Thread b(std::move(a));
    EXPECT_FALSE(a.IsValid());
    EXPECT_EQ(a.Id(), 0u);
    EXPECT_EQ(b.Id(), id);
    EXPECT_FALSE(a.SetAffinity(1));

    Thread c = Thread::Create(&Blocked::Main, &second);
    second.AwaitWaiting();
    c = std::move(b);  // ends the thread c held
    EXPECT_EQ(c.Id(), id);
    first.AwaitWaiting();
  }  // ends the first one
  EXPECT_FALSE(first.passed);
  EXPECT_FALSE(second.passed);
}

TEST(NamedLock, HeldUntilItsCreatorClosesItWhateverOthersDo) {
  const std::string name =
      "pc-sys-test-lock-" + std::to_string(Clock::now().time_since_epoch().count());
  NamedLock::Outcome outcome{};
  NamedLock holder = NamedLock::Create(name, outcome);
  EXPECT_EQ(outcome, NamedLock::Outcome::Created);
  EXPECT_TRUE(holder.IsValid());

  NamedLock other = NamedLock::Create(name, outcome);
  EXPECT_EQ(outcome, NamedLock::Outcome::AlreadyExists);
  EXPECT_TRUE(other.IsValid());  // a handle the caller must close
  other.Close();
  EXPECT_FALSE(other.IsValid());
  other = NamedLock::Create(name, outcome);  // a contender's close released nothing
  EXPECT_EQ(outcome, NamedLock::Outcome::AlreadyExists);
  other.Close();

  NamedLock moved(std::move(holder));  // the lock goes with the handle
  EXPECT_FALSE(holder.IsValid());
  holder.Close();  // harmless
  NamedLock::Create(name, outcome);
  EXPECT_EQ(outcome, NamedLock::Outcome::AlreadyExists);

  moved.Close();
  NamedLock again = NamedLock::Create(name, outcome);
  EXPECT_EQ(outcome, NamedLock::Outcome::Created);
}

}  // namespace
