// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/AsyncThrowingStream.hpp"

#include <functional>
#include <stdexcept>
#include <string>

namespace Tessaly {

using Line = std::string;
using ReadError = std::runtime_error;
struct Reader {
  void onLine(std::function<void(Line)> handler);
  void onFailure(std::function<void(ReadError)> handler);
};

void snippet(Reader& reader) {
  AsyncThrowingStream<Line> lines([&](AsyncThrowingStream<Line>::Continuation continuation) {
    reader.onLine([=](Line line) { continuation.yield(line); });
    reader.onFailure([=](ReadError error) { continuation.finish(error); });
  });
}

}  // namespace Tessaly
