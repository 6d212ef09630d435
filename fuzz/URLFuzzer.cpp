// SPDX-License-Identifier: MIT
// Any text is refused or becomes a URL of ASCII that parses to itself. Any path of a file returns unchanged.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Tessaly/Core/Foundation/URL.hpp"

namespace {

using Tessaly::URL;

void require(bool condition) {
  if (!condition) std::abort();
}

void requireSame(const URL& left, const URL& right) {
  require(left == right);
  require(left.scheme() == right.scheme());
  require(left.user() == right.user());
  require(left.password() == right.password());
  require(left.host() == right.host());
  require(left.port() == right.port());
  require(left.encodedPath() == right.encodedPath());
  require(left.query() == right.query());
  require(left.fragment() == right.fragment());
}

void requireStable(const URL& url) {
  const std::string& text = url.absoluteString();
  require(std::ranges::all_of(text, [](unsigned char c) { return c > 0x20 && c < 0x7F; }));
  const auto again = URL::from(text);
  require(again.has_value() || text.empty());
  if (again) requireSame(url, *again);
  const std::string path = url.path();
  require(path.size() <= url.encodedPath().size());
  require(path.empty() == url.encodedPath().empty());
  require(url.pathExtension().size() <= url.lastPathComponent().size());
}

/// The parts before and after the path stay unchanged.
void requireSameAround(const URL& before, const URL& after) {
  require(before.scheme() == after.scheme());
  require(before.host() == after.host());
  require(before.query() == after.query());
  require(before.fragment() == after.fragment());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string_view component = text.substr(size / 2);
  if (const auto url = URL::from(text)) {
    requireStable(*url);
    const URL folder = url->deletingLastPathComponent();
    requireStable(folder);
    requireSameAround(*url, folder);
    const URL longer = url->appendingPathComponent(component);
    requireStable(longer);
    requireSameAround(*url, longer);
  }
  const std::string path = "/" + std::string(text);
  const URL file = URL::fileURLWithPath(path);
  requireStable(file);
  require(file.isFileURL() && !file.query() && !file.fragment() && !file.host());
  if (path.find('\0') == std::string::npos) {
    const std::size_t last = path.find_last_not_of('/');
    require(file.path() == (last == std::string::npos ? "/" : path.substr(0, last + 1)));
  }
  return 0;
}
