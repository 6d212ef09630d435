// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstddef>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// A name that a constant expression can hold. If the text is a literal, the name refers to the literal. Otherwise all
/// copies of the name share one copy of the text.
///
/// Thread contract: thread-compatible; copies of one name may be used in different threads.
class SettingName {
 public:
  template <std::size_t size>
  consteval SettingName(const char (&literal)[size]) noexcept : text_(literal, size - 1) {
    // Reading the last character also rejects a mutable static buffer, because a constant expression cannot read such a
    // buffer.
    if (literal[size - 1] != '\0') stopAtTextThatIsNotTerminated();
  }
  template <typename Text>
    requires std::convertible_to<const Text&, std::string_view> && (!std::is_array_v<Text>)
  SettingName(const Text& text) : SettingName(Copied(), text) {}
  constexpr SettingName(const SettingName& other) noexcept : text_(other.text_), copy_(other.copy_) {
    if (copy_ != nullptr) retain();
  }
  constexpr SettingName(SettingName&& other) noexcept
      : text_(std::exchange(other.text_, {})), copy_(std::exchange(other.copy_, nullptr)) {}
  constexpr SettingName& operator=(SettingName other) noexcept {
    std::swap(text_, other.text_);
    std::swap(copy_, other.copy_);
    return *this;
  }
  constexpr ~SettingName() {
    if (copy_ != nullptr) release();
  }

  [[nodiscard]] constexpr std::string_view text() const noexcept { return text_; }

 private:
  struct Copy;
  struct Copied {};
  static void stopAtTextThatIsNotTerminated();

  TESSALY_EXPORT SettingName(Copied, std::string_view text);
  TESSALY_EXPORT void retain() const noexcept;
  TESSALY_EXPORT void release() noexcept;

  std::string_view text_;
  Copy* copy_ = nullptr;
};

}  // namespace Tessaly::inline v1::detail
