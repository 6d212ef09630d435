// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/detail/URLParser.hpp"

#include <arpa/inet.h>
#include <idn2.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>

#include "Tessaly/Core/Base/detail/Hexadecimal.hpp"
#include "Tessaly/Core/Base/detail/LateLibrary.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constinit const LateLibrary idn2Library{"libidn2.so.0"};
TESSALY_LATE_FUNCTION(idn2Library, idn2_free);
TESSALY_LATE_FUNCTION(idn2Library, idn2_to_ascii_8z);

constexpr bool isLetter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr bool isASCII(char c) noexcept { return static_cast<unsigned char>(c) < 0x80; }

/// Whether "%XX" begins at the index.
constexpr bool isEncodedByte(std::string_view text, std::size_t index) noexcept {
  return text[index] == '%' && index + 2 < text.size() && hexadecimalValue(text[index + 1]) >= 0 &&
         hexadecimalValue(text[index + 2]) >= 0;
}

/// The characters that a component may contain unencoded.
class CharacterSet {
 public:
  /// RFC 3986's "unreserved" and "sub-delims", and some more.
  consteval explicit CharacterSet(std::string_view more) {
    for (int c = 0; c < 128; ++c) contains_[c] = isLetter(static_cast<char>(c)) || isDigit(static_cast<char>(c));
    for (const char c : std::string_view("-._~!$&'()*+,;=")) contains_[static_cast<unsigned char>(c)] = true;
    for (const char c : more) contains_[static_cast<unsigned char>(c)] = true;
  }
  [[nodiscard]] constexpr bool contains(char c) const noexcept { return contains_[static_cast<unsigned char>(c)]; }

 private:
  std::array<bool, 256> contains_{};
};

constexpr CharacterSet hostCharacters("");
constexpr CharacterSet userCharacters("");
constexpr CharacterSet passwordCharacters(":");
constexpr CharacterSet pathCharacters(":@/[]");
constexpr CharacterSet queryCharacters(":@/[]?");

/// Whether the component is valid: it has only "%XX" and characters of the set.
bool isValid(std::string_view component, const CharacterSet& characters) noexcept {
  for (std::size_t i = 0; i < component.size(); ++i) {
    if (!characters.contains(component[i]) && !isEncodedByte(component, i)) return false;
  }
  return true;
}

void appendEncodedByte(std::string& text, char byte) {
  text.push_back('%');
  appendHexadecimal(text, static_cast<std::uint8_t>(byte), upperHexadecimalDigits);
}

void appendEncoded(std::string& text, std::string_view component, const CharacterSet& characters) {
  for (const char c : component) {
    if (characters.contains(c)) {
      text.push_back(c);
    } else {
      appendEncodedByte(text, c);
    }
  }
}

/// Appends the component unchanged if it is valid, and completely encoded otherwise.
void appendComponent(std::string& text, std::string_view component, const CharacterSet& characters) {
  if (isValid(component, characters)) {
    text.append(component);
  } else {
    appendEncoded(text, component, characters);
  }
}

/// Appends the first segment of a path with its colons encoded.
void appendFirstSegment(std::string& text, std::string_view segment) {
  for (const char c : segment) {
    if (c == ':') {
      appendEncodedByte(text, c);
    } else {
      text.push_back(c);
    }
  }
}

bool isScheme(std::string_view scheme) noexcept {
  return isLetter(scheme.front()) && std::ranges::all_of(scheme, [](char c) {
           return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
         });
}

/// Whether the text between brackets is an IPv6 address, perhaps with a zone after "%25", or an address of a future
/// version.
bool isLiteralAddress(std::string_view literal) {
  if (literal.starts_with('v') || literal.starts_with('V')) {
    const std::size_t dot = literal.find('.');
    if (dot == std::string_view::npos || dot < 2 || dot + 1 == literal.size()) return false;
    const std::string_view version = literal.substr(1, dot - 1);
    const std::string_view address = literal.substr(dot + 1);
    return std::ranges::all_of(version, [](char c) { return hexadecimalValue(c) >= 0; }) &&
           std::ranges::all_of(address, [](char c) { return passwordCharacters.contains(c); });
  }
  const std::size_t percent = literal.find('%');
  if (percent != std::string_view::npos) {
    const std::string_view zone = literal.substr(percent);
    if (!zone.starts_with("%25") || zone.size() == 3 || !isValid(zone, hostCharacters)) return false;
    literal = literal.substr(0, percent);
  }
  in6_addr address{};
  return literal.find('\0') == std::string_view::npos &&
         ::inet_pton(AF_INET6, std::string(literal).c_str(), &address) == 1;
}

/// The ASCII form of a host with non-ASCII characters. Absent if IDNA refuses the host. Throws `POSIXError` (`ELIBACC`)
/// if this system lacks libidn2.
std::optional<std::string> internationalHost(std::string_view host) {
  if (host.find('\0') != std::string_view::npos) return std::nullopt;
  if (!idn2Library.isLoaded()) throw POSIXError(ELIBACC);
  char* output = nullptr;
  const int status = idn2_to_ascii_8z(std::string(host).c_str(), &output, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL);
  const std::unique_ptr<char, void (*)(void*)> owner(output, idn2_free);
  if (status != IDN2_OK) return std::nullopt;
  // Full-width forms of delimiters have become delimiters. A host must not contain delimiters, or '%'.
  const std::string_view ascii = output;
  if (ascii.empty() || !std::ranges::all_of(ascii, [](char c) { return hostCharacters.contains(c); })) {
    return std::nullopt;
  }
  return std::string(ascii);
}

