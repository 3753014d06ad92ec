#include "core/ipc/framing.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/ipc/single_instance_lock.h"
#include "core/ipc/unix_socket.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(LineBuffer, CutsAtEveryPositionAlike) {
  const std::string stream = "{\"a\":1}\n\n{}\r\n{\"b\":\"ü\"}\n";
  for (std::size_t first = 0; first <= stream.size(); ++first) {
    for (std::size_t second = first; second <= stream.size(); ++second) {
      LineBuffer buffer(100);
      std::vector<std::string> frames;
      for (const std::string_view part :
           {std::string_view(stream).substr(0, first), std::string_view(stream).substr(first, second - first),
            std::string_view(stream).substr(second)}) {
        for (std::string& frame : buffer.append(part)) frames.push_back(std::move(frame));
      }
      EXPECT_THAT(frames, ElementsAre("{\"a\":1}", "{}\r", "{\"b\":\"ü\"}")) << first << " " << second;
    }
  }
}

TEST(LineBuffer, DropsEverythingAboveItsLimit) {
  constexpr std::size_t limit = 4'194'304;
  LineBuffer buffer(limit);
  EXPECT_THAT(buffer.append(std::string(limit - 1, 'x')), IsEmpty());
  EXPECT_EQ(buffer.append("\n").at(0).size(), limit - 1) << "exactly the limit is allowed";

  EXPECT_THAT(buffer.append(std::string(limit, 'x')), IsEmpty());
  EXPECT_THAT(buffer.append("\n"), IsEmpty()) << "one more byte empties it, the line feed included";
  EXPECT_THAT(buffer.append("{}\n"), ElementsAre("{}"));

  EXPECT_THAT(buffer.append(std::string(limit - 4, 'x')), IsEmpty());
  EXPECT_THAT(buffer.append("12345\n7890"), IsEmpty()) << "complete frames in it are lost, too";
  EXPECT_THAT(buffer.append("\n{}\n"), ElementsAre("{}"));
}

