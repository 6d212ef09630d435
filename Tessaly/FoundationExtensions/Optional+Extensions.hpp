// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <concepts>
#include <exception>
#include <functional>
#include <locale>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/NumberDescription.hpp"

namespace Tessaly::inline v1::Optional {

namespace detail {

template <typename T>
inline constexpr bool isOptional = false;
template <typename T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <typename T>
concept HasDescription = requires(const T& value) {
  { value.description() } -> std::convertible_to<std::string>;
};

template <typename T>
concept IsStreamable = requires(std::ostream& stream, const T& value) { stream << value; };

}  // namespace detail

/// A type that has a textual description: `description()`, or an `operator<<` into a stream.
template <typename T>
concept Describable = detail::HasDescription<T> || detail::IsStreamable<T>;

/// The value of an optional. If the optional is empty, calls `makeError` and throws the result. If the result is a
/// `std::exception_ptr`, rethrows its exception; a null pointer stops the process.
///
/// For an lvalue, the function returns a reference into the optional. For an rvalue, the function returns the value.
/// The nearest standard facility, `std::optional::value`, can throw only `std::bad_optional_access`.
///
/// Thread contract: thread-safe.
template <typename MaybeValue, std::invocable MakeError>
  requires detail::isOptional<std::remove_cvref_t<MaybeValue>>
[[nodiscard]] auto unwrapOrThrow(MaybeValue&& optional, MakeError&& makeError)
    -> std::conditional_t<std::is_lvalue_reference_v<MaybeValue>, decltype(*optional),
                          typename std::remove_cvref_t<MaybeValue>::value_type> {
  if (!optional.has_value()) [[unlikely]] {
    auto error = std::invoke(std::forward<MakeError>(makeError));
    if constexpr (std::same_as<decltype(error), std::exception_ptr>) {
      if (error == nullptr)
        fatalError("The error to throw is a null exception_ptr", "Tessaly/Optional+Extensions", __LINE__);
      std::rethrow_exception(std::move(error));
    } else {
      throw error;
    }
  }
  return *std::forward<MaybeValue>(optional);
}

/// The description of a value: `description()` if the type has it, else the output of `operator<<`. Some types have
/// another form. A `bool` gives "true" or "false". A finite `double` or `float` gives the fewest digits that parse
/// as the same number, always with a fraction or an exponent ("12.0", "1e-05"). Other values of these types give "inf",
/// "-inf" or "nan". A `signed char` or `unsigned char` gives its number. The text does not depend on
/// `std::locale::global`.
///
/// Thread contract: thread-safe.
template <Describable T>
[[nodiscard]] std::string description(const T& value) {
  if constexpr (detail::HasDescription<T>) {
    return std::string(value.description());
  } else if constexpr (std::convertible_to<const T&, std::string_view>) {
    return std::string(std::string_view(value));
  } else if constexpr (std::same_as<T, double> || std::same_as<T, float>) {
    return ::Tessaly::numberDescription(value);
  } else if constexpr (std::same_as<T, signed char> || std::same_as<T, unsigned char>) {
    return std::to_string(value);
  } else {
    std::ostringstream stream;
    // The host's global locale could group digits and translate "true" and "false". The classic locale does neither.
    stream.imbue(std::locale::classic());
    stream << std::boolalpha << value;
    return std::move(stream).str();
  }
}

/// "nil" for an empty optional, otherwise the description of its value.
///
/// Thread contract: thread-safe.
template <Describable T>
[[nodiscard]] std::string optionalDescription(const std::optional<T>& optional) {
  return optional ? description(*optional) : "nil";
}

}  // namespace Tessaly::inline v1::Optional
