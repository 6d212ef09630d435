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

/// Formatters that check the input of text fields.
namespace Tessaly::inline v1::Formatters {

/// Registers the classes of this namespace for `Object::make`. After that, `Object::make` stops the process for these
/// classes, because they have no constructor without arguments. Before the registration, `Object::make` returns null if
/// this library is static. If this library is shared, `Object::make` registers the classes itself. The construction of
/// a formatter registers the classes too.
///
/// Thread contract: thread-safe.
TESSALY_EXPORT void registerClasses();

/// A formatter that limits the length of a text. The text must have fewer user-perceived characters than the limit.
/// Another formatter, `NoEmojis`, also accepts a text with exactly as many characters as its limit.
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
  /// Stops the process, because an archive cannot create this formatter.
  [[noreturn]] static std::optional<std::shared_ptr<CharactersLimit>> from(const Data& archive);

  /// "Tessaly.CharactersLimit".
  [[nodiscard]] std::string_view className() const noexcept override;
  [[nodiscard]] std::int64_t charactersLimit() const noexcept { return charactersLimit_; }

  /// The object if it is a text. Absent otherwise.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override;
  /// Stores the text as a `std::string` and returns true. Does not check the limit.
  bool getObjectValue(std::any* object, std::string_view text,
                      std::optional<std::string>* errorDescription = nullptr) override;
  /// Whether the text has fewer characters than the limit. Stops reading at the limit.
  bool isPartialStringValid(std::string_view partialString, std::optional<std::string>* newEditingString = nullptr,
                            std::optional<std::string>* errorDescription = nullptr) override;

 private:
  std::int64_t charactersLimit_;
};

}  // namespace Tessaly::inline v1::Formatters
