// SPDX-License-Identifier: MIT
// Reads any bytes as a journal. Records are found whole, in order, and never beyond the end. A record after the bytes
// is found. The first eight bytes choose the nonce of the journal.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"

namespace {

using Tessaly::detail::JournalHeader;
using Tessaly::detail::JournalReader;
using Tessaly::detail::JournalRecord;

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto header = JournalHeader::from(text)) {
    if (header->version == JournalHeader::currentVersion) {
      const auto again = JournalHeader::from(header->encoded());
      require(again && again->nonce == header->nonce && again->checkpoint == header->checkpoint);
    }
  }
  if (size < 8) return 0;
  std::uint64_t nonce = 0;
  std::memcpy(&nonce, data, sizeof(nonce));
  std::string bytes(text.substr(8));
  const JournalRecord last{.kind = JournalRecord::Kind::set, .writer = 7, .key = "last", .value = "value"};
  // The end may hold half a record. A record that follows it must be found.
  bytes += last.encoded(nonce);
  JournalReader reader(bytes, nonce);
  std::size_t position = 0;
  bool hasFoundLast = false;
  while (const auto record = reader.next()) {
    require(reader.position() > position && reader.position() <= bytes.size());
    position = reader.position();
    static_cast<void>(record->identity());
    for (const auto& change : record->changes()) {
      require(change.key.size() + change.value.value_or("").size() <= record->key.size() + record->value.size());
    }
    hasFoundLast = record->key == "last" && record->value == "value";
  }
  require(hasFoundLast && position == bytes.size());
  return 0;
}
