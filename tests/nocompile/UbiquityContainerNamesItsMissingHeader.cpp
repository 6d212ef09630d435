// expected: include Tessaly/FoundationExtensions/URL\+Extensions.hpp
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/URL.hpp"
#ifdef ALLOWED
#include "Tessaly/FoundationExtensions/URL+Extensions.hpp"
#endif

std::optional<Tessaly::URL> container() { return Tessaly::URL::ubiquityContainer(std::nullopt); }
