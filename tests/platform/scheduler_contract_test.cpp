// The same contract for the main queue of the system and for its fake.
#include <gtest/gtest.h>

#include <thread>

#include "platform/loop/event_loop_linux.h"
#include "tests/fakes/fake_scheduler.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;

struct RealQueue {
  EventLoop queue;
  void runUntilFinished() { queue.run(); }
  void finish() { queue.quit(0); }
  /// Keeps the thread busy for that long.
  static void fallBehind(std::chrono::milliseconds duration) {
    const auto end = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < end) {
    }
  }
};

struct FakeQueue {
  fakes::FakeScheduler queue;
  bool isFinished = false;
  void runUntilFinished() {
    for (int i = 0; i < 1000 && !isFinished; ++i) queue.advance(1ms);
    ASSERT_TRUE(isFinished);
  }
  void finish() { isFinished = true; }
  void fallBehind(std::chrono::milliseconds duration) { queue.jump(duration); }
};

template <class Queue>
class SchedulerContract : public testing::Test, protected Queue {};
using Queues = testing::Types<RealQueue, FakeQueue>;
TYPED_TEST_SUITE(SchedulerContract, Queues);

TYPED_TEST(SchedulerContract, PostedTasksRunInOrderAndNeverInsideTheCall) {
  std::string order;
  this->queue.post([&] {
    this->queue.post([&] {
      order += "c";
      this->finish();
    });
    order += "a";
  });
  this->queue.post([&] { order += "b"; });
  EXPECT_EQ(order, "");
  this->runUntilFinished();
  EXPECT_EQ(order, "abc");
}

TYPED_TEST(SchedulerContract, TimersFireInOrderOfTheirDeadlines) {
  std::string order;
  const Timer last = this->queue.after(5ms, [&] {
    order += "c";
    this->finish();
  });
  const Timer first = this->queue.after(0ms, [&] { order += "a"; });
  const Timer second = this->queue.after(2ms, [&] { order += "b"; });
  const Timer same = this->queue.after(2ms, [&] { order += "b"; });
  Timer cancelled = this->queue.after(1ms, [&] { order += "x"; });
  cancelled = {};
  this->fallBehind(7ms);
  this->runUntilFinished();
  EXPECT_EQ(order, "abbc") << "all were due at once";
  EXPECT_TRUE(first) << "a token outlives its firing";
  EXPECT_FALSE(cancelled);
}

TYPED_TEST(SchedulerContract, TasksMayCancelReplaceAndRestartTheirOwnTimers) {
  int once = 0;
  int repeated = 0;
  Timer repeating;
  repeating = this->queue.every(1ms, [&, guard = std::make_shared<int>(7)] {
    if (++repeated < 3) return;
    repeating = {};
    EXPECT_EQ(*guard, 7) << "the task lives until it returns";
    repeating = this->queue.after(1ms, [&] {
      ++once;
      repeating = this->queue.after(3ms, [this] { this->finish(); });
    });
  });
  this->runUntilFinished();
  EXPECT_EQ(repeated, 3);
  EXPECT_EQ(once, 1);
}

TYPED_TEST(SchedulerContract, MissedPeriodsAreServedByOne) {
  int ticks = 0;
  const Timer repeating = this->queue.every(10ms, [&] { ++ticks; });
  const Timer end = this->queue.after(35ms, [this] { this->finish(); });
  this->fallBehind(32ms);  // past three deadlines
  this->runUntilFinished();
  EXPECT_EQ(ticks, 1) << "and the next one is at 40 ms";
}

TEST(EventLoop, ServesTasksPostedByManyThreads) {
  constexpr int threadCount = 4;
  constexpr int taskCount = 1000;
  EventLoop loop;
  int served = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&] {
      for (int task = 0; task < taskCount; ++task) {
        loop.post([&] {
          if (++served == threadCount * taskCount) loop.quit(0);
        });
      }
    });
  }
  loop.run();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(served, threadCount * taskCount);
}

TEST(EventLoop, TurnsSignalsIntoTasks) {
  EventLoop loop;
  const Timer onUser = loop.onSignal(SIGUSR1, [&] { loop.quit(7); });
  loop.post([] { ::raise(SIGUSR1); });
  EXPECT_EQ(loop.run(), 7);
}

}  // namespace
}  // namespace corvana
