// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>

#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/Threads.hpp"

namespace Tessaly {
namespace {

using namespace detail;

struct Pipe {
  OwnedDescriptor reading;
  OwnedDescriptor writing;

  Pipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) std::abort();
    reading = OwnedDescriptor(ends[0]);
    writing = OwnedDescriptor(ends[1]);
  }
};

TEST(OwnedDescriptor, ClosesAtItsEndUnlessReleased) {
  int kept = -1;
  int closed = -1;
  {
    OwnedDescriptor first(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const OwnedDescriptor second(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    closed = second.get();
    kept = first.release();
    EXPECT_FALSE(first.isOpen());
  }
  EXPECT_EQ(::fcntl(closed, F_GETFD), -1);
  EXPECT_NE(::fcntl(kept, F_GETFD), -1);
  ::close(kept);
}

TEST(DescriptorIO, OpenedFilesAreClosedInStartedPrograms) {
  const OwnedDescriptor file = openFile("/dev/null", O_RDONLY);
  ASSERT_TRUE(file.isOpen());
  EXPECT_EQ(::fcntl(file.get(), F_GETFD), FD_CLOEXEC);
  EXPECT_FALSE(openFile("/dev/null/nothing", O_RDONLY).isOpen());
  EXPECT_EQ(errno, ENOTDIR);
}

TEST(DescriptorIO, ReadingGoesOnUntilTheSpaceIsFull) {
  Pipe pipe;
  std::jthread writing([&] {
    for (int i = 0; i < 10; ++i) EXPECT_EQ(writeAll(pipe.writing.get(), "piece "), 0);
  });
  std::string space(60, '\0');
  const Transferred received = readFull(pipe.reading.get(), space.data(), space.size());
  EXPECT_EQ(received.count, 60U);
  EXPECT_EQ(received.error, 0);
  EXPECT_TRUE(space.ends_with("piece piece "));
}

TEST(DescriptorIO, ReadingStopsAtTheEndOfTheFile) {
  Pipe pipe;
  EXPECT_EQ(writeAll(pipe.writing.get(), "short"), 0);
  pipe.writing = OwnedDescriptor();
  std::string space(60, '\0');
  EXPECT_EQ(readFull(pipe.reading.get(), space.data(), space.size()).count, 5U);
}

TEST(DescriptorIO, WritingGoesOnAfterSignalsAndPartialTransfers) {
  struct sigaction action{};
  action.sa_handler = [](int) {};  // Without SA_RESTART, so that calls are interrupted.
  ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
  Pipe pipe;
  const std::string bytes(std::size_t{4} << 20, 'x');
  std::atomic<pid_t> writer{0};
  int error = -1;
  std::thread writing([&] {
    writer = ::gettid();
    error = writeAll(pipe.writing.get(), bytes);
    pipe.writing = OwnedDescriptor();
  });
  while (writer == 0) std::this_thread::yield();
  Tests::waitUntilAsleep(writer);
  ::pthread_kill(writing.native_handle(), SIGUSR1);
  std::string received(bytes.size() + 1, '\0');
  const Transferred result = readFull(pipe.reading.get(), received.data(), received.size());
  writing.join();
  EXPECT_EQ(error, 0);
  EXPECT_EQ(result.count, bytes.size());
}

TEST(DescriptorIO, FailuresReportTheErrorAndTheBytesMoved) {
  Pipe pipe;
  ASSERT_EQ(::fcntl(pipe.writing.get(), F_SETFL, O_NONBLOCK), 0);
  const std::string bytes(std::size_t{1} << 20, 'x');
  const Transferred written = writeFull(pipe.writing.get(), bytes.data(), bytes.size());
  EXPECT_EQ(written.error, EAGAIN);
  EXPECT_GT(written.count, 0U);
  EXPECT_LT(written.count, bytes.size());
  char space = 0;
  EXPECT_EQ(readFull(-1, &space, 1).error, EBADF);
  EXPECT_EQ(writeAll(-1, "x"), EBADF);
}

TEST(DescriptorIO, OffsetsKeepThePosition) {
  const Tests::TemporaryFolder folder;
  const std::string path = folder.path() + "/file";
  const OwnedDescriptor file = openFile(path.c_str(), O_RDWR | O_CREAT, 0600);
  EXPECT_EQ(writeFullAt(file.get(), "behind", 6, 4).error, 0);
  EXPECT_EQ(::lseek(file.get(), 0, SEEK_CUR), 0);
  char space[8];
  EXPECT_EQ(readFullAt(file.get(), space, sizeof space, 6).count, 4U);
  EXPECT_EQ(std::string_view(space, 4), "hind");
}

TEST(DescriptorIO, BeginningIsCutAtTheMaximum) {
  const Tests::TemporaryFolder folder;
  const std::string path = folder.path() + "/file";
  ASSERT_EQ(writeAll(openFile(path.c_str(), O_WRONLY | O_CREAT, 0600).get(), "contents"), 0);
  EXPECT_EQ(beginningOfFile(path, 4), "cont");
  EXPECT_EQ(beginningOfFile(path, 100), "contents");
  EXPECT_EQ(beginningOfFile(path + "2", 4), std::nullopt);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(beginningOfFile(folder.path(), 4), std::nullopt);
  EXPECT_EQ(errno, EISDIR);
}

TEST(DescriptorIO, BeginningOfPipeWithoutWriterIsEmpty) {
  const Tests::TemporaryFolder folder;
  const std::string path = folder.path() + "/pipe";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(beginningOfFile(path, 4), "");
}

TEST(DescriptorIO, ClosingReportsFailures) {
  EXPECT_EQ(closeReporting(openFile("/dev/null", O_RDONLY)), 0);
  EXPECT_EQ(closeReporting(OwnedDescriptor()), EBADF);
}

}  // namespace
}  // namespace Tessaly
