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

/// Formatters that fields of text use to police what is typed into them.
namespace Tessaly::inline v1::Formatters {

/// Makes the classes of this namespace known to `Object::make`, which stops the process: none of them can be made
/// without arguments. `Object::make` calls it by itself where the library is a shared one, and so does making any of
/// them.
///
/// Thread contract: thread-safe.
TESSALY_EXPORT void registerClasses();

/// Caps the length of a text below a limit: fewer user-perceived characters than that are accepted. `NoEmojis` with a
/// limit accepts as many.
///
/// Thread contract: thread-compatible.
///
///     auto limit = Formatters::CharactersLimit::make(3);
///     bool fits = limit->isPartialStringValid("ab");  // true, and false for "abc"
class TESSALY_EXPORT CharactersLimit : public Formatter {
 public:
  explicit CharactersLimit(std::int64_t charactersLimit);
  ~CharactersLimit() override;

  [[nodiscard]] static std::shared_ptr<CharactersLimit> make(std::int64_t charactersLimit) {
    return std::make_shared<CharactersLimit>(charactersLimit);
  }
  /// Stops the process: it cannot be made from an archive.
  [[noreturn]] static std::optional<std::shared_ptr<CharactersLimit>> from(const Data& archive);

  /// "Tessaly.CharactersLimit".
  [[nodiscard]] std::string_view className() const noexcept override;
  [[nodiscard]] std::int64_t charactersLimit() const noexcept { return charactersLimit_; }

  /// The object if it is a text.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override;
  /// Gives the text, as a `std::string`. Always true.
  bool getObjectValue(std::any* object, std::string_view text,
                      std::optional<std::string>* errorDescription = nullptr) override;
  /// Whether the text has fewer characters than the limit. Reads no further than that.
  bool isPartialStringValid(std::string_view partialString, std::optional<std::string>* newEditingString = nullptr,
                            std::optional<std::string>* errorDescription = nullptr) override;

 private:
  std::int64_t charactersLimit_;
};

}  // namespace Tessaly::inline v1::Formatters
