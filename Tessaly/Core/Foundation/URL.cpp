// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/URL.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <utility>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/detail/URLParser.hpp"

namespace Tessaly::inline v1 {
namespace {

using detail::DecodingStyle;
using detail::FirstSegment;
using detail::URLComponents;

std::optional<std::string> decoded(const std::optional<std::string_view>& component) {
  if (!component) return std::nullopt;
  return detail::percentDecoded(*component, DecodingStyle::everything);
}

std::optional<std::string> copied(const std::optional<std::string_view>& component) {
  if (!component) return std::nullopt;
  return std::string(*component);
}

/// The path without the slashes at its end. A path that consists of slashes becomes "/".
std::string_view withoutTrailingSlashes(std::string_view path) noexcept {
  const std::size_t last = path.find_last_not_of('/');
  return last == std::string_view::npos ? path.substr(0, 1) : path.substr(0, last + 1);
}

bool isExistingFolder(const std::string& path, bool otherwise) noexcept {
  struct stat status{};
  if (path.find('\0') != std::string::npos || ::stat(path.c_str(), &status) != 0) return otherwise;
  return S_ISDIR(status.st_mode);
}

std::string currentFolder() {
  const std::unique_ptr<char, decltype(&std::free)> path(::get_current_dir_name(), &std::free);
  if (path == nullptr) throw POSIXError::last();
  return path.get();
}

/// The path with or without a slash at its end, as the hint says. `onDisk` is the path that `checkFileSystem` checks.
std::string applied(URL::DirectoryHint hint, std::string path, const std::string& onDisk) {
  const bool endsWithSlash = path.ends_with('/');
  bool isDirectory = false;
  switch (hint) {
    case URL::DirectoryHint::inferFromPath:
      return path;
    case URL::DirectoryHint::isDirectory:
      isDirectory = true;
      break;
    case URL::DirectoryHint::notDirectory:
      isDirectory = false;
      break;
    case URL::DirectoryHint::checkFileSystem:
      isDirectory = isExistingFolder(onDisk, endsWithSlash);
      break;
  }
  if (isDirectory && !endsWithSlash) path.push_back('/');
  if (!isDirectory) path.resize(withoutTrailingSlashes(path).size());
  return path;
}

}  // namespace

URL::URL(std::string text) noexcept : text_(std::move(text)) {}

std::optional<URL> URL::from(std::string_view text) {
  if (text.empty()) return std::nullopt;
  auto encoded = detail::encodedURL(text);
  if (!encoded) return std::nullopt;
  return URL(*std::move(encoded));
}

URL URL::fileURLWithPath(std::string_view path, DirectoryHint hint) {
  std::string absolute;
  if (!path.starts_with('/')) {
    absolute = currentFolder();
    if (!absolute.ends_with('/')) absolute.push_back('/');
  }
  absolute.append(path);
  absolute = applied(hint, absolute, absolute);
  return URL("file://" + detail::percentEncodedPath(absolute, FirstSegment::keepColons));
}

std::optional<std::string> URL::scheme() const { return copied(URLComponents::split(text_).scheme); }

std::optional<std::string> URL::user() const { return decoded(URLComponents::split(text_).user); }

std::optional<std::string> URL::password() const { return decoded(URLComponents::split(text_).password); }

std::optional<std::string> URL::host() const {
  std::string_view host = URLComponents::split(text_).host;
  if (host.empty()) return std::nullopt;
  if (host.starts_with('[')) host = host.substr(1, host.size() - 2);
  return decoded(host);
}

std::optional<std::int64_t> URL::port() const {
  const auto digits = URLComponents::split(text_).port;
  if (!digits) return std::nullopt;
  std::int64_t port = 0;
  const auto result = std::from_chars(digits->data(), digits->data() + digits->size(), port);
  if (result.ec != std::errc()) return std::nullopt;
  return port;
}

std::string URL::path() const {
  return detail::percentDecoded(withoutTrailingSlashes(encodedPath()),
                                isFileURL() ? DecodingStyle::fileName : DecodingStyle::everything);
}

std::string_view URL::encodedPath() const noexcept { return URLComponents::split(text_).path; }

std::optional<std::string> URL::query() const { return copied(URLComponents::split(text_).query); }

std::optional<std::string> URL::fragment() const { return copied(URLComponents::split(text_).fragment); }

bool URL::isFileURL() const noexcept {
  const std::string_view text = text_;
  constexpr std::string_view prefix = "file:";
  if (text.size() < prefix.size() || text[prefix.size() - 1] != ':') return false;
  for (std::size_t i = 0; i + 1 < prefix.size(); ++i) {
    if ((text[i] | 0x20) != prefix[i]) return false;
  }
  return true;
}

std::string URL::lastPathComponent() const {
  const std::string_view path = withoutTrailingSlashes(encodedPath());
  if (path == "/") return "/";
  return detail::percentDecoded(path.substr(path.rfind('/') + 1),
                                isFileURL() ? DecodingStyle::fileName : DecodingStyle::everything);
}

std::string URL::pathExtension() const {
  const std::string name = lastPathComponent();
  const std::size_t dot = name.rfind('.');
  if (dot == std::string::npos || name.find_first_not_of('.') > dot) return {};
  return name.substr(dot + 1);
}

URL URL::withEncodedPath(std::string_view path) const {
  const std::string_view old = encodedPath();
  std::string text = text_;
  text.replace(static_cast<std::size_t>(old.data() - text_.data()), old.size(), path);
  return URL(std::move(text));
}

URL URL::appendingPathComponent(std::string_view component, DirectoryHint hint) const {
  const URLComponents components = URLComponents::split(text_);
  const bool beginsPath = components.path.empty() && !components.hasAuthority;
  const bool mayBeTakenForScheme = beginsPath && !components.scheme;
  const std::size_t slashes = std::min(component.find_first_not_of('/'), component.size());
  std::string path;
  if (beginsPath) {
    // Two slashes would begin an authority.
    component.remove_prefix(slashes > 1 ? slashes - 1 : 0);
  } else {
    component.remove_prefix(slashes);
    path = withoutTrailingSlashes(components.path);
    if (!path.ends_with('/')) path.push_back('/');
  }
  path += detail::percentEncodedPath(component,
                                     mayBeTakenForScheme ? FirstSegment::encodeColons : FirstSegment::keepColons);
  const URL appended = withEncodedPath(path);
  return withEncodedPath(applied(hint, std::move(path), appended.isFileURL() ? appended.path() : std::string()));
}

URL URL::deletingLastPathComponent() const {
  const URLComponents components = URLComponents::split(text_);
  const std::string_view path = withoutTrailingSlashes(components.path);
  if (path == "/" || (path.empty() && components.hasAuthority)) return *this;
  if (path.empty()) return withEncodedPath("../");
  const std::size_t slash = path.rfind('/');
  const std::string_view last = path.substr(slash + 1);
  if (last == "." || last == "..") return withEncodedPath(std::string(path) + "/../");
  return withEncodedPath(slash == std::string_view::npos ? "./" : path.substr(0, slash + 1));
}

std::ostream& operator<<(std::ostream& stream, const URL& url) { return stream << url.description(); }

}  // namespace Tessaly::inline v1
