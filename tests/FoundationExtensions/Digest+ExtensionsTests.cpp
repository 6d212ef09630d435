// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string_view>

#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/FoundationExtensions/Digest+Extensions.hpp"

namespace Tessaly {
namespace {

Data data(std::string_view text) { return Data(text); }

TEST(DigestExtensions, DigestsArePaddedLowerCaseHexadecimal) {
  SHA256Digest digest;
  digest.bytes[0] = 0x0A;
  digest.bytes[31] = 0xFE;
  EXPECT_EQ(stringEncoded(digest), "0a" + std::string(60, '0') + "fe");
}

TEST(DigestExtensions, AreThoseOfThePublishedExamples) {
  EXPECT_EQ(stringEncoded(SHA256Digest::hash(data("abc").bytes())),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(stringEncoded(SHA256Digest::hash({})), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(stringEncoded(Insecure::MD5Digest::hash(data("abc").bytes())), "900150983cd24fb0d6963f7d28e17f72");
  // RFC 4231, test case 2.
  const auto code =
      HashedAuthenticationCode::authenticationCode(data("what do ya want for nothing?").bytes(), data("Jefe").bytes());
  EXPECT_EQ(stringEncoded(code), "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  EXPECT_EQ(code, code);
  EXPECT_FALSE(code == HashedAuthenticationCode::authenticationCode({}, {}));
}

}  // namespace
}  // namespace Tessaly
