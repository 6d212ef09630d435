// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/AlphabetHelpers.hpp"

#include "Tessaly/Core/Text/CaseMapping.hpp"
#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"

namespace Tessaly::inline v1 {
namespace {

/// The category of the log, because a namespace is not a type.
struct AlphabetHelpers;

/// Frozen: crash reports and logs are grouped by this line.
constexpr unsigned emptyIdentifierLine = 46;

void reportEmptyIdentifier() {
  const Logger logger = Logger::make("Tessaly", Type<AlphabetHelpers>());
  errorWithAssert(logger, "\u2620\uFE0F An empty string has been returned by 'sectionIdentifier'. Shouldn't happen.",
                  "Tessaly/AlphabetHelpers", emptyIdentifierLine);
}

}  // namespace

std::string v1::AlphabetHelpers::detail::sectionKey(std::string_view identifier) {
  if (identifier.empty()) {
    reportEmptyIdentifier();
    return {};
  }
  return Text::lowercased(*Text::GraphemeClusters(identifier).begin());
}

std::string v1::AlphabetHelpers::detail::entryLetter(std::string_view letter) { return Text::uppercased(letter); }

}  // namespace Tessaly::inline v1
