// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string_view>

#include "Tessaly/Core/Base/detail/Quoted.hpp"

namespace Tessaly {
namespace {

TEST(Quoted, PutsTheTextInQuotationMarks) {
  EXPECT_EQ(detail::quoted(""), R"("")");
  EXPECT_EQ(detail::quoted("Größe 👍"), "\"Größe 👍\"");
}

TEST(Quoted, EscapesQuotationMarksBackslashesAndControlCharacters) {
  using namespace std::string_view_literals;
  EXPECT_EQ(detail::quoted("\"\\\n\r\t\0\a\x1b\x7f"sv), R"("\"\\\n\r\t\0\u{7}\u{1B}\u{7F}")");
}

}  // namespace
}  // namespace Tessaly
