// The same contract for the main queue of the system and for its fake.
#include <gtest/gtest.h>

#include <thread>

#include "platform/linux/event_loop.h"
#include "tests/fakes/fake_scheduler.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;

struct RealQueue {
  EventLoop queue;
  void runUntilFinished() { queue.run(); }
  void finish() { queue.quit(0); }
};

struct FakeQueue {
  fakes::FakeScheduler queue;
  bool isFinished = false;
  void runUntilFinished() {
    for (int i = 0; i < 1000 && !isFinished; ++i) queue.advance(1ms);
    ASSERT_TRUE(isFinished);
  }
  void finish() { isFinished = true; }
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
  const Timer cancelled = [&] { return this->queue.after(1ms, [&] { order += "x"; }); }();
  const_cast<Timer&>(cancelled) = {};
  this->runUntilFinished();
  EXPECT_EQ(order, "abc");
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

TYPED_TEST(SchedulerContract, TimersTokensMayOutliveTheirTasksOwner) {
  Timer kept;
  {
    auto owner = std::make_unique<Timer>(this->queue.after(1ms, [] { FAIL() << "its token is gone"; }));
    kept = std::move(*owner);
  }
  kept = this->queue.after(2ms, [this] { this->finish(); });
  this->runUntilFinished();
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

TEST(FakeScheduler, SkipsThePeriodsOfASleep) {
  fakes::FakeScheduler scheduler;
  int ticks = 0;
  const Timer timer = scheduler.every(3s, [&] { ++ticks; });
  scheduler.jump(100s);
  scheduler.advance(0s);
  EXPECT_EQ(ticks, 1) << "the missed ones are served by one";
  scheduler.advance(2s);
  EXPECT_EQ(ticks, 2) << "102 s is the next multiple";
}

}  // namespace
}  // namespace corvana
