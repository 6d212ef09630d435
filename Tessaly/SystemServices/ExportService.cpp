// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/ExportService.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <utility>

#include "Tessaly/Core/Foundation/detail/HugePages.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::ExportService {
namespace {

/// The number of cells of a later row that are prefetched. The processor itself prefetches the remaining cells of
/// longer rows.
constexpr std::size_t fetchedCells = 8;

/// Prefetches the cells of a later row. A row is a separate block of memory, and so is a long text. The processor
/// cannot predict the addresses of these blocks.
void fetchRow(const Table& table, std::size_t row) noexcept {
  constexpr std::size_t cellsInLine = 64 / sizeof(std::string);
  if (row >= table.size()) return;
  const auto& cells = table[row];
  for (std::size_t cell = 0; cell < std::min(cells.size(), fetchedCells); cell += cellsInLine) {
    __builtin_prefetch(&cells[cell]);
  }
}
/// Prefetches the long texts of a row whose cells were prefetched. Short texts are in the cells themselves.
void fetchTexts(const Table& table, std::size_t row) noexcept {
  const std::size_t longestInCell = std::string().capacity();
  if (row >= table.size()) return;
  const auto& cells = table[row];
  for (std::size_t cell = 0; cell < std::min(cells.size(), fetchedCells); ++cell) {
    if (cells[cell].size() > longestInCell) __builtin_prefetch(cells[cell].data());
  }
}

/// Calls the body for each row, with its index and its cells.
template <typename Body>
void forEachRow(const Table& table, Body body) {
  for (std::size_t row = 0; row < table.size(); ++row) {
    fetchRow(table, row + 32);
    fetchTexts(table, row + 16);
    body(row, table[row]);
  }
}

/// The maximum number of bytes of a table whose cells are written unchanged.
std::size_t roomFor(const Table& table, std::size_t separator, std::size_t rowEnd) noexcept {
  std::size_t room = 0;
  for (std::size_t row = 0; row < table.size(); ++row) {
    fetchRow(table, row + 16);
    const auto& cells = table[row];
    room += cells.empty() ? rowEnd : rowEnd + (cells.size() - 1) * separator;
    for (const std::string& cell : cells) room += cell.size();
  }
  return room;
}

/// The number of occurrences of a text in the cells, from the left and without overlap.
std::size_t countIn(const Table& table, std::string_view sought) noexcept {
  std::size_t count = 0;
  forEachRow(table, [&](std::size_t /*row*/, const std::vector<std::string>& cells) {
    for (const std::string& cell : cells) {
      for (std::size_t place = 0; (place = cell.find(sought, place)) != std::string::npos; place += sought.size()) {
        ++count;
      }
    }
  });
  return count;
}

/// The maximum number of bytes that quotation marks add. Unused room takes no physical memory, because it is never
/// written.
std::size_t roomForQuotes(const Table& table) noexcept {
  std::size_t cells = 0;
  for (const auto& row : table) cells += row.size();
  return 2 * cells + countIn(table, "\"");
}

/// Whether a text consists of ASCII only.
bool isASCII(std::string_view text) noexcept {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  std::uint64_t seen = 0;
  std::size_t offset = 0;
  for (; offset + sizeof(seen) <= text.size(); offset += sizeof(seen)) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, text.data() + offset, sizeof(eight));
    seen |= eight;
  }
  for (; offset < text.size(); ++offset) seen |= static_cast<std::uint8_t>(text[offset]);
  return (seen & highBits) == 0;
}

/// A number of bytes that are copied and examined together. (g++ 14 ignores an attribute at the end of an alias.)
template <std::size_t size>
using Bytes __attribute__((vector_size(size))) = std::uint8_t;

/// Copies a text of at least `size` bytes. Returns whether it contains one of the sought bytes.
template <std::size_t size, typename... Sought>
bool copyPieces(std::string_view text, char* to, Sought... sought) noexcept {
  Bytes<size> found{};
  const auto copyPiece = [&](std::size_t offset) {
    Bytes<size> piece;
    std::memcpy(&piece, text.data() + offset, size);
    std::memcpy(to + offset, &piece, size);
    found |= (reinterpret_cast<Bytes<size>>(piece == static_cast<std::uint8_t>(sought)) | ... | Bytes<size>{});
  };
  for (std::size_t offset = 0; offset + size < text.size(); offset += size) copyPiece(offset);
  // The last piece overlaps the previous one.
  copyPiece(text.size() - size);
  std::uint64_t words[(size + 7) / 8]{};
  std::memcpy(words, &found, size);
  std::uint64_t any = 0;
  for (const std::uint64_t word : words) any |= word;
  return any != 0;
}

std::optional<ExportError::Cell> firstIllFormedCell(const Table& table) {
  for (std::size_t row = 0; row < table.size(); ++row) {
    const auto cell = std::ranges::find_if_not(table[row], Text::isWellFormed);
    if (cell != table[row].end()) return ExportError::Cell{row, static_cast<std::size_t>(cell - table[row].begin())};
  }
  return std::nullopt;
}

/// A builder of a text. Short pieces are collected and examined in a block that stays in the processor's cache. So the
/// text passes through main memory only once.
class TextWriter {
 public:
  explicit TextWriter(std::size_t room) { addRoom(room); }

  /// Enlarges the text's memory, but only as far as needed.
  void addRoom(std::size_t room) {
    bytes_.reserve(bytes_.capacity() + room);
    ::Tessaly::detail::adviseHugePages(bytes_.data(), bytes_.capacity());
  }

