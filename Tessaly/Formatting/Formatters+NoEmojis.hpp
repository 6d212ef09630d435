// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatting
#pragma once

#include <any>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"

namespace Tessaly::inline v1::Formatters {

/// A formatter that removes emoji when editing ends, and optionally limits the length of the text. Unlike
/// `CharactersLimit`, this formatter accepts a text with exactly as many characters as the limit. `Character::isEmoji`
/// decides which characters are emoji. A digit or `#` alone is not an emoji.
///
/// Thread contract: thread-compatible.
///
///     auto plain = Formatters::NoEmojis::make(std::nullopt);
///     std::any object;
///     plain->getObjectValue(&object, "a😀b");
///     std::cout << std::any_cast<std::string>(object);  // ab
class TESSALY_EXPORT NoEmojis : public Formatter {
 public:
  explicit NoEmojis(std::optional<std::int64_t> charactersLimit);
  ~NoEmojis() override;

  [[nodiscard]] static std::shared_ptr<NoEmojis> make(std::optional<std::int64_t> charactersLimit) {
    return std::make_shared<NoEmojis>(charactersLimit);
  }
  /// Stops the process, because an archive cannot create this formatter.
  [[noreturn]] static std::optional<std::shared_ptr<NoEmojis>> from(const Data& archive);

  /// "Tessaly.NoEmojis".
  [[nodiscard]] std::string_view className() const noexcept override;
  [[nodiscard]] std::optional<std::int64_t> charactersLimit() const noexcept { return charactersLimit_; }

  /// The object if it is a text. Absent otherwise.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override;
  /// Stores the text without its emoji as a `std::string` and returns true. Does not check the limit.
  bool getObjectValue(std::any* object, std::string_view text,
                      std::optional<std::string>* errorDescription = nullptr) override;
  /// Whether the text has at most as many characters as the limit. Emoji count too. Always true without a limit.
  bool isPartialStringValid(std::string_view partialString, std::optional<std::string>* newEditingString = nullptr,
                            std::optional<std::string>* errorDescription = nullptr) override;

 private:
  std::optional<std::int64_t> charactersLimit_;
};

}  // namespace Tessaly::inline v1::Formatters
