// SPDX-License-Identifier: MIT
#include "Tessaly/ValueRecords/URLBookmark.hpp"

#include <exception>
#include <ostream>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/FoundationExtensions/Error+Extensions.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr const char* sourceFile = "Tessaly/URLBookmark";
// Frozen: reports of the log records are grouped by these lines.
constexpr unsigned decodingLine = 68;
constexpr unsigned encodingLine = 77;

Logger logger() { return Logger::make("Tessaly", Type<URLBookmark>()); }

std::string textOrNil(const Data& data) {
  const std::string_view text = data.text();
  for (std::size_t offset = 0; offset < text.size();) {
    const auto scalar = Text::decodeScalar(text, offset);
    if (!scalar.isWellFormed) return "nil";
    offset += scalar.length;
  }
  return std::string(text);
}

}  // namespace

URLBookmark::URLBookmark(URL url, Data data) noexcept : url_(std::move(url)), data_(std::move(data)) {}

URLBookmark::URLBookmark(const Decoder& decoder)
    : URLBookmark(*URL::from("file:///"), decoder.container().decodeData("data")) {
  url_ = Bookmarks::shared().resolve(data_, BookmarkResolutionOptions::withSecurityScope).url;
}

std::optional<URLBookmark> URLBookmark::from(const std::optional<URL>& url) {
  if (!url) return std::nullopt;
  try {
    return URLBookmark(*url, Bookmarks::shared().bookmarkData(*url, BookmarkCreationOptions::withSecurityScope));
  } catch (const std::exception& error) {
    logger().error("Failed creating a bookmark URL from '%{public}s'. %s", url->path(), logDescription(error));
    return std::nullopt;
  }
}

std::optional<URLBookmark> URLBookmark::from(const Data& stored) {
  try {
    return JSONDecoder::decode<URLBookmark>(stored);
  } catch (const std::exception& error) {
    errorWithAssert(logger(), "Failed to decode URL bookmark from " + textOrNil(stored) + ". " + logDescription(error),
                    sourceFile, decodingLine);
    return std::nullopt;
  }
}

void URLBookmark::encode(Encoder& encoder) const {
  encoder.encode(url_, "url");
  encoder.encode(data_, "data");
}

Data URLBookmark::transformToUserDefaultValue() const {
  try {
    return JSONEncoder::encode(*this);
  } catch (const std::exception& error) {
    errorWithAssert(logger(), "Failed to encode URL bookmark: " + description() + ". " + logDescription(error),
                    sourceFile, encodingLine);
    return {};
  }
}

std::string URLBookmark::description() const {
  return "url: '" + url_.path() + "' - data: '" + std::to_string(data_.count()) + "'";
}

std::ostream& operator<<(std::ostream& stream, const URLBookmark& bookmark) { return stream << bookmark.description(); }

}  // namespace Tessaly::inline v1
