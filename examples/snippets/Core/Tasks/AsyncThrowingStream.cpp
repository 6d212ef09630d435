// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"

#include <functional>
#include <string>

#include "Tessaly/Core/Base/Error.hpp"

namespace Tessaly {

using Line = std::string;
struct ReadError : Error {};
struct Reader {
  void onLine(std::function<void(Line)> handler);
  void onFailure(std::function<void(ReadError)> handler);
};

void showAsyncThrowingStream(Reader& reader) {
  AsyncThrowingStream<Line> lines([&](AsyncThrowingStream<Line>::Continuation continuation) {
    reader.onLine([=](Line line) { continuation.yield(line); });
    reader.onFailure([=](ReadError error) { continuation.finish(error); });
  });
}

}  // namespace Tessaly
