// SPDX-License-Identifier: MIT
// Any bytes read as scalars and as user-perceived characters. Both equal those of the text with its ill-formed parts
// replaced.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Text/Characters.hpp"
#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace {

using namespace Tessaly::Text;

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  std::string rebuilt;
  for (const char32_t scalar : Scalars(text)) {
    appendScalar(rebuilt, scalar);
    if (isPunctuation(scalar)) require(!isWhiteSpace(scalar));
    require(generalCategory(scalar) != GeneralCategory::surrogate);
  }
  const std::string clean = sanitized(text);
  require(rebuilt == clean);
  require(isWellFormed(clean));
  require(isWellFormed(text) == (clean == text));

  std::string joined;
  std::vector<std::string> clusters;
  for (const std::string_view cluster : GraphemeClusters(text)) {
    require(!cluster.empty());
    joined += cluster;
    clusters.push_back(sanitized(cluster));
  }
  require(joined == text);
  require(graphemeClusterCount(text) == static_cast<std::int64_t>(clusters.size()));
  std::size_t index = 0;
  for (const std::string_view cluster : GraphemeClusters(clean)) require(clusters.at(index++) == cluster);
  require(index == clusters.size());
  require(sanitized(lastGraphemeCluster(text)) == (clusters.empty() ? "" : clusters.back()));
  return 0;
}
