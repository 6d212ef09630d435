// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string_view>

#include "Tessaly/Core/Base/detail/Escaped.hpp"

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

TEST(TerminalText, KeepsTextAndTabs) {
  EXPECT_EQ(detail::terminalText(""), "");
  EXPECT_EQ(detail::terminalText("a\tGröße \"\\ 👍\u00A0"), "a\tGröße \"\\ 👍\u00A0");
}

TEST(TerminalText, IndentsFurtherLines) {
  EXPECT_EQ(detail::terminalText("one\ntwo\n\nthree\n"), "one\n    two\n    \n    three\n    ");
}

TEST(TerminalText, EscapesTerminalCommands) {
  using namespace std::string_view_literals;
  EXPECT_EQ(detail::terminalText("\x1b[2J\r\0\x7f\u009b1m\u0080"sv), R"(\u{1B}[2J\u{D}\u{0}\u{7F}\u{9B}1m\u{80})");
  EXPECT_EQ(detail::terminalText("\xC2"), "\xC2");
}

}  // namespace
}  // namespace Tessaly
