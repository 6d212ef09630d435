// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"

#include <algorithm>
#include <array>

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::string_view headerMagic = "Tessaly\x1A";
constexpr std::size_t bodyOffset = 16;    // Magic, checksum, length of the body.
constexpr std::size_t smallestBody = 13;  // Writer, kind, length of the key.
static_assert(bodyOffset + smallestBody == JournalRecord::overhead);

using Tables = std::array<std::array<std::uint32_t, 256>, 8>;

constexpr Tables makeTables() {
  Tables tables{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = value >> 1 ^ (value & 1 ? 0x82F6'3B78u : 0u);
    tables[0][i] = value;
  }
  for (std::uint32_t i = 0; i < 256; ++i) {
    for (std::size_t table = 1; table < tables.size(); ++table) {
      const std::uint32_t before = tables[table - 1][i];
      tables[table][i] = before >> 8 ^ tables[0][before & 0xFF];
    }
  }
  return tables;
}

constexpr Tables tables = makeTables();

void put(std::string& out, std::uint64_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) out += static_cast<char>(value >> (8 * i));
}

std::uint64_t get(std::string_view bytes, std::size_t offset, std::size_t size) noexcept {
  std::uint64_t value = 0;
  for (std::size_t i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[offset + i]);
  return value;
}

/// Takes the next change of a batch from its front; nothing if no whole change stands there.
std::optional<JournalRecord::Change> takeChange(std::string_view& batch) noexcept {
  constexpr std::size_t overhead = JournalRecord::changeOverhead;
  if (batch.size() < overhead) return std::nullopt;
  const auto kind = static_cast<JournalRecord::Kind>(batch[0]);
  const auto keySize = static_cast<std::size_t>(get(batch, 1, 4));
  const auto valueSize = static_cast<std::size_t>(get(batch, 5, 4));
  const bool isKnown = kind == JournalRecord::Kind::set || kind == JournalRecord::Kind::remove;
  if (!isKnown || keySize + valueSize > batch.size() - overhead) return std::nullopt;
  JournalRecord::Change change{.key = batch.substr(overhead, keySize), .value = std::nullopt};
  if (kind == JournalRecord::Kind::set) change.value = batch.substr(overhead + keySize, valueSize);
  batch.remove_prefix(overhead + keySize + valueSize);
  return change;
}

/// The number with which every record of a journal begins. It depends on the nonce and is never 0.
std::uint32_t magicOf(std::uint64_t nonce) noexcept {
  return static_cast<std::uint32_t>(nonce >> 32 ^ nonce) | 0x0100'0001u;
}

std::array<char, 4> magicBytes(std::uint64_t nonce) noexcept {
  const std::uint32_t magic = magicOf(nonce);
  std::array<char, 4> bytes{};
  for (std::size_t i = 0; i < 4; ++i) bytes[i] = static_cast<char>(magic >> (8 * i));
  return bytes;
}

std::uint32_t seedOf(std::uint64_t nonce) noexcept {
  std::string bytes;
  put(bytes, nonce, 8);
  return crc32c(0, bytes);
}

/// Whether the bytes begin with a record that has a body of this length, a right checksum and a possible length of its
/// key.
bool isIntact(std::string_view bytes, std::uint64_t length, std::uint64_t nonce) noexcept {
  if (length < smallestBody || bytes.size() < bodyOffset || length > bytes.size() - bodyOffset) return false;
  std::string size;
  put(size, length, 8);
  const std::uint32_t sum =
      crc32c(crc32c(seedOf(nonce), size), bytes.substr(bodyOffset, static_cast<std::size_t>(length)));
  return get(bytes, 4, 4) == sum && get(bytes, bodyOffset + 9, 4) <= length - smallestBody;
}

void putIdentity(std::string& out, const FileIdentity& identity) {
  put(out, identity.inode, 8);
  put(out, identity.size, 8);
  put(out, static_cast<std::uint64_t>(identity.modified), 8);
}

FileIdentity identityAt(std::string_view bytes, std::size_t offset) noexcept {
  return {.inode = get(bytes, offset, 8),
          .size = get(bytes, offset + 8, 8),
          .modified = static_cast<std::int64_t>(get(bytes, offset + 16, 8))};
}

}  // namespace