bool appendHost(std::string& text, std::string_view host) {
  if (host.starts_with('[')) {
    if (!host.ends_with(']') || !isLiteralAddress(host.substr(1, host.size() - 2))) return false;
    text.append(host);
    return true;
  }
  if (host.find_first_of("[]") != std::string_view::npos) return false;
  if (std::ranges::all_of(host, isASCII)) {
    appendComponent(text, host, hostCharacters);
    return true;
  }
  const auto ascii = internationalHost(host);
  if (!ascii) return false;
  text.append(*ascii);
  return true;
}

void splitAuthority(std::string_view authority, URLComponents& components) noexcept {
  const std::size_t at = authority.rfind('@');
  if (at != std::string_view::npos) {
    const std::string_view userInformation = authority.substr(0, at);
    const std::size_t colon = userInformation.find(':');
    components.user = userInformation.substr(0, colon);
    if (colon != std::string_view::npos) components.password = userInformation.substr(colon + 1);
    authority.remove_prefix(at + 1);
  }
  const std::size_t bracket = authority.starts_with('[') ? authority.find(']') : std::string_view::npos;
  const std::size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
  components.host = authority.substr(0, colon);
  if (colon != std::string_view::npos) components.port = authority.substr(colon + 1);
}

}  // namespace

URLComponents URLComponents::split(std::string_view text) noexcept {
  URLComponents components;
  const std::size_t delimiter = text.find_first_of(":/?#[]@");
  if (delimiter != std::string_view::npos && text[delimiter] == ':') {
    components.scheme = text.substr(0, delimiter);
    text.remove_prefix(delimiter + 1);
  }
  const std::size_t hash = text.find('#');
  if (hash != std::string_view::npos) {
    components.fragment = text.substr(hash + 1);
    text = text.substr(0, hash);
  }
  const std::size_t question = text.find('?');
  if (question != std::string_view::npos) {
    components.query = text.substr(question + 1);
    text = text.substr(0, question);
  }
  if (text.starts_with("//")) {
    components.hasAuthority = true;
    const std::size_t end = std::min(text.find('/', 2), text.size());
    splitAuthority(text.substr(2, end - 2), components);
    text.remove_prefix(end);
  }
  components.path = text;
  return components;
}

std::optional<std::string> encodedURL(std::string_view text) {
  const URLComponents components = URLComponents::split(text);
  std::string result;
  result.reserve(text.size());
  if (components.scheme) {
    if (!components.scheme->empty() && !isScheme(*components.scheme)) return std::nullopt;
    result.append(*components.scheme).push_back(':');
  }
  if (components.hasAuthority) {
    result.append("//");
    if (components.user) {
      appendComponent(result, *components.user, userCharacters);
      if (components.password) {
        result.push_back(':');
        appendComponent(result, *components.password, passwordCharacters);
      }
      result.push_back('@');
    }
    if (!appendHost(result, components.host)) return std::nullopt;
    if (components.port) {
      if (!std::ranges::all_of(*components.port, isDigit)) return std::nullopt;
      result.append(":").append(*components.port);
    }
  }
  if (components.scheme || components.hasAuthority) {
    appendComponent(result, components.path, pathCharacters);
  } else {
    std::string path;
    appendComponent(path, components.path, pathCharacters);
    const std::size_t firstSegmentEnd = std::min(path.find('/'), path.size());
    appendFirstSegment(result, std::string_view(path).substr(0, firstSegmentEnd));
    result.append(path, firstSegmentEnd);
  }
  if (components.query) {
    result.push_back('?');
    appendComponent(result, *components.query, queryCharacters);
  }
  if (components.fragment) {
    result.push_back('#');
    appendComponent(result, *components.fragment, queryCharacters);
  }
  return result;
}

std::string percentEncodedPath(std::string_view path, FirstSegment firstSegment) {
  std::string encoded;
  appendEncoded(encoded, path, pathCharacters);
  if (firstSegment == FirstSegment::keepColons) return encoded;
  const std::size_t firstSegmentEnd = std::min(encoded.find('/'), encoded.size());
  std::string result;
  appendFirstSegment(result, std::string_view(encoded).substr(0, firstSegmentEnd));
  return result.append(encoded, firstSegmentEnd);
}

std::string percentDecoded(std::string_view text, DecodingStyle style) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isEncodedByte(text, i)) {
      const int byte = hexadecimalValue(text[i + 1]) << 4 | hexadecimalValue(text[i + 2]);
      const bool staysEncoded = style == DecodingStyle::fileName && (byte == '/' || byte == 0);
      if (!staysEncoded) {
        decoded.push_back(static_cast<char>(byte));
        i += 2;
        continue;
      }
    }
    decoded.push_back(text[i]);
  }
  return decoded;
}

}  // namespace Tessaly::inline v1::detail
