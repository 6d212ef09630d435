// expected: constraints not satisfied for class template 'DigestHasher'
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Digests.hpp"

#ifdef ALLOWED
using Digest = Tessaly::SHA256Digest;
#else
using Digest = Tessaly::HashedAuthenticationCode;
#endif

Tessaly::DigestHasher<Digest> hasher;