std::uint32_t crc32c(std::uint32_t seed, std::string_view bytes) noexcept {
  std::uint32_t value = ~seed;
  std::size_t i = 0;
  for (; i + 8 <= bytes.size(); i += 8) {
    const std::uint64_t word = get(bytes, i, 8) ^ value;
    value = tables[7][word & 0xFF] ^ tables[6][word >> 8 & 0xFF] ^ tables[5][word >> 16 & 0xFF] ^
            tables[4][word >> 24 & 0xFF] ^ tables[3][word >> 32 & 0xFF] ^ tables[2][word >> 40 & 0xFF] ^
            tables[1][word >> 48 & 0xFF] ^ tables[0][word >> 56];
  }
  for (; i < bytes.size(); ++i) value = value >> 8 ^ tables[0][(value ^ static_cast<unsigned char>(bytes[i])) & 0xFF];
  return ~value;
}

std::string JournalHeader::encoded() const {
  std::string out(headerMagic);
  put(out, version, 4);
  put(out, size, 4);
  put(out, nonce, 8);
  put(out, predecessor, 8);
  putIdentity(out, checkpoint);
  put(out, lineage, 4);
  put(out, crc32c(0, out), 4);
  return out;
}

std::optional<JournalHeader> JournalHeader::from(std::string_view bytes) noexcept {
  if (bytes.size() < size || !bytes.starts_with(headerMagic)) return std::nullopt;
  JournalHeader header;
  if (get(bytes, 60, 4) != crc32c(0, bytes.substr(0, 60))) return std::nullopt;
  header.version = static_cast<std::uint32_t>(get(bytes, 8, 4));
  if (header.version > currentVersion) return header;
  if (header.version != currentVersion) return std::nullopt;
  header.nonce = get(bytes, 16, 8);
  header.predecessor = get(bytes, 24, 8);
  header.checkpoint = identityAt(bytes, 32);
  header.lineage = static_cast<std::uint32_t>(get(bytes, 56, 4));
  return header;
}

std::optional<FileIdentity> JournalRecord::identity() const noexcept {
  if (kind < Kind::checkpoint || kind > Kind::adoptionWithUnknownChanges || value.size() != 24) return std::nullopt;
  return identityAt(value, 0);
}

std::string JournalRecord::encodedIdentity(const FileIdentity& identity) {
  std::string out;
  putIdentity(out, identity);
  return out;
}

std::vector<JournalRecord::Change> JournalRecord::changes() const {
  if (kind == Kind::set) return {{key, value}};
  if (kind == Kind::remove) return {{key, std::nullopt}};
  std::vector<Change> changes;
  std::string_view rest = kind == Kind::batch ? value : std::string_view();
  while (const auto change = takeChange(rest)) changes.push_back(*change);
  if (!rest.empty()) changes.clear();
  return changes;
}

std::string JournalRecord::encodedChanges(std::span<const Change> changes) {
  std::string out;
  for (const Change& change : changes) {
    put(out, static_cast<std::uint64_t>(change.value ? Kind::set : Kind::remove), 1);
    put(out, change.key.size(), 4);
    put(out, change.value.value_or("").size(), 4);
    out += change.key;
    out += change.value.value_or("");
  }
  return out;
}

std::optional<JournalRecord::Restoration> JournalRecord::restoration() const {
  if (kind != Kind::restoration || value.size() < 16) return std::nullopt;
  Restoration restoration{.nonce = get(value, 0, 8), .offset = get(value, 8, 8)};
  for (std::size_t at = 16; at + 12 <= value.size(); at += 12) {
    restoration.changes[get(value, at, 8)] = static_cast<std::uint32_t>(get(value, at + 8, 4));
  }
  return restoration;
}

std::string JournalRecord::encodedRestoration(const Restoration& restoration) {
  std::string out;
  put(out, restoration.nonce, 8);
  put(out, restoration.offset, 8);
  for (const auto& [writer, count] : restoration.changes) {
    put(out, writer, 8);
    put(out, count, 4);
  }
  return out;
}

std::string JournalRecord::encoded(std::uint64_t nonce) const {
  std::string out;
  out.reserve(overhead + key.size() + value.size());
  put(out, magicOf(nonce), 4);
  put(out, 0, 4);
  put(out, smallestBody + key.size() + value.size(), 8);
  put(out, writer, 8);
  put(out, static_cast<std::uint64_t>(kind), 1);
  put(out, key.size(), 4);
  out += key;
  out += value;
  std::string sum;
  put(sum, crc32c(seedOf(nonce), std::string_view(out).substr(8)), 4);
  out.replace(4, 4, sum);
  return out;
}

