// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Foundation/DecodingError.hpp"

#include "Tessaly/Platform/Foundation/JSONCoding.hpp"

namespace Tessaly {

void showDecodingError(const Data& data, void (*show)(std::string)) {
  try {
    show(JSONDecoder::decoder(data).container().decodeString("name"));
  } catch (const DecodingError& error) {
    if (error.kind != DecodingError::Kind::keyNotFound) throw;
  }
}

}  // namespace Tessaly
