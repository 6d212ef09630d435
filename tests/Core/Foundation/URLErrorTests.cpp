// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <utility>

#include "Tessaly/Core/Foundation/URLError.hpp"

namespace Tessaly::inline v1 {
namespace {

TEST(URLError, CodesHaveTheirNumbers) {
  using enum URLError::Code;
  const std::pair<URLError::Code, int> numbers[]{{unknown, -1},
                                                 {cancelled, -999},
                                                 {badURL, -1000},
                                                 {timedOut, -1001},
                                                 {unsupportedURL, -1002},
                                                 {cannotFindHost, -1003},
                                                 {cannotConnectToHost, -1004},
                                                 {networkConnectionLost, -1005},
                                                 {dnsLookupFailed, -1006},
                                                 {notConnectedToInternet, -1009}};
  for (const auto& [code, number] : numbers) {
    EXPECT_EQ(URLError(code).code(), number);
    EXPECT_EQ(URLError(code).urlCode(), code);
  }
}

TEST(URLError, IsDescribedByDomainAndCode) {
  const URLError error(URLError::Code::cancelled);
  EXPECT_EQ(error.domain(), "NSURLErrorDomain");
  EXPECT_EQ(error.description(), "Error Domain=NSURLErrorDomain Code=-999 \"(null)\"");
  EXPECT_EQ(error.localizedDescription(), "The operation couldn’t be completed. (NSURLErrorDomain error -999.)");
  EXPECT_EQ(error.what(), error.description());
}

TEST(URLError, IsCaughtAsAnErrorAndComparedByCode) {
  try {
    throw URLError(URLError::Code::timedOut);
  } catch (const Error& error) {
    const auto* urlError = dynamic_cast<const URLError*>(&error);
    ASSERT_NE(urlError, nullptr);
    EXPECT_EQ(*urlError, URLError(URLError::Code::timedOut));
    EXPECT_NE(*urlError, URLError(URLError::Code::cancelled));
    return;
  }
  FAIL();
}

}  // namespace
}  // namespace Tessaly::inline v1
