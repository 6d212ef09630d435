// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <cstddef>
#include <string>

#include "Tessaly/Core/Formatters/FieldEditing.hpp"

namespace Tessaly::inline v1::detail {

/// The position of a UTF-8 byte in a text, in UTF-16 code units.
inline int positionIn(const std::string& text, std::size_t byte) {
  return static_cast<int>(QString::fromStdString(text.substr(0, byte)).size());
}

/// The change from a former text to a new text. Qt reports only the new text and the cursor, which is at the end of the
/// change.
class TypedChange {
 public:
  TypedChange(const QString& former, const QString& text, int cursor) {
    const QString behind = text.mid(cursor);
    const qsizetype kept = former.endsWith(behind) ? behind.size() : 0;
    const qsizetype most = former.size() - kept;
    qsizetype same = 0;
    while (same < most && same < text.size() - kept && text[same] == former[same]) ++same;
    before_ = text.left(same).toStdString();
    removed_ = former.mid(same, most - same).toStdString();
    inserted_ = text.mid(same, text.size() - kept - same).toStdString();
    behind_ = text.right(kept).toStdString();
  }

  /// The parts are valid while this object exists.
  [[nodiscard]] FieldEditing::Change parts() const { return {before_, removed_, inserted_, behind_}; }

 private:
  std::string before_;
  std::string removed_;
  std::string inserted_;
  std::string behind_;
};

}  // namespace Tessaly::inline v1::detail
