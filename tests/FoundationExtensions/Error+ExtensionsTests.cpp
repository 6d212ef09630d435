// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/FoundationExtensions/Error+Extensions.hpp"
#include "Tessaly/FoundationExtensions/StatusError.hpp"

namespace Sample {

struct PlainError : Tessaly::Error {};

struct LocalizedError : Tessaly::Error {
  std::string description() const override { return "LocalizedError(errorDescription: \"No paper\")"; }
  std::string localizedDescription() const override { return "No paper"; }
};

// An error with a description that throws.
struct BrokenError : Tessaly::Error {
  std::string description() const override { throw 1; }
  std::string localizedDescription() const override { throw std::runtime_error("no text"); }
};

struct NoException {};

class StandardError : public std::exception {
 public:
  const char* what() const noexcept override { return "a \"b\"\\\n\tc"; }
};

}  // namespace Sample

namespace {

using namespace Tessaly;

template <typename Thrown>
std::exception_ptr pointerTo(Thrown thrown) {
  return std::make_exception_ptr(std::move(thrown));
}

TEST(LogDescription, ErrorGivesDescriptionAndMessage) {
  EXPECT_EQ(logDescription(Int32::StatusError(-1, "m")),
            "Status -1 | m, The operation couldn’t be completed. (Tessaly.Int32.StatusError error 1.)");
  EXPECT_EQ(logDescription(Sample::LocalizedError()), "LocalizedError(errorDescription: \"No paper\"), No paper");
  EXPECT_EQ(logDescription(Sample::PlainError()),
            "PlainError(), The operation couldn’t be completed. (Sample.PlainError error 1.)");
}

TEST(LogDescription, DescribesTheCancellationError) {
  EXPECT_EQ(logDescription(CancellationError()),
            "CancellationError(), The operation couldn’t be completed. (Tessaly.CancellationError error 1.)");
}

TEST(LogDescription, DescribesAPlatformError) {
  EXPECT_EQ(logDescription(POSIXError(ENOENT)),
            "Error Domain=NSPOSIXErrorDomain Code=2 \"No such file or directory\", The operation couldn’t be "
            "completed. No such file or directory");
}

TEST(LogDescription, StandardExceptionGivesTypeAndTextTwice) {
  EXPECT_EQ(logDescription(std::runtime_error("No paper")), "runtime_error(\"No paper\"), No paper");
  EXPECT_EQ(logDescription(Sample::StandardError()), "StandardError(\"a \\\"b\\\"\\\\\\n\\tc\"), a \"b\"\\\n\tc");
}

TEST(LogDescription, SystemErrorReadsLikeAPlatformError) {
  const std::system_error error(ENOENT, std::generic_category(), "open");
  EXPECT_EQ(logDescription(error),
            "Error Domain=NSPOSIXErrorDomain Code=2 \"No such file or directory\", " + std::string(error.what()));
  const std::system_error system(EACCES, std::system_category());
  EXPECT_TRUE(logDescription(system).starts_with("Error Domain=NSPOSIXErrorDomain Code=13 \"Permission denied\", "));
  const std::future_error other(std::future_errc::broken_promise);
  EXPECT_TRUE(logDescription(other).starts_with("future_error(\"std::future_error: Broken promise\"), "));
  const std::system_error category(std::make_error_code(std::io_errc::stream));
  EXPECT_TRUE(logDescription(category).starts_with("Error Domain=iostream Code=1 \"iostream error\", "))
      << logDescription(category);
}

TEST(LogDescription, ThrownErrorIsDescribedLikeTheError) {
  EXPECT_EQ(logDescription(pointerTo(Sample::LocalizedError())), logDescription(Sample::LocalizedError()));
  EXPECT_EQ(logDescription(pointerTo(std::runtime_error("No paper"))), "runtime_error(\"No paper\"), No paper");
}

TEST(LogDescription, OtherThrownTypesGiveValueOrType) {
  EXPECT_EQ(logDescription(pointerTo(7)), "7, The operation couldn’t be completed. (int error 7.)");
  EXPECT_EQ(logDescription(pointerTo(std::string("text"))),
            "\"text\", The operation couldn’t be completed. (std.string error 1.)");
  EXPECT_EQ(logDescription(pointerTo(static_cast<const char*>("text"))),
            "\"text\", The operation couldn’t be completed. (char const* error 1.)");
  EXPECT_EQ(logDescription(pointerTo(static_cast<const char*>(nullptr))),
            "\"\", The operation couldn’t be completed. (char const* error 1.)");
  EXPECT_EQ(logDescription(pointerTo(Sample::NoException())),
            "NoException(), The operation couldn’t be completed. (Sample.NoException error 1.)");
}

TEST(LogDescription, NullPointerIsNil) { EXPECT_EQ(logDescription(std::exception_ptr()), "nil"); }

TEST(LogDescription, ErrorWithThrowingFunctionsGivesItsType) {
  EXPECT_EQ(logDescription(Sample::BrokenError()), "BrokenError, BrokenError");
}

TEST(LogDescription, ThreadsMayDescribeOneErrorAtOnce) {
  const Int32::StatusError error(-1, "m");
  const std::exception_ptr thrown = std::make_exception_ptr(error);
  const std::string expected = logDescription(error);
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 1000; ++j) {
        ASSERT_EQ(logDescription(error), expected);
        ASSERT_EQ(logDescription(thrown), expected);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(IsCancellation, IsTrueForTheCancellationErrorOnly) {
  EXPECT_TRUE(isCancellation(CancellationError()));
  EXPECT_FALSE(isCancellation(Sample::PlainError()));
  EXPECT_FALSE(isCancellation(Int32::StatusError(-999, "cancelled")));
  EXPECT_FALSE(isCancellation(std::runtime_error("cancelled")));
  EXPECT_FALSE(isCancellation(std::system_error(ECANCELED, std::generic_category())));
  EXPECT_FALSE(isCancellation(POSIXError(ECANCELED)));
}

TEST(IsCancellation, IsTrueOnlyForTheCancelledURLCode) {
  EXPECT_TRUE(isCancellation(URLError(URLError::Code::cancelled)));
  EXPECT_FALSE(isCancellation(URLError(URLError::Code::timedOut)));
  EXPECT_FALSE(isCancellation(URLError(URLError::Code::userCancelledAuthentication)));
  EXPECT_FALSE(isCancellation(URLError(URLError::Code::unknown)));
}

TEST(IsCancellation, InspectsThrownExceptions) {
  EXPECT_TRUE(isCancellation(pointerTo(CancellationError())));
  EXPECT_TRUE(isCancellation(pointerTo(URLError(URLError::Code::cancelled))));
  EXPECT_FALSE(isCancellation(pointerTo(URLError(URLError::Code::badURL))));
  EXPECT_FALSE(isCancellation(pointerTo(7)));
  EXPECT_FALSE(isCancellation(pointerTo(Sample::NoException())));
  EXPECT_FALSE(isCancellation(std::exception_ptr()));
}

}  // namespace
