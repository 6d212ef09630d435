// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <any>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Object.hpp"

namespace Tessaly::inline v1 {

/// What stands between a value and the text of it that an editable field shows.
///
/// A field calls three operations: it shows `string(object)`, asks `isPartialStringValid` at every change while the
/// user types, and `getObjectValue` when editing ends. The adapters for Qt and GTK make their fields do so. The nearest
/// standard facility is a pair of stream operators, which cannot judge what is half typed.
///
/// Thread contract: thread-compatible.
///
///     class UpperCase final : public Formatter {
///      public:
///       std::optional<std::string> string(const std::any& object) const override { return text(object); }
///       bool getObjectValue(std::any* object, std::string_view text, std::optional<std::string>*) override {
///         if (object != nullptr) *object = std::string(text);
///         return true;
///       }
///     };
class TESSALY_EXPORT Formatter : public Object {
 public:
  ~Formatter() override;

  /// The text of an object; absent when the formatter is not for such objects. Here: always.
  [[nodiscard]] virtual std::optional<std::string> string(const std::any& object) const;

  /// Reads an object from a text, into `*object` unless that is null. Whether it could; if not, `*errorDescription`,
  /// unless that is null, may be told why. Here: never.
  virtual bool getObjectValue(std::any* object, std::string_view text,
                              std::optional<std::string>* errorDescription = nullptr);

  /// Whether a field may hold this text while the user edits. If not, the field stays as it was, or takes
  /// `*newEditingString` if that got a value. Null pointers are told nothing. Here: always.
  virtual bool isPartialStringValid(std::string_view partialString,
                                    std::optional<std::string>* newEditingString = nullptr,
                                    std::optional<std::string>* errorDescription = nullptr);

 protected:
  Formatter() noexcept = default;

  /// The object if it is a text: a `std::string`, a `std::string_view` or a `const char*`.
  [[nodiscard]] static std::optional<std::string> text(const std::any& object);
};

}  // namespace Tessaly::inline v1