class FramesOverASocket : public testing::Test {
 protected:
  FramesOverASocket() {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    near = UniqueFD(ends[0]);
    far = UniqueFD(ends[1]);
    UnixSocket::setNonBlocking(near.get());
    UnixSocket::setNonBlocking(far.get());
  }
  std::string readAvailable() {
    std::string result;
    char chunk[65'536];
    for (ssize_t count = 0; (count = ::read(far.get(), chunk, sizeof chunk)) > 0;) {
      result.append(chunk, static_cast<std::size_t>(count));
    }
    return result;
  }

  UniqueFD near;
  UniqueFD far;
};

TEST_F(FramesOverASocket, EndInALineFeed) {
  EXPECT_TRUE(writeFrame(near.get(), "{}"));
  EXPECT_EQ(readAvailable(), "{}\n");
  far = UniqueFD();
  EXPECT_FALSE(writeFrame(near.get(), "{}")) << "EPIPE, and no signal";
  EXPECT_FALSE(writeFrame(-1, "{}"));
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const UniqueFD readingEnd(ends[0]);
  const UniqueFD writingEnd(ends[1]);
  EXPECT_TRUE(writeFrame(writingEnd.get(), "{}")) << "a descriptor that is no socket";
}

TEST_F(FramesOverASocket, AFullSocketIsWaitedForAThousandTimesInARow) {
  std::string received;
  int pauses = 0;
  const std::string frame = frameFor(std::string(1 << 20, 'x'));
  FrameWriter patient([&] {
    if (++pauses % 1000 == 0) received += readAvailable();  // just in time, each time
  });
  EXPECT_TRUE(patient.write(near.get(), frame));
  EXPECT_GE(pauses, 2000) << "progress starts the count afresh";
  received += readAvailable();
  EXPECT_TRUE(received == frame);

  pauses = 0;
  FrameWriter giving([&] { ++pauses; });
  EXPECT_FALSE(giving.write(near.get(), frame));
  EXPECT_EQ(pauses, 1000);
}

TEST_F(FramesOverASocket, APeerThatDoesNotReadIsWaitedForOnce) {
  int pauses = 0;
  FrameWriter writer([&] { ++pauses; });
  const std::string frame = frameFor("{\"id\":1}");
  int sent = 0;
  while (writer.write(near.get(), frame)) ++sent;
  EXPECT_EQ(pauses, 1000);
  for (int i = 0; i < 12'000; ++i) EXPECT_FALSE(writer.write(near.get(), frame));
  EXPECT_EQ(pauses, 1000);

  // A peer that reads a little each time is no better.
  std::string taken(frame.size() * 3, '\0');
  ASSERT_EQ(::read(far.get(), taken.data(), taken.size()), static_cast<ssize_t>(taken.size()));
  EXPECT_FALSE(writer.write(near.get(), frame));
  EXPECT_EQ(pauses, 1000);

  taken += readAvailable();
  EXPECT_EQ(taken.size(), static_cast<std::size_t>(sent) * frame.size()) << "what was not written whole was not begun";
  EXPECT_TRUE(writer.write(near.get(), frame)) << "who reads again is written to again";
  EXPECT_EQ(readAvailable(), frame);
  while (writer.write(near.get(), frame)) continue;
  EXPECT_EQ(pauses, 2000);
}

TEST_F(FramesOverASocket, ATornFrameCostsNoOther) {
  FrameWriter writer([] {});
  EXPECT_FALSE(writer.write(near.get(), frameFor(std::string(1 << 22, 'x'))));
  EXPECT_FALSE(writer.write(near.get(), frameFor("{}"))) << "the socket is still full";
  LineBuffer buffer(LineBuffer::standardLimit);
  EXPECT_THAT(buffer.append(readAvailable()), IsEmpty());
  EXPECT_TRUE(writer.write(near.get(), frameFor("{\"id\":1}")));
  EXPECT_TRUE(writer.write(near.get(), frameFor("{\"id\":2}")));
  const auto frames = buffer.append(readAvailable());
  ASSERT_EQ(frames.size(), 3);
  EXPECT_EQ(frames[0].find_first_not_of('x'), std::string::npos) << "the torn one";
  EXPECT_EQ(frames[1], "{\"id\":1}");
  EXPECT_EQ(frames[2], "{\"id\":2}");
}

TEST_F(FramesOverASocket, AnErrorOfReadingIsTheEndUnlessThereIsNothingYet) {
  LineBuffer buffer(LineBuffer::standardLimit);
  EXPECT_THAT(readFrames(near.get(), buffer), testing::Optional(IsEmpty()));
  EXPECT_EQ(readFrames(-1, buffer), std::nullopt) << "EBADF";
  const UniqueFD folder(::open("/", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(readFrames(folder.get(), buffer), std::nullopt) << "EISDIR";
  far = UniqueFD();
  EXPECT_EQ(readFrames(near.get(), buffer), std::nullopt);
}

class UnixSocketTest : public testing::Test {
 protected:
  std::string path() const { return (home.path() / "h.sock").string(); }
  support::TemporaryHome home;
};

TEST_F(UnixSocketTest, PathsAreLimitedOnAllSystemsAlike) {
  const std::string folder = home.path().string() + "/";
  const std::string fitting = folder + std::string(103 - folder.size(), 'x');
  const UniqueFD listener = UnixSocket::listen(fitting, 16);
  EXPECT_TRUE(UnixSocket::connect(fitting));
  for (const bool listens : {true, false}) {
    try {
      (void)(listens ? UnixSocket::listen(fitting + "x", 16) : UnixSocket::connect(fitting + "x"));
      ADD_FAILURE();
    } catch (const SocketError& error) {
      EXPECT_EQ(error.what(), "socket path too long for sun_path: " + fitting + "x");
    }
  }
}

TEST_F(UnixSocketTest, ListensInPlaceOfWhatIsThereAndOnlyForTheOwner) {
  home.write("h.sock", "stale");
  const UniqueFD listener = UnixSocket::listen(path(), 16);
  EXPECT_EQ(std::filesystem::status(path()).permissions(), std::filesystem::perms(0600));
  const UniqueFD client = UnixSocket::connect(path());
  for (const UniqueFD* descriptor : {&listener, &client}) {
    EXPECT_TRUE(::fcntl(descriptor->get(), F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(::fcntl(descriptor->get(), F_GETFD) & FD_CLOEXEC) << "children must not hold it";
  }
  EXPECT_TRUE(UnixSocket::peerIsSameUser(client.get()));
  const UniqueFD file(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  EXPECT_FALSE(UnixSocket::peerIsSameUser(file.get()));
}

TEST_F(UnixSocketTest, AFailureNamesItsCall) {
  try {
    (void)UnixSocket::connect(path());
    ADD_FAILURE();
  } catch (const SocketError& error) {
    EXPECT_EQ(error.error(), ENOENT);
    EXPECT_STREQ(error.what(), "connect failed: No such file or directory (2)");
  }
  (void)UnixSocket::listen(path(), 16);  // and closed at once
  try {
    (void)UnixSocket::connect(path());
    ADD_FAILURE();
  } catch (const SocketError& error) {
    EXPECT_EQ(error.error(), ECONNREFUSED);
  }
  EXPECT_THROW((void)UnixSocket::listen("/nonexistent/h.sock", 16), SocketError);
}

TEST_F(UnixSocketTest, ConnectingToAStoppedListenerEnds) {
  const UniqueFD listener = UnixSocket::listen(path(), 0);
  std::vector<UniqueFD> waiting;
  try {
    while (waiting.size() < 10) waiting.push_back(UnixSocket::connect(path()));
    ADD_FAILURE() << "the backlog never filled";
  } catch (const SocketError& error) {
    EXPECT_EQ(error.error(), EAGAIN);
  }
}

TEST(SingleInstanceLock, IsHeldByOneAndNotByChildren) {
  const support::TemporaryHome home;
  const auto file = home.path() / "h.lock";
  SingleInstanceLock first;
  SingleInstanceLock second;
  ASSERT_TRUE(first.acquire(file));
  EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
  EXPECT_EQ(std::filesystem::file_size(file), 0);
  EXPECT_FALSE(second.acquire(file));
  first.release();
  first.release();
  EXPECT_TRUE(second.acquire(file));
  second.release();

  // A process that ends without a word, but whose child lives on with whatever it inherited.
  const pid_t helper = ::fork();
  if (helper == 0) {
    const bool isLocked = first.acquire(file) && std::system("sleep 1000 & echo $! >\"$HOME/child\"") == 0;
    ::_exit(isLocked ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(helper, &status, 0), helper);
  ASSERT_EQ(status, 0);
  EXPECT_TRUE(second.acquire(file));
  EXPECT_EQ(std::system("kill $(cat \"$HOME/child\")"), 0);
  second.release();
  EXPECT_TRUE(std::filesystem::exists(file));
  EXPECT_FALSE(first.acquire(home.path())) << "a folder is no lock file";

  // A second call while locked loses hold of the lock, which stays until the process ends.
  ASSERT_TRUE(first.acquire(file));
  EXPECT_FALSE(first.acquire(file));
  first.release();
  EXPECT_FALSE(second.acquire(file));
}

}  // namespace
}  // namespace corvana
