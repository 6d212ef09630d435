// SPDX-License-Identifier: MIT
#include <algorithm>
#include <deque>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/detail/MIMEDatabase.hpp"
#include "Tessaly/FoundationExtensions/UTType+LocalizedDescription.hpp"

namespace Tessaly::inline v1 {
namespace {

using Comments = detail::MIMEDatabase::Comments;

/// The codes under which the database may have the language, the most exact first: "zh_Hant_TW", "zh_TW", "zh_Hant",
/// "zh", and the empty code for English.
std::vector<std::string> codes(const Locale& locale) {
  std::string code = locale.identifier().substr(0, locale.identifier().find('@'));
  std::ranges::replace(code, '-', '_');
  std::vector<std::string> codes{code};
  const std::size_t first = code.find('_');
  const std::size_t last = code.rfind('_');
  if (first != last) codes.push_back(code.substr(0, first) + code.substr(last));
  for (std::size_t end = last; end != std::string::npos && end > 0; end = code.rfind('_', end - 1)) {
    codes.push_back(code.substr(0, end));
  }
  codes.emplace_back();
  return codes;
}

std::optional<std::string> nameIn(const Comments& comments, const std::vector<std::string>& codes) {
  for (const std::string& code : codes) {
    if (const auto found = comments.find(code); found != comments.end()) return found->second;
  }
  return std::nullopt;
}

}  // namespace

std::string localizedDescription(const UTType& type, const Locale& locale) {
  const std::vector<std::string> languages = codes(locale);
  std::deque<std::string> pending{type.identifier()};
  std::set<std::string> seen;
  while (!pending.empty()) {
    const std::optional<UTType> next = UTType::from(pending.front());
    pending.pop_front();
    if (!next || !seen.insert(next->identifier()).second) continue;
    const std::string mimeType = next->preferredMIMEType().value_or("");
    const auto name = nameIn(detail::MIMEDatabase::shared().comments(mimeType), languages);
    if (name) return *name;
    for (std::string& supertype : next->supertypeIdentifiers()) pending.push_back(std::move(supertype));
  }
  return nameIn(detail::MIMEDatabase::shared().comments("application/octet-stream"), languages)
      .value_or(type.identifier());
}

}  // namespace Tessaly::inline v1
