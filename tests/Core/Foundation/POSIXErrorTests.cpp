// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <string>

#include "Tessaly/Core/Foundation/POSIXError.hpp"

namespace Tessaly::inline v1 {
namespace {

TEST(POSIXError, IsDescribedByDomainCodeAndText) {
  const POSIXError error(ENOENT);
  EXPECT_EQ(error.description(), R"(Error Domain=NSPOSIXErrorDomain Code=2 "No such file or directory")");
  EXPECT_EQ(error.localizedDescription(), "The operation couldn’t be completed. No such file or directory");
  EXPECT_EQ(error.domain(), "NSPOSIXErrorDomain");
  EXPECT_EQ(error.code(), 2);
  EXPECT_EQ(error.what(), error.description());
}

TEST(POSIXError, UnknownCodeHasNoText) {
  for (const int code : {257, -1, 100'000}) {
    const POSIXError error(code);
    const std::string number = std::to_string(code);
    EXPECT_EQ(error.description(), "Error Domain=NSPOSIXErrorDomain Code=" + number + " \"(null)\"");
    EXPECT_EQ(error.localizedDescription(),
              "The operation couldn’t be completed. (NSPOSIXErrorDomain error " + number + ".)");
    EXPECT_EQ(error.code(), code);
  }
}

TEST(POSIXError, LastIsTheErrorOfTheThread) {
  errno = EACCES;
  EXPECT_EQ(POSIXError::last(), POSIXError(EACCES));
  EXPECT_NE(POSIXError::last(), POSIXError(EPERM));
}

TEST(POSIXError, IsCaughtAsAnError) {
  try {
    throw POSIXError(EIO);
  } catch (const Error& error) {
    EXPECT_EQ(error.code(), EIO);
    return;
  }
  FAIL();
}

}  // namespace
}  // namespace Tessaly::inline v1
