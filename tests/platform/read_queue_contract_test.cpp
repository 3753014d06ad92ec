// The same contract for the reading thread of the system and for its fake.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include "platform/loop/event_loop_linux.h"
#include "platform/loop/read_queue_linux.h"
#include "tests/fakes/fake_read_queue.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;

struct RealReading {
  ReadQueueLinux queue{"test"};
  static void settle() { std::this_thread::yield(); }
};

struct FakeReading {
  fakes::FakeReadQueue queue;
  void settle() {
    queue.pump();
    queue.rearm();  // as if a pause had passed
  }
};

template <class Reading>
class ReadQueueContract : public testing::Test, protected Reading {
 protected:
  ReadQueueContract() {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    reading = UniqueFD(ends[0]);
    writing = UniqueFD(ends[1]);
  }
  void write() { ASSERT_EQ(::write(writing.get(), "x", 1), 1); }
  /// What is written to a pipe without a reader fails: the queue has closed its end.
  bool isClosed() { return ::write(writing.get(), "x", 1) < 0 && errno == EPIPE; }

  UniqueFD reading;
  UniqueFD writing;
  std::atomic<int> calls = 0;
};
using Readings = testing::Types<RealReading, FakeReading>;
TYPED_TEST_SUITE(ReadQueueContract, Readings);

TYPED_TEST(ReadQueueContract, CallsForWhatIsReadableAndClosesAtTheEnd) {
  auto oldHandler = ::signal(SIGPIPE, SIG_IGN);
  Watch watch = this->queue.watch(std::move(this->reading), [this](int descriptor) {
    char byte = 0;
    if (::read(descriptor, &byte, 1) == 1) ++this->calls;
    return 0ms;
  });
  for (int i = 1; i <= 3; ++i) {
    this->write();
    while (this->calls < i) this->settle();
  }
  watch = {};
  while (!this->isClosed()) this->settle();
  ::signal(SIGPIPE, oldHandler);
}

TYPED_TEST(ReadQueueContract, AHandlerMayAskForAPause) {
  const Watch watch = this->queue.watch(std::move(this->reading), [this](int) {
    ++this->calls;
    return this->calls < 3 ? 1ms : ReadQueue::never;  // and reads nothing: the descriptor stays readable
  });
  this->write();
  while (this->calls < 3) this->settle();
}

TEST(ReadQueueLinux, LeavesAloneWhatHasEndedOrRests) {
  ReadQueueLinux queue("test");
  std::atomic<int> ended = 0;
  std::atomic<int> resting = 0;
  std::atomic<int> rounds = 0;
  int ends[3][2];
  for (auto& pair : ends) ASSERT_EQ(::pipe2(pair, O_CLOEXEC), 0);
  ::close(ends[0][1]);  // readable for ever, with nothing in it
  ASSERT_EQ(::write(ends[1][1], "x", 1), 1);
  const Watch first = queue.watch(UniqueFD(ends[0][0]), [&](int) {
    ++ended;
    return ReadQueue::never;
  });
  const Watch second = queue.watch(UniqueFD(ends[1][0]), [&](int) {
    ++resting;
    return std::chrono::milliseconds(3'600'000);
  });
  // The queue goes round a thousand times after both have been called.
  ASSERT_EQ(::write(ends[2][1], "x", 1), 1);
  const Watch third = queue.watch(UniqueFD(ends[2][0]), [&](int) {
    if (ended > 0 && resting > 0) ++rounds;
    return rounds < 1000 ? 0ms : ReadQueue::never;
  });
  while (rounds < 1000) std::this_thread::yield();
  EXPECT_EQ(ended, 1);
  EXPECT_EQ(resting, 1);
  ::close(ends[1][1]);
  ::close(ends[2][1]);
}

}  // namespace
}  // namespace corvana
