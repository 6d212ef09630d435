// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/detail/CharacterCount.hpp"

namespace Tessaly::inline v1::Formatters {
namespace {

constexpr std::string_view file = "Tessaly/Formatters+CharactersLimit";

}  // namespace

void registerClasses() {
  [[maybe_unused]] static const bool isDone = [] {
    Object::registerClassWithoutInitializer("Tessaly.CharactersLimit", file, __LINE__);
    Object::registerClassWithoutInitializer("Tessaly.NoEmojis", "Tessaly/Formatters+NoEmojis", __LINE__);
    Object::registerClassWithoutInitializer("Tessaly.RangeNumber", "Tessaly/Formatters+RangeNumber", __LINE__);
    return true;
  }();
}

CharactersLimit::CharactersLimit(std::int64_t charactersLimit) : charactersLimit_(charactersLimit) {
  registerClasses();
}
CharactersLimit::~CharactersLimit() = default;

std::optional<std::shared_ptr<CharactersLimit>> CharactersLimit::from(const Data&) {
  fatalError("init(coder:) has not been implemented", file, __LINE__);
}

std::string_view CharactersLimit::className() const noexcept { return "Tessaly.CharactersLimit"; }

std::optional<std::string> CharactersLimit::string(const std::any& object) const { return text(object); }

bool CharactersLimit::getObjectValue(std::any* object, std::string_view text, std::optional<std::string>*) {
  if (object != nullptr) *object = std::string(text);
  return true;
}

bool CharactersLimit::isPartialStringValid(std::string_view partialString, std::optional<std::string>*,
                                           std::optional<std::string>*) {
  return charactersLimit_ > 0 && detail::hasAtMost(partialString, charactersLimit_ - 1);
}

}  // namespace Tessaly::inline v1::Formatters

extern "C" {

// Makes the classes known to `Object::make` before their first object.
TESSALY_EXPORT void tessaly_register_Tessaly_CharactersLimit() { Tessaly::Formatters::registerClasses(); }
TESSALY_EXPORT void tessaly_register_Tessaly_NoEmojis() { Tessaly::Formatters::registerClasses(); }
TESSALY_EXPORT void tessaly_register_Tessaly_RangeNumber() { Tessaly::Formatters::registerClasses(); }
}
