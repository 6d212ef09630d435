// SPDX-License-Identifier: MIT
#include <cxxabi.h>
#include <fmt/format.h>

#include <concepts>
#include <new>
#include <string_view>
#include <system_error>
#include <typeinfo>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/TypeName.hpp"
#include "Tessaly/Core/Base/detail/Escaped.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/FoundationExtensions/Error+Extensions.hpp"

namespace Tessaly::inline v1 {
namespace {

// The functions of an error may throw too. The log then contains the name of the error's type instead.
template <typename Describe>
std::string describedBy(Describe&& describe, const std::type_info& type) {
  try {
    return describe();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    return unqualifiedTypeName(type);
  }
}

std::string defaultMessage(std::string_view domain, std::int64_t code) {
  return fmt::format("The operation couldn’t be completed. ({} error {}.)", domain, code);
}

std::string valueDescription(const std::exception& error) {
  if (const auto* systemError = dynamic_cast<const std::system_error*>(&error)) {
    const std::error_code& code = systemError->code();
    if (code.category() == std::system_category() || code.category() == std::generic_category()) {
      return POSIXError(code.value()).description();
    }
    return fmt::format("Error Domain={} Code={} {}", code.category().name(), code.value(),
                       detail::quoted(code.message()));
  }
  return fmt::format("{}({})", unqualifiedTypeName(typeid(error)), detail::quoted(error.what()));
}

std::string thrownText(std::string_view text, std::string_view typeName) {
  return fmt::format("{}, {}", detail::quoted(text), defaultMessage(typeName, 1));
}

}  // namespace

std::string logDescription(const std::exception& error) {
  const std::type_info& type = typeid(error);
  if (const auto* own = dynamic_cast<const Error*>(&error)) {
    return describedBy([&] { return own->description(); }, type) + ", " +
           describedBy([&] { return own->localizedDescription(); }, type);
  }
  return valueDescription(error) + ", " + error.what();
}

std::string logDescription(const std::exception_ptr& error) {
  if (error == nullptr) return "nil";
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return logDescription(exception);
  } catch (const std::string& text) {
    return thrownText(text, "std.string");
  } catch (const char* text) {
    return thrownText(text != nullptr ? text : "", "char const*");
  } catch (int number) {
    return fmt::format("{}, {}", number, defaultMessage("int", number));
  } catch (...) {
    const std::type_info* type = abi::__cxa_current_exception_type();
    if (type == nullptr) return "An error of another language, " + defaultMessage("foreign", 1);
    return unqualifiedTypeName(*type) + "(), " + defaultMessage(qualifiedTypeName(*type), 1);
  }
}

bool isCancellation(const std::exception& error) noexcept {
  if (dynamic_cast<const CancellationError*>(&error) != nullptr) return true;
  const auto* urlError = dynamic_cast<const URLError*>(&error);
  return urlError != nullptr && urlError->urlCode() == URLError::Code::cancelled;
}

bool isCancellation(const std::exception_ptr& error) noexcept {
  if (error == nullptr) return false;
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return isCancellation(exception);
  } catch (...) {
    return false;
  }
}

}  // namespace Tessaly::inline v1
