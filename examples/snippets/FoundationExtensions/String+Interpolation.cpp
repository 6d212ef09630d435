// SPDX-License-Identifier: MIT
#include <vector>

#include "Tessaly/FoundationExtensions/String+Interpolation.hpp"

namespace {

using namespace Tessaly;

struct Song {
  std::string title;
};

void show() {
  std::string text = "Year: ";
  String::appendInterpolation(text, std::optional<int>(), "unknown");  // Year: unknown
}

void show(const std::vector<Song>& album) {
  std::string line;
  String::appendInterpolation(line, album, &Song::title);  // Girl, Help!
}

}  // namespace
