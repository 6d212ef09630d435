// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/DecodingError.hpp"

#include "Tessaly/Core/Foundation/JSONCoding.hpp"

namespace Tessaly {

void showDecodingError(const Data& data, void (*show)(std::string)) {
  try {
    show(JSONDecoder::decoder(data).container().decodeString("name"));
  } catch (const DecodingError& error) {
    if (error.kind != DecodingError::Kind::keyNotFound) throw;
  }
}

}  // namespace Tessaly
