// SPDX-License-Identifier: MIT
// Component: Tessaly::ValueRecords
#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/JSONCoding.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/SettingsAndObservation/UserDefaultsValueTransformable.hpp"

namespace Tessaly::inline v1 {

/// A file or folder that the user chose, kept so that it is found again after it was renamed or moved nearby.
///
/// It can be stored as a setting: as JSON with the members "url" and "data". Reading it back resolves the data; the
/// stored URL is not trusted. Beginning and ending access to the file is the host's.
///
/// Thread contract: thread-compatible.
///
///     std::optional<URLBookmark> bookmark = URLBookmark::from(chosenFolder);
///     if (bookmark) folderSetting.setValue(*bookmark);
class URLBookmark {
 public:
  using StoredValue = Data;

  /// Nothing without a URL. Where the platform makes no bookmark, that is logged, and nothing comes of it.
  [[nodiscard]] TESSALY_EXPORT static std::optional<URLBookmark> from(const std::optional<URL>& url);
  /// Reads the stored form. What cannot be read is logged, and nothing comes of it.
  [[nodiscard]] TESSALY_EXPORT static std::optional<URLBookmark> from(const Data& stored);
  /// Decodes "data" and resolves it. Throws what decoding or resolving throws.
  TESSALY_EXPORT explicit URLBookmark(const Decoder& decoder);

  /// Encodes "url", then "data".
  TESSALY_EXPORT void encode(Encoder& encoder) const;
  /// The stored form. Empty, and logged, if encoding fails.
  [[nodiscard]] TESSALY_EXPORT Data transformToUserDefaultValue() const;

  [[nodiscard]] const URL& url() const noexcept { return url_; }
  /// The platform's token, kept as it was.
  [[nodiscard]] const Data& data() const noexcept { return data_; }
  /// "url: '<path>' - data: '<count of bytes>'".
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

 private:
  URLBookmark(URL url, Data data) noexcept;

  URL url_;
  Data data_;
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const URLBookmark& bookmark);

}  // namespace Tessaly::inline v1
