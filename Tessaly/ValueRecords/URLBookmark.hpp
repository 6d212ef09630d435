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

/// A bookmark of a file or directory that the user chose. The bookmark finds the file again after the file was renamed
/// or moved to a nearby directory.
///
/// The bookmark can be stored as a setting. The stored form is JSON with the members "url" and "data". Decoding
/// resolves the data and ignores the stored URL. The host itself must begin and end the access to the file, with
/// `FileManager::startAccessingSecurityScopedResource` and its counterpart.
///
/// Thread contract: thread-compatible.
///
///     std::optional<URLBookmark> bookmark = URLBookmark::from(chosenFolder);
///     if (bookmark) folderSetting.setValue(*bookmark);
class URLBookmark {
 public:
  using StoredValue = Data;

  /// Makes a bookmark of a URL. The result is absent without a URL. If the system makes no bookmark, the result is
  /// absent and the log has a record.
  [[nodiscard]] TESSALY_EXPORT static std::optional<URLBookmark> from(const std::optional<URL>& url);
  /// Decodes the stored form and resolves its data. If either step fails, the result is absent and the log has a
  /// record.
  [[nodiscard]] TESSALY_EXPORT static std::optional<URLBookmark> from(const Data& stored);
  /// Decodes "data" and resolves the bookmark. Throws the exceptions of decoding and resolving.
  TESSALY_EXPORT explicit URLBookmark(const Decoder& decoder);

  /// Encodes "url", then "data".
  TESSALY_EXPORT void encode(Encoder& encoder) const;
  /// The stored form. If encoding fails, the result is empty and the log has a record.
  [[nodiscard]] TESSALY_EXPORT Data transformToUserDefaultValue() const;

  [[nodiscard]] const URL& url() const noexcept TESSALY_LIFETIMEBOUND { return url_; }
  /// The bookmark data that the system made for the file, unchanged.
  [[nodiscard]] const Data& data() const noexcept TESSALY_LIFETIMEBOUND { return data_; }
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
