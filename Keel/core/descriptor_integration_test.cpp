// Owned descriptors and the retrying reads and writes, on real pipes and files
// with signals arriving while they wait.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "Keel/core/descriptor_linux.h"

namespace Keel {
namespace {

TEST(Descriptor, OwnershipMovesClosingKeepsErrnoAndReleaseGivesItUp) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  Descriptor reader(ends[0]);
  Descriptor moved(std::move(reader));
  EXPECT_FALSE(reader.valid());  // NOLINT(bugprone-use-after-move): the moved-from state is the point
  EXPECT_EQ(moved.get(), ends[0]);
  errno = ENOSPC;
  moved.reset();
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(fcntl(ends[0], F_GETFD), -1) << "closed by reset";
  const int writer = Descriptor(ends[1]).release();
  EXPECT_NE(fcntl(writer, F_GETFD), -1) << "release does not close";
  Descriptor closing(writer);
  EXPECT_TRUE(closing.close());
  EXPECT_FALSE(closing.valid());
}

// Runs `call` on a thread of its own and sends that thread a hundred signals
// while the call has not returned. The signal's handler is installed without
// SA_RESTART, so a call blocked when one arrives returns early.
template <class Call>
auto interrupted(Call call) {
  std::promise<pthread_t> started;
  auto threadOfCall = started.get_future();
  auto result = std::async(std::launch::async, [started = std::move(started), call = std::move(call)]() mutable {
    started.set_value(pthread_self());
    return call();
  });
  const pthread_t thread = threadOfCall.get();
  for (int i = 0; i < 100 && result.wait_for(std::chrono::microseconds(500)) != std::future_status::ready; ++i) {
    pthread_kill(thread, SIGUSR1);
  }
  return result;
}

TEST(Descriptor, ReadsAndWritesCompleteWhileSignalsInterruptThem) {
  struct sigaction action = {};
  struct sigaction previous = {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, &previous);
  std::string sent(1 << 20, '\0');  // many pipefuls
  for (std::size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * 7 + i / 4096);
  int ends[2];

  // Nobody reads yet, so the writer waits on a full pipe while interrupted.
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  Descriptor readEnd(ends[0]);
  auto written = interrupted([&, writeEnd = std::make_shared<Descriptor>(ends[1])] {
    return writeAll(writeEnd->get(), sent) && writeEnd->close();
  });
  EXPECT_EQ(readAll<std::string>(readEnd.get(), sent.size()), sent);
  EXPECT_TRUE(written.get());

  // Nobody writes yet, so the reader waits on an empty pipe while interrupted.
  // What is written then fits the pipe, so writing never waits for it.
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  readEnd.reset(ends[0]);
  Descriptor writeEnd(ends[1]);
  auto received = interrupted([&] { return readAll<std::string>(readEnd.get(), sent.size()); });
  ASSERT_TRUE(writeAll(writeEnd.get(), std::string_view(sent).substr(0, 4096)));
  writeEnd.reset();
  EXPECT_EQ(received.get(), sent.substr(0, 4096));
  sigaction(SIGUSR1, &previous, nullptr);
}

TEST(Descriptor, ReadAllStopsPastItsBoundWhateverSizeWasExpected) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Descriptor readEnd(ends[0]);
  Descriptor writeEnd(ends[1]);
  ASSERT_TRUE(writeAll(writeEnd.get(), std::string(10, 'x')));
  writeEnd.reset();
  // Ten bytes fit a bound of ten, with no expected size or a wrong one.
  EXPECT_EQ(readAll<std::vector<std::uint8_t>>(readEnd.get(), 10, 3), std::vector<std::uint8_t>(10, 'x'));
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Descriptor second(ends[0]);
  writeEnd.reset(ends[1]);
  ASSERT_TRUE(writeAll(writeEnd.get(), std::string(10, 'x')));
  writeEnd.reset();
  errno = 0;
  EXPECT_EQ(readAll<std::string>(second.get(), 9, 1000), std::nullopt);
  EXPECT_EQ(errno, EFBIG);
  EXPECT_EQ(readAll<std::string>(-1, 9), std::nullopt);
  EXPECT_EQ(errno, EBADF);
}

}  // namespace
}  // namespace Keel
