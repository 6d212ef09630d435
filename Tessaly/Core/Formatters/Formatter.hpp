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

/// Converts between a value and its text in an editable field.
///
/// A field uses three operations. It shows the result of `string(object)`, checks half-typed texts with
/// `isPartialStringValid`, and parses texts with `getObjectValue`. The adapters for Qt and GTK connect formatters to
/// fields of these toolkits. The nearest standard facility is a pair of stream operators, which cannot judge a
/// half-typed text.
///
/// Thread contract: thread-compatible.
///
///     class UpperCase final : public Formatter {
///      public:
///       std::optional<std::string> string(const std::any& object) const override {
///         return text(object).transform(Text::uppercased);
///       }
///       bool getObjectValue(std::any* object, std::string_view text, std::optional<std::string>*) override {
///         if (object != nullptr) *object = Text::uppercased(text);
///         return true;
///       }
///     };
class TESSALY_EXPORT Formatter : public Object {
 public:
  ~Formatter() override;

  /// The text of an object. Absent if the formatter does not support the object. The default implementation always
  /// returns an absent value.
  [[nodiscard]] virtual std::optional<std::string> string(const std::any& object) const;

  /// Parses a text into `*object`, and returns whether the parsing succeeded. A failure may store a reason in
  /// `*errorDescription`. Both pointers may be null. The default implementation always fails.
  virtual bool getObjectValue(std::any* object, std::string_view text,
                              std::optional<std::string>* errorDescription = nullptr);

  /// Whether a field may hold this text during editing. If not, the function may store a replacement in
  /// `*newEditingString` and a reason in `*errorDescription`. A field that checks every change then shows the
  /// replacement, or else keeps its former text. Both pointers may be null. The default implementation always returns
  /// true.
  virtual bool isPartialStringValid(std::string_view partialString,
                                    std::optional<std::string>* newEditingString = nullptr,
                                    std::optional<std::string>* errorDescription = nullptr);

 protected:
  Formatter() noexcept = default;

  /// The text in an object: a `std::string`, `std::string_view`, `const char*` or `char*`. Absent for a null pointer
  /// and for every other object.
  [[nodiscard]] static std::optional<std::string> text(const std::any& object);
};

}  // namespace Tessaly::inline v1
