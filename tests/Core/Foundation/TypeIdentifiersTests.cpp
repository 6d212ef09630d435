// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "Tessaly/Core/Foundation/detail/TypeIdentifiers.hpp"

namespace Tessaly::detail {
namespace {

TEST(TypeIdentifiers, PackTheExtensionAndTheSupertype) {
  EXPECT_EQ(dynamicIdentifier({"public.data", "cdg"}), "dyn.ah62d4rv4ge80g3dh");
  EXPECT_EQ(dynamicIdentifier({"public.data", "ogg"}), "dyn.ah62d4rv4ge80835h");
}

TEST(TypeIdentifiers, AreParsedBack) {
  for (const std::string supertype : {"public.data", "public.text", "public.image", "a:b,c=d\\e?"}) {
    for (const std::string& extension :
         {std::string("cdg"), std::string("\xC3\xA9\xFF"), std::string(4096, 'x'), std::string("a:1=b\\")}) {
      const DynamicType type{supertype, extension};
      EXPECT_EQ(dynamicType(dynamicIdentifier(type)), type) << supertype;
    }
  }
}

TEST(TypeIdentifiers, OtherTextsAreRefused) {
  for (const std::string identifier :
       {"", "dyn.", "dyn.a", "dyn.ah62d4rv4ge80g3d", "dyn.ah62d4rv4ge80g3di", "dyn.ah62d4rv4ge80g3dha",
        "dyn.bh62d4rv4ge80g3dh", "DYN.ah62d4rv4ge80g3dh", "public.data"}) {
    EXPECT_EQ(dynamicType(identifier), std::nullopt) << identifier;
  }
}

}  // namespace
}  // namespace Tessaly::detail
