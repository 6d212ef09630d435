// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/Error.hpp"

#include <fmt/format.h>

#include <ostream>
#include <typeinfo>

#include "Tessaly/Core/Base/TypeName.hpp"

namespace Tessaly::inline v1 {

// A copy builds its own text, because the copy may be of another class or may be changed.
Error::Error(const Error& other) noexcept : std::exception(other) {}

Error& Error::operator=(const Error& other) noexcept {
  if (this != &other) delete what_.exchange(nullptr, std::memory_order_acq_rel);
  return *this;
}

Error::~Error() { delete what_.load(std::memory_order_acquire); }

std::string Error::description() const { return unqualifiedTypeName(typeid(*this)) + "()"; }

std::string Error::localizedDescription() const {
  return fmt::format("The operation couldn’t be completed. ({} error {}.)", domain(), code());
}

std::string Error::domain() const { return qualifiedTypeName(typeid(*this)); }

std::int64_t Error::code() const noexcept { return 1; }

const char* Error::what() const noexcept {
  if (const auto* text = what_.load(std::memory_order_acquire)) return text->c_str();
  try {
    const auto* built = new std::string(description());
    const std::string* expected = nullptr;
    if (what_.compare_exchange_strong(expected, built, std::memory_order_acq_rel)) return built->c_str();
    delete built;
    return expected->c_str();
  } catch (...) {
    return "Tessaly::Error";
  }
}

std::ostream& operator<<(std::ostream& stream, const Error& error) { return stream << error.description(); }

CancellationError::~CancellationError() = default;

}  // namespace Tessaly::inline v1
