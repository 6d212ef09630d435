// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/ReducedReplayAsyncThrowingStream.hpp"

namespace Tessaly {

struct File {};
struct Progress {};
AsyncThrowingStream<Progress> progressOf(File file);
void add(Progress& whole, const Progress& part);
void show(const Progress& progress);

Async<void> showReducedReplayAsyncThrowingStream(File file) {
  ReducedReplayAsyncThrowingStream<Progress> upload(progressOf(file), Progress(), add);
  auto iterator = upload.makeAsyncIterator();
  while (auto progress = co_await iterator.next()) show(*progress);
  Progress whole = co_await upload.streamedElement();
}

Async<void> showAsyncIterator(ReducedReplayAsyncThrowingStream<Progress> upload) {
  auto iterator = upload.makeAsyncIterator();
  std::optional<Progress> first = co_await iterator.next();
}

void showStream(ReducedReplayAsyncThrowingStream<Progress> upload) {
  auto stream = upload.newStream();
  auto iterator = stream.makeAsyncIterator();
}

}  // namespace Tessaly
