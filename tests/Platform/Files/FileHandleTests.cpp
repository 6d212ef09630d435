// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Files/FileHandle.hpp"

namespace Tessaly {
namespace {

TEST(FileHandle, ClosesItsDescriptorExactlyOnce) {
  int descriptor = -1;
  {
    FileHandle handle = FileHandle::forReading(URL::fileURLWithPath("/dev/null"));
    descriptor = handle.fileDescriptor();
    ASSERT_GE(descriptor, 0);
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
    const FileHandle moved = std::move(handle);
    EXPECT_EQ(moved.fileDescriptor(), descriptor);
  }
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

TEST(FileHandle, AssignmentClosesTheFormerDescriptor) {
  FileHandle handle = FileHandle::forReading(URL::fileURLWithPath("/dev/null"));
  FileHandle other = FileHandle::forReading(URL::fileURLWithPath("/dev/null"));
  const int former = handle.fileDescriptor();
  const int kept = other.fileDescriptor();
  handle = std::move(other);
  EXPECT_EQ(handle.fileDescriptor(), kept);
  EXPECT_EQ(::fcntl(former, F_GETFD), -1);
  FileHandle& same = handle;
  handle = std::move(same);
  EXPECT_EQ(handle.fileDescriptor(), kept);
  EXPECT_EQ(::fcntl(kept, F_GETFD), FD_CLOEXEC);
}

TEST(FileHandle, ReportsThatClosingFailed) {
  FileHandle handle = FileHandle::forReading(URL::fileURLWithPath("/dev/null"));
  ::close(handle.fileDescriptor());
  EXPECT_THROW(handle.close(), POSIXError);
  EXPECT_EQ(handle.fileDescriptor(), -1);
  EXPECT_NO_THROW(handle.close());
}

TEST(FileHandle, ReportsThatOpeningFailed) {
  EXPECT_THROW(static_cast<void>(FileHandle::forReading(URL::fileURLWithPath("/nowhere"))), POSIXError);
}

}  // namespace
}  // namespace Tessaly
