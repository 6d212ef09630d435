// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

#include "Tessaly/FoundationExtensions/StatusError.hpp"

namespace {

using namespace Tessaly;

TEST(StatusError, DescribesItsStatusAndMessage) {
  EXPECT_EQ(Int32::StatusError(-43, "Cannot read file").description(), "Status -43 | Cannot read file");
  EXPECT_STREQ(Int32::StatusError(-43, "Cannot read file").what(), "Status -43 | Cannot read file");
}

TEST(StatusError, StreamOutputIsTheDescription) {
  std::ostringstream stream;
  stream << Int32::StatusError(-43, "Cannot read file");
  EXPECT_EQ(stream.str(), "Status -43 | Cannot read file");
}

TEST(StatusError, WithAnEmptyMessageKeepsTheTrailingBlank) {
  EXPECT_EQ(Int32::StatusError(5, "").description(), "Status 5 | ");
}

TEST(StatusError, HasTheDefaultDomainCodeAndMessageForPeople) {
  const Int32::StatusError error(-1, "m");
  EXPECT_EQ(error.domain(), "Tessaly.Int32.StatusError");
  EXPECT_EQ(error.code(), 1);
  EXPECT_EQ(error.localizedDescription(), "The operation couldn’t be completed. (Tessaly.Int32.StatusError error 1.)");
}

TEST(StatusError, IsAValue) {
  Int32::StatusError error(1, "one");
  Int32::StatusError copy = error;
  EXPECT_EQ(copy, error);
  copy.status = 2;
  EXPECT_NE(copy, error);
  EXPECT_NE(Int32::StatusError(1, "two"), error);
  EXPECT_EQ(copy.description(), "Status 2 | one");
}

TEST(CheckError, ReturnsOnZero) { EXPECT_NO_THROW(Int32::checkError(0, "Cannot read file")); }

TEST(CheckError, ThrowsTheCodeAndTheMessageOnAnythingElse) {
  for (const std::int32_t code : {-1, 1, -43, std::numeric_limits<std::int32_t>::min()}) {
    try {
      Int32::checkError(code, "Cannot read file");
      FAIL() << code;
    } catch (const Int32::StatusError& error) {
      EXPECT_EQ(error, Int32::StatusError(code, "Cannot read file"));
    }
  }
  try {
    Int32::checkError(-1, std::string("Cannot read file"));
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.description(), "Status -1 | Cannot read file");
  }
}

template <typename Code>
concept Checkable = requires(Code code) { Int32::checkError(code, "message"); };

TEST(CheckError, IsOfferedFor32BitSignedCodesOnly) {
  EXPECT_TRUE(Checkable<std::int32_t>);
  EXPECT_FALSE(Checkable<std::int64_t>);
  EXPECT_FALSE(Checkable<std::uint32_t>);
  EXPECT_FALSE(Checkable<std::int16_t>);
  EXPECT_FALSE(Checkable<bool>);
}

}  // namespace
