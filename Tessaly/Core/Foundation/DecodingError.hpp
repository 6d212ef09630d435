// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A failure to decode data, with its reason.
///
/// Thread contract: thread-compatible.
///
///     try {
///       show(JSONDecoder::decoder(data).container().decodeString("name"));
///     } catch (const DecodingError& error) {
///       if (error.kind != DecodingError::Kind::keyNotFound) throw;
///     }
class TESSALY_EXPORT DecodingError final : public Error {
 public:
  /// The kind of mistake in the decoded data.
  enum class Kind : std::uint8_t { typeMismatch, valueNotFound, keyNotFound, dataCorrupted };

  Kind kind;
  /// The reason, as a text for developers.
  std::string debugDescription;

  DecodingError(Kind kind, std::string debugDescription);
  ~DecodingError() override;

  /// The kind and the reason, for example `dataCorrupted("The given data was not valid JSON.")`.
  [[nodiscard]] std::string description() const override;
  /// "The data couldn’t be read because it is missing." for `keyNotFound` and `valueNotFound`. For the other kinds "…
  /// because it isn’t in the correct format."
  [[nodiscard]] std::string localizedDescription() const override;
};

}  // namespace Tessaly::inline v1
