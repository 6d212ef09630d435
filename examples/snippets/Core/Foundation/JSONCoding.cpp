// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/JSONCoding.hpp"

namespace Tessaly {
namespace {

void showContainer(const Decoder& decoder) {
  const KeyedDecodingContainer members = decoder.container();
  Data token = members.decodeData("data");
}

struct Song {
  explicit Song(const Decoder& decoder) : title(decoder.container().decodeString("title")) {}
  std::string title;
};

void showDecoding(const Data& data) {
  // Throws a `DecodingError` for malformed data.
  Song song = JSONDecoder::decode<Song>(data);
}

struct Title {
  void encode(Encoder& encoder) const {
    // The other members follow in the same way.
    encoder.encode(title, "title");
  }
  std::string title;
};

void showEncoding(const Title& song) {
  // Never fails.
  Data text = JSONEncoder::encode(song);
}

}  // namespace
}  // namespace Tessaly
