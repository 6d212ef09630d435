// expected: no matching function for call to 'digestOfFile'
// SPDX-License-Identifier: MIT
#include <utility>

#include "Tessaly/FoundationExtensions/Digest+Extensions.hpp"

#ifdef ALLOWED
using Digest = Tessaly::SHA256Digest;
#else
using Digest = Tessaly::HashedAuthenticationCode;
#endif

auto digest(Tessaly::URL file) { return Tessaly::digestOfFile<Digest>(std::move(file)); }
