// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Tessaly/Core/Base/TypeName.hpp"

struct OutsideOfAnyNamespace {};

namespace Tessaly::inline v1 {

struct Exporter {
  struct Row {};
};
template <typename T>
struct Wrapper {};
namespace Int32 {
struct StatusError {};
}  // namespace Int32

namespace {

struct Hidden {};

TEST(TypeName, OmitsNamespacesAndEnclosingTypes) {
  EXPECT_EQ(typeName<Exporter>(), "Exporter");
  EXPECT_EQ(typeName<Exporter::Row>(), "Row");
  EXPECT_EQ(typeName(Type<Int32::StatusError>()), "StatusError");
  EXPECT_EQ(typeName<OutsideOfAnyNamespace>(), "OutsideOfAnyNamespace");
  EXPECT_EQ(typeName<Hidden>(), "Hidden");
  EXPECT_EQ(typeName<int>(), "int");
  EXPECT_TRUE(typeName<int[3]>() == "int[3]" || typeName<int[3]>() == "int [3]") << typeName<int[3]>();
}

TEST(TypeName, KeepsTemplateArgumentsAsTheCompilerWritesThem) {
  EXPECT_EQ(typeName<Wrapper<int>>(), "Wrapper<int>");
  EXPECT_TRUE(typeName<Wrapper<Exporter::Row>>().starts_with("Wrapper<")) << typeName<Wrapper<Exporter::Row>>();
}

TEST(TypeName, IsAConstant) {
  constexpr auto name = typeName<Exporter>();
  static_assert(name == "Exporter");
}

TEST(QualifiedTypeName, JoinsThePartsByDotsWithoutTheVersionNamespace) {
  EXPECT_EQ(qualifiedTypeName(typeid(Exporter::Row)), "Tessaly.Exporter.Row");
  EXPECT_EQ(qualifiedTypeName(typeid(Int32::StatusError)), "Tessaly.Int32.StatusError");
  EXPECT_EQ(qualifiedTypeName(typeid(OutsideOfAnyNamespace)), "OutsideOfAnyNamespace");
  EXPECT_EQ(qualifiedTypeName(typeid(Wrapper<Exporter>)), "Tessaly.Wrapper<Tessaly.Exporter>");
}

TEST(UnqualifiedTypeName, IsTheLastPart) {
  EXPECT_EQ(unqualifiedTypeName(typeid(Exporter::Row)), "Row");
  EXPECT_EQ(unqualifiedTypeName(typeid(Hidden)), "Hidden");
  EXPECT_EQ(unqualifiedTypeName(typeid(Wrapper<Exporter>)), "Wrapper<Tessaly.Exporter>");
  EXPECT_EQ(unqualifiedTypeName(typeid(int)), "int");
}

}  // namespace
}  // namespace Tessaly::inline v1
