// expected: include Tessaly/FoundationExtensions/UTType\+Extensions.hpp
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/UTType.hpp"
#ifdef ALLOWED
#include "Tessaly/FoundationExtensions/UTType+Extensions.hpp"
#endif

const Tessaly::UTType& type() { return Tessaly::UTType::csv(); }
