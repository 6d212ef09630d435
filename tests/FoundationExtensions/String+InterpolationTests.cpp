// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <list>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "Tessaly/FoundationExtensions/String+Interpolation.hpp"

namespace {

using namespace Tessaly;

struct Song {
  std::string title;
  double minutes = 0;
  [[nodiscard]] std::string description() const { return "<" + title + ">"; }
  [[nodiscard]] std::size_t length() const { return title.size(); }
};

TEST(Interpolation, AppendsAnOptionalOrItsReplacement) {
  std::string text = "Year: ";
  String::appendInterpolation(text, std::optional(1965), "unknown");
  EXPECT_EQ(text, "Year: 1965");
  String::appendInterpolation(text, std::optional<int>(), " or so");
  EXPECT_EQ(text, "Year: 1965 or so");
  String::appendInterpolation(text, std::optional<std::string>("!"), "");
  String::appendInterpolation(text, std::optional(Song{"Girl"}), "");
  String::appendInterpolation(text, std::optional(2.0), "");
  EXPECT_EQ(text, "Year: 1965 or so!<Girl>2.0");
}

TEST(Interpolation, JoinsTheValuesAtAKeyPath) {
  const std::vector<Song> album{{"Girl", 2.5}, {"Help!", 2.0}};
  std::string text = "Songs: ";
  String::appendInterpolation(text, album, &Song::title);
  EXPECT_EQ(text, "Songs: Girl, Help!");
  text.clear();
  String::appendInterpolation(text, album, &Song::minutes);
  EXPECT_EQ(text, "2.5, 2.0");
  text.clear();
  String::appendInterpolation(text, std::list(album.begin(), album.end()), &Song::length);
  EXPECT_EQ(text, "4, 5");
  text.clear();
  String::appendInterpolation(text, album, [](const Song& song) { return song; });
  EXPECT_EQ(text, "<Girl>, <Help!>");
  text.clear();
  String::appendInterpolation(text, std::vector<Song>(), &Song::title);
  EXPECT_EQ(text, "");
}

TEST(Interpolation, WritesIntoAStreamToo) {
  std::ostringstream stream;
  stream << std::hex;
  String::appendInterpolation(stream, std::optional(255), "none");
  stream << ' ';
  String::appendInterpolation(stream, std::vector{Song{"a"}, Song{"b"}}, &Song::title);
  EXPECT_EQ(stream.str(), "255 a, b");
}

}  // namespace