std::optional<JournalRecord> JournalReader::next() {
  const auto magic = magicBytes(nonce_);
  const std::string_view word(magic.data(), magic.size());
  for (std::size_t at = position_;; ++at) {
    at = bytes_.find(word, at);
    if (at == std::string_view::npos || bytes_.size() - at < JournalRecord::overhead) return std::nullopt;
    std::string_view found = bytes_.substr(at);
    const std::uint64_t named = get(found, 8, 8);
    const bool hasNamedLength = isIntact(found, named, nonce_);
    // If only the length is damaged, the record reaches to the next one.
    found = found.substr(0, hasNamedLength ? bodyOffset + static_cast<std::size_t>(named) : found.find(word, 1));
    if (!hasNamedLength && !isIntact(found, found.size() - std::min(found.size(), bodyOffset), nonce_)) continue;
    if (at != position_) skip(bytes_.substr(position_, at - position_), damaged_);
    if (!hasNamedLength) damaged_.push_back(found);
    position_ = at + found.size();
    const auto keySize = static_cast<std::size_t>(get(found, bodyOffset + 9, 4));
    return JournalRecord{.kind = static_cast<JournalRecord::Kind>(found[bodyOffset + 8]),
                         .writer = get(found, bodyOffset, 8),
                         .key = found.substr(JournalRecord::overhead, keySize),
                         .value = found.substr(JournalRecord::overhead + keySize)};
  }
}

void JournalReader::skip(std::string_view gap, std::vector<std::string_view>& damaged) const {
  const auto magic = magicBytes(nonce_);
  const std::string_view word(magic.data(), magic.size());
  while (!gap.empty()) {
    const std::string_view part = gap.substr(0, gap.find(word, 1));
    gap.remove_prefix(part.size());
    // A part that is shorter than its length field says was cut off. Its writer was killed before the write was
    // acknowledged. A length above the maximum is damage, because no writer names such a length.
    const auto wasCut = [&] {
      const std::uint64_t named = get(part, 8, 8);
      return part.starts_with(word) && named > part.size() - bodyOffset &&
             named <= smallestBody + JournalRecord::maximumChanges;
    };
    if (part.size() >= JournalRecord::overhead && !wasCut()) damaged.push_back(part);
  }
}

std::vector<std::string_view> JournalReader::damagedAtEnd() const {
  std::vector<std::string_view> damaged;
  skip(bytes_.substr(position_), damaged);
  return damaged;
}

std::vector<std::string_view> keysOfDamagedRecord(std::string_view bytes) {
  if (bytes.size() < JournalRecord::overhead) return {};
  const std::uint64_t size = get(bytes, bodyOffset + 9, 4);
  if (size > bytes.size() - JournalRecord::overhead) return {};
  if (static_cast<JournalRecord::Kind>(bytes[bodyOffset + 8]) != JournalRecord::Kind::batch) {
    return {bytes.substr(JournalRecord::overhead, static_cast<std::size_t>(size))};
  }
  std::vector<std::string_view> keys;
  std::string_view rest = bytes.substr(JournalRecord::overhead + static_cast<std::size_t>(size));
  while (const auto change = takeChange(rest)) keys.push_back(change->key);
  return keys;
}

std::optional<JournalContents> JournalContents::from(std::string_view bytes, std::uint64_t likelyNonce) {
  JournalContents contents{.header = {}, .records = bytes.substr(std::min(bytes.size(), JournalHeader::size))};
  if (const auto header = JournalHeader::from(bytes)) {
    contents.header = *header;
    return contents;
  }
  contents.isHeaderDamaged = true;
  const auto hasRecords = [&](std::uint64_t nonce) {
    contents.header.nonce = nonce;
    return JournalReader(contents.records, nonce).next().has_value();
  };
  if (contents.records.empty()) return std::nullopt;
  if (likelyNonce != 0 && hasRecords(likelyNonce)) return contents;
  const std::uint64_t nonce = get(bytes, 16, 8);
  if (hasRecords(nonce)) return contents;
  for (int bit = 0; bit < 64; ++bit) {
    if (hasRecords(nonce ^ std::uint64_t{1} << bit)) return contents;
  }
  return std::nullopt;
}

}  // namespace Tessaly::inline v1::detail
