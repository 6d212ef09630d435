// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/AlphabetHelpers.hpp"

#include "Tessaly/Core/Text/CaseMapping.hpp"
#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"

namespace Tessaly::inline v1 {
namespace {

/// Gives the log its category: the namespace has none of its own.
struct AlphabetHelpers;

void reportEmptyIdentifier() {
  const Logger logger = Logger::make("Tessaly", Type<AlphabetHelpers>());
  errorWithAssert(logger, "\u2620\uFE0F An empty string has been returned by 'sectionIdentifier'. Shouldn't happen.",
                  "Tessaly/AlphabetHelpers", 46);
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
