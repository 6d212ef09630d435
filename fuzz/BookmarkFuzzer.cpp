// SPDX-License-Identifier: MIT
// Any stored bookmark is refused, or keeps its token and leads to a path that its token names. Any token resolves to an
// existing file, or fails with a bookmark error. There is no portal. A stored bookmark decodes to the encoded one.
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/DecodingError.hpp"
#include "Tessaly/Core/Foundation/JSONCoding.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"
#include "Tessaly/Platform/Bookmarks/DocumentError.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "Tessaly/ValueRecords/URLBookmark.hpp"

namespace {

using namespace Tessaly;

void require(bool condition) {
  if (!condition) std::abort();
}

/// Tokens that equal their paths, so that nothing depends on the files of this machine.
struct PlainBookmarks final : Bookmarks {
  Data bookmarkData(const URL& url, BookmarkCreationOptions /*options*/) override { return Data(url.path()); }
  ResolvedBookmark resolve(const Data& data, BookmarkResolutionOptions /*options*/) override {
    if (!data.text().starts_with('/')) throw POSIXError(EINVAL);
    return {URL::fileURLWithPath(data.text()), false};
  }
};

/// Accepts the log records about undecodable data, and discards them.
struct SilentLog final : LogBackend {
  void write(const LogRecord& record) noexcept override { static_cast<void>(record.composedMessage()); }
};

void decode(const Data& stored) {
  std::optional<URLBookmark> bookmark;
  try {
    bookmark = JSONDecoder::decode<URLBookmark>(stored);
  } catch (const DecodingError& error) {
    require(!error.description().empty());
  } catch (const POSIXError& error) {
    require(error.code() == EINVAL);
  }
  require(URLBookmark::from(stored).has_value() == bookmark.has_value());
  if (!bookmark) return;
  require(bookmark->url() == URL::fileURLWithPath(bookmark->data().text()));
  const auto again = URLBookmark::from(bookmark->transformToUserDefaultValue());
  require(again && again->data() == bookmark->data() && again->url() == bookmark->url());
}

void resolve(Bookmarks& bookmarks, const Data& token) {
  try {
    require(!bookmarks.resolve(token, BookmarkResolutionOptions::withSecurityScope).url.path().empty());
  } catch (const POSIXError& error) {
    require(error.code() == EINVAL || error.code() == ENOENT);
  } catch (const DocumentError& error) {
    require(error.failure() == DocumentFailure::noPortal);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Bookmarks& system = Bookmarks::shared();
  static PlainBookmarks plain;
  static const BookmarksInstallation bookmarks(plain);
  static const LogBackendInstallation log(std::make_shared<SilentLog>());
  static const bool isWithoutBus = ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1) == 0;
  require(isWithoutBus);
  static const bool isNamed = (Bundle::setMain({.identifier = "org.example.fuzzer"}), true);
  require(isNamed);
  const Data data(std::string_view(reinterpret_cast<const char*>(bytes), size));
  decode(data);
  // The text is used as the value of "data", and as a token.
  decode(Data("{\"url\":\"file:\\/\\/\\/a\",\"data\":\"" + data.base64EncodedString() + "\"}"));
  resolve(system, data);
  return 0;
}
