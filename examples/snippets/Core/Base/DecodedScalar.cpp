// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/DecodedScalar.hpp"

namespace Tessaly::Text {

void showDecodedScalar() {
  DecodedScalar euro = decodeScalar("€5", 0);
  // euro.scalar is U'€', euro.length is 3, euro.isWellFormed is true.
}

}  // namespace Tessaly::Text