  void append(std::string_view text) {
    if (appendIfWithout(text)) return;
    flush();
    take(text);
  }
  void append(char character) {
    if (count_ == block_.size()) flush();
    block_[count_++] = character;
  }
  /// Appends a text if it fits into the block and contains no sought byte. Returns whether it was appended.
  template <typename... Sought>
  bool appendIfWithout(std::string_view text, Sought... sought) {
    if (text.size() > block_.size() - count_) {
      flush();
      if (text.size() > block_.size()) return false;
    }
    char* const to = block_.data() + count_;
    bool found = false;
    if (text.size() >= 16) {
      found = copyPieces<16>(text, to, sought...);
    } else if (text.size() >= 8) {
      found = copyPieces<8>(text, to, sought...);
    } else if (text.size() >= 4) {
      found = copyPieces<4>(text, to, sought...);
    } else {
      for (std::size_t i = 0; i < text.size(); ++i) {
        to[i] = text[i];
        found |= ((text[i] == sought) | ... | false);
      }
    }
    if (!found) count_ += text.size();
    return !found;
  }

  /// The text of the table. Throws `ExportError` if it is not UTF-8.
  Data finish(const Table& table) {
    flush();
    Data data(std::move(bytes_));
    if (!Text::isWellFormed(data.text().substr(std::min(asciiCount_, data.size())))) {
      ExportError error(std::string("Unable to build CSV 'Data' from ").append(data.text()));
      error.illFormedCell = firstIllFormedCell(table);
      throw error;
    }
    return data;
  }

 private:
  void flush() {
    take({block_.data(), count_});
    count_ = 0;
  }
  void take(std::string_view text) {
    if (asciiCount_ == bytes_.size() && isASCII(text)) asciiCount_ += text.size();
    // The pointer has the type of the stored bytes, so that they are copied as a block.
    const auto* const first = reinterpret_cast<const std::uint8_t*>(text.data());
    bytes_.insert(bytes_.end(), first, first + text.size());
  }

  Data::Bytes bytes_;
  /// The number of bytes at the beginning that are certainly ASCII.
  std::size_t asciiCount_ = 0;
  std::size_t count_ = 0;
  std::array<char, std::size_t{16} * 1024> block_;
};

/// Appends a cell in quotation marks, and doubles the marks inside it.
void appendQuoted(TextWriter& writer, std::string_view cell) {
  writer.append('"');
  for (std::size_t quote = 0; (quote = cell.find('"')) != std::string_view::npos; cell.remove_prefix(quote + 1)) {
    writer.append(cell.substr(0, quote + 1));
    writer.append('"');
  }
  writer.append(cell);
  writer.append('"');
}

/// Appends a cell that contains the separator, with a backslash before each occurrence.
void appendEscaped(TextWriter& writer, std::string_view cell, std::string_view separator) {
  for (std::size_t found = 0; (found = cell.find(separator)) != std::string_view::npos;) {
    writer.append(cell.substr(0, found));
    writer.append('\\');
    writer.append(separator);
    cell.remove_prefix(found + separator.size());
  }
  writer.append(cell);
}

}  // namespace

Data csv(const Table& from, std::string_view separator, const std::function<void(double)>& onProgress) {
  TextWriter writer(roomFor(from, separator.size(), 1));
  bool hasRoomForEscapes = false;
  const auto rows = static_cast<double>(from.size());
  forEachRow(from, [&](std::size_t row, const std::vector<std::string>& cells) {
    for (std::size_t index = 0; index < cells.size(); ++index) {
      const std::string& cell = cells[index];
      if (onProgress) {
        const double part = static_cast<double>(index + 1) / static_cast<double>(cells.size());
        onProgress((part + static_cast<double>(row)) / rows);
      }
      if (separator.empty()) {
        writer.append(cell);
      } else if (!writer.appendIfWithout(cell, separator.front())) {
        // The cell is very long, or may contain a separator.
        if (cell.find(separator) == std::string::npos) {
          writer.append(cell);
        } else {
          if (!std::exchange(hasRoomForEscapes, true)) writer.addRoom(countIn(from, separator));
          appendEscaped(writer, cell, separator);
        }
      }
      if (index + 1 == cells.size()) continue;
      if (separator.size() == 1) {
        writer.append(separator.front());
      } else {
        writer.append(separator);
      }
    }
    if (row + 1 < from.size()) writer.append('\n');
  });
  return writer.finish(from);
}

Data rfc4180CSV(const Table& from, char separator) {
  constexpr std::string_view lineEnd = "\r\n";
  const std::string special{separator, '"', '\r', '\n'};
  TextWriter writer(roomFor(from, 1, lineEnd.size()));
  bool hasRoomForQuotes = false;
  forEachRow(from, [&](std::size_t /*row*/, const std::vector<std::string>& cells) {
    for (std::size_t index = 0; index < cells.size(); ++index) {
      if (index > 0) writer.append(separator);
      const std::string& cell = cells[index];
      const bool isOnlyEmptyCell = cells.size() == 1 && cell.empty();
      if (!isOnlyEmptyCell && writer.appendIfWithout(cell, separator, '"', '\r', '\n')) continue;
      // The cell is very long, or contains special characters, or is an empty cell alone in its row.
      if (!isOnlyEmptyCell && cell.find_first_of(special) == std::string::npos) {
        writer.append(cell);
      } else {
        if (!std::exchange(hasRoomForQuotes, true)) writer.addRoom(roomForQuotes(from));
        appendQuoted(writer, cell);
      }
    }
    writer.append(lineEnd);
  });
  return writer.finish(from);
}

}  // namespace Tessaly::inline v1::ExportService
